#pragma once

#include <string>

namespace hq {

// Whether a path whose last component holds the wildcards "*" and "?" finds a file or a folder, by the
// system's own rules of how they fit. False for a path without wildcards. The path holds no NUL.
[[nodiscard]] bool Wildcard_Finds(const std::string& path);

}  // namespace hq
