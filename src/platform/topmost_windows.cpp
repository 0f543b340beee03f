#include <QWidget>
#include <windows.h>

#include "platform/topmost.h"

namespace hq {

void Set_Topmost(QWidget& window, bool topmost) {
  Qt::WindowFlags flags = window.windowFlags();
  flags.setFlag(Qt::WindowStaysOnTopHint, topmost);
  // Only noted: Qt would make the window anew.
  window.overrideWindowFlags(flags);
  SetWindowPos(reinterpret_cast<HWND>(window.winId()), topmost ? HWND_TOPMOST : HWND_NOTOPMOST, 0, 0, 0, 0,
               SWP_NOSIZE | SWP_NOMOVE);
}

}  // namespace hq
