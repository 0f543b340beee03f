#include "platform/machine_posix.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/environment.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;
using test::EnvironmentVariable;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// A folder that holds what a system tells of itself.
class FakeSystem {
 public:
  void Put(const std::string& path, const std::string& text) const {
    Make_Place(path);
    test::Put_Bytes(folder_ / path, text);
  }
  void Link(const std::string& path, const std::string& target) const {
    Make_Place(path);
    fs::create_symlink(target, folder_ / path);
  }
  // A process whose program is file.
  void Put_Process(const std::string& number, const std::string& file) const {
    Link("proc/" + number + "/exe", file);
  }

  [[nodiscard]] std::string operator/(const std::string& path) const { return folder_ / path; }
  [[nodiscard]] MachineFacts Look() const { return Look_At_Machine_Below(folder_.Path()); }

 private:
  void Make_Place(const std::string& path) const {
    fs::create_directories(fs::path(folder_ / path).parent_path());
  }

  test::TempFolder folder_;
};

TEST(LookAtMachine, KnowsThisMachine) {
  const MachineFacts facts = Look_At_Machine();
  EXPECT_EQ(facts.ExePath, fs::read_symlink("/proc/self/exe").string());
  EXPECT_EQ(facts.ExeBytes, fs::file_size(facts.ExePath));
  EXPECT_FALSE(facts.ExeStamp.empty());
  EXPECT_TRUE(facts.PreviousInstance.has_value());
  EXPECT_THAT(facts.SystemVersion, HasSubstr("Linux"));
  EXPECT_EQ(facts.CurrentFolder, fs::current_path().string());
  EXPECT_EQ(facts.SystemFolder, "");
  ASSERT_TRUE(facts.PhysicalBytes.has_value());
  EXPECT_GT(*facts.PhysicalBytes, 1024U * 1024U);
  ASSERT_TRUE(facts.AvailablePhysicalBytes.has_value());
  EXPECT_LE(*facts.AvailablePhysicalBytes, *facts.PhysicalBytes);
  EXPECT_FALSE(facts.Processor.empty());
  ASSERT_TRUE(facts.Processors.has_value());
  EXPECT_GE(*facts.Processors, 1);
  EXPECT_FALSE(facts.MachineName.empty());
}

TEST(LookAtMachine, LeavesTheScreenToOthers) {
  const MachineFacts facts = Look_At_Machine();
  EXPECT_FALSE(facts.ColorBits.has_value());
  EXPECT_FALSE(facts.Monitors.has_value());
  EXPECT_FALSE(facts.Mouse.has_value());
  EXPECT_EQ(facts.ScreenSize, "");
  EXPECT_EQ(facts.Keyboard, "");
}

TEST(LookAtMachine, NamesTheLoadedLibraries) {
  const MachineFacts facts = Look_At_Machine();
  const auto found =
      std::find_if(facts.Components.begin(), facts.Components.end(), [](const auto& component) {
        return fs::path(component.Path).filename().string().starts_with("libstdc++.so.");
      });
  ASSERT_NE(found, facts.Components.end());
  EXPECT_TRUE(fs::is_regular_file(found->Path));
  EXPECT_FALSE(fs::is_symlink(found->Path));
  EXPECT_THAT(found->FileVersion, StartsWith("6"));
  EXPECT_FALSE(found->Created.empty());
  EXPECT_EQ(found->ProductName, "");
  for (const auto& component : facts.Components) EXPECT_THAT(component.Path, StartsWith("/"));
}

TEST(LookAtMachine, StandsAMachineThatTellsNothing) {
  const FakeSystem system;
  const EnvironmentVariable home("HOME", std::nullopt);
  const EnvironmentVariable destination("LPDEST", std::nullopt);
  const EnvironmentVariable printer("PRINTER", std::nullopt);
  const EnvironmentVariable log_name("LOGNAME", std::nullopt);
  const EnvironmentVariable user("USER", std::nullopt);
  const MachineFacts facts = system.Look();
  EXPECT_EQ(facts.ExePath, "");
  EXPECT_EQ(facts.ExeStamp, "");
  EXPECT_FALSE(facts.ExeBytes.has_value());
  EXPECT_FALSE(facts.PreviousInstance.has_value());
  EXPECT_FALSE(facts.PhysicalBytes.has_value());
  EXPECT_FALSE(facts.AvailableVirtualBytes.has_value());
  EXPECT_EQ(facts.PrinterDriver, "");
  EXPECT_EQ(facts.SerialDriver, "");
  EXPECT_THAT(facts.SerialPorts, IsEmpty());
  EXPECT_EQ(facts.Network, "");
  EXPECT_THAT(facts.Drives, IsEmpty());
  EXPECT_EQ(facts.UserName, "");
  // The kernel tells these itself.
  EXPECT_THAT(facts.SystemVersion, StartsWith("Linux "));
  EXPECT_FALSE(facts.Processor.empty());
  EXPECT_TRUE(facts.Processors.has_value());
}

