#include "server/live/pacing.h"

#include <gmock/gmock.h>
#include <thread>

#include "market/market_support.h"
#include "server/archive/archive.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::HasSubstr;
using testing::IsEmpty;

class PacingTest : public testing::Test {
 protected:
  const PacingTime start_ = sys_days{year{2026} / 11 / 20} + 18h;
  PacingTime now_ = start_;
  Archive archive_{{}};
  Pacing pacing_{archive_.Limits(), [this] { return now_; }};
};

TEST_F(PacingTest, GivesTheTokensOfABucketAndThenTellsTheWait) {
  const std::vector<RateLimit> limits{{3, minutes{1}, {}}};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(pacing_.Take("tiingo", limits).Wait, 0ms);
    now_ += 10s;
  }
  const PacingAnswer full = pacing_.Take("tiingo", limits);
  EXPECT_EQ(full.Wait, 30s);
  EXPECT_EQ(full.Reason, "it allows 3 requests a minute");
  EXPECT_EQ(pacing_.Take("alpaca", limits).Wait, 0ms);
  now_ += 30s;
  EXPECT_EQ(pacing_.Take("tiingo", limits).Wait, 0ms);
  EXPECT_EQ(pacing_.Take("tiingo", limits).Wait, 10s);
}

TEST_F(PacingTest, NoStretchOfAPeriodEverSeesMoreThanTheBucketHolds) {
  const std::vector<RateLimit> limits{{5, minutes{1}, {}}, {12, minutes{5}, {}}, {1, milliseconds{1500}, {}}};
  std::vector<PacingTime> taken;
  while (taken.size() < 100) {
    const PacingAnswer answer = pacing_.Take("x", limits);
    if (answer.Wait == 0ms) taken.push_back(now_);
    // Asked at odd times too, not only when it says.
    now_ += std::max<milliseconds>(answer.Wait / 2, 1ms);
  }
  for (std::size_t i = 0; i < taken.size(); ++i) {
    if (i >= 1) {
      EXPECT_GE(taken[i] - taken[i - 1], 1500ms);
    }
    if (i >= 5) {
      EXPECT_GE(taken[i] - taken[i - 5], 1min);
    }
    if (i >= 12) {
      EXPECT_GE(taken[i] - taken[i - 12], 5min);
    }
  }
  EXPECT_LT(taken.back() - taken.front(), 45min);
}

TEST_F(PacingTest, CountsADayAnewWhenTheServiceDoes) {
  const auto midnight = [](PacingTime taken) { return PacingTime{ceil<days>(taken + 1ms)}; };
  const std::vector<RateLimit> limits{{2, hours{24}, midnight}};
  EXPECT_EQ(pacing_.Take("eodhd", limits).Wait, 0ms);
  EXPECT_EQ(pacing_.Take("eodhd", limits).Wait, 0ms);
  EXPECT_EQ(pacing_.Take("eodhd", limits).Wait, 6h);
  EXPECT_THAT(pacing_.Take("eodhd", limits).Reason, HasSubstr("2 requests a day"));
  now_ += 6h;
  EXPECT_EQ(pacing_.Take("eodhd", limits, 2).Wait, 0ms);
  EXPECT_EQ(pacing_.Take("eodhd", limits).Wait, 24h);
}

TEST_F(PacingTest, ARequestThatCostsMoreTakesMore) {
  const std::vector<RateLimit> limits{{10, minutes{1}, {}}};
  EXPECT_EQ(pacing_.Take("x", limits, 5).Wait, 0ms);
  now_ += 1s;
  EXPECT_EQ(pacing_.Take("x", limits, 6).Wait, 59s);
  EXPECT_EQ(pacing_.Take("x", limits, 5).Wait, 0ms);
  // More than there ever are waits for all.
  EXPECT_EQ(pacing_.Take("x", limits, 50).Wait, 60s);
  now_ += 60s;
  EXPECT_EQ(pacing_.Take("x", limits, 50).Wait, 0ms);
}

TEST_F(PacingTest, WithoutLimitsNobodyWaits) {
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(pacing_.Take("x", {}).Wait, 0ms);
}

