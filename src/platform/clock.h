#pragma once

#include <chrono>
#include <string>

#include "base/dates.h"

namespace hq {

// The day and the time that the program goes by.
class Clock {
 public:
  Clock() = default;
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;
  virtual ~Clock() = default;

  [[nodiscard]] virtual Date Today() const = 0;
  // Since local midnight, whole seconds.
  [[nodiscard]] virtual std::chrono::seconds Time_Of_Day() const = 0;
};

// The machine's clock in its local time.
class SystemClock final : public Clock {
 public:
  [[nodiscard]] Date Today() const override;
  [[nodiscard]] std::chrono::seconds Time_Of_Day() const override;
};

// A day as the system writes short dates for this user.
[[nodiscard]] std::string System_Date_Text(Date date);

// A time of day (since midnight, whole seconds) as the system writes times for this user.
[[nodiscard]] std::string System_Time_Text(std::chrono::seconds time_of_day);

// A day and a time of day in the "General Date" form: the date, a blank and the time.
[[nodiscard]] std::string General_Date_Text(Date date, std::chrono::seconds time_of_day);
[[nodiscard]] std::string General_Date_Text(const Clock& clock);

// The character that stands before decimals for this user, such as '.' or ','.
[[nodiscard]] char Decimal_Separator();

}  // namespace hq
