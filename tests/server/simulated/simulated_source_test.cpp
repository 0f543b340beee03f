#include "server/simulated/simulated_source.h"

#include <gmock/gmock.h>
#include <set>

#include "market/market_support.h"
#include "market/trading_calendar.h"
#include "server/http/quote_request.h"

namespace hq::server {
namespace {

using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A Friday, long after the close.
SimulatedSource Source_At(Day date = Date(2026, 11, 20), std::chrono::seconds time = At(20, 0)) {
  return SimulatedSource{Fixed_Clock(date, time)};
}

Day Latest(SimulatedSource source, std::optional<Day> before = {}) {
  return Bars_Of(source.Bars({"IBM", daily_interval, before, 1})).at(0).Date;
}

TEST(SimulatedSource, AnswersAsManySessionsAsTheIntervalHas) {
  auto source = Source_At();
  for (const int interval : {1, 5, 10, 20, 30, 60, 1440}) {
    const int limit = Session_Limit(interval).value();
    const auto bars = Bars_Of(source.Bars({"IBM", interval, Date(2003, 3, 11), limit}));
    std::set<Day> dates;
    for (std::size_t i = 0; i < bars.size(); ++i) {
      dates.insert(bars[i].Date);
      if (i > 0) {
        EXPECT_TRUE(Earlier(bars[i - 1], bars[i]));
      }
    }
    EXPECT_THAT(dates, SizeIs(limit)) << interval;
    EXPECT_EQ(*dates.rbegin(), Date(2003, 3, 10)) << interval;
    EXPECT_EQ(bars.at(0).Start, At(9, 30)) << interval;
  }
}

TEST(SimulatedSource, AgreesWithItselfAtAllIntervals) {
  auto source = Source_At();
  const Day after = Date(2024, 7, 4);
  for (const char* symbol : {"IBM", "index:DJI", "mutual FUND", "opra:XYZAB"}) {
    const auto minutes = Bars_Of(source.Bars({symbol, 1, after, 6}));
    EXPECT_THAT(minutes, SizeIs(5 * 390 + 210));
    for (const int interval : {5, 10, 20, 30, 60, 1440}) {
      EXPECT_EQ(Bars_Of(source.Bars({symbol, interval, after, 6})), Fold_Bars(minutes, interval))
          << symbol << ' ' << interval;
    }
  }
}

TEST(SimulatedSource, DoesNotDependOnTheDateAskedFor) {
  auto source = Source_At();
  const auto later = Bars_Of(source.Bars({"IBM", 60, Date(2003, 3, 20), 71}));
  const auto earlier = Bars_Of(source.Bars({"ibm", 60, Date(2003, 3, 11), 1}));
  for (const Bar& bar : earlier) EXPECT_THAT(later, Contains(bar));
}

TEST(SimulatedSource, EndsBeforeTheDateAskedFor) {
  EXPECT_EQ(Latest(Source_At(), Date(2003, 3, 11)), Date(2003, 3, 10));
  EXPECT_EQ(Latest(Source_At(), Date(2003, 3, 10)), Date(2003, 3, 7));
  EXPECT_EQ(Latest(Source_At(), Date(2003, 1, 1)), Date(2002, 12, 31));
  EXPECT_EQ(Latest(Source_At(), Date(2003, 1, 2)), Date(2002, 12, 31));
}

TEST(SimulatedSource, CountsASessionFromItsCloseOn) {
  EXPECT_EQ(Latest(Source_At(Date(2024, 7, 2), At(15, 59, 59))), Date(2024, 7, 1));
  EXPECT_EQ(Latest(Source_At(Date(2024, 7, 2), At(16, 0))), Date(2024, 7, 2));
  EXPECT_EQ(Latest(Source_At(Date(2024, 7, 3), At(12, 59, 59))), Date(2024, 7, 2));
  EXPECT_EQ(Latest(Source_At(Date(2024, 7, 3), At(13, 0))), Date(2024, 7, 3));
  EXPECT_EQ(Latest(Source_At(Date(2024, 7, 7), At(23, 0))), Date(2024, 7, 5));
}

TEST(SimulatedSource, ShowsNoFuture) {
  EXPECT_EQ(Latest(Source_At(Date(2024, 7, 2), At(12, 0)), Date(2030, 1, 1)), Date(2024, 7, 1));
  EXPECT_EQ(Latest(Source_At(Date(2060, 7, 2), At(12, 0))), Date(2049, 12, 31));
}

TEST(SimulatedSource, BeginsIn1950) {
  auto source = Source_At();
  EXPECT_THAT(Bars_Of(source.Bars({"IBM", 1440, Date(1950, 1, 1), 500})), IsEmpty());
  EXPECT_THAT(Bars_Of(source.Bars({"IBM", 1440, Date(1950, 1, 5), 500})), SizeIs(2));
  const auto old_clock = Bars_Of(Source_At(Date(1930, 1, 5), At(20, 0)).Bars({"IBM", 1440, {}, 500}));
  EXPECT_THAT(old_clock, IsEmpty());
}

TEST(SimulatedSource, SaysWhenItDoesNotKnowASymbol) {
  const Failure failure = Failure_Of(Source_At().Bars({"12345", 5, {}, 6}));
  EXPECT_EQ(failure.Kind, FailureKind::UnknownSymbol);
  EXPECT_THAT(failure.Reason, HasSubstr("\"12345\""));
}

TEST(SimulatedSource, FindsSampleSymbolsAndTheSymbolItself) {
  auto source = Source_At();
  const auto all = source.Find_Symbols("", 200);
  EXPECT_GE(all.size(), 30U);
  EXPECT_THAT(all, Contains(Field(&SymbolEntry::Symbol, "IBM")));
  EXPECT_THAT(all, Contains(Field(&SymbolEntry::Description, "simulated index")));
  EXPECT_THAT(source.Find_Symbols("index", 200), Contains(Field(&SymbolEntry::Symbol, "index:DJI")));
  EXPECT_THAT(source.Find_Symbols("qqzz", 200), SizeIs(1));
  EXPECT_EQ(source.Find_Symbols("qqzz", 200).at(0).Symbol, "QQZZ");
  EXPECT_THAT(source.Find_Symbols("no such symbol", 200), IsEmpty());
  EXPECT_THAT(source.Find_Symbols("", 3), SizeIs(3));
  for (const auto& entry : all)
    EXPECT_FALSE(std::holds_alternative<Failure>(source.Bars({entry.Symbol, 1440, {}, 1})));
}

}  // namespace
}  // namespace hq::server
