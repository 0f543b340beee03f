#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace hq {

// A calendar day. Dates are month/day/year whatever the locale; two-digit years 00 to 49 are 2000 to 2049 and
// 50 to 99 are 1950 to 1999.
using Date = std::chrono::sys_days;

// Minutes since midnight, 0 to 1439.
using TimeOfDay = std::chrono::minutes;

// Reads "M/D/YY" or "M/D/YYYY": one or two digits for the month, the day and a short year. Raises
// TypeMismatch when the text is no date.
[[nodiscard]] Date Parse_Date(std::string_view text);

// Reads "H:MM" or "HH:MM" on a 24-hour clock. Raises TypeMismatch when the text is no time.
[[nodiscard]] TimeOfDay Parse_Time(std::string_view text);

// Appends the date in a layout of "MM", "DD", "YY", "YYYY" and any other characters, which stand for
// themselves.
void Append_Date(std::string& text, Date date, std::string_view layout);

// Appends the time in a layout of "HH", "MM" (minutes) and any other characters, which stand for themselves.
void Append_Time(std::string& text, TimeOfDay time, std::string_view layout);

[[nodiscard]] inline std::string Format_Date(Date date, std::string_view layout) {
  std::string text;
  Append_Date(text, date, layout);
  return text;
}

}  // namespace hq
