#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <utility>

// Before the headers that build on it.
#include <iphlpapi.h>
#include <tlhelp32.h>
#include <windows.h>
#include <winsock2.h>

#include "base/strings.h"
#include "platform/clock.h"
#include "platform/machine.h"

namespace hq {

namespace {

constexpr DWORD TextRoom = 1024;

// The text that a call writes into a buffer of a size and tells the length of.
template <class Call>
std::string Text_By(Call&& call) {
  std::string text(TextRoom, '\0');
  const DWORD length = call(text.data(), TextRoom);
  text.resize(length < TextRoom ? length : 0);
  return text;
}

std::string Stamp(const FILETIME& time) {
  FILETIME local;
  SYSTEMTIME parts;
  if (FileTimeToLocalFileTime(&time, &local) == 0 || FileTimeToSystemTime(&local, &parts) == 0) return {};
  const auto day =
      std::chrono::year(parts.wYear) / std::chrono::month(parts.wMonth) / std::chrono::day(parts.wDay);
  return General_Date_Text(Date(day), std::chrono::hours(parts.wHour) + std::chrono::minutes(parts.wMinute) +
                                          std::chrono::seconds(parts.wSecond));
}

// A system handle that is closed at the end; null when the system gave none.
class Handle {
 public:
  explicit Handle(HANDLE value) : value_(value == INVALID_HANDLE_VALUE ? nullptr : value) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (value_ != nullptr) CloseHandle(value_);
  }
  [[nodiscard]] HANDLE Get() const { return value_; }

 private:
  HANDLE value_;
};

// A text value of the registry below HKEY_LOCAL_MACHINE, or empty.
std::string Registry_Text(const char* key, const char* name) {
  std::array<char, TextRoom> text{};
  DWORD size = TextRoom - 1;
  const LSTATUS status =
      RegGetValueA(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ, nullptr, text.data(), &size);
  return status == ERROR_SUCCESS ? std::string(Trim(text.data())) : std::string();
}

std::string Program_File() {
  return Text_By([](char* text, DWORD size) { return GetModuleFileNameA(nullptr, text, size); });
}

std::string Program_File_Of(DWORD process_number) {
  const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_number));
  return Text_By([&](char* text, DWORD size) {
    return process.Get() != nullptr && QueryFullProcessImageNameA(process.Get(), 0, text, &size) != 0 ? size
                                                                                                      : 0;
  });
}

void Look_At_Program(MachineFacts& facts) {
  facts.ExePath = Program_File();
  WIN32_FILE_ATTRIBUTE_DATA file;
  if (GetFileAttributesExA(facts.ExePath.c_str(), GetFileExInfoStandard, &file) != 0) {
    facts.ExeBytes = (std::uint64_t{file.nFileSizeHigh} << 32U) + file.nFileSizeLow;
    facts.ExeStamp = Stamp(file.ftLastWriteTime);
  }
  const Handle processes(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (processes.Get() == nullptr || facts.ExePath.empty()) return;
  const std::string name = facts.ExePath.substr(facts.ExePath.find_last_of('\\') + 1);
  facts.PreviousInstance = false;
  PROCESSENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32First(processes.Get(), &entry); more != 0;
       more = Process32Next(processes.Get(), &entry)) {
    if (entry.th32ProcessID == GetCurrentProcessId() || lstrcmpiA(entry.szExeFile, name.c_str()) != 0)
      continue;
    if (lstrcmpiA(Program_File_Of(entry.th32ProcessID).c_str(), facts.ExePath.c_str()) == 0) {
      facts.PreviousInstance = true;
    }
  }
}

