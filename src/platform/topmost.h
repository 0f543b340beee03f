#pragma once

class QWidget;

namespace hq {

// Keeps a window above all others, or no longer, without moving it. It has Qt::WindowStaysOnTopHint then.
// Where only the window's flags tell the system, the window must be shown anew.
void Set_Topmost(QWidget& window, bool topmost);

}  // namespace hq
