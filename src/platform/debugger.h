#pragma once

namespace hq {

// Whether a debugger watches this process now.
[[nodiscard]] bool Debugger_Attached();

// Stops in the debugger that watches this process; without one, nothing happens.
void Break_Into_Debugger();

}  // namespace hq
