#include "server/simulated/simulated_market.h"

#include <cmath>
#include <gmock/gmock.h>
#include <set>

#include "market/market_support.h"
#include "market/trading_calendar.h"

namespace hq::server {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

SimulatedSymbol Symbol(std::string_view name) {
  return Find_Simulated_Symbol(name).value();
}

std::vector<Bar> Minutes(std::string_view name, Day date) {
  std::vector<Bar> bars;
  Append_Simulated_Minutes(Symbol(name), date, bars);
  return bars;
}

Bar Daily(std::string_view name, Day date) {
  return Fold_Bars(Minutes(name, date), daily_interval).at(0);
}

TEST(Find_Simulated_Symbol, KnowsTheFormsOfSymbolsInAnyLetterCase) {
  EXPECT_EQ(Symbol("ibm").Name, "IBM");
  EXPECT_EQ(Symbol("brk.b").Name, "BRK.B");
  EXPECT_EQ(Symbol("A").Kind, SecurityKind::Share);
  EXPECT_EQ(Symbol("mutual FUND").Name, "mutual:FUND");
  EXPECT_EQ(Symbol("MUTUAL:fund").Name, "mutual:FUND");
  EXPECT_EQ(Symbol("mutual FUND").Kind, SecurityKind::MutualFund);
  EXPECT_EQ(Symbol("INDEX:dji").Name, "index:DJI");
  EXPECT_EQ(Symbol("index:DJI").Kind, SecurityKind::Index);
  EXPECT_EQ(Symbol("opra:XYZAB").Name, "opra:XYZAB");
  EXPECT_EQ(Symbol("opra:AAPL 240119C00150000").Kind, SecurityKind::Option);
  EXPECT_EQ(Symbol("index:DJI").Seed, Symbol("INDEX:dji").Seed);
  EXPECT_NE(Symbol("DJI").Seed, Symbol("index:DJI").Seed);
}

TEST(Find_Simulated_Symbol, KnowsNothingElse) {
  for (const char* unknown : {"",
                              " ",
                              "ABCDEF",
                              "12345",
                              "IBM1",
                              "BRK.C",
                              "BRK.",
                              ".A",
                              "A-B",
                              "^GSPC",
                              "../x",
                              "IBM ",
                              "index:",
                              "index:TOOLONGNAME",
                              "index:A B",
                              "mutual",
                              "mutual ",
                              "mutual:SIXSIX",
                              "mutual 12",
                              "opra:",
                              "opra:1AB",
                              "opra:AB ",
                              "opra:ABCDEFGHIJKLMNOPQRSTUV",
                              "IB\xc3\x9c",
                              "<b>"}) {
    EXPECT_FALSE(Find_Simulated_Symbol(unknown).has_value()) << unknown;
  }
  EXPECT_FALSE(Find_Simulated_Symbol(std::string(100000, 'A')).has_value());
  EXPECT_FALSE(Find_Simulated_Symbol(std::string_view{"A\0", 2}).has_value());
}

TEST(Append_Simulated_Minutes, IsTheSameMarketEverywhere) {
  const auto bars = Minutes("IBM", Date(2003, 3, 10));
  ASSERT_THAT(bars, SizeIs(390));
  EXPECT_EQ(bars[0], (Bar{Date(2003, 3, 10), At(9, 30), 104.87, 104.89, 104.81, 104.86, 41850}));
  EXPECT_EQ(bars[1], (Bar{Date(2003, 3, 10), At(9, 31), 104.86, 104.92, 104.78, 104.83, 25328}));
  EXPECT_EQ(bars[200], (Bar{Date(2003, 3, 10), At(12, 50), 104.71, 104.74, 104.64, 104.73, 3671}));
  EXPECT_EQ(bars[389], (Bar{Date(2003, 3, 10), At(15, 59), 105.05, 105.09, 104.95, 104.95, 7960}));
  EXPECT_EQ(Daily("IBM", Date(2003, 3, 7)),
            (Bar{Date(2003, 3, 7), At(9, 30), 104.82, 106.27, 104.49, 105.28, 1488957}));
  EXPECT_EQ(Daily("MSFT", Date(1950, 5, 31)),
            (Bar{Date(1950, 5, 31), At(9, 30), 21.38, 21.48, 20.77, 20.88, 13448693}));
  EXPECT_EQ(Daily("index:DJI", Date(2026, 11, 20)),
            (Bar{Date(2026, 11, 20), At(9, 30), 4289.10, 4312.86, 4249.34, 4251.54, 1080965}));
  EXPECT_EQ(Daily("mutual FUND", Date(2024, 7, 3)),
            (Bar{Date(2024, 7, 3), At(9, 30), 108.59, 110.30, 108.55, 110.20, 237836}));
  EXPECT_EQ(Minutes("opra:XYZAB", Date(2024, 7, 3)).back().Close, 13.75);
}

TEST(Append_Simulated_Minutes, FillsTheSessionMinuteByMinute) {
  for (const Day date : {Date(2024, 7, 2), Date(2024, 7, 3)}) {
    const auto bars = Minutes("IBM", date);
    ASSERT_THAT(bars, SizeIs(Session_Minutes(date)));
    for (std::size_t i = 0; i < bars.size(); ++i) {
      EXPECT_EQ(bars[i].Date, date);
      EXPECT_EQ(bars[i].Start, At(9, 30 + static_cast<int>(i)));
    }
  }
  EXPECT_THAT(Minutes("IBM", Date(2024, 7, 4)), IsEmpty());
  EXPECT_THAT(Minutes("IBM", Date(2024, 7, 6)), IsEmpty());
}

TEST(Append_Simulated_Minutes, MakesSoundBarsForManySymbolsAndDecades) {
  std::vector<std::string> names;
  for (const char* form : {"", "mutual:", "index:", "opra:"}) {
    for (const char* name : {"A", "AA", "IBM", "MSFT", "ZZZZZ", "QX", "GOOG", "SPY"})
      names.push_back(std::string{form} + name);
  }
  for (const auto& name : names) {
    for (int year = 1950; year < 2050; year += 9) {
      const Day date = Session_Before(Date(year, 11, 20));
      for (const Bar& bar : Minutes(name, date)) {
        ASSERT_GE(bar.Low, 0.01) << name << ' ' << year;
        ASSERT_LE(bar.High, 100000) << name << ' ' << year;
        ASSERT_GE(bar.High, std::max(bar.Open, bar.Close));
        ASSERT_LE(bar.Low, std::min(bar.Open, bar.Close));
        ASSERT_GE(bar.Volume, 1);
        for (const double price : {bar.Open, bar.High, bar.Low, bar.Close}) {
          ASSERT_EQ(price, std::round(price * 100) / 100) << "a price is whole cents";
        }
      }
    }
  }
}

TEST(Append_Simulated_Minutes, GoesOnWhereTheLastMinuteEnded) {
  const auto bars = Minutes("MSFT", Date(2019, 5, 14));
  for (std::size_t i = 1; i < bars.size(); ++i) EXPECT_NEAR(bars[i].Open, bars[i - 1].Close, 0.0101);
}

TEST(Append_Simulated_Minutes, GoesOnFromDayToDay) {
  for (const char* name : {"IBM", "AAPL", "KO", "XOM", "F"}) {
    double moves = 0;
    double gaps = 0;
    int days = 0;
    Bar before = Daily(name, Session_Before(Date(2010, 1, 1)));
    for (Day date = Date(2010, 1, 1); date < Date(2012, 1, 1); date += std::chrono::days{1}) {
      if (!Is_Session(date)) continue;
      const Bar bar = Daily(name, date);
      const double gap = std::abs(bar.Open / before.Close - 1);
      ASSERT_LT(gap, 0.09) << name;
      gaps += gap;
      moves += std::abs(bar.Close / before.Close - 1);
      before = bar;
      ++days;
    }
    EXPECT_GT(moves / days, 0.005) << name << ": the usual move of a day";
    EXPECT_LT(moves / days, 0.03) << name << ": the usual move of a day";
    EXPECT_GT(gaps / days, 0.0005) << name << ": the usual gap of a night";
    EXPECT_LT(gaps / moves, 0.5) << name << ": the gaps are small beside the moves";
  }
}

TEST(Append_Simulated_Minutes, GivesSymbolsPricesOfTheirOwn) {
  std::set<double> opens;
  double lowest = 1e9;
  double highest = 0;
  for (char first = 'A'; first <= 'Z'; ++first) {
    const double open = Minutes(std::string{first, 'X'}, Date(2020, 6, 10)).at(0).Open;
    opens.insert(open);
    lowest = std::min(lowest, open);
    highest = std::max(highest, open);
  }
  EXPECT_THAT(opens, SizeIs(26));
  EXPECT_GT(lowest, 2);
  EXPECT_LT(highest, 1000);
  EXPECT_GT(highest, 5 * lowest);
}

TEST(Append_Simulated_Minutes, TradesMostAtBothEndsOfTheDay) {
  std::vector<double> by_hour(6);
  for (Day date = Date(2020, 1, 2); date < Date(2020, 4, 1); date += std::chrono::days{1}) {
    if (Session_Minutes(date) != 390) continue;
    const auto bars = Minutes("IBM", date);
    for (std::size_t i = 0; i < bars.size(); ++i)
      by_hour[i * 6 / bars.size()] += static_cast<double>(bars[i].Volume);
  }
  EXPECT_GT(by_hour[0], 1.4 * by_hour[2]);
  EXPECT_GT(by_hour[5], 1.4 * by_hour[3]);
  EXPECT_GT(by_hour[0], by_hour[1]);
  EXPECT_GT(by_hour[5], by_hour[4]);
}

TEST(Append_Simulated_Minutes, MovesAFewCentsAMinute) {
  double range = 0;
  double price = 0;
  for (const Bar& bar : Minutes("IBM", Date(2019, 5, 14))) {
    range += bar.High - bar.Low;
    price += bar.Close;
  }
  EXPECT_GT(range / price, 0.0002);
  EXPECT_LT(range / price, 0.003);
}

}  // namespace
}  // namespace hq::server
