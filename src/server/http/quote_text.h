#pragma once

#include <string>
#include <string_view>

#include "market/quote_source.h"

namespace hq::server {

// The answer text of a table: a line "Source: ..." when the table tells its source, which never holds
// ",0930,", and for each bar a line YYMMDD,HHMM,open,high,low,close,volume, ended by a line feed. Prices are
// plain decimals with a point, never in exponent form; without a fixed number of decimals they have the
// fewest digits that read back as the same number.
[[nodiscard]] std::string Quote_Text(const BarTable& table);

// Makes `text` fit for a one-line answer: control characters and characters outside ASCII become "?", the
// line is cut at 400 characters, it holds no ",0930," (a client would take that for data), and it ends in one
// line feed.
[[nodiscard]] std::string One_Line(std::string_view text);

}  // namespace hq::server
