#include "base/dates.h"

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

void Append_Two_Digits(std::string& text, unsigned number) {
  text += static_cast<char>('0' + number / 10 % 10);
  text += static_cast<char>('0' + number % 10);
}

}  // namespace

Date Parse_Date(std::string_view text) {
  // Zeros before a month or a day do not spoil it: a box that holds 012 stands for December.
  constexpr size_t longest = 4;
  const int month = Take_Number_Between_Blanks(text, longest);
  Take_Character(text, '/');
  const int day = Take_Number_Between_Blanks(text, longest);
  Take_Character(text, '/');
  const std::string_view year_text = Trim(text);
  int year = Take_Number_Between_Blanks(text, longest);
  if (!text.empty() || year_text.size() == 3) throw RunTimeError(TypeMismatch);
  if (year_text.size() <= 2) year += year < 50 ? 2000 : 1900;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) throw RunTimeError(TypeMismatch);
  return date;
}

TimeOfDay Parse_Time(std::string_view text) {
  const int hour = Take_Number(text, 2);
  Take_Character(text, ':');
  const bool two_digits = text.size() == 2;
  const int minute = Take_Number(text, 2);
  if (!text.empty() || !two_digits || hour > 23 || minute > 59) throw RunTimeError(TypeMismatch);
  return TimeOfDay(hour * 60 + minute);
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
