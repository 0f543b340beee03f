#include <cstdint>
#include <gtest/gtest.h>
#include <windows.h>

// Needs the names of windows.h.
#include <mmsystem.h>

#include "platform/timer.h"

namespace hq {
namespace {

std::uint32_t Count() {
  return static_cast<std::uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Timer_Now().time_since_epoch()).count());
}

TEST(Timer, IsTheSystemsMultimediaTimer) {
  const std::uint32_t before = timeGetTime();
  const std::uint32_t count = Count();
  const std::uint32_t after = timeGetTime();
  EXPECT_LE(count - before, after - before);
}

}  // namespace
}  // namespace hq
