#include "platform/machine_posix.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <langinfo.h>
#include <link.h>
#include <locale.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/machine_texts.h"

namespace hq {

namespace fs = std::filesystem;

namespace {

// The start of a file, empty when it can't be read.
std::string Text_Of(const std::string& path) {
  constexpr size_t MostBytes = 1024 * 1024;
  // Never waits for the other end of what turns out to be a pipe.
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return {};
  std::string text;
  std::array<char, 4096> piece{};
  while (text.size() < MostBytes) {
    const ssize_t got = read(file, piece.data(), piece.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    text.append(piece.data(), static_cast<size_t>(got));
  }
  close(file);
  return text;
}

std::string First_Line(const std::string& path) {
  const std::string text = Text_Of(path);
  return text.substr(0, text.find('\n'));
}

// The names in a folder in alphabetical order, none when it can't be read.
std::vector<std::string> Names_In(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// What a link holds, without following it; empty when it is none.
std::string Link_Text(const std::string& path) {
  std::error_code error;
  const fs::path target = fs::read_symlink(path, error);
  return error ? std::string() : target.string();
}

std::string Last_Name(const std::string& path) {
  return fs::path(path).filename().string();
}

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string First_Set(std::initializer_list<const char*> variables) {
  for (const char* name : variables) {
    if (std::string value = Variable(name); !value.empty()) return value;
  }
  return {};
}

std::string Stamp(std::time_t time) {
  std::tm parts{};
  if (localtime_r(&time, &parts) == nullptr) return {};
  const auto day = std::chrono::year(parts.tm_year + 1900) /
                   std::chrono::month(static_cast<unsigned>(parts.tm_mon + 1)) /
                   std::chrono::day(static_cast<unsigned>(parts.tm_mday));
  // Years that a calendar day can't hold come from damaged file systems only.
  if (!day.ok()) return {};
  return General_Date_Text(Date(day), std::chrono::hours(parts.tm_hour) + std::chrono::minutes(parts.tm_min) +
                                          std::chrono::seconds(parts.tm_sec));
}

// The file of a program as its process names it, also after the file was replaced by a newer one.
std::string Program_File(const std::string& process) {
  constexpr std::string_view Deleted = " (deleted)";
  std::string path = Link_Text(process + "/exe");
  if (path.ends_with(Deleted)) path.resize(path.size() - Deleted.size());
  return path;
}

void Look_At_Program(const std::string& proc, MachineFacts& facts) {
  facts.ExePath = Program_File(proc + "/self");
  struct stat file {};
  if (stat((proc + "/self/exe").c_str(), &file) == 0 && S_ISREG(file.st_mode)) {
    facts.ExeBytes = static_cast<std::uint64_t>(file.st_size);
    facts.ExeStamp = Stamp(file.st_mtime);
  }
  const std::string own_number = Link_Text(proc + "/self");
  if (facts.ExePath.empty() || own_number.empty()) return;
  const std::vector<std::string> names = Names_In(proc);
  facts.PreviousInstance = std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    const bool process = name.find_first_not_of("0123456789") == std::string::npos;
    // Links only: a program file may lie on another machine.
    return process && name != own_number && Program_File(Join_Path(proc, name)) == facts.ExePath;
  });
}

void Look_At_System(const std::string& root, MachineFacts& facts) {
  std::string name = System_Name_From(Text_Of(root + "/etc/os-release"));
  if (name.empty()) name = System_Name_From(Text_Of(root + "/usr/lib/os-release"));
  utsname kernel{};
  if (uname(&kernel) == 0) {
    facts.DebugKernel = Debug_Kernel_From(kernel.release, kernel.version);
    const std::string kernel_name = std::string(kernel.sysname) + " " + kernel.release + " " + kernel.machine;
    name = name.empty() ? kernel_name : name + ", " + kernel_name;
  }
  facts.SystemVersion = name;
  std::error_code error;
  const fs::path folder = fs::current_path(error);
  if (!error) facts.CurrentFolder = folder.string();
  std::array<char, 256> machine_name{};
  // A name that does not fit need not be ended by a NUL.
  if (gethostname(machine_name.data(), machine_name.size() - 1) == 0) facts.MachineName = machine_name.data();
  // The list of the machine's own users: the system's look-up may ask a server.
  facts.UserName = User_Name_From(Text_Of(root + "/etc/passwd"), geteuid());
  if (facts.UserName.empty()) facts.UserName = First_Set({"LOGNAME", "USER"});
}

// The character set of the user's locale, by its name when the locale is not installed.
std::string User_Charset() {
  if (const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr); locale != nullptr) {
    std::string charset = nl_langinfo_l(CODESET, locale);
    freelocale(locale);
    return charset;
  }
  return std::string(Charset_From(First_Set({"LC_ALL", "LC_CTYPE", "LANG"})));
}

void Look_At_Language(MachineFacts& facts) {
  LanguageFacts language = Language_From(First_Set({"LC_ALL", "LC_MESSAGES", "LANG"}));
  facts.Language = std::move(language.Language);
  facts.Country = std::move(language.Country);
  facts.MidEast = language.MidEast;
  facts.DoubleByte = Double_Byte(User_Charset());
}

void Look_At_Hardware(const std::string& root, MachineFacts& facts) {
  const MemorySizes memory = Memory_From(Text_Of(root + "/proc/meminfo"));
  facts.PhysicalBytes = memory.Physical;
  facts.AvailablePhysicalBytes = memory.AvailablePhysical;
  facts.VirtualBytes = memory.Virtual;
  facts.AvailableVirtualBytes = memory.AvailableVirtual;
  ProcessorFacts processors = Processors_From(Text_Of(root + "/proc/cpuinfo"));
  facts.Processor = std::move(processors.Name);
  facts.Processors = processors.Count;
  utsname kernel{};
  if (facts.Processor.empty() && uname(&kernel) == 0) facts.Processor = kernel.machine;
  if (const long online = sysconf(_SC_NPROCESSORS_ONLN); !facts.Processors && online > 0) {
    facts.Processors = static_cast<int>(online);
  }
}

void Look_At_Printer(const std::string& root, const std::vector<Mount>& mounts, MachineFacts& facts) {
  const std::string wanted = First_Set({"LPDEST", "PRINTER"});
  std::string users_own;
  if (const std::string home = Variable("HOME"); home.starts_with('/') && Path_Answers(mounts, home)) {
    users_own = Text_Of(home + "/.cups/lpoptions");
  }
  facts.PrinterDriver = Printer_From(users_own, wanted);
  // Printer_From gives a printer's bare name when the text does not know it: the other text may know more.
  if (facts.PrinterDriver == wanted) {
    facts.PrinterDriver = Printer_From(Text_Of(root + "/etc/cups/lpoptions"), wanted);
  }
}

// Whether something is behind a port: the kernel makes places for more ports than there are.
bool Has_Serial_Chip(const std::string& port_folder) {
  const std::string type = First_Line(port_folder + "/type");
  return !type.empty() && type.find_first_not_of("0123456789") == std::string::npos &&
         type.find_first_not_of('0') != std::string::npos;
}

void Look_At_Serial_Ports(const std::string& root, MachineFacts& facts) {
  constexpr size_t Ports = 4;
  const std::string folder = root + "/sys/class/tty";
  std::vector<std::string> ports(Ports);
  std::vector<std::string> plugged_in;
  std::vector<std::string> drivers;
  const auto add_driver = [&](const std::string& name) {
    const std::string driver = Last_Name(Link_Text(Join_Path(folder, name) + "/device/driver"));
    if (!driver.empty() && std::find(drivers.begin(), drivers.end(), driver) == drivers.end()) {
      drivers.push_back(driver);
    }
  };
  for (const std::string& name : Names_In(folder)) {
    if (name.starts_with("ttyUSB") || name.starts_with("ttyACM")) {
      plugged_in.push_back(name);
      add_driver(name);
    } else if (name.starts_with("ttyS") && Has_Serial_Chip(Join_Path(folder, name))) {
      // ttyS0 is the first port.
      if (name.size() == 5 && name[4] >= '0' && name[4] <= '3') {
        ports[static_cast<size_t>(name[4] - '0')] = "/dev/" + name;
      }
      add_driver(name);
    }
  }
  auto next = plugged_in.begin();
  for (std::string& port : ports) {
    if (port.empty() && next != plugged_in.end()) port = "/dev/" + *next++;
  }
  while (!ports.empty() && ports.back().empty()) ports.pop_back();
  facts.SerialPorts = std::move(ports);
  for (const std::string& driver : drivers) {
    facts.SerialDriver += (facts.SerialDriver.empty() ? "" : ", ") + driver;
  }
}

bool Is_Up(const std::string& interface_folder) {
  const std::string state = First_Line(interface_folder + "/operstate");
  if (state != "unknown") return state == "up";
  // Some drivers don't tell; then the interface is up when it was set so.
  constexpr unsigned long UpFlag = 1;
  return (std::strtoul(First_Line(interface_folder + "/flags").c_str(), nullptr, 16) & UpFlag) != 0;
}

void Look_At_Network(const std::string& root, MachineFacts& facts) {
  const std::string folder = root + "/sys/class/net";
  for (const std::string& name : Names_In(folder)) {
    const std::string interface_folder = Join_Path(folder, name);
    if (name == "lo" || !Is_Up(interface_folder)) continue;
    const std::string driver = Last_Name(Link_Text(interface_folder + "/device/driver"));
    facts.Network += (facts.Network.empty() ? "" : ", ") + name + (driver.empty() ? "" : " (" + driver + ")");
  }
}

int Note_Component(dl_phdr_info* info, size_t /*size*/, void* names) {
  // The program itself has no name, and what the kernel lends a process no file.
  const std::string_view name = info->dlpi_name != nullptr ? info->dlpi_name : "";
  if (name.find('/') != std::string_view::npos) {
    static_cast<std::vector<std::string>*>(names)->emplace_back(name);
  }
  return 0;
}

void Look_At_Components(MachineFacts& facts) {
  std::vector<std::string> names;
  dl_iterate_phdr(Note_Component, &names);
  for (const std::string& name : names) {
    MachineFacts::Component component;
    std::error_code error;
    const fs::path path = fs::canonical(name, error);
    component.Path = error ? name : path.string();
    component.FileVersion = Library_Version_From(Last_Name(component.Path));
    struct stat file {};
    if (stat(component.Path.c_str(), &file) == 0) component.Created = Stamp(file.st_mtime);
    facts.Components.push_back(std::move(component));
  }
}

void Look_At_Drives(const std::vector<Mount>& mounts, MachineFacts& facts) {
  for (const MountedDrive& mounted : Drives_From(mounts)) {
    MachineFacts::Drive drive;
    drive.Name = mounted.Folder;
    drive.Kind = mounted.Kind;
    struct statvfs space {};
    if (mounted.Answers && statvfs(mounted.Folder.c_str(), &space) == 0) {
      drive.FreeBytes = static_cast<std::uint64_t>(space.f_bavail) * space.f_frsize;
    }
    facts.Drives.push_back(std::move(drive));
  }
}

}  // namespace

