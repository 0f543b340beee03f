#include <array>
#include <windows.h>

#include "platform/clock.h"

namespace hq {

namespace {

// What GetTimeFormatA or GetDateFormatA writes for this user.
template <class Call>
std::string Text_Of(Call call, DWORD layout, const SYSTEMTIME& time) {
  std::array<char, 128> text{};
  const int size =
      call(LOCALE_USER_DEFAULT, layout, &time, nullptr, text.data(), static_cast<int>(text.size()));
  // The size counts the NUL at the end.
  return size > 0 ? std::string(text.data(), static_cast<size_t>(size) - 1) : std::string();
}

}  // namespace

std::string System_Time_Text(std::chrono::seconds time_of_day) {
  const auto seconds = time_of_day.count();
  SYSTEMTIME time{};
  time.wHour = static_cast<WORD>(seconds / 3600);
  time.wMinute = static_cast<WORD>(seconds / 60 % 60);
  time.wSecond = static_cast<WORD>(seconds % 60);
  return Text_Of(GetTimeFormatA, 0, time);
}

std::string System_Date_Text(Date date) {
  const std::chrono::year_month_day day(date);
  SYSTEMTIME time{};
  time.wYear = static_cast<WORD>(static_cast<int>(day.year()));
  time.wMonth = static_cast<WORD>(static_cast<unsigned>(day.month()));
  time.wDay = static_cast<WORD>(static_cast<unsigned>(day.day()));
  return Text_Of(GetDateFormatA, DATE_SHORTDATE, time);
}

char Decimal_Separator() {
  // Only a separator of one byte fits the records.
  std::array<char, 8> text{};
  const int size =
      GetLocaleInfoA(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, text.data(), static_cast<int>(text.size()));
  return size == 2 ? text[0] : '.';
}

}  // namespace hq
