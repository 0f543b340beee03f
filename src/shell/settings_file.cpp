#include "shell/settings_file.h"

#include <algorithm>
#include <optional>

#include "base/numbers.h"
#include "base/strings.h"
#include "base/unicode.h"
#include "entry/interval_choice.h"
#include "errortrap/procedure.h"
#include "platform/paths.h"
#include "platform/set_aside.h"

namespace hq {

namespace {

constexpr std::int16_t DailyTextWithHeader = 13;
constexpr const char* FolderNotFound = "c:";
constexpr int FolderLine = 4;
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

  [[nodiscard]] std::string_view Rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// A tab is a blank that somebody may have typed.
bool Is_Control_Character(char c) {
  return (c >= 0 && c < ' ' && c != '\t') || c == '\x7F';
}

bool Is_Plain_Text(std::string_view text) {
  return std::ranges::none_of(text, [](char c) { return Is_Control_Character(c) && c != '\r' && c != '\n'; });
}

bool Folder_Is_There(Files& files, std::string_view line) {
  return !Trim(line).empty() && Directory_Search_Finds(files, line);
}

// The text of the file in the system's own characters. One from Windows is taken for Windows-1252, all of it
// or nothing; only a folder that is there under its very bytes keeps them. Raises TypeMismatch for what is no
// text.
std::string Text_Of(Files& files, std::string_view bytes) {
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  if (bytes.starts_with(byte_order_mark)) bytes.remove_prefix(byte_order_mark.size());
  if (!Is_Plain_Text(bytes)) throw RunTimeError(TypeMismatch, "control characters");
  if (Is_System_Text(bytes)) return std::string(bytes);
  std::string_view before = bytes;
  std::string_view folder;
  std::string_view behind;
  LineReader lines(bytes);
  for (int line = 1; line < FolderLine && !lines.Rest().empty(); ++line) static_cast<void>(lines.Next());
  if (!lines.Rest().empty()) {
    before.remove_suffix(lines.Rest().size());
    behind = lines.Rest();
    folder = lines.Next();
    behind.remove_prefix(folder.size());
  }
  const bool keeps_folder = Folder_Is_There(files, folder);
  if (keeps_folder && Is_System_Text(before) && Is_System_Text(behind)) return std::string(bytes);
  const auto part_before = Utf8_Of_Windows_1252(before);
  const auto part_folder = keeps_folder ? std::string(folder) : Utf8_Of_Windows_1252(folder);
  const auto part_behind = Utf8_Of_Windows_1252(behind);
  if (!part_before || !part_folder || !part_behind) throw RunTimeError(TypeMismatch, "no characters");
  return *part_before + *part_folder + *part_behind;
}

// Moves the file out of the way of the next start. The latest one is always ".bak"; an earlier one of that
// name gets the next number.
void Put_Aside(Files& files, const std::string& path) {
  const std::string backup = path + ".bak";
  SkippingStatements statement;
  const bool is_free =
      !files.Exists(backup) || statement([&] { files.Rename(backup, Free_Backup_Name(files, path)); });
  statement([&] {
    if (is_free) {
      files.Rename(path, backup);
    } else {
      Set_Aside(files, path);
    }
  });
}

// A line as it can be read again.
std::string Line(std::string text) {
  std::erase_if(text, Is_Control_Character);
  return text + LineEnd;
}

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
        const std::string text = Text_Of(files, files.Read(path));
        LineReader lines(text);
        saved.SymbolLine = lines.Next();
        saved.IntervalPosition = To_Integer16(Leading_Number(lines.Next()));
        saved.FormatPosition = To_Integer16(Leading_Number(lines.Next()));
        const std::string_view folder = lines.Next();
        const std::string_view trimmed = Trim(folder);
        // Nothing was chosen when an empty line was saved, so nothing is there to be missed.
        const bool found = trimmed.empty() || Folder_Is_There(files, folder);
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
        Put_Aside(files, path);
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
          file->Write(Line(line));
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
  // The bar. Whatever stands in its place goes whole: half a character would spoil the file that is saved
  // next.
  const std::size_t first = Is_Utf8(symbol_line) ? First_Utf8_Character(symbol_line).Length : 1;
  if (!symbol_line.empty()) symbol_line.remove_prefix(first);
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
