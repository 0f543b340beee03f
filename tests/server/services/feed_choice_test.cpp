#include "server/services/feed_choice.h"

#include <gmock/gmock.h>

#include "server/services/answer_writer.h"

namespace hq::server {
namespace {

TEST(FeedChoice, AFeedWithTheAdjustmentGoesBeforeOneThatIsServedInstead) {
  const auto chosen = [](const char* name, int interval, Adjustment adjustment) -> std::string {
    const auto profile = Shipped(name);
    const auto feed = Choose_Feed(profile, interval, adjustment);
    if (!feed) return "none";
    return std::to_string(profile.Feeds[feed->Feed].Minutes) + " " +
           std::string{Adjustment_Name(feed->Adjusted)};
  };
  EXPECT_EQ(chosen("alpaca", 60, Adjustment::Splits), "5 adjusted for splits");
  EXPECT_EQ(chosen("alpaca", 1, Adjustment::Raw), "1 not adjusted");
  EXPECT_EQ(chosen("tiingo", 1440, Adjustment::Splits), "1440 adjusted for splits");
  EXPECT_EQ(chosen("tiingo", 20, Adjustment::Splits), "5 not adjusted");
  EXPECT_EQ(chosen("tiingo", 20, Adjustment::Full), "none");
  EXPECT_EQ(chosen("eodhd", 1440, Adjustment::Splits), "1440 adjusted for splits and dividends");
  EXPECT_EQ(chosen("eodhd", 1440, Adjustment::Raw), "1440 not adjusted");
  EXPECT_EQ(chosen("yahoo", 60, Adjustment::Splits), "60 adjusted for splits");
  EXPECT_EQ(chosen("yahoo", 1440, Adjustment::Raw), "none");
  EXPECT_EQ(chosen("twelvedata", 60, Adjustment::Splits), "30 adjusted for splits");
}

TEST(FeedChoice, SymbolsAreSpelledAsTheServiceDoes) {
  const auto spelled = [](const char* name, std::string_view symbol) {
    return Spell_Symbol(Shipped(name), symbol).value_or("none");
  };
  EXPECT_EQ(spelled("yahoo", "aapl"), "AAPL");
  EXPECT_EQ(spelled("yahoo", "BRK.B"), "BRK-B");
  EXPECT_EQ(spelled("yahoo", "VOD.L"), "VOD.L");
  EXPECT_EQ(spelled("yahoo", "index:DJI"), "^DJI");
  EXPECT_EQ(spelled("yahoo", "INDEX:spx"), "^GSPC");
  EXPECT_EQ(spelled("yahoo", "index:COMP"), "^IXIC");
  EXPECT_EQ(spelled("yahoo", "mutual VFINX"), "VFINX");
  EXPECT_EQ(spelled("yahoo", "opra:AAPL  240119C00150000"), "AAPL240119C00150000");
  EXPECT_EQ(spelled("cboe", "index:SPX"), "_SPX");
  EXPECT_EQ(spelled("cboe", "mutual:VFINX"), "none");
  EXPECT_EQ(spelled("alpaca", "BRK.B"), "BRK.B");
  EXPECT_EQ(spelled("alpaca", "index:SPX"), "none");
  EXPECT_EQ(spelled("polygon", "index:SPX"), "I:SPX");
  EXPECT_EQ(spelled("polygon", "opra:AAPL230616C00150000"), "O:AAPL230616C00150000");
  EXPECT_EQ(spelled("tiingo", "BRK.A"), "BRK-A");
  EXPECT_EQ(spelled("twelvedata", "index:COMP"), "IXIC");
  EXPECT_EQ(spelled("eodhd", "AAPL"), "AAPL.US");
  EXPECT_EQ(spelled("eodhd", "BRK.B"), "BRK-B.US");
  EXPECT_EQ(spelled("eodhd", "BMW.XETRA"), "BMW.XETRA");
  EXPECT_EQ(spelled("eodhd", "index:SPX"), "GSPC.INDX");
}

TEST(FeedChoice, WhatIsNoSymbolHasNoSpelling) {
  const auto profile = Shipped("yahoo");
  for (const auto& symbol : {std::string{}, std::string{"   "}, std::string{"index:"}, std::string{"A\nB"},
                             std::string{"A\0B", 3}, std::string(61, 'A')})
    EXPECT_FALSE(Spell_Symbol(profile, symbol)) << symbol;
}

}  // namespace
}  // namespace hq::server
