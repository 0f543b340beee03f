#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hq {

// How the machine description and the reports write what they tell. Numbers look the same in every locale.

// Stands for what is not known, where a text must stand.
inline constexpr const char* Unknown = "<unknown>";
[[nodiscard]] std::string Or_Unknown(const std::string& text);

// Every line with a line end, LF.
[[nodiscard]] std::string Joined_Lines(const std::vector<std::string>& lines);

// The text with a blank for every control character, line ends included, so that it can fake no label of
// another line; without blanks at its ends.
[[nodiscard]] std::string One_Line(std::string_view text);

// The text with every line but the first behind three blanks, so that none can look like a label; other
// control characters become blanks. Lines are ended by LF, the last by nothing.
[[nodiscard]] std::string Indented_Lines(std::string_view text);

// "###,###,###": 1234567 is "1,234,567"; a larger number goes on in groups of three.
[[nodiscard]] std::string Grouped(std::uint64_t number);

// Whole kilobytes of bytes, rounded down: "1,024 KB".
[[nodiscard]] std::string Kilobyte_Text(std::uint64_t bytes);

// part of whole in percent as "##.##": at most two decimals, none of them a zero at the end, no zero before
// the point: 97.5 is "97.5", 45 is "45", a half percent ".5"; nothing is "0". part is not above whole, and
// whole is not 0.
[[nodiscard]] std::string Percent_Text(std::uint64_t part, std::uint64_t whole);

// The number, empty for what is not known.
[[nodiscard]] std::string Number_Text(std::optional<int> number);

// "YES", "NO", or empty for what is not known.
[[nodiscard]] std::string Yes_No(std::optional<bool> value);

// "24 bits per pixel", empty for what is not known.
[[nodiscard]] std::string Color_Text(std::optional<int> bits);

}  // namespace hq
