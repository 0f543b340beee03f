#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "base/profile.h"
#include "platform/files.h"

namespace hq {

// How a trapped error is shown ("Display Mode").
enum class DisplayMode {
  Whole = 0,    // the dialog with its pages
  Compact = 1,  // the message and the buttons; the pages at a press
  OnTop = 2,    // as Whole, above the windows of every program
};

inline constexpr const char* TrapSettingsFileName = "FSCLIENT.INI";
// Where errors are logged when the error log can't be written: in the program folder, and when that can't be
// written either, in a folder of the user's among the temporary files.
inline constexpr const char* SecondErrorLogName = "!error!.log";
inline constexpr const char* LastErrorLogName = "fsError.log";

// What FSCLIENT.INI sets, each with its default.
struct TrapSettings {
  std::string CircularFileName = "circ0001.log";  // in the program folder
  std::size_t RecordSize = 512;                   // bytes of one record, 64 to 65536
  std::size_t MaxRecords = 100;                   // 2 to 1000000
  std::string LogFile = "error.log";              // a name without a separator is in the program folder
  std::string EmailAddress;
  std::string DefectDatabase;
  std::string DefectAddress;
  std::string DefectProject;
  std::string DefectAssignedTo;
  DisplayMode Display = DisplayMode::Whole;
  bool CircularLog = false;
  bool ForceSystemInfo = false;
  bool WriteToDisk = false;
  bool CaptureToDisk = false;
  bool SilentRun = false;
  bool IncludeResources = true;
  bool IncludeMemory = true;
  bool IncludeArguments = true;
  bool IncludeUser = true;
  bool AttachLog = true;
  // What of the file was not taken as it stands, a sentence for the user each.
  std::vector<std::string> Faults;
};

// One key of FSCLIENT.INI.
struct TrapSettingKey {
  std::string_view Section;
  std::string_view Key;
  std::string_view Default;
  std::size_t Longest;  // bytes; a longer value is cut
};

// Every key of FSCLIENT.INI.
[[nodiscard]] std::vector<TrapSettingKey> Trap_Setting_Keys();

// The settings of a profile. A flag is on when its first character is "1". A number that is out of its range
// gives the default, and so does a name of the circular log that would lead out of the program folder; that
// is a fault, and so is a flag that is neither 0 nor 1.
[[nodiscard]] TrapSettings Read_Trap_Settings(const Profile& profile);

// The settings of FSCLIENT.INI in the program folder, in any way of writing that SettingsText reads; the
// defaults when it is missing, and with a fault when it can't be read. What a file that is no whole text
// still says is taken, with a fault. A log whose name leads to a file of the program's own, or to the other
// log, has its default, which is a fault, too.
[[nodiscard]] TrapSettings Load_Trap_Settings(Files& files, const std::string& program_folder);

// Where the error log of the settings lies. A name without a folder is in the program folder, one with a
// folder is taken as it stands.
[[nodiscard]] std::string Log_File_Path(const TrapSettings& settings, const std::string& program_folder);

}  // namespace hq
