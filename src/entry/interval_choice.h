#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace hq {

// One entry of the interval list.
struct IntervalChoice {
  std::string Text;      // caption, a run of blanks, and the entry's own index as one digit
  std::int32_t Minutes;  // the bar length, 1440 for a day
};

inline constexpr int IntervalCount = 7;
inline constexpr int DailyInterval = 6;  // the index of the daily entry

// The entries of the interval list, in its order.
[[nodiscard]] const std::array<IntervalChoice, IntervalCount>& Interval_Choices();

// The caption of an entry: its text without the blanks and the digit at the end.
[[nodiscard]] std::string_view Interval_Caption(std::string_view interval_text);

// The largest number of trading days for an interval, read out of its text: the number that stands two
// characters behind the first "-". Raises Overflow when that is no 16-bit number; a text without one gives 0.
[[nodiscard]] std::int16_t Day_Limit(std::string_view interval_text);

// Whether the text of an interval or of a format names an intraday one; every other is daily.
[[nodiscard]] bool Is_Intraday(std::string_view list_text);

}  // namespace hq