void Look_At_System(MachineFacts& facts) {
  OSVERSIONINFOA version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (GetVersionExA(&version) != 0) {
    facts.SystemVersion = "Windows " + std::to_string(version.dwMajorVersion) + "." +
                          std::to_string(version.dwMinorVersion) + "." +
                          std::to_string(version.dwBuildNumber);
    if (version.szCSDVersion[0] != '\0') facts.SystemVersion.append(" ").append(version.szCSDVersion);
  }
  facts.DebugKernel = GetSystemMetrics(SM_DEBUG) != 0;
  facts.MidEast = GetSystemMetrics(SM_MIDEASTENABLED) != 0;
  facts.DoubleByte = GetSystemMetrics(SM_DBCSENABLED) != 0;
  const auto locale_text = [](LCTYPE what) {
    std::array<char, 32> text{};
    GetLocaleInfoA(LOCALE_USER_DEFAULT, what, text.data(), static_cast<int>(text.size()));
    return std::string(text.data());
  };
  facts.Language = locale_text(LOCALE_SISO639LANGNAME);
  facts.Country = locale_text(LOCALE_SISO3166CTRYNAME);
  facts.SystemFolder = Text_By(GetWindowsDirectoryA);
  facts.CurrentFolder = Text_By([](char* text, DWORD size) { return GetCurrentDirectoryA(size, text); });
  facts.MachineName =
      Text_By([](char* text, DWORD size) { return GetComputerNameA(text, &size) != 0 ? size : 0; });
  // The length counts the NUL here.
  facts.UserName = Text_By(
      [](char* text, DWORD size) { return GetUserNameA(text, &size) != 0 && size > 0 ? size - 1 : 0; });
}

struct MemoryFacts {
  int LoadPercent = 0;
  std::uint64_t Physical = 0;
  std::uint64_t AvailablePhysical = 0;
  std::uint64_t Virtual = 0;
  std::uint64_t AvailableVirtual = 0;
};

MemoryFacts Memory() {
  MEMORYSTATUS memory{};
  memory.dwLength = sizeof memory;
  GlobalMemoryStatus(&memory);
  MemoryFacts facts{static_cast<int>(memory.dwMemoryLoad), memory.dwTotalPhys, memory.dwAvailPhys,
                    memory.dwTotalPageFile, memory.dwAvailPageFile};
  if constexpr (sizeof memory.dwTotalPhys < sizeof(DWORDLONG)) {
    // A 32-bit record can't hold what most machines have; its sizes end at 2 or 4 GB.
    MEMORYSTATUSEX longer{};
    longer.dwLength = sizeof longer;
    if (GlobalMemoryStatusEx(&longer) != 0) {
      facts.Physical = longer.ullTotalPhys;
      facts.AvailablePhysical = longer.ullAvailPhys;
      facts.Virtual = longer.ullTotalPageFile;
      facts.AvailableVirtual = longer.ullAvailPageFile;
    }
  }
  return facts;
}

std::string Processor_Kind(const SYSTEM_INFO& system) {
  switch (system.wProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_AMD64:
      return "x64";
    case PROCESSOR_ARCHITECTURE_INTEL:
      return "x86";
    case PROCESSOR_ARCHITECTURE_ARM64:
      return "ARM64";
    default:
      return {};
  }
}

void Look_At_Hardware(MachineFacts& facts) {
  const MemoryFacts memory = Memory();
  facts.PhysicalBytes = memory.Physical;
  facts.AvailablePhysicalBytes = memory.AvailablePhysical;
  facts.VirtualBytes = memory.Virtual;
  facts.AvailableVirtualBytes = memory.AvailableVirtual;
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  facts.Processors = static_cast<int>(system.dwNumberOfProcessors);
  facts.Processor = Registry_Text(R"(HARDWARE\DESCRIPTION\System\CentralProcessor\0)", "ProcessorNameString");
  if (facts.Processor.empty()) facts.Processor = Processor_Kind(system);
  // The default printer: its name, its driver and its port.
  facts.PrinterDriver =
      Text_By([](char* text, DWORD size) { return GetProfileStringA("windows", "device", "", text, size); });
}

// "Serial" of the device "\Device\Serial0".
std::string Driver_Of_Device(std::string device) {
  device.erase(0, device.find_last_of('\\') + 1);
  while (!device.empty() && device.back() >= '0' && device.back() <= '9') device.pop_back();
  return device;
}

