#include "errortrap/trap_settings.h"

#include <filesystem>

#include "base/numbers.h"
#include "base/run_time_error.h"
#include "base/strings.h"
#include "errortrap/own_files.h"
#include "errortrap/report_text.h"
#include "errortrap/rich_text.h"
#include "platform/settings_text.h"

namespace hq {

namespace {

// With the header that a rich text begins with.
constexpr std::size_t LeastRichTextRecords = 3;

// The rooms that the values are read into.
constexpr std::size_t CircularFlagRoom = 5;
constexpr std::size_t DiskFlagRoom = 8;
constexpr std::size_t LogFileRoom = 128;
constexpr std::size_t TextRoom = 255;

// Takes a value where it is allowed; says whether it is. An empty value stands for the default.
using Take = bool (*)(TrapSettings& settings, const std::string& value);

struct Setting {
  TrapSettingKey Name;
  hq::Take Take;
  const char* Allowed = "";  // what its values are, where not all are allowed
};

template <bool TrapSettings::*Member>
bool Flag(TrapSettings& settings, const std::string& value) {
  settings.*Member = value.starts_with('1');
  return value.empty() || value.starts_with('1') || value.starts_with('0');
}

template <std::string TrapSettings::*Member>
bool Text(TrapSettings& settings, const std::string& value) {
  settings.*Member = value;
  return true;
}

template <std::size_t TrapSettings::*Member, int Least, int Most>
bool Number(TrapSettings& settings, const std::string& value) {
  const double number = Leading_Number(value);
  const bool allowed = number >= Least && number < Most + 1.0;
  if (allowed) settings.*Member = static_cast<std::size_t>(number);
  return allowed || value.empty();
}

bool Circular_Name(TrapSettings& settings, const std::string& value) {
  // A colon would name a drive or a stream of another file.
  const bool leads_elsewhere =
      value.find_first_of("/\\:") != std::string::npos || value == "." || value == "..";
  if (!value.empty() && !leads_elsewhere) settings.CircularFileName = value;
  return !leads_elsewhere;
}

bool Log_Name(TrapSettings& settings, const std::string& value) {
  if (!value.empty()) settings.LogFile = value;
  return true;
}

bool Display(TrapSettings& settings, const std::string& value) {
  const double number = Leading_Number(value);
  if (number == 1) settings.Display = DisplayMode::Compact;
  if (number == 2) settings.Display = DisplayMode::OnTop;
  return value.empty() || number == 1 || number == 2 || (number == 0 && value.starts_with('0'));
}

constexpr const char* ZeroOrOne = "0 or 1";

constexpr Setting Settings[] = {
    {{"Log File", "CircularLog", "0", CircularFlagRoom}, Flag<&TrapSettings::CircularLog>, ZeroOrOne},
    {{"CircularLog", "FileName", "circ0001.log", TextRoom}, Circular_Name, "a name without a folder"},
    {{"CircularLog", "RecordSize", "512", TextRoom},
     Number<&TrapSettings::RecordSize, 64, 65536>,
     "a number from 64 to 65536"},
    {{"CircularLog", "MaxRecords", "100", TextRoom},
     Number<&TrapSettings::MaxRecords, 2, 1000000>,
     "a number from 2 to 1000000"},
    {{"preferences", "Force System Info", "", TextRoom}, Flag<&TrapSettings::ForceSystemInfo>, ZeroOrOne},
    {{"email", "Address", "", TextRoom}, Text<&TrapSettings::EmailAddress>},
    {{"log file", "Write To Disk", "", DiskFlagRoom}, Flag<&TrapSettings::WriteToDisk>, ZeroOrOne},
    {{"log file", "Capture To Disk", "", DiskFlagRoom}, Flag<&TrapSettings::CaptureToDisk>, ZeroOrOne},
    {{"log file", "Log File", "", LogFileRoom}, Log_Name},
    {{"preferences", "Silent Run", "0", TextRoom}, Flag<&TrapSettings::SilentRun>, ZeroOrOne},
    {{"preferences", "Display Mode", "0", TextRoom}, Display, "0, 1 or 2"},
    {{"include", "Resources", "1", TextRoom}, Flag<&TrapSettings::IncludeResources>, ZeroOrOne},
    {{"include", "Memory", "1", TextRoom}, Flag<&TrapSettings::IncludeMemory>, ZeroOrOne},
    {{"include", "Arguments", "1", TextRoom}, Flag<&TrapSettings::IncludeArguments>, ZeroOrOne},
    {{"include", "User", "1", TextRoom}, Flag<&TrapSettings::IncludeUser>, ZeroOrOne},
    {{"TrackRecord", "Database", "", TextRoom}, Text<&TrapSettings::DefectDatabase>},
    {{"TrackRecord", "Address", "", TextRoom}, Text<&TrapSettings::DefectAddress>},
    {{"TrackRecord", "Project", "", TextRoom}, Text<&TrapSettings::DefectProject>},
    {{"TrackRecord", "Assigned To", "", TextRoom}, Text<&TrapSettings::DefectAssignedTo>},
    {{"DevCenter", "Attach Log", "1", TextRoom}, Flag<&TrapSettings::AttachLog>, ZeroOrOne},
};

constexpr TrapSettingKey CircularFileKey = Settings[1].Name;
constexpr TrapSettingKey MaxRecordsKey = Settings[3].Name;
constexpr TrapSettingKey LogFileKey = Settings[8].Name;

// One sentence for the user on a value that is not taken as it stands.
std::string Fault(const TrapSettingKey& key, const std::string& value, std::string_view allowed,
                  std::string_view used) {
  constexpr std::size_t MostShown = 80;
  std::string shown = One_Line(Cut_Text(value, MostShown));
  if (value.size() > MostShown) shown += "...";
  return std::string(key.Key) + "=" + shown + " in [" + std::string(key.Section) + "] of " +
         TrapSettingsFileName + " is not " + std::string(allowed) + "; " + std::string(used) + " is used.";
}

// Leaves no log in a file that the program needs for something else.
void Refuse_Own_Files(TrapSettings& settings, const std::string& program_folder) {
  const OwnFiles own_files(program_folder);
  const TrapSettings defaults;
  constexpr std::string_view ForALog = "a file for a log, because the program keeps something else in it";
  if (own_files.Hold(Log_File_Path(settings, program_folder))) {
    settings.Faults.push_back(Fault(LogFileKey, settings.LogFile, ForALog, defaults.LogFile));
    settings.LogFile = defaults.LogFile;
    // The default may be a link to one of them, too.
    if (own_files.Hold(Log_File_Path(settings, program_folder))) settings.LogFile = SecondErrorLogName;
  }
  const auto circular_path = [&] { return Join_Path(program_folder, settings.CircularFileName); };
  if (own_files.Hold(circular_path())) {
    settings.Faults.push_back(
        Fault(CircularFileKey, settings.CircularFileName, ForALog, defaults.CircularFileName));
    settings.CircularFileName = defaults.CircularFileName;
  }
  const auto are_one = [&] { return Is_Same_File(circular_path(), Log_File_Path(settings, program_folder)); };
  constexpr std::string_view ForThisLog = "a file for this log, because the other log is kept in it";
  // The name that is not the default gives way.
  if (settings.CircularFileName != defaults.CircularFileName && are_one()) {
    settings.Faults.push_back(
        Fault(CircularFileKey, settings.CircularFileName, ForThisLog, defaults.CircularFileName));
    settings.CircularFileName = defaults.CircularFileName;
  }
  if (!are_one()) return;
  settings.Faults.push_back(Fault(LogFileKey, settings.LogFile, ForThisLog, defaults.LogFile));
  settings.LogFile = defaults.LogFile;
  if (are_one()) settings.LogFile = SecondErrorLogName;
}

}  // namespace

std::vector<TrapSettingKey> Trap_Setting_Keys() {
  std::vector<TrapSettingKey> keys;
  for (const Setting& setting : Settings) keys.push_back(setting.Name);
  return keys;
}

TrapSettings Read_Trap_Settings(const Profile& profile) {
  TrapSettings settings;
  for (const auto& [name, take, allowed] : Settings) {
    const std::string whole = profile.Get(name.Section, name.Key, name.Default);
    const std::string value = profile.Get(name.Section, name.Key, name.Default, name.Longest);
    if (!take(settings, value)) {
      settings.Faults.push_back(Fault(name, value, allowed, allowed == ZeroOrOne ? "0" : name.Default));
    } else if (value.size() < whole.size() && allowed != ZeroOrOne) {
      settings.Faults.push_back(Fault(
          name, whole, "a text of at most " + std::to_string(name.Longest) + " bytes", "what fits of it"));
    }
  }
  if (Has_Rich_Text_Name(settings.CircularFileName) && settings.MaxRecords < LeastRichTextRecords) {
    settings.Faults.push_back(Fault(MaxRecordsKey, std::to_string(settings.MaxRecords),
                                    "a number from 3 to 1000000, as rich text needs", MaxRecordsKey.Default));
    settings.MaxRecords = TrapSettings().MaxRecords;
  }
  return settings;
}

TrapSettings Load_Trap_Settings(Files& files, const std::string& program_folder) {
  TrapSettings settings;
  // The trap must start whatever becomes of its settings.
  try {
    std::string text = files.Read(Join_Path(program_folder, TrapSettingsFileName));
    std::string fault;
    try {
      text = SettingsText(text).Text();
    } catch (const RunTimeError& error) {
      fault = std::string(TrapSettingsFileName) + " can't be read as a whole: " + error.Detail();
    }
    settings = Read_Trap_Settings(Profile(text));
    if (!fault.empty()) settings.Faults.push_back(fault);
  } catch (const RunTimeError& error) {
    if (error.Number() != FileNotFound) {
      settings.Faults.push_back(std::string(TrapSettingsFileName) +
                                " can't be read, so every setting has its default: " + error.Detail());
    }
  }
  Refuse_Own_Files(settings, program_folder);
  return settings;
}

std::string Log_File_Path(const TrapSettings& settings, const std::string& program_folder) {
  if (std::filesystem::path(settings.LogFile).has_parent_path()) return settings.LogFile;
  return Join_Path(program_folder, settings.LogFile);
}

}  // namespace hq
