#pragma once

#include <span>
#include <string_view>

#include "market/bar.h"
#include "market/exchange_time.h"
#include "market/quote_source.h"

namespace hq::server {

// The bars of one feed, which an answer is made of.
struct FeedBars {
  // Complete bars, oldest first, one a stamp; all of the same interval and adjustment.
  std::span<const Bar> Bars;
  // How long a bar lasts, in minutes.
  int Minutes = daily_interval;
  // Up to which moment, in the exchange's time, all bars there are stand in Bars: for bars just fetched the
  // time of the call less the feed's delay. A bar that is put together and ends later than this is
  // unfinished.
  ExchangeTime Known_Until;
  // Whether days end as the regular sessions of the US exchanges do.
  bool Us_Sessions = true;
  // What reasons call the bars' origin, such as "Tiingo".
  std::string_view Origin;
};

// Answers a request from the bars of a feed: the last sessions before the day asked for, folded on the grid
// that contains 09:30, without unfinished bars. Volumes add up, highs and lows are the extremes, and nothing
// is invented but this: an answer whose first session has no bar at 09:30 begins with one at the close before
// it (failing that at the session's first open) with volume 0, because a client takes the first 09:30 for the
// beginning of the data. Bars that don't fit the interval are refused with FailureKind::Unsuitable.
[[nodiscard]] Answer Answer_From_Feed(const FeedBars& feed, const QuoteRequest& request);

// The days that a source must be asked for so that a request can be answered: the sessions wanted by the
// calendar of the US exchanges, two more before them, and days to spare for closings the calendar doesn't
// know. `today` is the day at the exchange.
[[nodiscard]] DayRange Days_Wanted(const QuoteRequest& request, Day today);

}  // namespace hq::server
