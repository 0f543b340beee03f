#pragma once

#include <chrono>

#include "market/exchange_time.h"

namespace hq::server {

// The New York wall-clock time of a moment, as Zone::Local gives it for "America/New_York".
[[nodiscard]] ExchangeTime New_York_Time(std::chrono::sys_seconds moment);

// The New York wall-clock time of the system clock.
[[nodiscard]] ExchangeTime New_York_Now();

}  // namespace hq::server
