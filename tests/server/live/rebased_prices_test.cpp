#include "server/live/rebased_prices.h"

#include <gtest/gtest.h>

#include "market/market_support.h"

namespace hq::server {
namespace {

using namespace std::chrono;

std::vector<Bar> Closes(const std::vector<double>& closes) {
  std::vector<Bar> bars;
  Day date = Date(2026, 11, 2);
  for (const double close : closes) {
    bars.push_back({date, session_open, close, close, close, close, 100});
    date += days{1};
  }
  return bars;
}

bool Rebased(const std::vector<double>& archived, const std::vector<double>& fetched,
             Adjustment adjusted = Adjustment::Splits) {
  std::vector<NativeBar> natives;
  for (const Bar& bar : Closes(fetched)) natives.push_back({bar, true});
  return Is_Rebased(Closes(archived), natives, adjusted);
}

const std::vector<double> week = {100, 101, 99, 102, 98};

TEST(RebasedPrices, TheSamePricesAreNone) {
  EXPECT_FALSE(Rebased(week, week));
  EXPECT_FALSE(Rebased({}, week));
  EXPECT_FALSE(Rebased(week, {}));
}

TEST(RebasedPrices, AreThoseThatChangedInOneProportion) {
  EXPECT_TRUE(Rebased(week, {50, 50.5, 49.5, 51, 49}));
  EXPECT_TRUE(Rebased(week, {1000, 1010, 990, 1020, 980}));
  EXPECT_TRUE(Rebased(week, {25, 25.25, 24.75, 25.5, 24.5, 24}));
  EXPECT_FALSE(Rebased(week, {50, 50.5, 49.5, 51, 49}, Adjustment::Raw)) << "traded prices don't change";
}

TEST(RebasedPrices, AreAlsoThoseOfWhichOnlyThePastChanged) {
  EXPECT_TRUE(Rebased({100, 101, 99, 102, 49}, {50, 50.5, 49.5, 51, 49}));
  EXPECT_TRUE(Rebased({100, 50.5, 49.5, 51, 49}, {50, 50.5, 49.5, 51, 49}));
  EXPECT_TRUE(Rebased({100, 101, 99, 102, 98}, {99.5, 100.5, 98.51, 102, 98}, Adjustment::Full));
}

TEST(RebasedPrices, CorrectionsAreNone) {
  EXPECT_FALSE(Rebased(week, {100, 101, 95, 102, 98}));
  EXPECT_FALSE(Rebased(week, {103, 101, 99, 102, 98})) << "of the oldest bar alone";
  EXPECT_FALSE(Rebased(week, {103, 99, 99, 102, 98})) << "in different proportions";
  EXPECT_FALSE(Rebased(week, {100, 101, 99, 102, 49})) << "of the newest bar alone";
  EXPECT_FALSE(Rebased({100}, {103}));
  EXPECT_TRUE(Rebased({100}, {50}));
}

TEST(RebasedPrices, DividendsCountWherePricesAreAdjustedForThem) {
  const std::vector<double> after = {99.8, 100.8, 98.8, 101.8, 97.8};
  EXPECT_TRUE(Rebased(week, after, Adjustment::Full));
  EXPECT_FALSE(Rebased(week, after, Adjustment::Splits));
}

}  // namespace
}  // namespace hq::server
