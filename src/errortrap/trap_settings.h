#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/profile.h"
#include "platform/files.h"

namespace hq {

// How a trapped error is shown ("Display Mode").
enum class DisplayMode {
  Whole = 0,    // the dialog with its pages
  Compact = 1,  // the message and the buttons; the pages at a press
  OnTop = 2,    // as Whole, above the windows of every program
};

// What FSCLIENT.INI sets, each with its default.
struct TrapSettings {
  bool CircularLog = false;
  std::string CircularFileName = "circ0001.log";  // in the program folder
  std::size_t RecordSize = 512;                   // characters of one record, 64 to 65536
  std::size_t MaxRecords = 100;                   // 2 to 1000000
  bool ForceSystemInfo = false;
  std::string EmailAddress;
  bool WriteToDisk = false;
  bool CaptureToDisk = false;
  std::string LogFile = "error.log";  // a name without a separator is in the program folder
  bool SilentRun = false;
  DisplayMode Display = DisplayMode::Whole;
  bool IncludeResources = true;
  bool IncludeMemory = true;
  bool IncludeArguments = true;
  bool IncludeUser = true;
  std::string DefectDatabase;
  std::string DefectAddress;
  std::string DefectProject;
  std::string DefectAssignedTo;
  bool AttachLog = true;
};

// The settings of a profile. A value that is out of its range gives the default.
[[nodiscard]] TrapSettings Read_Trap_Settings(const Profile& profile);

// The settings of FSCLIENT.INI in the program folder; the defaults when it is missing or can't be read.
[[nodiscard]] TrapSettings Load_Trap_Settings(Files& files, const std::string& program_folder);

// Where the error log of the settings lies.
[[nodiscard]] std::string Log_File_Path(const TrapSettings& settings, const std::string& program_folder);

}  // namespace hq
