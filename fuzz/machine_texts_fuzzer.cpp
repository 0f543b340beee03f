// Any bytes as the files that a system keeps of itself, and what they tell in the machine description.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "errortrap/machine_description.h"
#include "platform/machine_texts.h"
#include "require.h"

namespace {

using namespace hq;

// Every line is a heading, an empty line or one behind blanks, and the headings are few.
void Check_Description(const std::string& description) {
  std::string_view rest = description;
  int headings = 0;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size());
    Require(!rest.empty(), "every line ends");
    rest.remove_prefix(1);
    if (!line.empty() && line[0] != ' ') ++headings;
    for (const char c : line) Require(static_cast<unsigned char>(c) >= 0x20, "no control character");
  }
  constexpr int Sections = 12;
  Require(headings >= 1 && headings <= Sections, "no value looks like a heading");
}

void Check_Memory(std::string_view text, MachineFacts& facts) {
  const MemorySizes memory = Memory_From(text);
  const std::optional<int> load = Load_Percent(memory);
  Require(!load || (*load >= 0 && *load <= 100), "the load is a percentage");
  Require(!memory.AvailablePhysical || !memory.Physical || *memory.AvailablePhysical <= *memory.Physical,
          "no more is free than there is");
  facts.PhysicalBytes = memory.Physical;
  facts.AvailablePhysicalBytes = memory.AvailablePhysical;
  facts.VirtualBytes = memory.Virtual;
  facts.AvailableVirtualBytes = memory.AvailableVirtual;
}

void Check_Names(std::string_view text, MachineFacts& facts) {
  const ProcessorFacts processors = Processors_From(text);
  Require(!processors.Count || *processors.Count > 0, "a count of processors is above zero");
  facts.Processor = processors.Name;
  facts.Processors = processors.Count;
  facts.SystemVersion = System_Name_From(text);
  facts.DebugKernel = Debug_Kernel_From(text, text);
  const LanguageFacts language = Language_From(text);
  Require(language.MidEast.has_value() == !language.Language.empty(), "a language has its direction");
  facts.Language = language.Language;
  facts.MidEast = language.MidEast;
  facts.DoubleByte = Double_Byte(Charset_From(text));
  facts.PrinterDriver = Printer_From(text, {});
  Require(facts.PrinterDriver.size() <= text.size(), "a printer's name is a part of the text");
  facts.UserName = User_Name_From(text, 0);
  facts.Components.emplace_back();
  facts.Components.back().Path = text;
  facts.Components.back().FileVersion = Library_Version_From(text);
}

void Check_Drives(std::string_view text, MachineFacts& facts) {
  const std::vector<Mount> mounts = Mounts_From(text);
  for (const MountedDrive& drive : Drives_From(mounts)) {
    Require(drive.Folder.starts_with('/'), "a drive lies in a folder");
    Require(!drive.Answers || drive.Kind != MachineFacts::DriveKind::Network, "no network drive is asked");
    facts.Drives.push_back({drive.Folder, drive.Kind, std::nullopt});
  }
  Require(facts.Drives.size() <= mounts.size(), "a mount is one drive at most");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  MachineFacts facts;
  Check_Memory(text, facts);
  Check_Names(text, facts);
  Check_Drives(text, facts);
  Check_Description(Machine_Description({}, facts));
  return 0;
}
