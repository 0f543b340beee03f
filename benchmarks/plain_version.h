#pragma once

#include <string>

namespace hq::benchmarks {

// The way from an answer to a file of the format "Text with header-intraday" as the standard library offers
// it: string streams, structures and std::sort. Keeps the last day_count days. Throws what the library throws
// at text that is no number, and std::runtime_error for other bad answers and for a file that can't be
// written.
void Plain_Answer_To_File(const std::string& answer, const std::string& symbol, int interval_minutes,
                          int day_count, const std::string& folder);

}  // namespace hq::benchmarks