TEST_F(PacingTest, AClosedServiceIsNotAskedUntilItsTime) {
  pacing_.Close("x", start_ + 1h, "it said so");
  pacing_.Close("x", start_ + 5min, "too short to count");
  EXPECT_EQ(pacing_.Take("x", {}).Wait, 1h);
  EXPECT_EQ(pacing_.Take("x", {}).Reason, "it said so");
  EXPECT_EQ(pacing_.Closed("x"), std::pair(start_ + 1h, std::string{"it said so"}));
  EXPECT_EQ(pacing_.Closed("y"), std::nullopt);
  now_ += 1h;
  EXPECT_EQ(pacing_.Closed("x"), std::nullopt);
  EXPECT_EQ(pacing_.Take("x", {}).Wait, 0ms);
}

TEST_F(PacingTest, AnAnswerThatWasOnItsWayDoesNotOpenAService) {
  pacing_.Close("x", now_ + 1h, "it said so");
  pacing_.Answered("x");
  EXPECT_EQ(pacing_.Take("x", {}).Wait, 1h);
}

TEST_F(PacingTest, ClosesForTwiceAsLongEachTimeInARow) {
  for (const auto length : {15min, 30min, 60min, 120min, 240min, 240min}) {
    pacing_.Close_Growing("x", 15min, 4h, "throttled");
    // Another request that was on its way.
    pacing_.Close_Growing("x", 15min, 4h, "throttled");
    EXPECT_EQ(pacing_.Take("x", {}).Wait, length);
    now_ += length;
  }
  pacing_.Answered("x");
  pacing_.Close_Growing("x", 15min, 4h, "throttled");
  EXPECT_EQ(pacing_.Take("x", {}).Wait, 15min);
}

TEST_F(PacingTest, AClockThatIsSetBackLocksNobodyOut) {
  const std::vector<RateLimit> limits{{1, minutes{1}, {}}};
  EXPECT_EQ(pacing_.Take("x", limits).Wait, 0ms);
  now_ -= 24h * 365;
  EXPECT_EQ(pacing_.Take("x", limits).Wait, 0ms);
}

TEST(Pacing, OutlivesTheProgram) {
  const TemporaryFolder folder;
  PacingTime now = sys_days{year{2026} / 11 / 20} + 18h;
  const std::vector<RateLimit> limits{{3, hours{1}, {}}};
  for (int i = 0; i < 3; ++i) {
    Archive archive{folder.Path() / "quotes.db"};
    Pacing pacing{archive.Limits(), [&now] { return now; }};
    EXPECT_EQ(pacing.Take("tiingo", limits).Wait, 0ms);
    if (i == 2) pacing.Close_Growing("alpaca", 15min, 4h, "throttled");
    now += 1min;
  }
  Archive archive{folder.Path() / "quotes.db"};
  Pacing pacing{archive.Limits(), [&now] { return now; }};
  EXPECT_EQ(pacing.Take("tiingo", limits).Wait, 57min);
  EXPECT_EQ(pacing.Take("alpaca", limits).Wait, 14min);
  now += 14min;
  pacing.Close_Growing("alpaca", 15min, 4h, "throttled");
  EXPECT_EQ(pacing.Take("alpaca", limits).Wait, 30min);
}

TEST(Pacing, TwoServersOnOneFileShareTheBucket) {
  const TemporaryFolder folder;
  const PacingTime now = sys_days{year{2026} / 11 / 20} + 18h;
  const std::vector<RateLimit> limits{{50, hours{1}, {}}};
  std::atomic<int> taken = 0;
  {
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
      threads.emplace_back([&] {
        Archive archive{folder.Path() / "quotes.db"};
        Pacing pacing{archive.Limits(), [now] { return now; }};
        for (int i = 0; i < 25; ++i) taken += pacing.Take("tiingo", limits).Wait == 0ms ? 1 : 0;
      });
    }
    for (auto& thread : threads) thread.join();
  }
  EXPECT_EQ(taken, 50);
}

}  // namespace
}  // namespace hq::server
