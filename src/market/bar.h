#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

namespace hq::server {

// A calendar day at the exchange; no time zone is attached to it.
using Day = std::chrono::sys_days;

// When the regular US session opens, and what every answer begins with: 09:30 exchange time.
inline constexpr std::chrono::seconds session_open = std::chrono::minutes{9 * 60 + 30};

// The interval that stands for daily bars, in minutes.
inline constexpr int daily_interval = 1440;

// One bar: what was traded from Start on, for the length of the table's interval.
struct Bar {
  // The day of the session at the exchange.
  Day Date;
  // The bar's beginning in exchange time, counted from midnight: 0 to 86399 seconds. Daily bars hold 09:30.
  std::chrono::seconds Start{};
  // Prices in the symbol's own currency; finite.
  double Open = 0;
  double High = 0;
  double Low = 0;
  double Close = 0;
  // Shares, contracts or ticks traded; never negative.
  std::int64_t Volume = 0;

  friend bool operator==(const Bar&, const Bar&) = default;
};

// Days at the exchange, both included.
struct DayRange {
  Day First;
  Day Last;

  friend bool operator==(const DayRange&, const DayRange&) = default;
};

// A bar of a feed's own interval.
struct NativeBar {
  // In the exchange's time, stamped with its beginning; daily bars hold 09:30.
  Bar Quote;
  // Whether the bar was complete when it was read: its end, and the feed's delay, lay in the past.
  bool Final = false;

  friend bool operator==(const NativeBar&, const NativeBar&) = default;
};

// Says whether the bars of a start stand in the order of time, `left` before `right`.
[[nodiscard]] bool Earlier(const Bar& left, const Bar& right);

// Where in a grid of `interval_minutes` (1 to 1440) that contains 09:30 the cell begins that holds `start`.
// It is negative when the cell begins before midnight. For the daily interval it is always 09:30.
[[nodiscard]] std::chrono::seconds Grid_Start(std::chrono::seconds start, int interval_minutes);

// Folds bars, oldest first, into bars of `interval_minutes` on the grid that contains 09:30: first open,
// highest high, lowest low, last close, volumes added. A bar belongs to the cell in which it starts, and no
// cell spans two days; a cell that began before midnight is stamped 00:00.
[[nodiscard]] std::vector<Bar> Fold_Bars(std::span<const Bar> bars, int interval_minutes);

}  // namespace hq::server
