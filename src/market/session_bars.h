#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "market/bar.h"
#include "market/quote_source.h"

namespace hq::server {

// What every source does to make an answer of bars that it has, oldest first and one for a stamp.

// Why bars of `length` can't be put together to bars of the interval asked for: they are longer, don't divide
// it, or more than one in ten of them doesn't lie within the cells of a grid that contains 09:30. One
// sentence in which `origin` names where the bars are from; none when they fit.
[[nodiscard]] std::optional<std::string> Find_Misfit(std::span<const Bar> bars, std::chrono::seconds length,
                                                     std::string_view origin, int interval_minutes);

// The bars of the last sessions before the day asked for, and all bars that came before them.
[[nodiscard]] std::pair<std::span<const Bar>, std::span<const Bar>> Last_Sessions(
    std::span<const Bar> bars, const QuoteRequest& request);

// Makes `bars`, which are not empty, begin at 09:30, because a client takes the first 09:30 for the beginning
// of the data: the first session's bars before it are left out, and if it has no bar at 09:30, one is put
// there at the close before it (of the bars left out, or of the last one of `earlier`; failing both, at the
// session's first open) with volume 0.
void Begin_At_Open(std::vector<Bar>& bars, std::span<const Bar> earlier);

}  // namespace hq::server
