#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace hq {

// All of this works on bytes and on ASCII letters only, so it gives the same result whatever the locale.

// The text without the blanks (character 32) at both ends.
[[nodiscard]] std::string_view Trim(std::string_view text);

// The text without blanks, tabs and line ends at both ends.
[[nodiscard]] std::string_view Trim_White(std::string_view text);

// The text without blanks, tabs and no-break spaces (UTF-8) at both ends.
[[nodiscard]] std::string_view Trimmed(std::string_view text);

// The text with a to z turned into A to Z.
[[nodiscard]] std::string Upper_Case(std::string_view text);

// The text with A to Z turned into a to z.
[[nodiscard]] std::string Lower_Case(std::string_view text);

// Whether two texts are equal when the case of the letters a to z is not looked at.
[[nodiscard]] bool Equal_Without_Case(std::string_view one, std::string_view other);

// The text with every occurrence of what (not empty) replaced, found from left to right, compared exactly.
[[nodiscard]] std::string Replace_All(std::string_view text, std::string_view what, std::string_view with);

// The text with all bytes but letters, digits and -._~ as %XX, as the parts of addresses are written.
[[nodiscard]] std::string Percent_Encoded(std::string_view text);

// The first longest bytes of the text at most, without a UTF-8 character that would be cut there. A text of
// another kind is cut at the very byte.
[[nodiscard]] std::string_view Cut_Text(std::string_view text, std::size_t longest);

// The parts of a list with commas, without the blanks around them; empty ones are left out.
[[nodiscard]] std::vector<std::string> Parts_Of_List(std::string_view list);

[[nodiscard]] inline bool Contains(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

// Whether text contains what when the case of the letters a to z is not looked at.
[[nodiscard]] bool Contains_Without_Case(std::string_view text, std::string_view what);

}  // namespace hq
