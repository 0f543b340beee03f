#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "market/quote_source.h"

namespace hq::server {

// How many sessions an answer of an interval holds at most: 1 for 1 minute, 6 for 5, 12 for 10, 24 for 20, 38
// for 30, 71 for 60 and 500 daily ones; none for any other interval.
[[nodiscard]] std::optional<int> Session_Limit(int interval_minutes);

// Reads an interval as a request spells it, in plain decimal digits; none when it isn't one that is served.
[[nodiscard]] std::optional<int> Read_Interval(std::string_view text);

// Reads a date as a request spells it, MMDDYY: years 00 to 49 are 2000 to 2049, 50 to 99 are 1950 to 1999;
// none when the calendar has no such day.
[[nodiscard]] std::optional<Day> Read_Request_Date(std::string_view text);

// What the three parameters of a request ask for, or one sentence that says what is wrong with them. The
// texts are the decoded ones; a missing parameter is none.
[[nodiscard]] std::variant<QuoteRequest, std::string> Read_Request(const std::optional<std::string>& interval,
                                                                   const std::optional<std::string>& symbol,
                                                                   const std::optional<std::string>& date);

}  // namespace hq::server
