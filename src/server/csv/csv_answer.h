#pragma once

#include <string_view>

#include "market/quote_source.h"
#include "server/csv/csv_reader.h"

namespace hq::server {

// Answers a request from a file's bars, folded into the interval asked for; `file_name` stands in reasons.
//
// The exchange of a file is not known, so all its rows count, also those before 09:30 and after 16:00, and
// times stay as they are; a daily bar is made of all rows of a calendar day. Only at the beginning of an
// answer this can't hold, because a client takes the first 09:30 for the beginning of the data: there the
// first session's bars before 09:30 are left out, and if it has no bar at 09:30, one is put there at the
// close before it (of the bars left out, or of the session before; failing both, at the session's first open)
// with volume 0.
//
// Bars that are coarser than the interval, that don't divide it, or that don't lie within the cells of a grid
// that contains 09:30 are refused with FailureKind::Unsuitable; of the last kind, one bar in ten is let pass
// and belongs to the cell in which it begins. A table without bars is FailureKind::Unreadable.
[[nodiscard]] Answer Answer_From_Table(const CsvTable& table, std::string_view file_name,
                                       const QuoteRequest& request);

}  // namespace hq::server
