// Any bytes as the settings file and as the file of server settings.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/profile.h"
#include "base/strings.h"
#include "platform/paths.h"
#include "platform/server_settings_file.h"
#include "quotes/request.h"
#include "require.h"
#include "shell/server_settings.h"
#include "shell/settings_file.h"
#include "support/fakes.h"

namespace {

using namespace hq;

const std::string Folder = "folder";
const std::string Path = Join_Path(Folder, SettingsFileName);
const std::string Backup = Path + ".bak";

void Check_Symbols(const std::vector<std::string>& symbols, const std::string& line) {
  Require(!symbols.empty(), "a line restores an entry");
  size_t bytes = 0;
  for (const std::string& symbol : symbols) {
    Require(&symbol == &symbols.back() || !Trim(symbol).empty(), "only the last entry may be blank");
    bytes += symbol.size();
  }
  Require(bytes <= line.size(), "nothing is added to the symbols");
}

// What was loaded is saved and loaded again.
void Check_Round_Trip(modFailSafe& trap, test::MemoryFiles& files, const SavedChoices& saved,
                      const RunSettings& settings, const std::vector<std::string>& symbols) {
  test::FakeMessageBoxes boxes;
  SymbolList stocks;
  for (const std::string& symbol : symbols) stocks.Add(symbol);
  CurrentChoices choices;
  choices.IntervalPosition = saved.IntervalPosition;
  choices.FormatPosition = saved.FormatPosition;
  choices.OutputFolder = settings.OutputFolder;
  choices.Days = "5";
  Require(Save_Config(trap, boxes, files, Folder, stocks, choices), "the choices are saved");
  SavedChoices again;
  RunSettings settings_again;
  Load_Config(trap, boxes, files, Folder, again, settings_again);
  Require(boxes.Shown.empty(), "a file that the program wrote loads");
  Require(again.IntervalPosition == saved.IntervalPosition && again.FormatPosition == saved.FormatPosition,
          "positions come back");
  // What a wildcard finds in the folders of the machine may have changed.
  Require(settings_again.OutputFolder == settings.OutputFolder ||
              settings.OutputFolder.find_first_of("*?") != std::string::npos,
          "the folder comes back");
}

void Check_Settings_File(const std::string& bytes) {
  modFailSafe trap;
  test::FakeMessageBoxes boxes;
  test::MemoryFiles files;
  files.Contents[Path] = bytes;
  SavedChoices saved;
  RunSettings settings;
  Load_Config(trap, boxes, files, Folder, saved, settings);
  const bool refused = !boxes.Shown.empty();
  Require(files.Exists(Path) == !refused, "a file that can't be read is put aside");
  Require(files.Read(refused ? Backup : Path) == bytes, "no byte of the file is lost");
  Require(refused || bytes.find('\0') == std::string::npos, "a NUL is no text");
  Require(Is_System_Text(saved.SymbolLine), "symbols are text of the system");
  const std::vector<std::string> symbols = Restored_Symbols(saved.SymbolLine);
  Check_Symbols(symbols, saved.SymbolLine);
  if (!refused) Check_Round_Trip(trap, files, saved, settings, symbols);
  Require(trap.Depth() == 0, "every procedure has left the call stack");
}

void Check_Server_Settings(const std::string& bytes) {
  test::MemoryFiles files;
  const std::string path = Join_Path(Folder, ServerSettingsFileName);
  files.Contents[path] = bytes;
  ServerSettingsFile file(files, path);
  const std::string text = file.Text();
  const ServerSettings settings = Read_Server_Settings(text);
  Require(settings.RequestTemplate.empty() || !settings.Fault.empty() ||
              Template_Fault(settings.RequestTemplate).empty(),
          "a template that can't serve is refused");
  const std::string fault = file.Fault();
  try {
    file.Save({{"Keys", "service", "new"}});
    Require(fault.empty(), "nothing is saved over what was not read");
    Require(Profile(file.Text()).Get("keys", "SERVICE") == "new", "a value that was saved is there");
    ServerSettingsFile again(files, path);
    Require(again.Fault().empty() && again.Text() == file.Text(), "what was saved is read again");
    again.Save({{"Keys", "service", ""}});
    Require(Profile(again.Text()).Get("Keys", "service", "none") == "none", "a value can be taken out");
  } catch (const SettingsError&) {
    Require(!fault.empty(), "what was read can be saved");
    Require(files.Contents.at(path) == bytes, "no byte of the file is lost");
  }
  if (fault.empty()) Require(SettingsText(bytes).Bytes() == bytes, "a text keeps how it is written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  Check_Settings_File(bytes);
  Check_Server_Settings(bytes);
  Require(Profile(bytes).Get("Request", "Template", "none").size() <= size + 4,
          "a value is a part of the file");
  return 0;
}
