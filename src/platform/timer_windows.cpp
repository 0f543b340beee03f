#include <atomic>
#include <cstdint>
#include <windows.h>

// Needs the names of windows.h.
#include <mmsystem.h>

#include "platform/timer.h"

namespace hq {

std::chrono::steady_clock::time_point Timer_Now() {
  // The system's count has 32 bits and begins anew after 49.7 days: what has passed since the last call is
  // added.
  static std::atomic<std::uint64_t> count{timeGetTime()};
  std::uint64_t before = count.load();
  std::uint64_t now = 0;
  do {
    now = before + static_cast<std::uint32_t>(timeGetTime() - static_cast<std::uint32_t>(before));
  } while (!count.compare_exchange_weak(before, now));
  return std::chrono::steady_clock::time_point(std::chrono::milliseconds(now));
}

}  // namespace hq
