#include "base/dates.h"

#include <optional>

#include "base/run_time_error.h"
#include "base/strings.h"

namespace hq {

namespace {

void Skip_Blanks(std::string_view& text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
}

// Takes a number of at most digits digits off the front of text.
int Take_Number(std::string_view& text, size_t digits) {
  int number = 0;
  size_t taken = 0;
  while (taken < digits && taken < text.size() && text[taken] >= '0' && text[taken] <= '9') {
    number = number * 10 + (text[taken] - '0');
    ++taken;
  }
  if (taken == 0) throw RunTimeError(TypeMismatch);
  text.remove_prefix(taken);
  return number;
}

int Take_Number_Between_Blanks(std::string_view& text, size_t digits) {
  Skip_Blanks(text);
  const int number = Take_Number(text, digits);
  Skip_Blanks(text);
  return number;
}

void Take_Character(std::string_view& text, char c) {
  if (text.empty() || text.front() != c) throw RunTimeError(TypeMismatch);
  text.remove_prefix(1);
}

std::optional<int> Two_Digits(std::string_view text, size_t at) {
  const int tens = text[at] - '0';
  const int ones = text[at + 1] - '0';
  if (tens < 0 || tens > 9 || ones < 0 || ones > 9) return std::nullopt;
  return tens * 10 + ones;
}

int Whole_Year(int two_digits) {
  return two_digits + (two_digits < 50 ? 2000 : 1900);
}

Date Date_Of(int year, int month, int day) {
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) throw RunTimeError(TypeMismatch);
  return date;
}

TimeOfDay Time_Of(int hour, int minute) {
  if (hour > 23 || minute > 59) throw RunTimeError(TypeMismatch);
  return TimeOfDay(hour * 60 + minute);
}

void Append_Two_Digits(std::string& text, unsigned number) {
  text += static_cast<char>('0' + number / 10 % 10);
  text += static_cast<char>('0' + number % 10);
}

}  // namespace

Date Parse_Date(std::string_view text) {
  // Every key's date has this form, and a table has thousands of keys.
  if (text.size() == 8 && text[2] == '/' && text[5] == '/') {
    const std::optional<int> month = Two_Digits(text, 0);
    const std::optional<int> day = Two_Digits(text, 3);
    const std::optional<int> year = Two_Digits(text, 6);
    if (month && day && year) return Date_Of(Whole_Year(*year), *month, *day);
  }
  // Zeros before a month or a day do not spoil it: a box that holds 012 stands for December.
  constexpr size_t longest = 4;
  const int month = Take_Number_Between_Blanks(text, longest);
  Take_Character(text, '/');
  const int day = Take_Number_Between_Blanks(text, longest);
  Take_Character(text, '/');
  const std::string_view year_text = Trim(text);
  const int year = Take_Number_Between_Blanks(text, longest);
  if (!text.empty() || year_text.size() == 3) throw RunTimeError(TypeMismatch);
  return Date_Of(year_text.size() <= 2 ? Whole_Year(year) : year, month, day);
}

TimeOfDay Parse_Time(std::string_view text) {
  if (text.size() == 5 && text[2] == ':') {
    const std::optional<int> hour = Two_Digits(text, 0);
    const std::optional<int> minute = Two_Digits(text, 3);
    if (hour && minute) return Time_Of(*hour, *minute);
  }
  const int hour = Take_Number(text, 2);
  Take_Character(text, ':');
  const bool two_digits = text.size() == 2;
  const int minute = Take_Number(text, 2);
  if (!text.empty() || !two_digits) throw RunTimeError(TypeMismatch);
  return Time_Of(hour, minute);
}

void Append_Date(std::string& text, Date date, std::string_view layout) {
  const std::chrono::year_month_day parts(date);
  const auto year = static_cast<unsigned>(static_cast<int>(parts.year()));
  while (!layout.empty()) {
    if (layout.starts_with("YYYY")) {
      Append_Two_Digits(text, year / 100);
      Append_Two_Digits(text, year);
      layout.remove_prefix(4);
    } else if (layout.starts_with("YY")) {
      Append_Two_Digits(text, year);
      layout.remove_prefix(2);
    } else if (layout.starts_with("MM")) {
      Append_Two_Digits(text, static_cast<unsigned>(parts.month()));
      layout.remove_prefix(2);
    } else if (layout.starts_with("DD")) {
      Append_Two_Digits(text, static_cast<unsigned>(parts.day()));
      layout.remove_prefix(2);
    } else {
      text += layout.front();
      layout.remove_prefix(1);
    }
  }
}

void Append_Time(std::string& text, TimeOfDay time, std::string_view layout) {
  const auto minutes = static_cast<unsigned>(time.count());
  while (!layout.empty()) {
    if (layout.starts_with("HH")) {
      Append_Two_Digits(text, minutes / 60);
      layout.remove_prefix(2);
    } else if (layout.starts_with("MM")) {
      Append_Two_Digits(text, minutes % 60);
      layout.remove_prefix(2);
    } else {
      text += layout.front();
      layout.remove_prefix(1);
    }
  }
}

}  // namespace hq
