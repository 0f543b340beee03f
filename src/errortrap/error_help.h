#pragma once

class QWidget;

namespace hq {

// Opens the help on the error dialog in a window of its own, which goes with its owner and takes input while
// the owner is modal. The owner has it; closed it can be shown again.
[[nodiscard]] QWidget* Show_Error_Help(QWidget* owner);

}  // namespace hq
