#pragma once

#include <chrono>
#include <functional>

#include "market/bar.h"

namespace hq::server {

// A moment as the wall clock at the exchange shows it.
struct ExchangeTime {
  Day Date;
  // Time of day from midnight: 0 to 86399 seconds.
  std::chrono::seconds Time{};

  // The check takes the comparison with 0 for one with a pointer.
  // NOLINTNEXTLINE(modernize-use-nullptr)
  friend auto operator<=>(const ExchangeTime&, const ExchangeTime&) = default;
};

// Tells the time at the exchange. It may be called from several threads at once.
using ExchangeClock = std::function<ExchangeTime()>;

// The New York wall-clock time of a moment, by the daylight-saving rules of the United States since 1967
// (without the exceptional years 1974 and 1975); earlier years follow the rule of 1967. Years outside
// -32767..32767 are not meant.
[[nodiscard]] ExchangeTime New_York_Time(std::chrono::sys_seconds moment);

// The New York wall-clock time of the system clock.
[[nodiscard]] ExchangeTime New_York_Now();

}  // namespace hq::server
