#pragma once

#include <string>

#include "cli/command_line.h"
#include "cli/console.h"
#include "errortrap/trap_session.h"

namespace hq {

// The error trap of a command, with its files in this program folder and its texts on the console.
[[nodiscard]] TrapSessionParts Trap_Parts(const CommandLineEnvironment& environment,
                                          const std::string& program_folder, Console& console);

}  // namespace hq
