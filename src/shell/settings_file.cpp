#include "shell/settings_file.h"

#include <optional>

#include "base/numbers.h"
#include "base/strings.h"
#include "entry/interval_choice.h"
#include "errortrap/procedure.h"

namespace hq {

namespace {

constexpr std::int16_t DailyTextWithHeader = 13;
constexpr const char* FolderNotFound = "c:";
constexpr const char* LineEnd = "\r\n";

// Takes lines off a text one after the other.
class LineReader {
 public:
  explicit LineReader(std::string_view text) : rest_(text) {}

  // Raises InputPastEnd when there is no further line.
  std::string_view Next() {
    if (rest_.empty()) throw RunTimeError(InputPastEnd);
    const size_t end = rest_.find_first_of("\r\n");
    const std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(line.size());
    if (!rest_.empty()) rest_.remove_prefix(rest_.starts_with("\r\n") ? 2 : 1);
    return line;
  }

 private:
  std::string_view rest_;
};

}  // namespace

bool Load_Config(modFailSafe& trap, MessageBoxes& boxes, Files& files, const std::string& program_folder,
                 SavedChoices& saved, RunSettings& settings) {
  const std::string path = Join_Path(program_folder, SettingsFileName);
  return With_Own_Handler(
      trap, {"global.bas", "Sub Load_Config"},
      [&] {
        saved.IntervalPosition = -1;
        saved.FormatPosition = -1;
        settings.OutputFolder.clear();
        const std::string text = files.Read(path);
        constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
        LineReader lines(
            std::string_view(text).substr(text.starts_with(byte_order_mark) ? byte_order_mark.size() : 0));
        saved.SymbolLine = lines.Next();
        saved.IntervalPosition = To_Integer16(Leading_Number(lines.Next()));
        saved.FormatPosition = To_Integer16(Leading_Number(lines.Next()));
        const std::string_view folder = lines.Next();
        const std::string_view trimmed = Trim(folder);
        // Nothing was chosen when an empty line was saved, so nothing is there to be missed.
        const bool found = trimmed.empty() || Directory_Search_Finds(files, folder);
        settings.OutputFolder = found ? trimmed : FolderNotFound;
        return true;
      },
      [&](const RunTimeError& error) {
        if (error.Number() == FileNotFound) return true;
        SkippingStatements statement;
        statement([&] {
          boxes.Show("Unexpected error in initializing! Please restart to let program fix itself.");
        });
        // The list of symbols in it may be all that the user has: it is kept where the user can mend it.
        if (statement([&] { files.Copy(path, path + ".bak"); })) statement([&] { files.Delete(path); });
        return false;
      });
}

bool Save_Config(modFailSafe& trap, MessageBoxes& boxes, Files& files, const std::string& program_folder,
                 const StockList& stocks, const CurrentChoices& choices) {
  return With_Own_Handler(
      trap, {"frmmain1.frm", "Function Save_Config"},
      [&] {
        const std::unique_ptr<OutputFile> file =
            files.Open_For_Output(Join_Path(program_folder, SettingsFileName));
        std::string symbols;
        for (int i = 0; i < stocks.Count(); ++i) symbols.append("|").append(stocks.Text(i));
        for (const std::string& line :
             {symbols, std::to_string(choices.IntervalPosition), std::to_string(choices.FormatPosition),
              choices.OutputFolder, choices.Days}) {
          file->Write(line);
          file->Write(LineEnd);
        }
        file->Close();
        return true;
      },
      [&](const RunTimeError& error) {
        boxes.Show("Err: " + error.Description() + " in Save_Config(). Can't save user choices");
        return false;
      });
}

std::vector<std::string> Restored_Symbols(std::string_view symbol_line) {
  std::vector<std::string> symbols;
  if (!symbol_line.empty()) symbol_line.remove_prefix(1);
  for (;;) {
    const size_t bar = symbol_line.find('|');
    if (bar == std::string_view::npos) break;
    const std::string_view symbol = symbol_line.substr(0, bar);
    if (!Trim(symbol).empty()) symbols.push_back(Lower_Markers(symbol));
    symbol_line.remove_prefix(bar + 1);
  }
  symbols.emplace_back(symbol_line);
  return symbols;
}

int Restored_Interval(std::int16_t saved) {
  return saved == -1 ? DailyInterval : saved;
}

int Restored_Format(std::int16_t saved) {
  return saved == -1 ? DailyTextWithHeader : saved;
}

}  // namespace hq
