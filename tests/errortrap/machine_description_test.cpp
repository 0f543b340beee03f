#include "errortrap/machine_description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "errortrap/sample_error.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Sample_Application;
using test::Sample_Machine;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* Sample =
    "Application\n"
    "   Title...............History Quotes\n"
    "   Path................/home/anna/quotes\n"
    "   Project Version.....1.0.0\n"
    "   OLE Server..........NO\n"
    "   Previous Instance...NO\n"
    "  EXE Name............history-quotes\n"
    "  EXE Time Stamp......03/10/03 09:30:00\n"
    "  EXE Size............2,345,678 bytes\n"
    "\n"
    "Operating System\n"
    "   Windows Version......Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64 x86_64\n"
    "   Language............de\n"
    "   Mideast.............NO\n"
    "   DCBS................NO\n"
    "   Current Path......../home/anna\n"
    "\n"
    "Memory Information\n"
    "   Total Physical......8,192,000 KB\n"
    "   Available Physical..3,072,000 KB\n"
    "   Virtual Memory......10,240,000 KB\n"
    "   Available Virtual...4,608,000 KB\n"
    "   Pct Physical Free...37.5\n"
    "\n"
    "Processor\n"
    "   CPU.................Example CPU 3000\n"
    "   Number of CPUs......4\n"
    "\n"
    "Printer\n"
    "   Driver..............Example Laser 4000\n"
    "\n"
    "Ports\n"
    "   Serial Driver.......serial8250, ftdi_sio\n"
    "   Com1................/dev/ttyS0\n"
    "   Com3................/dev/ttyUSB0\n"
    "\n"
    "Network\n"
    "   Description.........eth0 (e1000e)\n"
    "\n"
    "General Video Information\n"
    "   Colors.......................24 bits per pixel\n"
    "   Screen size..............1920 x 1080\n"
    "   Number of Monitors..2\n"
    "\n"
    "Mouse\n"
    "   Mouse Present.......YES\n"
    "   Mouse Buttons.......5\n"
    "   Mouse Wheel.......YES\n"
    "\n"
    "Keyboard\n"
    "   Example Keyboard\n"
    "\n"
    "Other Components Running In Process\n"
    "   /usr/lib/x86_64-linux-gnu/libcurl.so.4.8.0: file version 4.8.0, created 02/01/03 12:00:00\n"
    "\n"
    "Drives\n"
    "   Floppies............0\n"
    "   Disks...............2\n"
    "   Drive /...........Fixed     20,480,000 KB Free\n"
    "   Drive /home...........Network   \n";

TEST(MachineDescription, HasTheSectionsAndLabelsInTheirOrder) {
  EXPECT_EQ(Machine_Description(Sample_Application(), Sample_Machine()), Sample);
}

TEST(MachineDescription, IsTheSampleOfTheDocumentation) {
  EXPECT_THAT(test::Bytes_Of(test::SamplePage), HasSubstr("```\n" + std::string(Sample) + "```\n"));
}

TEST(MachineDescription, LeavesOutWhatIsNotKnown) {
  EXPECT_EQ(Machine_Description({}, {}), "Application\n   OLE Server..........NO\n");
}

TEST(MachineDescription, KeepsASectionOfOneLine) {
  MachineFacts machine;
  machine.MouseWheel = false;
  EXPECT_THAT(Machine_Description({}, machine), EndsWith("\n\nMouse\n   Mouse Wheel.......NO\n"));
}

TEST(MachineDescription, SaysYesToWhatIsSo) {
  MachineFacts machine;
  machine.PreviousInstance = true;
  machine.DebugKernel = true;
  machine.MidEast = true;
  machine.DoubleByte = true;
  machine.SystemFolder = "C:\\WINDOWS";
  EXPECT_THAT(Machine_Description({}, machine), EndsWith("   Previous Instance...YES\n\nOperating System\n"
                                                         "   Debug Kernel........YES\n"
                                                         "   Mideast.............YES\n"
                                                         "   DCBS................YES\n"
                                                         "   Windows Directory...C:\\WINDOWS\n"));
}

