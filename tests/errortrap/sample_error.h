#pragma once

#include <cstdint>

#include "built_places.h"
#include "errortrap/defect_report.h"
#include "errortrap/error_log.h"
#include "errortrap/machine_description.h"

namespace hq::test {

// A made-up program, machine and error, as the samples of the documentation have them.

inline ApplicationFacts Sample_Application() {
  ApplicationFacts application;
  application.Title = "History Quotes";
  application.ExeName = "history-quotes";
  application.Version = "1.0.0";
  application.Folder = "/home/anna/quotes";
  return application;
}

inline MachineFacts Sample_Machine() {
  constexpr std::uint64_t MB = 1024 * 1024;
  MachineFacts machine;
  machine.ExePath = "/home/anna/quotes/history-quotes";
  machine.ExeStamp = "03/10/03 09:30:00";
  machine.ExeBytes = 2345678;
  machine.PreviousInstance = false;
  machine.SystemVersion = "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64 x86_64";
  machine.Language = "de";
  machine.Country = "CH";
  machine.MidEast = false;
  machine.DoubleByte = false;
  machine.CurrentFolder = "/home/anna";
  machine.PhysicalBytes = 8000 * MB;
  machine.AvailablePhysicalBytes = 3000 * MB;
  machine.VirtualBytes = 10000 * MB;
  machine.AvailableVirtualBytes = 4500 * MB;
  machine.Processor = "Example CPU 3000";
  machine.Processors = 4;
  machine.PrinterDriver = "Example Laser 4000";
  machine.SerialDriver = "serial8250, ftdi_sio";
  machine.SerialPorts = {"/dev/ttyS0", "", "/dev/ttyUSB0"};
  machine.Network = "eth0 (e1000e)";
  machine.ColorBits = 24;
  machine.ScreenSize = "1920 x 1080";
  machine.Monitors = 2;
  machine.Mouse = true;
  machine.MouseButtons = 5;
  machine.MouseWheel = true;
  machine.Keyboard = "Example Keyboard";
  MachineFacts::Component component;
  component.Path = "/usr/lib/x86_64-linux-gnu/libcurl.so.4.8.0";
  component.FileVersion = "4.8.0";
  component.Created = "02/01/03 12:00:00";
  machine.Components.push_back(component);
  machine.Drives = {{"/", MachineFacts::DriveKind::Fixed, 20000 * MB},
                    {"/home", MachineFacts::DriveKind::Network, std::nullopt}};
  machine.MachineName = "trader";
  machine.UserName = "anna";
  return machine;
}

inline TrapSettings Sample_Settings() {
  TrapSettings settings;
  settings.EmailAddress = "support@example.com";
  settings.DefectDatabase = "Defects";
  settings.DefectAddress = "defects@example.com";
  settings.DefectProject = "Quotes";
  settings.DefectAssignedTo = "Berta";
  return settings;
}

inline ErrorRecord Sample_Error() {
  ErrorRecord error;
  error.When = "03/14/03 14:05:09";
  error.Category = "General run-time";
  error.Source = "History Quotes";
  error.Module = "frmmain1.frm";
  error.Procedure = "Sub txtnewstock_KeyDown";
  error.CodePointer = "frmmain1.frm : Sub txtnewstock_KeyDown";
  error.Number = 13;
  error.Description = "Type mismatch";
  error.CallTree = {" 1 : frmmain1.frm : Sub txtnewstock_KeyDown : "};
  return error;
}

// The text of the documentation that the samples stand in.
inline const char* const SamplePage = HQ_TEST_DATA "/../../docs/error-trap-internals.md";

}  // namespace hq::test