TEST(LookAtMachine, StandsFoldersInThePlaceOfFilesAndFilesInThatOfFolders) {
  const FakeSystem system;
  for (const char* folder :
       {"proc/meminfo", "proc/cpuinfo", "proc/self/mounts", "etc/os-release", "etc/passwd",
        "etc/cups/lpoptions", "sys/class/tty/ttyS0/type", "sys/class/net/eth0/operstate"}) {
    fs::create_directories(system / folder);
  }
  EXPECT_FALSE(system.Look().PhysicalBytes.has_value());
  const FakeSystem files;
  for (const char* file : {"proc", "sys", "etc"}) files.Put(file, "x");
  EXPECT_EQ(files.Look().Network, "");
}

TEST(LookAtMachine, DoesNotWaitAtAPipe) {
  const FakeSystem system;
  fs::create_directories(system / "proc");
  ASSERT_EQ(mkfifo((system / "proc/meminfo").c_str(), 0600), 0);
  EXPECT_FALSE(system.Look().PhysicalBytes.has_value());
}

TEST(LookAtMachine, FindsAnotherProcessOfTheSameProgram) {
  const FakeSystem system;
  system.Put("program", "12345");
  system.Put_Process("4711", system / "program");
  system.Link("proc/self", "4711");
  system.Put_Process("1", "/sbin/init");
  system.Put("proc/uptime", "1 1");
  const MachineFacts alone = system.Look();
  EXPECT_EQ(alone.ExePath, system / "program");
  EXPECT_EQ(alone.ExeBytes, 5U);
  EXPECT_FALSE(alone.ExeStamp.empty());
  EXPECT_EQ(alone.PreviousInstance, false);
  system.Put_Process("5000", system / "program");
  EXPECT_EQ(system.Look().PreviousInstance, true);
}

TEST(LookAtMachine, FindsAnotherProcessWhoseProgramWasReplaced) {
  const FakeSystem system;
  system.Put_Process("4711", "/opt/program");
  system.Link("proc/self", "4711");
  system.Put_Process("5000", "/opt/program (deleted)");
  EXPECT_EQ(system.Look().PreviousInstance, true);
}

TEST(LookAtMachine, TakesNoOtherNamesForProcesses) {
  const FakeSystem system;
  system.Put_Process("4711", "/opt/program");
  system.Link("proc/self", "4711");
  system.Put_Process("4711a", "/opt/program");
  system.Put_Process("thread-self", "/opt/program");
  system.Put_Process("5000", "/opt/program2");
  fs::create_directories(system / "proc/6000");
  EXPECT_EQ(system.Look().PreviousInstance, false);
}

TEST(LookAtMachine, KnowsItsOwnReplacedProgram) {
  const FakeSystem system;
  system.Put_Process("4711", "/opt/program (deleted)");
  system.Link("proc/self", "4711");
  EXPECT_EQ(system.Look().ExePath, "/opt/program");
}

TEST(LookAtMachine, SeesAProcessOfItsOwnProgram) {
  const pid_t other = fork();
  if (other == 0) {
    pause();
    _exit(0);
  }
  ASSERT_GT(other, 0);
  const std::optional<bool> seen = Look_At_Machine().PreviousInstance;
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
  EXPECT_EQ(seen, true);
}

TEST(LookAtMachine, NamesTheSystemAndItsKernel) {
  const FakeSystem system;
  system.Put("usr/lib/os-release", "PRETTY_NAME=\"Of the vendor 1\"\n");
  EXPECT_THAT(system.Look().SystemVersion, StartsWith("Of the vendor 1, Linux "));
  system.Put("etc/os-release", "PRETTY_NAME=\"Of the machine 2\"\n");
  EXPECT_THAT(system.Look().SystemVersion, StartsWith("Of the machine 2, Linux "));
}

TEST(LookAtMachine, ReadsMemoryAndProcessors) {
  const FakeSystem system;
  system.Put("proc/meminfo", "MemTotal: 100 kB\nMemAvailable: 40 kB\nSwapTotal: 10 kB\nSwapFree: 5 kB\n");
  system.Put("proc/cpuinfo", "processor : 0\nmodel name : Fast One\nprocessor : 1\nmodel name : Fast One\n");
  const MachineFacts facts = system.Look();
  EXPECT_EQ(facts.PhysicalBytes, 102400U);
  EXPECT_EQ(facts.AvailablePhysicalBytes, 40960U);
  EXPECT_EQ(facts.VirtualBytes, 112640U);
  EXPECT_EQ(facts.AvailableVirtualBytes, 46080U);
  EXPECT_EQ(facts.Processor, "Fast One");
  EXPECT_EQ(facts.Processors, 2);
}

