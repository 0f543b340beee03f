#pragma once

#include <chrono>

#include "market/bar.h"

namespace hq::server {

// The calendar of the US stock exchanges by today's rules, for any year: weekdays without the holidays. Each
// rule counts from the year in which the exchanges took it up; closings for mourning, weather and war are
// left out, and so are the Saturday sessions and other holidays of the years before 1953.

// Whether `date` is a holiday on which the exchanges stay closed, or is closed in place of one that falls on
// a weekend.
[[nodiscard]] bool Is_Holiday(Day date);

// Whether the exchanges are open on `date`, for a whole session or a short one.
[[nodiscard]] bool Is_Session(Day date);

// Whether `date` is a session that ends at 13:00: the day after Thanksgiving, 24 December, and 3 July.
[[nodiscard]] bool Is_Early_Close(Day date);

// The time of day at which the session of `date` ends, 13:00 or 16:00; meaningful for sessions only.
[[nodiscard]] std::chrono::seconds Session_Close(Day date);

// The length of the session of `date` in minutes: 390, 210 on a short day, 0 when there is none.
[[nodiscard]] int Session_Minutes(Day date);

// The last session strictly before `date`.
[[nodiscard]] Day Session_Before(Day date);

// Easter Sunday of a year by the Gregorian rule.
[[nodiscard]] Day Easter_Sunday(std::chrono::year year);

}  // namespace hq::server
