#include "server/csv/csv_fields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string>

#include "base/strings.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using std::string_view;

constexpr double price_limit = 1e12;
constexpr double volume_limit = 9e18;
// Longer fields are no numbers of a quote file.
constexpr std::size_t longest_number = 64;

bool Is_Digit(char c) {
  return c >= '0' && c <= '9';
}

bool All_Digits(string_view text) {
  return !text.empty() && std::ranges::all_of(text, Is_Digit);
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool Is_Letter(char c) {
  return Lower(c) >= 'a' && Lower(c) <= 'z';
}

bool Equal_Ignoring_Case(string_view left, string_view right) {
  return std::ranges::equal(left, right, {}, Lower, Lower);
}

// The number of at most nine digits.
int To_Number(string_view digits) {
  int number = 0;
  for (const char c : digits) number = 10 * number + (c - '0');
  return number;
}

// Rewrites a number into the form that std::from_chars reads; none when its groups are not groups of three.
std::optional<std::string> Plain_Number(string_view text, DecimalMark mark) {
  const char group = mark == DecimalMark::Point ? ',' : '.';
  const char point = mark == DecimalMark::Point ? '.' : ',';
  std::string plain;
  std::size_t digits_before_group = 0;
  bool in_groups = false;
  bool in_fraction = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == group) {
      const bool first_group_fits = digits_before_group >= 1 && digits_before_group <= 3;
      if (in_fraction || (in_groups ? digits_before_group != 3 : !first_group_fits)) return std::nullopt;
      in_groups = true;
      digits_before_group = 0;
      continue;
    }
    if (c == point) {
      if (in_fraction || (in_groups && digits_before_group != 3)) return std::nullopt;
      in_fraction = true;
      plain += '.';
      continue;
    }
    if (Is_Digit(c) && !in_fraction) ++digits_before_group;
    plain += c;
  }
  if (in_groups && !in_fraction && digits_before_group != 3) return std::nullopt;
  return plain;
}

std::optional<double> Read_Number(string_view text, DecimalMark mark) {
  if (text.empty() || text.size() > longest_number) return std::nullopt;
  bool negative = false;
  if (text.front() == '-' || text.front() == '+') {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  for (const string_view sign : {"$", "\xe2\x82\xac", "\xc2\xa3"}) {
    if (text.starts_with(sign)) text.remove_prefix(sign.size());
  }
  text = Trimmed(text);
  if (text.empty() || (!Is_Digit(text.front()) && text.front() != '.' && text.front() != ','))
    return std::nullopt;
  const auto plain = Plain_Number(text, mark);
  if (!plain) return std::nullopt;
  double number = 0;
  const char* const end = plain->data() + plain->size();
  const auto result = std::from_chars(plain->data(), end, number);
  if (result.ec != std::errc{} || result.ptr != end || !std::isfinite(number)) return std::nullopt;
  return negative ? -number : number;
}

int Full_Year(string_view digits) {
  const int number = To_Number(digits);
  if (digits.size() != 2) return number;
  return number < 50 ? 2000 + number : 1900 + number;
}

std::optional<Day> Make_Day(int year_number, int month_number, int day_number) {
  if (month_number < 1 || month_number > 12 || day_number < 1 || day_number > 31) return std::nullopt;
  const year_month_day date{year{year_number}, month{static_cast<unsigned>(month_number)},
                            day{static_cast<unsigned>(day_number)}};
  if (!date.ok()) return std::nullopt;
  return Day{date};
}

// The month of a name of three letters or more, 1 to 12.
std::optional<int> Month_Number(string_view name) {
  constexpr auto names =
      std::to_array<string_view>({"january", "february", "march", "april", "may", "june", "july", "august",
                                  "september", "october", "november", "december"});
  if (name.size() < 3) return std::nullopt;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (name.size() <= names[i].size() && Equal_Ignoring_Case(name, names[i].substr(0, name.size()))) {
      return static_cast<int>(i) + 1;
    }
  }
  return std::nullopt;
}

std::optional<Stamp> From_Epoch(string_view digits) {
  const bool in_milliseconds = digits.size() >= 12;
  std::int64_t number = 0;
  for (const char c : digits) number = 10 * number + (c - '0');
  const sys_seconds moment{seconds{in_milliseconds ? number / 1000 : number}};
  const Day date = floor<days>(moment);
  return Stamp{date, moment - date, true};
}

