#pragma once

#include <chrono>
#include <string>

#include "market/bar.h"

namespace hq::server {

// A moment in UTC.
using Moment = std::chrono::sys_seconds;

// What bars belong together: those of one symbol, as one source sends them.
struct SeriesKey {
  // The source's short name, such as "tiingo".
  std::string Source;
  // Letter case does not count.
  std::string Symbol;
  // In minutes, as the source sends them: 1 to 1440.
  int Interval = daily_interval;
  // How prices are adjusted, such as "raw", "split" or "all".
  std::string Adjustment;
};

}  // namespace hq::server
