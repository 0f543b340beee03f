#pragma once

#include <string>

#include "errortrap/message_box.h"
#include "errortrap/modFailSafe.h"
#include "quotes/quote_table.h"
#include "quotes/run_settings.h"

namespace hq {

// The name of the symbol's output file, without a folder: first and last date written as MMDDYY with "-"
// between, the symbol, and "1D.txt", "1H.txt" or the minutes and "m.txt"; empty when the table has no rows.
// Characters that a file name can't hold on one of the systems, separators among them, become "_", so the
// name never leads out of its folder. An error shows "Error ", its number and " inside Create_FileName()."
// and gives the empty name.
[[nodiscard]] std::string Create_FileName(modFailSafe& trap, MessageBoxes& boxes, const RunSettings& settings,
                                          const QuoteTable& table);

}  // namespace hq
