#pragma once

#include <string>
#include <vector>

#include "cli/command_line.h"

namespace hq {

// Whether the arguments begin with "sources" or "archive": then they are about the sources of quotes and the
// archive, and not a download. Symbols of these names are written in capitals.
[[nodiscard]] bool Is_Sources_Command(const std::vector<std::string>& arguments);

// Does what such arguments ask for and returns the program's exit code:
//   sources                             lists the sources with their states
//   sources test NAME [--symbol SYMBOL] asks one source over the network
//   sources use LIST                    keeps the list of sources in server.ini
//   archive [--symbol SYMBOL]           lists what the archive holds
//   archive export SYMBOL [...]         writes bars as comma-separated values
//   archive shrink --before YYYY-MM-DD  deletes what is older, and gives the room back
//   archive check                       looks for damage
[[nodiscard]] int Sources_Command(const std::vector<std::string>& arguments,
                                  const CommandLineEnvironment& environment);

}  // namespace hq
