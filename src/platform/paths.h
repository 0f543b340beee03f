#pragma once

#include <filesystem>
#include <string_view>

namespace hq {

// The path that a text of the system's own 8-bit characters names.
[[nodiscard]] std::filesystem::path System_Path(std::string_view text);

}  // namespace hq
