#include "errortrap/trap_settings.h"

#include <filesystem>

#include "base/numbers.h"
#include "base/run_time_error.h"

namespace hq {

namespace {

// The rooms that the values are read into.
constexpr std::size_t CircularFlagRoom = 5;
constexpr std::size_t DiskFlagRoom = 8;
constexpr std::size_t LogFileRoom = 128;
constexpr std::size_t TextRoom = 255;

struct Setting {
  TrapSettingKey Name;
  void (*Take)(TrapSettings& settings, const std::string& value);
};

template <bool TrapSettings::*Member>
void Flag(TrapSettings& settings, const std::string& value) {
  settings.*Member = value.starts_with('1');
}

template <std::string TrapSettings::*Member>
void Text(TrapSettings& settings, const std::string& value) {
  settings.*Member = value;
}

template <std::size_t TrapSettings::*Member, int Least, int Most>
void Number(TrapSettings& settings, const std::string& value) {
  const double number = Leading_Number(value);
  if (number >= Least && number < Most + 1.0) settings.*Member = static_cast<std::size_t>(number);
}

void Circular_Name(TrapSettings& settings, const std::string& value) {
  // A colon would name a drive or a stream of another file.
  const bool leads_elsewhere =
      value.find_first_of("/\\:") != std::string::npos || value == "." || value == "..";
  if (!value.empty() && !leads_elsewhere) settings.CircularFileName = value;
}

void Log_Name(TrapSettings& settings, const std::string& value) {
  if (!value.empty()) settings.LogFile = value;
}

void Display(TrapSettings& settings, const std::string& value) {
  const double number = Leading_Number(value);
  if (number == 1) settings.Display = DisplayMode::Compact;
  if (number == 2) settings.Display = DisplayMode::OnTop;
}

constexpr Setting Settings[] = {
    {{"Log File", "CircularLog", "0", CircularFlagRoom}, Flag<&TrapSettings::CircularLog>},
    {{"CircularLog", "FileName", "circ0001.log", TextRoom}, Circular_Name},
    {{"CircularLog", "RecordSize", "512", TextRoom}, Number<&TrapSettings::RecordSize, 64, 65536>},
    {{"CircularLog", "MaxRecords", "100", TextRoom}, Number<&TrapSettings::MaxRecords, 2, 1000000>},
    {{"preferences", "Force System Info", "", TextRoom}, Flag<&TrapSettings::ForceSystemInfo>},
    {{"email", "Address", "", TextRoom}, Text<&TrapSettings::EmailAddress>},
    {{"log file", "Write To Disk", "", DiskFlagRoom}, Flag<&TrapSettings::WriteToDisk>},
    {{"log file", "Capture To Disk", "", DiskFlagRoom}, Flag<&TrapSettings::CaptureToDisk>},
    {{"log file", "Log File", "", LogFileRoom}, Log_Name},
    {{"preferences", "Silent Run", "0", TextRoom}, Flag<&TrapSettings::SilentRun>},
    {{"preferences", "Display Mode", "0", TextRoom}, Display},
    {{"include", "Resources", "1", TextRoom}, Flag<&TrapSettings::IncludeResources>},
    {{"include", "Memory", "1", TextRoom}, Flag<&TrapSettings::IncludeMemory>},
    {{"include", "Arguments", "1", TextRoom}, Flag<&TrapSettings::IncludeArguments>},
    {{"include", "User", "1", TextRoom}, Flag<&TrapSettings::IncludeUser>},
    {{"TrackRecord", "Database", "", TextRoom}, Text<&TrapSettings::DefectDatabase>},
    {{"TrackRecord", "Address", "", TextRoom}, Text<&TrapSettings::DefectAddress>},
    {{"TrackRecord", "Project", "", TextRoom}, Text<&TrapSettings::DefectProject>},
    {{"TrackRecord", "Assigned To", "", TextRoom}, Text<&TrapSettings::DefectAssignedTo>},
    {{"DevCenter", "Attach Log", "1", TextRoom}, Flag<&TrapSettings::AttachLog>},
};

}  // namespace

std::vector<TrapSettingKey> Trap_Setting_Keys() {
  std::vector<TrapSettingKey> keys;
  for (const Setting& setting : Settings) keys.push_back(setting.Name);
  return keys;
}

TrapSettings Read_Trap_Settings(const Profile& profile) {
  TrapSettings settings;
  for (const auto& [name, take] : Settings) {
    take(settings, profile.Get(name.Section, name.Key, name.Default, name.Longest));
  }
  return settings;
}

TrapSettings Load_Trap_Settings(Files& files, const std::string& program_folder) {
  std::string text;
  try {
    text = files.Read(Join_Path(program_folder, TrapSettingsFileName));
  } catch (const RunTimeError&) {
    // The trap must start whatever becomes of its settings.
    return {};
  }
  return Read_Trap_Settings(Profile(text));
}

std::string Log_File_Path(const TrapSettings& settings, const std::string& program_folder) {
  if (std::filesystem::path(settings.LogFile).has_parent_path()) return settings.LogFile;
  return Join_Path(program_folder, settings.LogFile);
}

}  // namespace hq
