#include "cli/trap_parts.h"

#include "platform/machine.h"

namespace hq {

TrapSessionParts Trap_Parts(const CommandLineEnvironment& environment, const std::string& program_folder,
                            Console& console) {
  return {environment.FileSystem,
          environment.Time,
          console,
          environment.Mail,
          ApplicationFacts{.Title = DefaultTitle,
                           .ExeName = "history-quotes-cli",
                           .Version = HQ_VERSION,
                           .Folder = program_folder},
          Look_At_Machine,
          environment.WatchesCrashes};
}

}  // namespace hq
