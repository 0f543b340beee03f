#include <array>
#include <ctime>
#include <langinfo.h>
#include <locale.h>

#include "platform/clock.h"

namespace hq {

namespace {

// The user's own locale, without changing the program's. Null when the environment names none that exists.
class UserLocale {
 public:
  UserLocale() : locale_(newlocale(LC_TIME_MASK | LC_NUMERIC_MASK, "", nullptr)) {}
  UserLocale(const UserLocale&) = delete;
  UserLocale& operator=(const UserLocale&) = delete;
  ~UserLocale() {
    if (locale_ != nullptr) freelocale(locale_);
  }
  [[nodiscard]] locale_t Get() const { return locale_; }

 private:
  locale_t locale_;
};

std::string Text_Of(const std::tm& parts, const char* user_layout, const char* plain_layout) {
  const UserLocale user;
  std::array<char, 128> text{};
  const size_t length = user.Get() != nullptr
                            ? strftime_l(text.data(), text.size(), user_layout, &parts, user.Get())
                            : std::strftime(text.data(), text.size(), plain_layout, &parts);
  return {text.data(), length};
}

}  // namespace

std::string System_Time_Text(std::chrono::seconds time_of_day) {
  std::tm parts{};
  const auto seconds = static_cast<int>(time_of_day.count());
  parts.tm_hour = seconds / 3600;
  parts.tm_min = seconds / 60 % 60;
  parts.tm_sec = seconds % 60;
  parts.tm_mday = 1;
  return Text_Of(parts, "%X", "%H:%M:%S");
}

std::string System_Date_Text(Date date) {
  const std::chrono::year_month_day day(date);
  std::tm parts{};
  parts.tm_year = static_cast<int>(day.year()) - 1900;
  parts.tm_mon = static_cast<int>(static_cast<unsigned>(day.month())) - 1;
  parts.tm_mday = static_cast<int>(static_cast<unsigned>(day.day()));
  parts.tm_wday = static_cast<int>(std::chrono::weekday(date).c_encoding());
  return Text_Of(parts, "%x", "%m/%d/%y");
}

char Decimal_Separator() {
  const UserLocale user;
  // Only a separator of one byte fits the records.
  const char* text = user.Get() != nullptr ? nl_langinfo_l(RADIXCHAR, user.Get()) : ".";
  return text[0] != '\0' && text[1] == '\0' ? text[0] : '.';
}

}  // namespace hq
