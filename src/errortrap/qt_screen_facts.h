#pragma once

#include <QList>

#include "platform/machine.h"

class QInputDevice;

namespace hq {

// Fills in what the window system tells of the screens, the mouse and the keyboard; what it does not tell
// stays as it is. Needs the application object, on its thread.
void Add_Screen_Facts(MachineFacts& facts);

// Fills in what these devices tell of the mouse and the keyboard. Those that Qt makes up do not count.
void Add_Input_Facts(MachineFacts& facts, const QList<const QInputDevice*>& devices);

}  // namespace hq
