#include "errortrap/defect_report.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include "base/strings.h"
#include "errortrap/entry_text.h"
#include "errortrap/report_text.h"

namespace hq {

namespace {

constexpr size_t MostReportBytes = 24000;

void Add_Field(std::string& report, std::string_view label, std::string_view value) {
  report += label;
  if (!value.empty()) report.append(" ").append(value);
  report += '\n';
}

void Add_Line_Field(std::string& report, std::string_view label, std::string_view value) {
  Add_Field(report, label, One_Line(value));
}

std::string Joined(std::initializer_list<std::string_view> texts, std::string_view separator) {
  std::string joined;
  for (const std::string_view text : texts) {
    if (text.empty()) continue;
    if (!joined.empty()) joined += separator;
    joined += text;
  }
  return joined;
}

std::string Heading(const TrapSettings& settings) {
  const std::string database = One_Line(settings.DefectDatabase);
  const std::string address = One_Line(settings.DefectAddress);
  std::string heading = "New Defect";
  if (!database.empty()) heading += " in " + database;
  if (!address.empty()) heading += database.empty() ? " to " + address : " (" + address + ")";
  return heading;
}

std::string Synopsis(const ErrorRecord& error) {
  // Of the description with its detail only the first line is the error's own.
  const std::string_view description = error.Description;
  const std::string first = One_Line(description.substr(0, description.find_first_of("\r\n")));
  std::string synopsis = "Error " + std::to_string(error.Number);
  if (!first.empty()) synopsis += ", " + first + ",";
  if (!error.Procedure.empty()) synopsis += " in " + One_Line(error.Procedure);
  if (!error.Module.empty()) synopsis += " of " + One_Line(error.Module);
  if (synopsis.ends_with(',')) synopsis.pop_back();
  return synopsis;
}

std::string Description_Text(const TrapSettings& settings, const ErrorRecord& error,
                             const std::string& user_text) {
  std::string text = error.Description;
  if (!error.CodePointer.empty()) text += "\nCode Pointer = " + One_Line(error.CodePointer);
  if (!error.CallTree.empty()) text += "\nCall tree, the outermost first:";
  for (const std::string& entry : error.CallTree) {
    text += "\n" + One_Line(settings.IncludeArguments ? std::string_view(entry) : Without_Argument(entry));
  }
  if (settings.IncludeUser && !user_text.empty()) text += "\nThe user said:\n" + user_text;
  while (text.starts_with('\n')) text.erase(0, 1);
  return Indented_Lines(text);
}

std::string Components_Text(const MachineFacts& machine) {
  std::string text;
  for (const MachineFacts::Component& component : machine.Components) {
    const std::string line = Joined({component.Path, component.FileVersion}, " ");
    if (!line.empty()) text += "\n" + One_Line(line);
  }
  return Indented_Lines(text);
}

// The addresses in a setting, which may hold several.
void Add_Recipients(std::vector<std::string>& recipients, std::string_view setting) {
  while (!setting.empty()) {
    const size_t end = setting.find_first_of(",;");
    std::string address;
    for (const char c : setting.substr(0, end)) {
      if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) address += c;
    }
    setting.remove_prefix(end == std::string_view::npos ? setting.size() : end + 1);
    address = std::string(Trim(address));
    const bool taken = std::any_of(recipients.begin(), recipients.end(), [&](const std::string& other) {
      return Equal_Without_Case(other, address);
    });
    if (!address.empty() && !taken) recipients.push_back(address);
  }
}

std::string Subject_Name(const MachineFacts& machine) {
  if (const std::string name = One_Line(machine.MachineName); !name.empty()) return name;
  if (const std::string name = One_Line(machine.UserName); !name.empty()) return name;
  return "<unknown>";
}

std::string Mailed_Report(const std::string& report) {
  if (report.size() <= MostReportBytes) return report;
  // Up to the end of a line; in a line without an end, to the end of a character.
  size_t kept = report.rfind('\n', MostReportBytes);
  if (kept == std::string::npos) {
    kept = MostReportBytes;
    while (kept > 0 && (static_cast<unsigned char>(report[kept]) & 0xC0U) == 0x80U) --kept;
  }
  return report.substr(0, kept) + "\n[The rest of the report is left out.]\n";
}

}  // namespace

std::string Defect_Report(const ApplicationFacts& application, const MachineFacts& machine,
                          const TrapSettings& settings, const ErrorRecord& error,
                          const std::string& user_text) {
  const std::string number = std::to_string(error.Number);
  const std::string release = Joined({application.Title, application.Version}, " ");
  std::string report = Heading(settings) + "\n";
  Add_Line_Field(report, "KEY:", Joined({error.Module, error.Procedure, number}, "/"));
  Add_Line_Field(report, "REPORTED BY:", machine.UserName);
  Add_Line_Field(report, "CONFIGURATION:", Joined({release, machine.SystemVersion}, " on "));
  Add_Line_Field(report, "MACHINE NAME:", machine.MachineName);
  Add_Line_Field(report, "OS:", machine.SystemVersion);
  Add_Line_Field(report, "CPU:", machine.Processor);
  Add_Line_Field(report, "NUM CPU:", Number_Text(machine.Processors));
  Add_Line_Field(report, "PHYSICAL MEMORY:",
                 machine.PhysicalBytes ? Kilobyte_Text(*machine.PhysicalBytes) : std::string());
  Add_Line_Field(report, "DISPLAY RESOLUTION:", machine.ScreenSize);
  Add_Line_Field(report, "COLOR PALETTE:", Color_Text(machine.ColorBits));
  Add_Line_Field(report, "NUM MONITORS:", Number_Text(machine.Monitors));
  Add_Line_Field(report, "NUM MOUSEBUTTONS:", Number_Text(machine.MouseButtons));
  Add_Line_Field(report, "HAS MOUSEWHEEL:", Yes_No(machine.MouseWheel));
  Add_Line_Field(report, "COUNTRY:", machine.Country);
  Add_Line_Field(report, "LANGUAGE:", machine.Language);
  Add_Line_Field(report, "MIDEAST:", Yes_No(machine.MidEast));
  Add_Line_Field(report, "DBCS:", Yes_No(machine.DoubleByte));
  report += "OTHER COMPONENTS:" + Components_Text(machine) + "\n";
  Add_Line_Field(report, "PROJECT:", settings.DefectProject);
  Add_Line_Field(report, "ASSIGNED TO:", settings.DefectAssignedTo);
  Add_Line_Field(report, "DATE/TIME ENTERED:", error.When);
  Add_Line_Field(report, "SYNOPSIS:", Synopsis(error));
  Add_Field(report, "DESCRIPTION:", Description_Text(settings, error, user_text));
  Add_Line_Field(report, "PRODUCT:", application.Title);
  return report;
}

Mail Error_Mail(const TrapSettings& settings, const MachineFacts& machine, const std::string& report,
                const std::string& attachment) {
  Mail mail;
  Add_Recipients(mail.Recipients, settings.EmailAddress);
  if (Contains(settings.DefectAddress, "@")) Add_Recipients(mail.Recipients, settings.DefectAddress);
  mail.Subject = "Remote Error Report From " + Subject_Name(machine);
  mail.Body = Mailed_Report(report);
  if (!settings.AttachLog || attachment.empty()) return mail;
  if (!mail.Body.empty() && !mail.Body.ends_with('\n')) mail.Body += '\n';
  mail.BodyWithoutAttachment = mail.Body + "\nThe log file has complete details: " + One_Line(attachment);
  mail.Body += "\nThe attached log file has complete details.";
  mail.Attachment = attachment;
  return mail;
}

}  // namespace hq