std::optional<Stamp> Digits_Alone(string_view digits) {
  std::optional<Day> date;
  switch (digits.size()) {
    case 6:
      date = Make_Day(Full_Year(digits.substr(0, 2)), To_Number(digits.substr(2, 2)),
                      To_Number(digits.substr(4)));
      break;
    case 8:
      date = Make_Day(To_Number(digits.substr(0, 4)), To_Number(digits.substr(4, 2)),
                      To_Number(digits.substr(6)));
      break;
    case 9:
    case 10:
    case 12:
    case 13:
      return From_Epoch(digits);
    default:
      break;
  }
  if (!date) return std::nullopt;
  return Stamp{*date, std::nullopt, false};
}

// The day that three words of digits or letters name.
std::optional<Day> Day_From_Words(const std::array<string_view, 3>& words, char separator, DateOrder order) {
  const auto is_year = [](string_view word) {
    return All_Digits(word) && (word.size() == 4 || word.size() == 2);
  };
  const auto is_part = [](string_view word) { return All_Digits(word) && word.size() <= 2; };
  const auto& [first, second, third] = words;

  if (const auto named = Month_Number(first)) {
    if (!is_part(second) || !is_year(third)) return std::nullopt;
    return Make_Day(Full_Year(third), *named, To_Number(second));
  }
  if (const auto named = Month_Number(second)) {
    if (is_part(first) && is_year(third)) return Make_Day(Full_Year(third), *named, To_Number(first));
    if (All_Digits(first) && first.size() == 4 && is_part(third)) {
      return Make_Day(To_Number(first), *named, To_Number(third));
    }
    return std::nullopt;
  }
  if (All_Digits(first) && first.size() == 4) {
    if (!is_part(second) || !is_part(third)) return std::nullopt;
    return Make_Day(To_Number(first), To_Number(second), To_Number(third));
  }
  if (!is_part(first) || !is_part(second) || !is_year(third)) return std::nullopt;
  // With dots, the day stands first wherever such dates are written.
  const bool day_first = separator == '.' || order == DateOrder::DayFirst;
  return Make_Day(Full_Year(third), To_Number(day_first ? second : first),
                  To_Number(day_first ? first : second));
}

std::optional<Stamp> Read_Date(string_view text, DateOrder order) {
  if (All_Digits(text)) return Digits_Alone(text);

  std::array<string_view, 3> words;
  std::size_t count = 0;
  char separator = 0;
  for (std::size_t i = 0; i < text.size();) {
    const bool digits = Is_Digit(text[i]);
    if (!digits && !Is_Letter(text[i])) {
      if (string_view{"-/., "}.find(text[i]) == string_view::npos || count == 0) return std::nullopt;
      if (separator == 0) separator = text[i];
      ++i;
      continue;
    }
    if (count == words.size()) return std::nullopt;
    const std::size_t begin = i;
    while (i < text.size() && (digits ? Is_Digit(text[i]) : Is_Letter(text[i]))) ++i;
    words[count++] = text.substr(begin, i - begin);
  }
  if (count != words.size()) return std::nullopt;
  const auto date = Day_From_Words(words, separator, order);
  if (!date) return std::nullopt;
  return Stamp{*date, std::nullopt, false};
}

struct ZonedTime {
  seconds Time{};
  bool Universal = false;
};

// Takes a zone offset off the end: Z, +HH, +HHMM or +HH:MM. None when what stands there is no offset.
std::optional<bool> Take_Zone(string_view& text) {
  if (!text.empty() && Lower(text.back()) == 'z') {
    text = Trimmed(text.substr(0, text.size() - 1));
    return true;
  }
  const auto sign = text.find_first_of("+-");
  if (sign == string_view::npos) return false;
  const string_view offset = text.substr(sign + 1);
  const bool has_colon = offset.size() == 5 && offset[2] == ':';
  if (offset.size() != 2 && offset.size() != 4 && !has_colon) return std::nullopt;
  if (!All_Digits(offset.substr(0, 2)) ||
      (offset.size() > 2 && !All_Digits(offset.substr(has_colon ? 3 : 2)))) {
    return std::nullopt;
  }
  text = Trimmed(text.substr(0, sign));
  return false;
}

