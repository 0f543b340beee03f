#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hq {

// What is known of the machine. A fact that the system does not tell is empty. Sizes are bytes.
struct MachineFacts {
  struct Component {  // a library or program file loaded into this process
    std::string Path;
    std::string FileVersion;
    std::string ProductVersion;
    std::string ProductName;
    std::string Company;
    std::string Description;
    std::string Created;  // General Date form
  };
  enum class DriveKind { Floppy, Fixed, Network, CD, Unknown };
  struct Drive {
    std::string Name;  // "C:" or a mount point
    DriveKind Kind = DriveKind::Unknown;
    std::optional<std::uint64_t> FreeBytes;
  };

  // The program file.
  std::string ExePath;
  std::string ExeStamp;  // General Date form
  std::optional<std::uint64_t> ExeBytes;
  std::optional<bool> PreviousInstance;  // another process runs the same file

  std::string SystemVersion;
  std::optional<bool> DebugKernel;
  std::string Language;
  std::string Country;
  std::optional<bool> MidEast;     // written from right to left
  std::optional<bool> DoubleByte;  // a code page of double-byte characters
  std::string SystemFolder;        // the Windows directory
  std::string CurrentFolder;

  std::optional<std::uint64_t> PhysicalBytes;
  std::optional<std::uint64_t> AvailablePhysicalBytes;
  std::optional<std::uint64_t> VirtualBytes;
  std::optional<std::uint64_t> AvailableVirtualBytes;

  std::string Processor;
  std::optional<int> Processors;

  std::string PrinterDriver;
  std::string SerialDriver;
  std::vector<std::string> SerialPorts;  // Com1 to Com4, empty for a port that is not there
  std::string Network;

  // Filled by who has a screen.
  std::optional<int> ColorBits;
  std::string ScreenSize;  // "1920 x 1080"
  std::optional<int> Monitors;
  std::optional<bool> Mouse;
  std::optional<int> MouseButtons;
  std::optional<bool> MouseWheel;
  std::string Keyboard;

  std::vector<Component> Components;
  std::vector<Drive> Drives;
  std::string MachineName;
  std::string UserName;
};

// Looks at the machine; never fails and never waits for another machine. Takes some milliseconds.
[[nodiscard]] MachineFacts Look_At_Machine();

// Physical memory in use, 0 to 100.
[[nodiscard]] std::optional<int> Memory_Load_Percent();
// What is free of the system resources that windows and drawing take, 0 to 100, where there is such a limit.
[[nodiscard]] std::optional<int> Free_Resources_Percent();

}  // namespace hq
