#include "entry/interval_choice.h"

#include "base/numbers.h"
#include "base/strings.h"

namespace hq {

namespace {

struct IntervalEntry {
  const char* Caption;
  size_t Blanks;
  std::int32_t Minutes;
};

// The day limits are the numbers behind the "-".
constexpr std::array<IntervalEntry, IntervalCount> Entries{{
    {"Intraday:1 Minute - 1 day at most", 25, 1},
    {"Intraday:5 Minutes - 6 days  at most", 25, 5},
    {"Intraday:10 minutes - 12 days at most", 22, 10},
    {"Intraday:20 minutes - 24 days at most", 22, 20},
    {"Intraday:30 minutes - 38 days at most", 22, 30},
    {"Intraday:Hourly - 71 days at most", 29, 60},
    {"Daily - 500 days(2 years) at most", 45, 1440},
}};

}  // namespace

const std::array<IntervalChoice, IntervalCount>& Interval_Choices() {
  static const std::array<IntervalChoice, IntervalCount> choices = [] {
    std::array<IntervalChoice, IntervalCount> result;
    for (size_t i = 0; i < Entries.size(); ++i) {
      result[i] = {Entries[i].Caption + std::string(Entries[i].Blanks, ' ') + std::to_string(i),
                   Entries[i].Minutes};
    }
    return result;
  }();
  return choices;
}

std::string_view Interval_Caption(std::string_view interval_text) {
  if (!interval_text.empty()) interval_text.remove_suffix(1);
  return Trim(interval_text);
}

std::int16_t Day_Limit(std::string_view interval_text) {
  // Without a "-" the number is looked for from the second character on.
  const size_t dash = interval_text.find('-');
  const size_t start = dash == std::string_view::npos ? 1 : dash + 2;
  if (start >= interval_text.size()) return 0;
  return To_Integer16(Leading_Number(interval_text.substr(start)));
}

bool Is_Intraday(std::string_view list_text) {
  return Contains(list_text, "Intraday");
}

}  // namespace hq