std::optional<ZonedTime> Read_Zoned_Time(string_view text) {
  const auto universal = Take_Zone(text);
  if (!universal) return std::nullopt;

  std::optional<int> half_day;
  if (text.size() > 2 && Lower(text.back()) == 'm') {
    const char which = Lower(text[text.size() - 2]);
    if (which != 'a' && which != 'p') return std::nullopt;
    half_day = which == 'p' ? 12 : 0;
    text = Trimmed(text.substr(0, text.size() - 2));
  }
  const auto fraction = text.find('.');
  if (fraction != string_view::npos) {
    if (!All_Digits(text.substr(fraction + 1))) return std::nullopt;
    text = text.substr(0, fraction);
  }

  std::array<int, 3> parts{};
  if (text.find(':') == string_view::npos) {
    // Spreadsheets drop the zero at the front of 0930.
    if (!All_Digits(text) || text.size() < 3 || text.size() > 6) return std::nullopt;
    const int number = text.size() > 4 ? To_Number(text) : To_Number(text) * 100;
    parts = {number / 10000, number / 100 % 100, number % 100};
  } else {
    std::size_t count = 0;
    for (;;) {
      const auto colon = text.find(':');
      const auto part = text.substr(0, colon);
      if (count == parts.size() || !All_Digits(part) || part.size() > 2) return std::nullopt;
      parts[count++] = To_Number(part);
      if (colon == string_view::npos) break;
      text.remove_prefix(colon + 1);
    }
  }
  if (half_day) {
    if (parts[0] < 1 || parts[0] > 12) return std::nullopt;
    parts[0] = parts[0] % 12 + *half_day;
  }
  if (parts[0] > 23 || parts[1] > 59 || parts[2] > 59) return std::nullopt;
  return ZonedTime{hours{parts[0]} + minutes{parts[1]} + seconds{parts[2]}, *universal};
}

// Where the blank or T stands that parts a date from the time after it; npos when there is none.
std::size_t Find_Time(string_view text) {
  const auto colon = text.find(':');
  const auto parting = text.find_last_of("Tt ", colon);
  if (colon != string_view::npos) {
    // In "9:30 AM" the last blank may stand behind the time, so only blanks before its first colon count.
    return parting;
  }
  // "20120201 093000" and "20120201T093000".
  if (parting == string_view::npos || parting == 0 || !Is_Digit(text[parting - 1])) return string_view::npos;
  const auto after = text.substr(parting + 1);
  return !after.empty() && Is_Digit(after.front()) ? parting : string_view::npos;
}

}  // namespace

bool Is_No_Value(string_view text) {
  for (const string_view none : {"", "-", "--", "null", "n/a", "na", "nan", "none", "#n/a"}) {
    if (Equal_Ignoring_Case(text, none)) return true;
  }
  return false;
}

std::optional<double> Read_Price(string_view text, DecimalMark mark) {
  const auto price = Read_Number(Trimmed(text), mark);
  if (!price || std::abs(*price) >= price_limit) return std::nullopt;
  return price;
}

std::optional<std::int64_t> Read_Volume(string_view text, DecimalMark mark) {
  text = Trimmed(text);
  if (Is_No_Value(text)) return 0;
  double factor = 1;
  switch (Lower(text.back())) {
    case 'k':
      factor = 1e3;
      break;
    case 'm':
      factor = 1e6;
      break;
    case 'b':
      factor = 1e9;
      break;
    case 't':
      factor = 1e12;
      break;
    default:
      break;
  }
  if (factor != 1) text = Trimmed(text.substr(0, text.size() - 1));
  const auto number = Read_Number(text, mark);
  if (!number || *number < 0 || *number * factor > volume_limit) return std::nullopt;
  return std::llround(*number * factor);
}

std::optional<Stamp> Read_Stamp(string_view text, DateOrder order) {
  text = Trimmed(text);
  if (auto date = Read_Date(text, order)) return date;
  const auto parting = Find_Time(text);
  if (parting == string_view::npos) return std::nullopt;
  auto stamp = Read_Date(Trimmed(text.substr(0, parting)), order);
  const auto time = Read_Zoned_Time(Trimmed(text.substr(parting + 1)));
  // Seconds since 1970 hold a time already.
  if (!stamp || !time || stamp->Time) return std::nullopt;
  stamp->Time = time->Time;
  stamp->Universal = time->Universal;
  return stamp;
}

std::optional<seconds> Read_Time(string_view text) {
  const auto time = Read_Zoned_Time(Trimmed(text));
  if (!time) return std::nullopt;
  return time->Time;
}

}  // namespace hq::server
