#include "market/trading_calendar.h"

namespace hq::server {
namespace {

using namespace std::chrono;

constexpr seconds early_close = hours{13};
constexpr seconds usual_close = hours{16};

// The day a fixed holiday is kept: Friday for a Saturday, Monday for a Sunday.
Day Observed(Day date) {
  const weekday day{date};
  if (day == Saturday) return date - days{1};
  if (day == Sunday) return date + days{1};
  return date;
}

bool Is_Weekend(Day date) {
  const weekday day{date};
  return day == Saturday || day == Sunday;
}

Day Thanksgiving(year of) {
  return of / November / Thursday[4];
}

}  // namespace

Day Easter_Sunday(year of) {
  // Gauss's method in its Gregorian form: the golden number gives the full moon, the rest finds the Sunday
  // after it.
  const int y = int{of};
  const int golden = y % 19;
  const int century = y / 100;
  const int of_century = y % 100;
  const int moon_shift = (century - (century + 8) / 25 + 1) / 3;
  const int moon = (19 * golden + century - century / 4 - moon_shift + 15) % 30;
  const int to_sunday = (32 + 2 * (century % 4) + 2 * (of_century / 4) - moon - of_century % 4) % 7;
  const int correction = (golden + 11 * moon + 22 * to_sunday) / 451;
  const int days_past_21_march = moon + to_sunday - 7 * correction + 1;
  return sys_days{of / March / 21} + days{days_past_21_march};
}

bool Is_Holiday(Day date) {
  const year_month_day ymd{date};
  const year of = ymd.year();

  // A New Year's Day on a Saturday is not made up for on the Friday before, the last trading day of the old
  // year.
  const Day new_year{of / January / 1};
  if (date == (weekday{new_year} == Sunday ? new_year + days{1} : new_year)) return true;

  if (of >= year{1998} && date == Day{of / January / Monday[3]}) return true;
  const Day washington = of >= year{1971} ? Day{of / February / Monday[3]} : Observed(of / February / 22);
  if (date == washington) return true;
  if (date == Easter_Sunday(of) - days{2}) return true;
  const Day memorial = of >= year{1971} ? Day{of / May / Monday[last]} : Observed(of / May / 30);
  if (date == memorial) return true;
  if (of >= year{2022} && date == Observed(of / June / 19)) return true;
  if (date == Observed(of / July / 4)) return true;
  if (date == Day{of / September / Monday[1]}) return true;
  if (date == Thanksgiving(of)) return true;
  return date == Observed(of / December / 25);
}

bool Is_Session(Day date) {
  return !Is_Weekend(date) && !Is_Holiday(date);
}

bool Is_Early_Close(Day date) {
  if (!Is_Session(date)) return false;
  const year_month_day ymd{date};
  if (date == Thanksgiving(ymd.year()) + days{1}) return true;
  if (ymd.month() == December && ymd.day() == day{24}) return true;
  // A Friday 3 July would be the day kept for the Saturday, so a session on it has the holiday on the next
  // weekday.
  return ymd.month() == July && ymd.day() == day{3};
}

seconds Session_Close(Day date) {
  return Is_Early_Close(date) ? early_close : usual_close;
}

int Session_Minutes(Day date) {
  if (!Is_Session(date)) return 0;
  return static_cast<int>(duration_cast<minutes>(Session_Close(date) - session_open).count());
}

Day Session_Before(Day date) {
  do date -= days{1};
  while (!Is_Session(date));
  return date;
}

}  // namespace hq::server
