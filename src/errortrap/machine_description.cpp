#include "errortrap/machine_description.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>

#include "errortrap/report_text.h"

namespace hq {

namespace {

// Collects sections; a line without a value and a section without a line are left out.
class Description {
 public:
  void Section(std::string_view heading) {
    heading_ = heading;
    under_way_ = false;
  }

  void Line(std::string_view label, std::string_view value) {
    const std::string text = One_Line(value);
    if (text.empty()) return;
    Put(label, text);
  }

  void Line(std::string_view label, std::optional<std::uint64_t> bytes) {
    if (bytes) Put(label, Kilobyte_Text(*bytes));
  }

  // A line whose value may be empty.
  void Put(std::string_view label, std::string_view text) {
    if (!under_way_) {
      if (!text_.empty()) text_ += '\n';
      text_.append(heading_).append("\n");
      under_way_ = true;
    }
    text_.append(label).append(text).append("\n");
  }

  [[nodiscard]] const std::string& Text() const { return text_; }

 private:
  std::string text_;
  std::string heading_;
  bool under_way_ = false;
};

void Describe_Application(Description& description, const ApplicationFacts& application,
                          const MachineFacts& machine) {
  description.Section("Application");
  description.Line("   Title...............", application.Title);
  description.Line("   Path................", application.Folder);
  description.Line("   Project Version.....", application.Version);
  // No other program can call this one.
  description.Line("   OLE Server..........", "NO");
  description.Line("   Previous Instance...", Yes_No(machine.PreviousInstance));
  description.Line("  EXE Name............", application.ExeName);
  description.Line("  EXE Time Stamp......", machine.ExeStamp);
  if (machine.ExeBytes) description.Line("  EXE Size............", Grouped(*machine.ExeBytes) + " bytes");
}

void Describe_System(Description& description, const MachineFacts& machine) {
  description.Section("Operating System");
  description.Line("   Windows Version......", machine.SystemVersion);
  description.Line("   Debug Kernel........", Yes_No(machine.DebugKernel));
  description.Line("   Language............", machine.Language);
  description.Line("   Mideast.............", Yes_No(machine.MidEast));
  description.Line("   DCBS................", Yes_No(machine.DoubleByte));
  description.Line("   Windows Directory...", machine.SystemFolder);
  description.Line("   Current Path........", machine.CurrentFolder);
}

void Describe_Memory(Description& description, const MachineFacts& machine) {
  description.Section("Memory Information");
  description.Line("   Total Physical......", machine.PhysicalBytes);
  description.Line("   Available Physical..", machine.AvailablePhysicalBytes);
  description.Line("   Virtual Memory......", machine.VirtualBytes);
  description.Line("   Available Virtual...", machine.AvailableVirtualBytes);
  if (machine.PhysicalBytes.value_or(0) > 0 && machine.AvailablePhysicalBytes &&
      *machine.AvailablePhysicalBytes <= *machine.PhysicalBytes) {
    description.Line("   Pct Physical Free...",
                     Percent_Text(*machine.AvailablePhysicalBytes, *machine.PhysicalBytes));
  }
}

void Describe_Devices(Description& description, const MachineFacts& machine) {
  description.Section("Processor");
  description.Line("   CPU.................", machine.Processor);
  description.Line("   Number of CPUs......", Number_Text(machine.Processors));
  description.Section("Printer");
  description.Line("   Driver..............", machine.PrinterDriver);
  description.Section("Ports");
  description.Line("   Serial Driver.......", machine.SerialDriver);
  constexpr size_t Ports = 4;
  for (size_t i = 0; i < std::min(Ports, machine.SerialPorts.size()); ++i) {
    description.Line("   Com" + std::to_string(i + 1) + "................", machine.SerialPorts[i]);
  }
  description.Section("Network");
  description.Line("   Description.........", machine.Network);
  description.Section("General Video Information");
  description.Line("   Colors.......................", Color_Text(machine.ColorBits));
  description.Line("   Screen size..............", machine.ScreenSize);
  description.Line("   Number of Monitors..", Number_Text(machine.Monitors));
  description.Section("Mouse");
  description.Line("   Mouse Present.......", Yes_No(machine.Mouse));
  description.Line("   Mouse Buttons.......", Number_Text(machine.MouseButtons));
  description.Line("   Mouse Wheel.......", Yes_No(machine.MouseWheel));
  description.Section("Keyboard");
  description.Line("   ", machine.Keyboard);
}

void Describe_Components(Description& description, const MachineFacts& machine) {
  description.Section("Other Components Running In Process");
  for (const MachineFacts::Component& component : machine.Components) {
    std::string facts;
    const auto add = [&](std::string_view name, const std::string& value) {
      if (value.empty()) return;
      facts.append(facts.empty() ? ": " : ", ").append(name).append(" ").append(value);
    };
    add("file version", component.FileVersion);
    add("product version", component.ProductVersion);
    add("product", component.ProductName);
    add("company", component.Company);
    add("description", component.Description);
    add("created", component.Created);
    if (!component.Path.empty()) description.Line("   ", component.Path + facts);
  }
}

std::string_view Kind_Text(MachineFacts::DriveKind kind) {
  switch (kind) {
    case MachineFacts::DriveKind::Floppy:
      return "...........Floppy    ";
    case MachineFacts::DriveKind::Fixed:
      return "...........Fixed     ";
    case MachineFacts::DriveKind::Network:
      return "...........Network   ";
    case MachineFacts::DriveKind::CD:
      return "...........CD        ";
    case MachineFacts::DriveKind::Unknown:
      break;
  }
  return "...........Unknown   ";
}

void Describe_Drives(Description& description, const MachineFacts& machine) {
  // Without a drive the machine has not told: every machine has one.
  if (machine.Drives.empty()) return;
  description.Section("Drives");
  const auto floppies = std::count_if(machine.Drives.begin(), machine.Drives.end(), [](const auto& drive) {
    return drive.Kind == MachineFacts::DriveKind::Floppy;
  });
  description.Line("   Floppies............", std::to_string(floppies));
  description.Line("   Disks...............", std::to_string(std::ssize(machine.Drives) - floppies));
  for (const MachineFacts::Drive& drive : machine.Drives) {
    std::string name = One_Line(drive.Name);
    // A drive letter goes without its colon.
    if (name.size() == 2 && name[1] == ':') name.pop_back();
    const std::string free = drive.FreeBytes ? Kilobyte_Text(*drive.FreeBytes) + " Free" : std::string();
    description.Put("   Drive " + name + std::string(Kind_Text(drive.Kind)), free);
  }
}

}  // namespace

std::string Machine_Description(const ApplicationFacts& application, const MachineFacts& machine) {
  Description description;
  Describe_Application(description, application, machine);
  Describe_System(description, machine);
  Describe_Memory(description, machine);
  Describe_Devices(description, machine);
  Describe_Components(description, machine);
  Describe_Drives(description, machine);
  return description.Text();
}

}  // namespace hq
