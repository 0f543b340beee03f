#pragma once

#include <optional>
#include <string>

#include "platform/machine.h"

namespace hq {

// Look_At_Machine with the system's files (/proc, /sys, /etc) read below a folder, which is "/" for the
// machine itself.
[[nodiscard]] MachineFacts Look_At_Machine_Below(const std::string& root);

// Memory_Load_Percent with /proc read below a folder.
[[nodiscard]] std::optional<int> Memory_Load_Percent_Below(const std::string& root);

}  // namespace hq
