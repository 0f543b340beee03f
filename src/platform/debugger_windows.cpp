#include <windows.h>

#include "platform/debugger.h"

namespace hq {

bool Debugger_Attached() {
  return IsDebuggerPresent() != 0;
}

void Break_Into_Debugger() {
  if (Debugger_Attached()) DebugBreak();
}

}  // namespace hq
