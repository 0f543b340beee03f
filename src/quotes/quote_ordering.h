#pragma once

#include <cstdint>
#include <vector>

#include "errortrap/message_box.h"
#include "errortrap/modFailSafe.h"
#include "quotes/quote_table.h"
#include "quotes/run_settings.h"

namespace hq {

// Whether any bar is earlier than the one before it, compared as dates and times. False also when a key is no
// date.
[[nodiscard]] bool Need_Sort(modFailSafe& trap, const QuoteTable& table);

// Sorts array[first] to array[last] by character code, so month first: within one year that is the order of
// time; data that spans a year end gets January of the later year before December of the earlier one, on
// purpose. Shows a message when an index is outside the array.
void QuickSort(modFailSafe& trap, MessageBoxes& boxes, std::vector<QuoteKey>& array, std::int32_t first,
               std::int32_t last);

// Sets FirstRow so that the rows from it to the last hold the last DayCount dates; 0 when there are no more
// than that.
void Set_StartIndex(modFailSafe& trap, const RunSettings& settings, QuoteTable& table);

}  // namespace hq