MachineFacts Look_At_Machine_Below(const std::string& root_folder) {
  const std::string root = root_folder == "/" ? "" : root_folder;
  MachineFacts facts;
  std::vector<Mount> mounts;
  // Each part by itself: what fails for want of memory leaves the others.
  const auto look = [](auto&& part) {
    try {
      part();
    } catch (const std::exception&) {
      return;
    }
  };
  look([&] { mounts = Mounts_From(Text_Of(root + "/proc/self/mounts")); });
  look([&] { Look_At_Program(root + "/proc", facts); });
  look([&] { Look_At_System(root, facts); });
  look([&] { Look_At_Language(facts); });
  look([&] { Look_At_Hardware(root, facts); });
  look([&] { Look_At_Printer(root, mounts, facts); });
  look([&] { Look_At_Serial_Ports(root, facts); });
  look([&] { Look_At_Network(root, facts); });
  look([&] { Look_At_Components(facts); });
  look([&] { Look_At_Drives(mounts, facts); });
  return facts;
}

std::optional<int> Memory_Load_Percent_Below(const std::string& root_folder) {
  const std::string root = root_folder == "/" ? "" : root_folder;
  return Load_Percent(Memory_From(Text_Of(root + "/proc/meminfo")));
}

MachineFacts Look_At_Machine() {
  return Look_At_Machine_Below("/");
}

std::optional<int> Memory_Load_Percent() {
  return Memory_Load_Percent_Below("/");
}

// Windows and drawing take no limited stock here.
std::optional<int> Free_Resources_Percent() {
  return std::nullopt;
}

}  // namespace hq
