#pragma once

#include <string>
#include <string_view>

namespace hq {

// A text in UTF-8 as the system's own 8-bit text: the ANSI code page on Windows, where "?" stands for
// characters that it lacks; the same bytes elsewhere.
[[nodiscard]] std::string System_Text(std::string_view utf8);

// A text of the system's own in UTF-8; bytes that are none stay what they are where both are the same.
[[nodiscard]] std::string Utf8_Of_System_Text(std::string_view text);

}  // namespace hq