TEST(LookAtMachine, NamesTheUserOfTheMachinesOwnList) {
  const FakeSystem system;
  const EnvironmentVariable log_name("LOGNAME", "from_log_in");
  const EnvironmentVariable user("USER", "from_shell");
  EXPECT_EQ(system.Look().UserName, "from_log_in");
  system.Put("etc/passwd", "listed:x:" + std::to_string(geteuid()) + ":0::/:/bin/sh\n");
  EXPECT_EQ(system.Look().UserName, "listed");
}

TEST(LookAtMachine, TakesTheLanguageOfTheUsersMessages) {
  const FakeSystem system;
  const EnvironmentVariable all("LC_ALL", std::nullopt);
  const EnvironmentVariable messages("LC_MESSAGES", "he_IL.UTF-8");
  const EnvironmentVariable lang("LANG", "ja_JP.eucJP");
  const EnvironmentVariable ctype("LC_CTYPE", std::nullopt);
  const MachineFacts facts = system.Look();
  EXPECT_EQ(facts.Language, "he");
  EXPECT_EQ(facts.Country, "IL");
  EXPECT_EQ(facts.MidEast, true);
  EXPECT_EQ(facts.DoubleByte, true);
  const EnvironmentVariable over_all("LC_ALL", "de_CH.UTF-8");
  const MachineFacts swiss = system.Look();
  EXPECT_EQ(swiss.Language, "de");
  EXPECT_EQ(swiss.Country, "CH");
  EXPECT_EQ(swiss.MidEast, false);
  EXPECT_EQ(swiss.DoubleByte, false);
}

TEST(LookAtMachine, KnowsNoLanguageOfThePlainLocale) {
  const FakeSystem system;
  const EnvironmentVariable all("LC_ALL", "C");
  const MachineFacts facts = system.Look();
  EXPECT_EQ(facts.Language, "");
  EXPECT_FALSE(facts.MidEast.has_value());
  EXPECT_EQ(facts.DoubleByte, false);
}

TEST(LookAtMachine, FindsThePrinter) {
  const FakeSystem system;
  const EnvironmentVariable destination("LPDEST", std::nullopt);
  const EnvironmentVariable printer("PRINTER", std::nullopt);
  const EnvironmentVariable home("HOME", system / "home");
  system.Put("etc/cups/lpoptions", "Default Office printer-make-and-model='Office Maker'\n");
  EXPECT_EQ(system.Look().PrinterDriver, "Office Maker");
  system.Put("home/.cups/lpoptions", "Default Home printer-make-and-model='Home Maker'\n");
  EXPECT_EQ(system.Look().PrinterDriver, "Home Maker");
  const EnvironmentVariable wanted("PRINTER", "Office");
  EXPECT_EQ(system.Look().PrinterDriver, "Office Maker");
  const EnvironmentVariable elsewhere("LPDEST", "Elsewhere");
  EXPECT_EQ(system.Look().PrinterDriver, "Elsewhere");
}

TEST(LookAtMachine, DoesNotLookIntoAHomeOnTheNetwork) {
  const FakeSystem system;
  const EnvironmentVariable destination("LPDEST", std::nullopt);
  const EnvironmentVariable printer("PRINTER", std::nullopt);
  const EnvironmentVariable home("HOME", system / "home");
  system.Put("home/.cups/lpoptions", "Default Home\n");
  EXPECT_EQ(system.Look().PrinterDriver, "Home");
  system.Put("proc/self/mounts", "srv:/home " + (system / "home") + " nfs rw 0 0\n");
  EXPECT_EQ(system.Look().PrinterDriver, "");
}

TEST(LookAtMachine, FindsTheSerialPortsThatAreThere) {
  const FakeSystem system;
  system.Put("sys/class/tty/ttyS0/type", "0\n");
  system.Put("sys/class/tty/ttyS1/type", "4\n");
  system.Link("sys/class/tty/ttyS1/device/driver", "../../../bus/platform/drivers/serial8250");
  system.Put("sys/class/tty/ttyS2/type", "garbage\n");
  system.Put("sys/class/tty/ttyS3/type", "");
  system.Put("sys/class/tty/ttyS31/type", "4\n");
  system.Link("sys/class/tty/ttyS31/device/driver", "drivers/serial8250");
  system.Link("sys/class/tty/ttyUSB0/device/driver", "drivers/ftdi_sio");
  system.Put("sys/class/tty/tty0/active", "");
  const MachineFacts facts = system.Look();
  EXPECT_THAT(facts.SerialPorts, ElementsAre("/dev/ttyUSB0", "/dev/ttyS1"));
  EXPECT_EQ(facts.SerialDriver, "serial8250, ftdi_sio");
}

