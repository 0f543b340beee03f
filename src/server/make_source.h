#pragma once

#include <memory>
#include <string_view>

#include "server/csv_source.h"
#include "server/exchange_clock.h"
#include "server/quote_source.h"

namespace hq::server {

// Makes the source that `spec` names: "simulated", or "csv:FOLDER" for a folder of the user's own files. The
// caller owns it. Raises std::invalid_argument with a text for the user when `spec` is neither, or when
// FOLDER is not a folder. `clock` tells the simulated market its latest session; `reporter` may be empty.
[[nodiscard]] std::unique_ptr<QuoteSource> Make_Source(std::string_view spec,
                                                       ExchangeClock clock = New_York_Now,
                                                       Reporter reporter = {});

}  // namespace hq::server
