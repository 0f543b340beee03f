#include "platform/clock.h"

#include <ctime>

namespace hq {

namespace {

std::tm Local_Time() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
#ifdef _WIN32
  localtime_s(&parts, &now);
#else
  localtime_r(&now, &parts);
#endif
  return parts;
}

}  // namespace

Date SystemClock::Today() const {
  const std::tm now = Local_Time();
  return std::chrono::year_month_day(std::chrono::year(now.tm_year + 1900),
                                     std::chrono::month(static_cast<unsigned>(now.tm_mon + 1)),
                                     std::chrono::day(static_cast<unsigned>(now.tm_mday)));
}

std::chrono::seconds SystemClock::Time_Of_Day() const {
  const std::tm now = Local_Time();
  return std::chrono::hours(now.tm_hour) + std::chrono::minutes(now.tm_min) +
         std::chrono::seconds(now.tm_sec);
}

std::string General_Date_Text(Date date, std::chrono::seconds time_of_day) {
  return System_Date_Text(date) + " " + System_Time_Text(time_of_day);
}

std::string General_Date_Text(const Clock& clock) {
  return General_Date_Text(clock.Today(), clock.Time_Of_Day());
}

}  // namespace hq