void Look_At_Serial_Ports(MachineFacts& facts) {
  constexpr size_t Ports = 4;
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, R"(HARDWARE\DEVICEMAP\SERIALCOMM)", 0, KEY_READ, &key) !=
      ERROR_SUCCESS) {
    return;
  }
  std::vector<std::string> ports(Ports);
  for (DWORD index = 0;; ++index) {
    std::array<char, 256> device{};
    std::array<char, 256> port{};
    DWORD device_size = static_cast<DWORD>(device.size());
    DWORD port_size = static_cast<DWORD>(port.size() - 1);
    DWORD type = 0;
    const LSTATUS status = RegEnumValueA(key, index, device.data(), &device_size, nullptr, &type,
                                         reinterpret_cast<BYTE*>(port.data()), &port_size);
    if (status == ERROR_MORE_DATA) continue;
    if (status != ERROR_SUCCESS) break;
    if (type != REG_SZ) continue;
    const std::string name = port.data();
    if (name.size() == 4 && name.starts_with("COM") && name[3] >= '1' && name[3] <= '4') {
      ports[static_cast<size_t>(name[3] - '1')] = name;
    }
    const std::string driver = Driver_Of_Device(device.data());
    if (!driver.empty() && !Contains(facts.SerialDriver, driver)) {
      facts.SerialDriver += (facts.SerialDriver.empty() ? "" : ", ") + driver;
    }
  }
  RegCloseKey(key);
  while (!ports.empty() && ports.back().empty()) ports.pop_back();
  facts.SerialPorts = std::move(ports);
}

void Look_At_Network(MachineFacts& facts) {
  ULONG size = 0;
  if (GetAdaptersInfo(nullptr, &size) != ERROR_BUFFER_OVERFLOW) return;
  std::vector<IP_ADAPTER_INFO> adapters(size / sizeof(IP_ADAPTER_INFO) + 1);
  if (GetAdaptersInfo(adapters.data(), &size) != ERROR_SUCCESS) return;
  for (const IP_ADAPTER_INFO* adapter = adapters.data(); adapter != nullptr; adapter = adapter->Next) {
    if (adapter->Type == MIB_IF_TYPE_LOOPBACK) continue;
    facts.Network += (facts.Network.empty() ? "" : ", ") + std::string(adapter->Description);
  }
}

std::string Version_Number(DWORD high, DWORD low) {
  return std::to_string(HIWORD(high)) + "." + std::to_string(LOWORD(high)) + "." +
         std::to_string(HIWORD(low)) + "." + std::to_string(LOWORD(low));
}

// Fills in what the file says of its version.
void Look_At_Version(MachineFacts::Component& component) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeA(component.Path.c_str(), &ignored);
  std::vector<char> block(size);
  if (size == 0 || GetFileVersionInfoA(component.Path.c_str(), 0, size, block.data()) == 0) return;
  void* found = nullptr;
  UINT length = 0;
  if (VerQueryValueA(block.data(), "\\", &found, &length) != 0 && length >= sizeof(VS_FIXEDFILEINFO)) {
    const auto* const fixed = static_cast<const VS_FIXEDFILEINFO*>(found);
    component.FileVersion = Version_Number(fixed->dwFileVersionMS, fixed->dwFileVersionLS);
    component.ProductVersion = Version_Number(fixed->dwProductVersionMS, fixed->dwProductVersionLS);
  }
  // A language and a code page, 16 bits each, in which the texts are written.
  if (VerQueryValueA(block.data(), R"(\VarFileInfo\Translation)", &found, &length) == 0 || length < 4) return;
  const auto* const translation = static_cast<const WORD*>(found);
  std::array<char, 64> folder{};
  wsprintfA(folder.data(), R"(\StringFileInfo\%04x%04x\)", translation[0], translation[1]);
  const auto text = [&](const char* name) {
    const std::string path = std::string(folder.data()) + name;
    if (VerQueryValueA(block.data(), path.c_str(), &found, &length) == 0 || length == 0) return std::string();
    const std::string_view whole(static_cast<const char*>(found), length);
    return std::string(Trim(whole.substr(0, whole.find('\0'))));
  };
  component.ProductName = text("ProductName");
  component.Company = text("CompanyName");
  component.Description = text("FileDescription");
}

