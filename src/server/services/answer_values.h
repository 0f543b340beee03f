#pragma once

#include <optional>
#include <string_view>

#include "market/exchange_time.h"
#include "market/zone_time.h"
#include "server/services/source_profile.h"

namespace hq::server {

// How the numbers and the stamps in the answers of data services are read. Nothing of it depends on the
// locale.

// A decimal number that is finite; the whole text must be it.
[[nodiscard]] std::optional<double> Read_Number(std::string_view text);

// The number with the fewest digits that is the same in single precision, if it is one of those at all.
[[nodiscard]] double Shortened(double number);

// The number in ten significant digits.
[[nodiscard]] double Rounded(double number);

// As many digits as told, from a place on; none when there is anything else.
[[nodiscard]] std::optional<int> Digits(std::string_view text, std::size_t begin, std::size_t count);

// What a stamp of a profile's form says in the exchange's time; daily stamps may lack the time.
[[nodiscard]] std::optional<ExchangeTime> Read_Stamp_Text(std::string_view text, const AnswerLayout& layout,
                                                          const Zone& zone);

}  // namespace hq::server
