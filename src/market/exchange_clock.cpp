#include "market/exchange_clock.h"

namespace hq::server {
namespace {

using namespace std::chrono;

struct SummerTime {
  sys_days First;
  sys_days Last;
};

SummerTime Summer_Time(year of) {
  if (of >= year{2007}) return {of / March / Sunday[2], of / November / Sunday[1]};
  if (of >= year{1987}) return {of / April / Sunday[1], of / October / Sunday[last]};
  return {of / April / Sunday[last], of / October / Sunday[last]};
}

}  // namespace

ExchangeTime New_York_Time(sys_seconds moment) {
  const auto standard = moment - hours{5};
  const SummerTime summer = Summer_Time(year_month_day{floor<days>(standard)}.year());
  // Both changes happen at 02:00 of the clock then in force, so the second one is at 01:00 standard time.
  const bool is_summer = standard >= summer.First + hours{2} && standard < summer.Last + hours{1};
  const auto local = is_summer ? standard + hours{1} : standard;
  const auto date = floor<days>(local);
  return {date, local - date};
}

ExchangeTime New_York_Now() {
  return New_York_Time(floor<seconds>(system_clock::now()));
}

}  // namespace hq::server
