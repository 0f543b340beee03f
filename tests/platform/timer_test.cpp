#include "platform/timer.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace hq {
namespace {

using std::chrono::milliseconds;

TEST(Timer, CountsWhatPasses) {
  const auto begin = Timer_Now();
  std::this_thread::sleep_for(milliseconds(50));
  const auto passed = Timer_Now() - begin;
  // A timer of the system may count in steps of a sixtieth of a second.
  EXPECT_GE(passed, milliseconds(30));
  EXPECT_LT(passed, std::chrono::minutes(1));
}

TEST(Timer, NeverGoesBackInAnyThread) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([] {
      auto last = Timer_Now();
      for (int i = 0; i < 10'000; ++i) {
        const auto now = Timer_Now();
        ASSERT_GE(now, last);
        last = now;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace hq
