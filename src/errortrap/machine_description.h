#pragma once

#include <string>

#include "platform/machine.h"

namespace hq {

// The program as the machine description and the reports name it.
struct ApplicationFacts {
  std::string Title;
  std::string ExeName;  // without its folder
  std::string Version;
  std::string Folder;  // the program folder
};

// The machine description: sections with dotted labels, lines ended by LF, an empty line between sections.
// Memory and free space are in KB, the size of the program file in bytes. What the machine does not tell is
// left out, and with it a section that has nothing to tell.
[[nodiscard]] std::string Machine_Description(const ApplicationFacts& application,
                                              const MachineFacts& machine);

}  // namespace hq
