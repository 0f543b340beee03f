#pragma once

#include <chrono>

namespace hq {

// The moment by the timer that elapsed times are taken from. It never goes back; on Windows it is that of
// timeGetTime, which counts milliseconds.
[[nodiscard]] std::chrono::steady_clock::time_point Timer_Now();

}  // namespace hq
