#pragma once

#include <optional>
#include <string>

#include "errortrap/message_box.h"
#include "errortrap/message_loop.h"
#include "errortrap/modFailSafe.h"
#include "output/format_catalogue.h"
#include "platform/files.h"
#include "quotes/quote_table.h"
#include "quotes/run_settings.h"

namespace hq {

// What became of a file.
struct WriteResult {
  bool Written = false;                    // the file is there, whole
  std::optional<RunTimeError> Error = {};  // the first thing that went wrong, also in a file that is there
};

// Writes the rows from FirstRow to the last into path in the current format, each line ended by a carriage
// return and a line feed, the format's header line first; an existing file is replaced. Lets the message loop
// run once afterwards. A failure shows nothing and leaves no new file and an earlier one as it was; the first
// error is returned for who wants to tell it.
WriteResult Write_File(modFailSafe& trap, MessageLoop& loop, MessageBoxes& boxes, Files& files,
                       const FormatCatalogue& catalogue, const RunSettings& settings, const QuoteTable& table,
                       const std::string& path);

}  // namespace hq
