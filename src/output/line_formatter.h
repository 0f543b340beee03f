#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "errortrap/modFailSafe.h"
#include "quotes/quote_table.h"

namespace hq {

// One bar as a line without an ending: date, time unless timeLayout is empty, open, high, low, close with
// three decimals, volume without, joined by commas. row is the bar's place in QuoteKeys, 0 to QuoteCount - 1.
// A piece that can't be made (a key that is no date, that names no row) is left out.
[[nodiscard]] std::string FormatOneLine(modFailSafe& trap, const QuoteTable& table, std::int16_t row,
                                        std::string_view date_layout, std::string_view time_layout = {});

// The same into a line that keeps its room, for a caller with thousands of them. What line held is dropped.
// Returns why the first of the pieces left out could not be made.
std::optional<RunTimeError> FormatOneLine(modFailSafe& trap, const QuoteTable& table, std::int16_t row,
                                          std::string_view date_layout, std::string_view time_layout,
                                          std::string& line);

}  // namespace hq
