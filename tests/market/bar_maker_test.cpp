#include "market/bar_maker.h"

#include <gmock/gmock.h>

#include "market/market_support.h"
#include "market/trading_calendar.h"
#include "server/http/quote_request.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A bar whose prices are told by one number.
Bar At_Price(Day date, seconds start, double price, std::int64_t volume = 10) {
  return {date, start, price, price + 1, price - 1, price + 0.5, volume};
}

std::vector<Bar> Session(Day date, int length, double price = 100) {
  std::vector<Bar> bars;
  for (seconds start = session_open; start < Session_Close(date); start += minutes{length})
    bars.push_back(At_Price(date, start, price++));
  return bars;
}

const Day thursday = Date(2026, 11, 19);
const Day friday = Date(2026, 11, 20);

FeedBars Feed(const std::vector<Bar>& bars, int length,
              ExchangeTime until = {Date(2026, 11, 21), seconds{0}}) {
  return {bars, length, until, true, "Good Quotes"};
}

std::vector<seconds> Starts(const std::vector<Bar>& bars) {
  std::vector<seconds> starts;
  for (const Bar& bar : bars) starts.push_back(bar.Start);
  return starts;
}

TEST(BarMaker, TenTwentyThirtyAndSixtyMinutesBeginAtTheOpen) {
  const auto bars = Session(friday, 5);
  const auto answer = [&](int interval) {
    return Bars_Of(Answer_From_Feed(Feed(bars, 5), {"X", interval, {}, 1}));
  };
  EXPECT_THAT(answer(5), SizeIs(78));
  EXPECT_THAT(answer(10), SizeIs(39));
  EXPECT_THAT(answer(30), SizeIs(13));
  const auto twenty = answer(20);
  ASSERT_THAT(twenty, SizeIs(20));
  EXPECT_EQ(twenty.front(), (Bar{friday, At(9, 30), 100, 104, 99, 103.5, 40}));
  EXPECT_EQ(twenty.back().Start, At(15, 50));
  EXPECT_EQ(twenty.back().Volume, 20);
  EXPECT_THAT(Starts(answer(60)),
              ElementsAre(At(9, 30), At(10, 30), At(11, 30), At(12, 30), At(13, 30), At(14, 30), At(15, 30)));
}

TEST(BarMaker, AHalfDayEndsAtOne) {
  const Day half = Date(2026, 11, 27);
  const auto bars = Session(half, 5);
  const auto answer = Bars_Of(Answer_From_Feed(Feed(bars, 5, {half, At(13, 0)}), {"X", 60, {}, 1}));
  EXPECT_THAT(Starts(answer), ElementsAre(At(9, 30), At(10, 30), At(11, 30), At(12, 30)));
}

TEST(BarMaker, UnfinishedBarsAreDroppedByTheClock) {
  auto bars = Session(thursday, 5);
  for (const Bar& bar : Session(friday, 5)) {
    if (bar.Start < At(10, 45)) bars.push_back(bar);
  }
  const auto last = [&](int interval, seconds until) {
    return Bars_Of(Answer_From_Feed(Feed(bars, 5, {friday, until}), {"X", interval, {}, 1})).back().Start;
  };
  EXPECT_EQ(last(60, At(10, 47)), At(9, 30));
  EXPECT_EQ(last(30, At(10, 47)), At(10, 0));
  EXPECT_EQ(last(20, At(10, 47)), At(10, 10));
  EXPECT_EQ(last(10, At(10, 47)), At(10, 30));
  EXPECT_EQ(last(5, At(10, 47)), At(10, 40));
  EXPECT_EQ(last(5, At(10, 44, 59)), At(10, 35));
}

TEST(BarMaker, ASessionWithoutACompleteBarIsNone) {
  auto bars = Session(thursday, 5);
  bars.push_back(At_Price(friday, At(9, 30), 100));
  const auto answer = Bars_Of(Answer_From_Feed(Feed(bars, 5, {friday, At(9, 36)}), {"X", 60, {}, 1}));
  ASSERT_THAT(answer, SizeIs(7));
  EXPECT_EQ(answer.front().Date, thursday);
}

TEST(BarMaker, TheLastShortBarIsCompleteAtTheClose) {
  const auto bars = Session(friday, 5);
  const auto at = [&](seconds until) {
    return Bars_Of(Answer_From_Feed(Feed(bars, 5, {friday, until}), {"X", 60, {}, 1})).back().Start;
  };
  EXPECT_EQ(at(At(16, 0)), At(15, 30));
  EXPECT_EQ(at(At(15, 59, 59)), At(14, 30));
}

TEST(BarMaker, AThinStockBeginsAtTheCloseBeforeWithVolumeZero) {
  const std::vector<Bar> bars = {At_Price(thursday, At(15, 0), 50), At_Price(friday, At(11, 0), 60)};
  auto answer = Bars_Of(Answer_From_Feed(Feed(bars, 5), {"X", 5, {}, 1}));
  EXPECT_THAT(answer, ElementsAre(Bar{friday, At(9, 30), 50.5, 50.5, 50.5, 50.5, 0}, bars[1]));
  answer = Bars_Of(Answer_From_Feed(Feed(bars, 5), {"X", 5, {}, 2}));
  EXPECT_THAT(answer, ElementsAre(Bar{thursday, At(9, 30), 50, 50, 50, 50, 0}, bars[0], bars[1]));
}