void Look_At_Components(MachineFacts& facts) {
  HANDLE made = INVALID_HANDLE_VALUE;
  do {
    made = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0);
    // The list changed while it was taken.
  } while (made == INVALID_HANDLE_VALUE && GetLastError() == ERROR_BAD_LENGTH);
  const Handle modules(made);
  if (modules.Get() == nullptr) return;
  MODULEENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Module32First(modules.Get(), &entry); more != 0;
       more = Module32Next(modules.Get(), &entry)) {
    if (entry.hModule == GetModuleHandleA(nullptr)) continue;
    MachineFacts::Component component;
    component.Path = entry.szExePath;
    Look_At_Version(component);
    WIN32_FILE_ATTRIBUTE_DATA file;
    if (GetFileAttributesExA(component.Path.c_str(), GetFileExInfoStandard, &file) != 0) {
      component.Created = Stamp(file.ftCreationTime);
    }
    facts.Components.push_back(std::move(component));
  }
}

MachineFacts::DriveKind Kind_Of_Drive(UINT type) {
  switch (type) {
    case DRIVE_REMOVABLE:
      return MachineFacts::DriveKind::Floppy;
    case DRIVE_FIXED:
      return MachineFacts::DriveKind::Fixed;
    case DRIVE_REMOTE:
      return MachineFacts::DriveKind::Network;
    case DRIVE_CDROM:
      return MachineFacts::DriveKind::CD;
    default:
      return MachineFacts::DriveKind::Unknown;
  }
}

void Look_At_Drives(MachineFacts& facts) {
  const DWORD present = GetLogicalDrives();
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    if ((present >> static_cast<unsigned>(letter - 'A') & 1U) == 0) continue;
    MachineFacts::Drive drive;
    drive.Name = std::string(1, letter) + ":";
    const std::string root = drive.Name + "\\";
    drive.Kind = Kind_Of_Drive(GetDriveTypeA(root.c_str()));
    ULARGE_INTEGER free{};
    // Others would have to be waited for.
    if (drive.Kind == MachineFacts::DriveKind::Fixed &&
        GetDiskFreeSpaceExA(root.c_str(), &free, nullptr, nullptr) != 0) {
      drive.FreeBytes = free.QuadPart;
    }
    facts.Drives.push_back(std::move(drive));
  }
}

}  // namespace

MachineFacts Look_At_Machine() {
  MachineFacts facts;
  // Each part by itself: what fails for want of memory leaves the others.
  for (void (*part)(MachineFacts&) : {Look_At_Program, Look_At_System, Look_At_Hardware, Look_At_Serial_Ports,
                                      Look_At_Network, Look_At_Components, Look_At_Drives}) {
    try {
      part(facts);
    } catch (const std::exception&) {
      continue;
    }
  }
  return facts;
}

std::optional<int> Memory_Load_Percent() {
  return Memory().LoadPercent;
}

std::optional<int> Free_Resources_Percent() {
  // How many handles of each kind the system gives a process, unless its owner has set something else.
  constexpr DWORD UsualQuota = 10'000;
  const auto free_percent = [](DWORD kind, const char* setting) {
    DWORD quota = 0;
    DWORD size = sizeof quota;
    const LSTATUS status =
        RegGetValueA(HKEY_LOCAL_MACHINE, R"(SOFTWARE\Microsoft\Windows NT\CurrentVersion\Windows)", setting,
                     RRF_RT_REG_DWORD, nullptr, &quota, &size);
    if (status != ERROR_SUCCESS || quota == 0) quota = UsualQuota;
    const DWORD used = std::min(GetGuiResources(GetCurrentProcess(), kind), quota);
    return static_cast<int>(std::uint64_t{quota - used} * 100 / quota);
  };
  return std::min(free_percent(GR_GDIOBJECTS, "GDIProcessHandleQuota"),
                  free_percent(GR_USEROBJECTS, "USERProcessHandleQuota"));
}

}  // namespace hq
