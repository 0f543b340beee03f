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

}  // namespace hq::server