TEST(BarMaker, EarlierSessionsAreTakenBeforeTheDayAskedFor) {
  auto bars = Session(thursday, 30);
  for (const Bar& bar : Session(friday, 30)) bars.push_back(bar);
  const auto answer = Bars_Of(Answer_From_Feed(Feed(bars, 30), {"X", 60, friday, 5}));
  ASSERT_THAT(answer, SizeIs(7));
  EXPECT_EQ(answer.back().Date, thursday);
  EXPECT_THAT(Bars_Of(Answer_From_Feed(Feed(bars, 30), {"X", 60, Date(2020, 1, 1), 5})), IsEmpty());
}

TEST(BarMaker, ExchangesThatOpenAtNineKeepTheirTimes) {
  std::vector<Bar> bars;
  for (const Day date : {thursday, friday}) {
    for (seconds start = At(9, 0); start < At(17, 30); start += minutes{5})
      bars.push_back(At_Price(date, start, 50));
  }
  FeedBars feed = Feed(bars, 5);
  feed.Us_Sessions = false;
  const auto answer = Bars_Of(Answer_From_Feed(feed, {"SAP.DE", 60, {}, 2}));
  EXPECT_EQ(answer.front(), (Bar{thursday, At(9, 30), 50, 51, 49, 50.5, 120}));
  const auto second = std::ranges::find(answer, friday, &Bar::Date);
  EXPECT_EQ(second->Start, At(8, 30)) << "the cell that holds 09:00 to 09:30";
  EXPECT_EQ(second->Volume, 60);
  EXPECT_EQ(answer.back().Start, At(16, 30));
}

TEST(BarMaker, BarsThatDontFitAreRefusedWithTheReason) {
  const auto refusal = [](const std::vector<Bar>& bars, int length, int interval) {
    const Failure failure = Failure_Of(Answer_From_Feed(Feed(bars, length), {"X", interval, {}, 5}));
    EXPECT_EQ(failure.Kind, FailureKind::Unsuitable);
    return failure.Reason;
  };
  EXPECT_THAT(refusal(Session(friday, 5), 5, 1),
              HasSubstr("Good Quotes holds 5-minute bars, which are longer"));
  EXPECT_THAT(refusal(Session(friday, 5), 5, daily_interval), HasSubstr("Good Quotes has no daily bars"));
  EXPECT_THAT(refusal(Session(friday, 15), 15, 20), HasSubstr("can't be put together to 20-minute bars"));
  std::vector<Bar> hours_on_the_hour;
  for (int hour = 9; hour < 17; ++hour) hours_on_the_hour.push_back(At_Price(friday, At(hour, 0), 50));
  EXPECT_THAT(refusal(hours_on_the_hour, 60, 60), HasSubstr("don't fit 60-minute bars counted from 09:30"));
}

TEST(BarMaker, DailyBarsAreCompleteAfterTheClose) {
  const std::vector<Bar> bars = {At_Price(thursday, session_open, 50), At_Price(friday, session_open, 51)};
  EXPECT_THAT(Bars_Of(Answer_From_Feed(Feed(bars, daily_interval, {friday, At(15, 59)}),
                                       {"X", daily_interval, {}, 5})),
              ElementsAre(bars[0]));
  EXPECT_THAT(Bars_Of(Answer_From_Feed(Feed(bars, daily_interval, {friday, At(16, 0)}),
                                       {"X", daily_interval, {}, 5})),
              ElementsAre(bars[0], bars[1]));
}

TEST(BarMaker, NothingGivesAnEmptyTable) {
  EXPECT_THAT(Bars_Of(Answer_From_Feed(Feed({}, 5), {"X", 60, {}, 5})), IsEmpty());
}

TEST(BarMaker, TheDaysWantedHoldTheSessionsAndTheOneBefore) {
  for (const int interval : {1, 5, 10, 20, 30, 60, daily_interval}) {
    const int sessions = Session_Limit(interval).value();
    const DayRange days = Days_Wanted({"X", interval, {}, sessions}, friday);
    EXPECT_EQ(days.Last, friday);
    int count = 0;
    for (Day date = days.First; date <= days.Last; date += std::chrono::days{1})
      count += Is_Session(date) ? 1 : 0;
    EXPECT_GE(count, sessions + 2);
    EXPECT_LE(count, sessions + 5);
  }
  EXPECT_EQ(Days_Wanted({"X", 1, Date(2026, 3, 10), 1}, friday).Last, Date(2026, 3, 9));
  EXPECT_EQ(Days_Wanted({"X", 1, Date(2027, 3, 10), 1}, friday).Last, friday);
}

}  // namespace
}  // namespace hq::server
