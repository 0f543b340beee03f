#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "entry/symbol_list.h"
#include "errortrap/message_box.h"
#include "errortrap/modFailSafe.h"
#include "platform/files.h"
#include "quotes/run_settings.h"

namespace hq {

// The settings file "user.cfg" in the program folder, five lines ended by CR LF:
//   1  "|" before each symbol of the list; nothing for an empty list. A "|" in a symbol is not told apart.
//   2  position of the interval in its list from 0, -1 when none is selected
//   3  position of the output format in its list, likewise
//   4  output folder
//   5  day count; written for the reader of the file, never read back
// Its text is the system's own. Elsewhere than on Windows a file that isn't UTF-8 is read as Windows-1252,
// but for a folder that exists under its very bytes.
inline constexpr std::string_view SettingsFileName = "user.cfg";

// What start-up reads out of the file for the window to restore.
struct SavedChoices {
  std::string SymbolLine;
  std::int16_t IntervalPosition = -1;
  std::int16_t FormatPosition = -1;
};

// The choices as they stand in the window.
struct CurrentChoices {
  int IntervalPosition = -1;
  int FormatPosition = -1;
  std::string OutputFolder;
  std::string Days;
};

// Reads the settings file into the choices and OutputFolder, "c:" for a saved folder that is not found.
// Without a file everything stays at its default (-1, -1, empty). A file that can't be read, or holds control
// characters, is told to the user and moved aside to "user.cfg.bak"; an earlier one of that name is kept as
// "user.cfg.bak2", "user.cfg.bak3" ... What was read before the error stays.
// Lines may end in CR LF, LF or CR. False when a file was there that could not be read.
bool Load_Config(modFailSafe& trap, MessageBoxes& boxes, Files& files, const std::string& program_folder,
                 SavedChoices& saved, RunSettings& settings);

// Writes the settings file whole or not at all, control characters in a text left out. On an error the user
// is told and the result is false.
bool Save_Config(modFailSafe& trap, MessageBoxes& boxes, Files& files, const std::string& program_folder,
                 const StockList& stocks, const CurrentChoices& choices);

// The list entries that a saved symbol line restores, in its order. Blank entries are dropped and market
// markers turned to lower case, but for the last entry, which is taken as it is; so an empty line gives one
// empty entry.
[[nodiscard]] std::vector<std::string> Restored_Symbols(std::string_view symbol_line);

// The list positions that saved ones restore: for -1 the daily interval and "Text with header-Daily".
[[nodiscard]] int Restored_Interval(std::int16_t saved);
[[nodiscard]] int Restored_Format(std::int16_t saved);

}  // namespace hq
