#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/machine.h"

// What the text files that a Unix-like system keeps of itself say. All of this takes any text: what makes no
// sense is passed over, and a fact that the text does not tell is empty.

namespace hq {

// Sizes in bytes, of /proc/meminfo. Virtual memory is the physical one and the swap space together.
struct MemorySizes {
  std::optional<std::uint64_t> Physical;
  std::optional<std::uint64_t> AvailablePhysical;
  std::optional<std::uint64_t> Virtual;
  std::optional<std::uint64_t> AvailableVirtual;
};
[[nodiscard]] MemorySizes Memory_From(std::string_view meminfo);

// Physical memory in use, 0 to 100, whole percents rounded down.
[[nodiscard]] std::optional<int> Load_Percent(const MemorySizes& memory);

// The system's name and version as /etc/os-release gives it to people.
[[nodiscard]] std::string System_Name_From(std::string_view os_release);

// True when the kernel's release or version calls it a debug kernel; empty when it does not, because a kernel
// need not say so.
[[nodiscard]] std::optional<bool> Debug_Kernel_From(std::string_view release, std::string_view version);

struct ProcessorFacts {
  std::string Name;
  std::optional<int> Count;
};
// Of /proc/cpuinfo, whose keys differ between processor families.
[[nodiscard]] ProcessorFacts Processors_From(std::string_view cpuinfo);

struct LanguageFacts {
  std::string Language;         // ISO 639, "de"
  std::string Country;          // ISO 3166, "DE", or a region's three digits
  std::optional<bool> MidEast;  // written from right to left; empty without a language
};
// Of a locale's name, such as "de_DE.UTF-8@euro"; nothing for the plain locales "C" and "POSIX".
[[nodiscard]] LanguageFacts Language_From(std::string_view locale_name);

// The character set that a locale's name names, or empty.
[[nodiscard]] std::string_view Charset_From(std::string_view locale_name);

// Whether a character set holds characters of one and of two bytes side by side; empty for an empty name.
// UTF-8 is none of these.
[[nodiscard]] std::optional<bool> Double_Byte(std::string_view charset);

// Make and model of a printer in the print system's lpoptions, or the printer's name where these are not
// told. printer: the one asked for, or empty for the one that the text names as the default.
[[nodiscard]] std::string Printer_From(std::string_view lpoptions, std::string_view printer);

// The user's name in /etc/passwd.
[[nodiscard]] std::string User_Name_From(std::string_view passwd, unsigned long user);

// The version at the end of a shared library's file name: "1.2.3" of "libfoo.so.1.2.3", "2.31" of
// "libfoo-2.31.so".
[[nodiscard]] std::string Library_Version_From(std::string_view file_name);

// A line of /proc/self/mounts.
struct Mount {
  std::string Device;
  std::string Folder;
  std::string Type;
};
[[nodiscard]] std::vector<Mount> Mounts_From(std::string_view mounts);

struct MountedDrive {
  std::string Folder;
  MachineFacts::DriveKind Kind;
  bool Answers;  // its free space can be asked without waiting for another machine or another process
};
// The drives among the mounts, each device once and at its first folder that no later mount on the same
// folder hides; what only the kernel makes up (proc, tmpfs, ...) is no drive.
[[nodiscard]] std::vector<MountedDrive> Drives_From(const std::vector<Mount>& mounts);

// Whether every folder on the way to a path answers without waiting for another machine or another process.
[[nodiscard]] bool Path_Answers(const std::vector<Mount>& mounts, std::string_view path);

}  // namespace hq
