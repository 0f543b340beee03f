#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Logs as rich text: the form of a log whose file name ends in ".rtf".

namespace hq {

// What a rich text file begins with: its kind and its font table. It is closed by a "}" at the file's end.
inline constexpr std::string_view RichTextHeader =
    R"({\rtf1\ansi\deff0{\fonttbl{\f0\fswiss\fcharset0 ARIAL;}}\f0)";
inline constexpr std::string_view RichTextBegin = "{\\rtf";
inline constexpr std::string_view RichTextParagraphEnd = "\\par";

// Whether the name of a file ends in ".rtf", whatever its case.
[[nodiscard]] bool Has_Rich_Text_Name(std::string_view path);

// Appends text (system's own 8-bit text without line ends) so that rich text shows it: its special characters
// and what is not ASCII are escaped. Stops before the character with which it would append more than room
// bytes.
void Append_Rich_Text(std::string& rich, std::string_view text, std::size_t room = std::string::npos);

}  // namespace hq
