#include "server/services/answer_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace hq::server {

using namespace std::chrono;
using std::string_view;

std::optional<double> Read_Number(string_view text) {
  const bool begins_well =
      !text.empty() && (text.front() == '-' || (text.front() >= '0' && text.front() <= '9'));
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (!begins_well || error != std::errc{} || end != text.data() + text.size() || !std::isfinite(number))
    return std::nullopt;
  return number;
}

double Shortened(double number) {
  const auto single = static_cast<float>(number);
  if (static_cast<double>(single) != number) return number;
  std::array<char, 32> digits{};
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), single);
  const auto length = static_cast<std::size_t>(written.ptr - digits.data());
  return Read_Number({digits.data(), length}).value_or(number);
}

double Rounded(double number) {
  if (number == 0) return number;
  std::array<char, 32> digits{};
  const auto written =
      std::to_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::scientific, 9);
  const auto length = static_cast<std::size_t>(written.ptr - digits.data());
  return Read_Number({digits.data(), length}).value_or(number);
}

std::optional<int> Digits(string_view text, std::size_t begin, std::size_t count) {
  if (begin + count > text.size()) return std::nullopt;
  int number = 0;
  for (const char c : text.substr(begin, count)) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

namespace {

// YYYY-MM-DD at the beginning of a text.
std::optional<Day> Read_Date(string_view text) {
  const auto of = Digits(text, 0, 4);
  const auto in = Digits(text, 5, 2);
  const auto on = Digits(text, 8, 2);
  if (!of || !in || !on || text[4] != '-' || text[7] != '-') return std::nullopt;
  const auto date = year{*of} / month{static_cast<unsigned>(*in)} / day{static_cast<unsigned>(*on)};
  if (!date.ok()) return std::nullopt;
  return Day{date};
}

// YYYY-MM-DD, a T or a blank, HH:MM or HH:MM:SS with or without parts of seconds; what stands behind is left
// in `rest`.
std::optional<ExchangeTime> Read_Date_And_Time(string_view text, string_view& rest) {
  const auto date = Read_Date(text);
  const auto hour = Digits(text, 11, 2);
  const auto minute = Digits(text, 14, 2);
  if (!date || !hour || !minute || (text[10] != 'T' && text[10] != ' ') || text[13] != ':')
    return std::nullopt;
  std::size_t end = 16;
  int second = 0;
  if (end < text.size() && text[end] == ':') {
    const auto read = Digits(text, end + 1, 2);
    if (!read) return std::nullopt;
    second = *read;
    end += 3;
    if (end < text.size() && text[end] == '.')
      end = std::min(text.find_first_not_of("0123456789", end + 1), text.size());
  }
  if (*hour > 23 || *minute > 59 || second > 59) return std::nullopt;
  rest = text.substr(end);
  return ExchangeTime{*date, hours{*hour} + minutes{*minute} + seconds{second}};
}

}  // namespace

std::optional<ExchangeTime> Read_Stamp_Text(string_view text, const AnswerLayout& layout, const Zone& zone) {
  string_view rest;
  switch (layout.Form) {
    case StampForm::EpochSeconds:
    case StampForm::EpochMilliseconds: {
      const auto number = Read_Number(text);
      constexpr double year_5138 = 1e11;
      if (!number) return std::nullopt;
      const double count = std::floor(layout.Form == StampForm::EpochMilliseconds ? *number / 1000 : *number);
      if (std::abs(count) >= year_5138) return std::nullopt;
      return zone.Local(sys_seconds{seconds{static_cast<std::int64_t>(count)}});
    }
    case StampForm::Universal: {
      const auto time = Read_Date_And_Time(text, rest);
      if (!time || !(rest.empty() || rest == "Z" || rest == "+00:00")) return std::nullopt;
      return zone.Local(time->Date + time->Time);
    }
    case StampForm::Local: {
      if (text.size() == 10) {
        const auto date = Read_Date(text);
        if (!date) return std::nullopt;
        return ExchangeTime{*date, seconds{0}};
      }
      const auto time = Read_Date_And_Time(text, rest);
      if (!time || !rest.empty()) return std::nullopt;
      if (!layout.Stamp_Zone) return time;
      return zone.Local(layout.Stamp_Zone->Moment(*time));
    }
    case StampForm::Date: {
      const auto date = Read_Date(text);
      if (!date || (text.size() > 10 && text[10] != 'T' && text[10] != ' ')) return std::nullopt;
      return ExchangeTime{*date, seconds{0}};
    }
  }
  return std::nullopt;
}

}  // namespace hq::server
