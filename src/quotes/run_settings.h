#pragma once

#include <cstdint>
#include <string>

#include "base/dates.h"

namespace hq {

// What one download run works on: set from the user's choices when the run starts, read by everything after
// it.
struct RunSettings {
  std::string CurrentSymbol;       // the symbol being fetched
  std::int16_t IntervalCode = 0;   // bar length in minutes: 1, 5, 10, 20, 30, 60 or 1440
  Date EndDate{};                  // the last trading day wanted
  std::int16_t DayCount = 0;       // trading days to keep
  std::int16_t CurrentFormat = 0;  // index into the format catalogue
  std::string OutputFolder;        // without a separator at its end
};

}  // namespace hq