TEST(LookAtMachine, LeavesThePlaceOfAMissingPortEmpty) {
  const FakeSystem system;
  system.Put("sys/class/tty/ttyS2/type", "16\n");
  const MachineFacts facts = system.Look();
  EXPECT_THAT(facts.SerialPorts, ElementsAre("", "", "/dev/ttyS2"));
  EXPECT_EQ(facts.SerialDriver, "");
}

TEST(LookAtMachine, NamesFourPortsAtMost) {
  const FakeSystem system;
  for (const char* port : {"ttyACM0", "ttyACM1", "ttyUSB0", "ttyUSB1", "ttyUSB2"}) {
    fs::create_directories(system / ("sys/class/tty/" + std::string(port)));
  }
  EXPECT_THAT(system.Look().SerialPorts,
              ElementsAre("/dev/ttyACM0", "/dev/ttyACM1", "/dev/ttyUSB0", "/dev/ttyUSB1"));
}

TEST(LookAtMachine, NamesTheNetworkInterfacesThatAreUp) {
  const FakeSystem system;
  system.Put("sys/class/net/lo/operstate", "up\n");
  system.Put("sys/class/net/eth0/operstate", "up\n");
  system.Put("sys/class/net/eth0/address", "00:11:22:33:44:55\n");
  system.Link("sys/class/net/eth0/device/driver", "../../bus/pci/drivers/e1000e");
  system.Put("sys/class/net/wlan0/operstate", "down\n");
  system.Put("sys/class/net/tun0/operstate", "unknown\n");
  system.Put("sys/class/net/tun0/flags", "0x10d1\n");
  system.Put("sys/class/net/tun1/operstate", "unknown\n");
  system.Put("sys/class/net/tun1/flags", "0x1090\n");
  system.Put("sys/class/net/tun2/operstate", "unknown\n");
  system.Put("sys/class/net/bonding_masters", "bond0\n");
  EXPECT_EQ(system.Look().Network, "eth0 (e1000e), tun0");
}

TEST(LookAtMachine, AsksTheFreeSpaceOfLocalDrivesOnly) {
  const FakeSystem system;
  fs::create_directories(system / "disk");
  fs::create_directories(system / "net");
  system.Put("proc/self/mounts", "/dev/sda1 " + (system / "disk") + " ext4 rw 0 0\nsrv:/x " +
                                     (system / "net") + " nfs rw 0 0\n/dev/sdb1 " + (system / "gone") +
                                     " ext4 rw 0 0\n");
  const MachineFacts facts = system.Look();
  ASSERT_EQ(facts.Drives.size(), 3U);
  EXPECT_EQ(facts.Drives[0].Name, system / "disk");
  EXPECT_EQ(facts.Drives[0].Kind, MachineFacts::DriveKind::Fixed);
  EXPECT_TRUE(facts.Drives[0].FreeBytes.has_value());
  EXPECT_EQ(facts.Drives[1].Kind, MachineFacts::DriveKind::Network);
  EXPECT_FALSE(facts.Drives[1].FreeBytes.has_value());
  EXPECT_FALSE(facts.Drives[2].FreeBytes.has_value());
}

TEST(LookAtMachine, StandsACurrentFolderThatIsGone) {
  const fs::path before = fs::current_path();
  {
    const test::TempFolder gone;
    fs::current_path(gone.Path());
    fs::remove(gone.Path());
    EXPECT_EQ(Look_At_Machine().CurrentFolder, "");
    fs::current_path(before);
  }
}

TEST(LookAtMachine, LeavesNoFileOpen) {
  const auto open_files = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = open_files();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(Look_At_Machine().SystemVersion.empty());
  EXPECT_EQ(open_files(), before);
}

TEST(MemoryLoadPercent, IsBetweenNoneAndAll) {
  const std::optional<int> load = Memory_Load_Percent();
  ASSERT_TRUE(load.has_value());
  EXPECT_GE(*load, 0);
  EXPECT_LE(*load, 100);
}

TEST(MemoryLoadPercent, ComesFromTheSystemsFile) {
  const FakeSystem system;
  EXPECT_FALSE(Memory_Load_Percent_Below(system / "").has_value());
  system.Put("proc/meminfo", "MemTotal: 200 kB\nMemAvailable: 50 kB\n");
  EXPECT_EQ(Memory_Load_Percent_Below(system / ""), 75);
}

TEST(FreeResourcesPercent, IsNotKnownHere) {
  EXPECT_FALSE(Free_Resources_Percent().has_value());
}

}  // namespace
}  // namespace hq
