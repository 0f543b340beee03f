#include "errortrap/procedure.h"

#include <cstdint>

namespace hq::detail {

bool Enter(modFailSafe& trap, const ProcedureName& here) {
  const std::int32_t depth = trap.Depth();
  for (;;) {
    try {
      trap.fsPUSH(here.Module, here.Procedure);
      return true;
    } catch (const std::exception&) {
      const int choice = trap.fsERROR(here.Module, here.Procedure, Current_Error());
      if (choice == trap_choice::Ignore) return true;
      if (choice != trap_choice::Retry) return false;
      trap.Drop_To(depth);
    }
  }
}

ExitHook::~ExitHook() {
  try {
    trap_.fsPOP(here_.Module, here_.Procedure);
  } catch (...) {
    // A hook that waits while the trap is paused can be interrupted; the interruption is raised again at the
    // next wait.
    static_cast<void>(0);
  }
}

}  // namespace hq::detail
