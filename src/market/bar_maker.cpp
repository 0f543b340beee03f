#include "market/bar_maker.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "market/session_bars.h"
#include "market/trading_calendar.h"

namespace hq::server {
namespace {

using namespace std::chrono;

// When the bar of an interval is complete that `bar` becomes part of.
ExchangeTime End_Of(const Bar& bar, int interval, bool us_sessions) {
  seconds end = std::max(Grid_Start(bar.Start, interval), seconds{0}) + minutes{interval};
  if (interval == daily_interval) {
    end = us_sessions ? Session_Close(bar.Date) : days{1};
  } else if (us_sessions) {
    end = std::min(end, Session_Close(bar.Date));
  }
  const auto moment = bar.Date + end;
  const auto date = floor<days>(moment);
  return {date, moment - date};
}

}  // namespace

Answer Answer_From_Feed(const FeedBars& feed, const QuoteRequest& request) {
  const seconds length = minutes{feed.Minutes};
  if (request.Interval == daily_interval && feed.Minutes != daily_interval) {
    return Failure{FailureKind::Unsuitable, std::string{feed.Origin} +
                                                " has no daily bars, and shorter ones lack the trades of the "
                                                "closing auction."};
  }
  if (auto misfit = Find_Misfit(feed.Bars, length, feed.Origin, request.Interval))
    return Failure{FailureKind::Unsuitable, std::move(*misfit)};

  // Before the sessions are counted, so that a session without a complete bar is none.
  auto complete = feed.Bars;
  const auto is_unfinished = [&](const Bar& bar) {
    return End_Of(bar, request.Interval, feed.Us_Sessions) > feed.Known_Until;
  };
  while (!complete.empty() && is_unfinished(complete.back())) complete = complete.first(complete.size() - 1);
  const auto [chosen, earlier] = Last_Sessions(complete, request);
  BarTable answer;
  answer.Bars = Fold_Bars(chosen, request.Interval);
  if (answer.Bars.empty()) return answer;
  Begin_At_Open(answer.Bars, earlier);
  return answer;
}

DayRange Days_Wanted(const QuoteRequest& request, Day today) {
  const Day end = request.Before ? std::min(*request.Before, today + days{1}) : today + days{1};
  Day first = end;
  // Two sessions more give the close before the first bar, and one for each of the rare closings that the
  // calendar doesn't know.
  for (int sessions = 0; sessions < request.Sessions + 2; ++sessions) first = Session_Before(first);
  return {first - days{3}, end - days{1}};
}

}  // namespace hq::server
