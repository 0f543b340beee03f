#include "platform/timer.h"

namespace hq {

std::chrono::steady_clock::time_point Timer_Now() {
  return std::chrono::steady_clock::now();
}

}  // namespace hq
