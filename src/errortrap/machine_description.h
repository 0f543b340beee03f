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

// The machine description: sections with dotted labels, lines ended by LF. What the machine does not tell is
// left out.
[[nodiscard]] std::string Machine_Description(const ApplicationFacts& application,
                                              const MachineFacts& machine);

}  // namespace hq
