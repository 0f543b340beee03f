#include "sample_answer.h"

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "base/dates.h"

namespace hq::benchmarks {

namespace {

constexpr int Opening = 9 * 60 + 30;
constexpr int MinutesOfSession = 391;
// A bar's key names its row of values by four digits, so only values that repeat are the same in a version
// that does without such keys.
constexpr int RowsUntilValuesRepeat = 10'000;

struct Price {
  int Thousandths;
};

void Append_Price(std::string& text, Price price) {
  char digits[16];
  // The most common prices have two decimals; a trade between them gives a third.
  const bool cents = price.Thousandths % 10 == 0;
  std::snprintf(digits, sizeof digits, cents ? ",%d.%02d" : ",%d.%03d", price.Thousandths / 1000,
                cents ? price.Thousandths % 1000 / 10 : price.Thousandths % 1000);
  text += digits;
}

// Open, high, low, close and volume, joined to what stands before them by a comma.
std::vector<std::string> Values() {
  std::mt19937 random(2003);
  const auto any = [&](int from, int to) {
    return from + static_cast<int>(random() % static_cast<unsigned>(to - from + 1));
  };
  std::vector<std::string> values;
  int close = 23'040;
  for (int row = 0; row < RowsUntilValuesRepeat; ++row) {
    const int open = close;
    close = std::clamp(open + 10 * any(-5, 5) + (any(0, 9) == 0 ? 5 : 0), 8'000, 180'000);
    std::string text;
    Append_Price(text, {open});
    Append_Price(text, {std::max(open, close) + 10 * any(0, 5)});
    Append_Price(text, {std::min(open, close) - 10 * any(0, 5)});
    Append_Price(text, {close});
    text.append(",").append(std::to_string(any(100, 9'999'999)));
    values.push_back(text);
  }
  return values;
}

}  // namespace

std::string Sample_Answer(int rows, RowOrder order) {
  const std::vector<std::string> values = Values();
  const Date first_day = std::chrono::sys_days(std::chrono::year(2003) / 1 / 2);
  std::vector<std::string> stamps;
  for (Date day = first_day; static_cast<int>(stamps.size()) < rows; day += std::chrono::days(1)) {
    const std::chrono::weekday weekday(day);
    if (weekday == std::chrono::Saturday || weekday == std::chrono::Sunday) continue;
    for (int minute = 0; minute < MinutesOfSession && static_cast<int>(stamps.size()) < rows; ++minute) {
      std::string stamp = Format_Date(day, "YYMMDD,");
      Append_Time(stamp, TimeOfDay(Opening + minute), "HHMM");
      stamps.push_back(stamp);
    }
  }
  if (order == RowOrder::Shuffled) {
    std::shuffle(stamps.begin() + 1, stamps.end(), std::mt19937(5));
  }
  std::string answer;
  for (int row = 0; row < rows; ++row) {
    answer += stamps[static_cast<size_t>(row)] + values[static_cast<size_t>(row % RowsUntilValuesRepeat)];
    answer += '\n';
  }
  return answer;
}

}  // namespace hq::benchmarks
