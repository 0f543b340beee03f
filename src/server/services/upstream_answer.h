#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "market/bar.h"
#include "server/services/source_profile.h"
#include "server/services/upstream_request.h"

namespace hq::server {

// What came back for a request. The views must stay valid while it is read only.
struct UpstreamResponse {
  int Status = 0;
  // Header names in any letter case.
  std::vector<std::pair<std::string, std::string>> Headers;
  std::string_view Body;
};

// The bars of one answer.
struct UpstreamBars {
  // Oldest first, one a stamp, of the regular session only where the exchange's is known. It may be empty:
  // all rows were outside of the session.
  std::vector<NativeBar> Bars;
  // How long a bar lasts in minutes.
  int Minutes = daily_interval;
  Adjustment Adjusted = Adjustment::Splits;
  // The zone in which the bars' times are.
  Zone Market_Zone;
  // Whether days end as the regular sessions of the US exchanges do.
  bool Us_Sessions = true;
  // How many rows the answer held, of whatever kind.
  std::size_t Rows = 0;
  // Rows that make no sense and were passed over: high below low, an open or a close outside of them, a price
  // that is not above zero.
  std::size_t Bad_Rows = 0;
  // What the service wrote for its user beside the bars; without keys.
  std::string Remark;
  // The request for the next page; none when this was the last.
  std::optional<UpstreamRequest> Next;
};

using UpstreamAnswer = std::variant<UpstreamBars, Trouble>;

// Makes bars or a trouble of what came back. `request` must be one that Make_Requests or a page before made
// for the same profile. Takes time and memory in proportion to the answer (and the time to sort
// rows that are out of order). Raises std::bad_alloc only.
//
// A row in which a price is null, empty or zero is passed over (old index rows have no open, dead minutes
// nothing), and so is one that doesn't begin on the feed's grid (the running quote, which some services put
// last). A row that makes no sense is counted as bad. An answer is FormatChanged when more than one in ten of
// at least ten rows is bad or off the grid, when no row is good and one is bad, and at once for a value that
// is lacking or of a wrong type, a number that is none or too large, and a stamp that is none or lies in the
// future.
//
// Prices keep the value that was sent. Only those that are worked out, by Split_Factor or Adjusted_Close, are
// rounded, to ten significant digits.
[[nodiscard]] UpstreamAnswer Read_Answer(const SourceProfile& profile, const UpstreamRequest& request,
                                         const UpstreamResponse& response, std::chrono::sys_seconds now);

}  // namespace hq::server
