#include "base/latch.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace hq {
namespace {

TEST(Latch, LetsGoAtTheLastCountOnly) {
  Latch two{2};
  std::atomic<bool> may_pass = false;
  std::atomic<bool> has_passed = false;
  std::jthread waiting{[&] {
    two.Wait();
    EXPECT_TRUE(may_pass);
    has_passed = true;
  }};
  two.Count_Down();
  may_pass = true;
  two.Count_Down();
  waiting.join();
  EXPECT_TRUE(has_passed);
  // Beyond the count, and for those who come late.
  two.Count_Down();
  two.Wait();
}

TEST(Latch, LosesNoCallOfAnyThread) {
  for (int round = 0; round < 2000; ++round) {
    Latch first;
    Latch second;
    const std::jthread other{[&] {
      first.Count_Down();
      second.Wait();
    }};
    first.Wait();
    second.Count_Down();
  }
}

}  // namespace
}  // namespace hq
