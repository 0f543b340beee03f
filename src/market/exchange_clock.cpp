#include "market/exchange_clock.h"

#include "market/zone_time.h"

namespace hq::server {

using namespace std::chrono;

ExchangeTime New_York_Time(sys_seconds moment) {
  static const Zone new_york = Find_Zone("America/New_York").value();
  return new_york.Local(moment);
}

ExchangeTime New_York_Now() {
  return New_York_Time(floor<seconds>(system_clock::now()));
}

}  // namespace hq::server
