#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "entry/symbol_list.h"
#include "errortrap/message_box.h"
#include "errortrap/message_loop.h"
#include "errortrap/modFailSafe.h"
#include "platform/files.h"

namespace hq {

// The texts of the entry controls at one moment.
struct EntryTexts {
  int IntervalPosition = -1;           // cmbInterval's position in its list, -1 when nothing is selected
  std::string Interval;                // cmbInterval's text
  std::string OutputFormat;            // cmbOutputFormat's text
  std::string OutputFolder;            // txtOutputfolder's text
  std::string Days;                    // txtdays' text
  std::array<std::string, 3> EndDate;  // txtenddate's texts: month, day, two-digit year
};

// What a number box makes of a typed key: the key itself for Backspace (8) and the digits (48 to 57),
// otherwise 0.
[[nodiscard]] std::int16_t Keyin_Number(modFailSafe& trap, std::int16_t key);

// The days that a text stands for. Raises Overflow when that is no 16-bit number.
[[nodiscard]] std::int16_t Days_Entered(std::string_view text);

// The message for days that the interval does not allow, or empty when they fit. Raises Overflow as
// Days_Entered does.
[[nodiscard]] std::string Days_Fault(std::string_view interval_text, std::string_view days_text);

// The message for a text that one of the end-date boxes does not allow (0 month, 1 day, 2 two-digit year), or
// empty. The boxes are not compared with each other.
[[nodiscard]] std::string End_Date_Fault(int box, std::string_view text);

// The check before a run. Shows what is wrong first, in this order: no symbol selected, interval and format
// not both intraday or both daily, no output folder, output folder not there, days out of range; in the last
// case focus_days is called and the message loop runs once. True when nothing is wrong.
[[nodiscard]] bool Valid_Entry(modFailSafe& trap, MessageBoxes& boxes, MessageLoop& loop, Files& files,
                               const StockList& stocks, const EntryTexts& entry,
                               const std::function<void()>& focus_days);

}  // namespace hq