TEST(MachineDescription, TellsAllOfAComponent) {
  MachineFacts machine;
  machine.Components = {{"C:\\a.dll", "1.2", "3.4", "Product", "Company", "What it is", "03/14/03 14:05:09"},
                        {"C:\\b.dll", "", "", "", "", "", ""},
                        {"", "1", "", "", "", "", ""}};
  EXPECT_THAT(
      Machine_Description({}, machine),
      EndsWith("\nOther Components Running In Process\n"
               "   C:\\a.dll: file version 1.2, product version 3.4, product Product, company Company, "
               "description What it is, created 03/14/03 14:05:09\n"
               "   C:\\b.dll\n"));
}

TEST(MachineDescription, TellsTheKindsOfDrives) {
  using Kind = MachineFacts::DriveKind;
  MachineFacts machine;
  machine.Drives = {{"A:", Kind::Floppy, std::nullopt}, {"B:", Kind::Floppy, 1023},
                    {"C:", Kind::Fixed, 1024},          {"D:", Kind::CD, 0},
                    {"E:", Kind::Unknown, 5000000},     {"F:", Kind::Network, 2048}};
  EXPECT_THAT(Machine_Description({}, machine), EndsWith("\nDrives\n"
                                                         "   Floppies............2\n"
                                                         "   Disks...............4\n"
                                                         "   Drive A...........Floppy    \n"
                                                         "   Drive B...........Floppy    0 KB Free\n"
                                                         "   Drive C...........Fixed     1 KB Free\n"
                                                         "   Drive D...........CD        0 KB Free\n"
                                                         "   Drive E...........Unknown   4,882 KB Free\n"
                                                         "   Drive F...........Network   2 KB Free\n"));
}

TEST(MachineDescription, NamesFourPorts) {
  MachineFacts machine;
  machine.SerialPorts = {"COM1", "", "", "COM4", "COM5"};
  EXPECT_THAT(Machine_Description({}, machine),
              EndsWith("\nPorts\n   Com1................COM1\n   Com4................COM4\n"));
}

TEST(MachineDescription, StandsMemoryThatMakesNoSense) {
  MachineFacts machine;
  machine.PhysicalBytes = 0;
  machine.AvailablePhysicalBytes = 0;
  EXPECT_THAT(Machine_Description({}, machine), Not(HasSubstr("Pct")));
  machine.AvailablePhysicalBytes = 1;
  EXPECT_THAT(Machine_Description({}, machine), Not(HasSubstr("Pct")));
  machine.PhysicalBytes = 200;
  EXPECT_THAT(Machine_Description({}, machine), HasSubstr("   Pct Physical Free....5\n"));
}

TEST(MachineDescription, LetsNoFactFakeALine) {
  MachineFacts machine;
  machine.MachineName = "x";
  machine.Drives = {
      {"/media/a\nMouse\n   Mouse Present.......YES", MachineFacts::DriveKind::Fixed, std::nullopt}};
  machine.CurrentFolder = "/tmp/\r\nApplication";
  ApplicationFacts application;
  application.Title = "\n\n";
  const std::string text = Machine_Description(application, machine);
  EXPECT_THAT(text, StartsWith("Application\n   OLE Server"));
  EXPECT_THAT(text, Not(HasSubstr("\nMouse")));
  EXPECT_THAT(text, Not(HasSubstr("\nApplication")));
  EXPECT_THAT(text, Not(HasSubstr("\r")));
}

TEST(MachineDescription, TellsOfThisMachine) {
  const std::string text = Machine_Description(Sample_Application(), Look_At_Machine());
  EXPECT_THAT(text, HasSubstr("\nOperating System\n   Windows Version......"));
  const std::string heading = "\nOther Components Running In Process\n   ";
  EXPECT_THAT(text, testing::AnyOf(HasSubstr(heading + "/"), HasSubstr(heading + "C:\\")));
}

}  // namespace
}  // namespace hq
