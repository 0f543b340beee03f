#include "platform/machine_texts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "base/strings.h"

namespace hq {

namespace {

using DriveKind = MachineFacts::DriveKind;

bool Is_Blank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

bool Is_Digit(char c) {
  return c >= '0' && c <= '9';
}

bool Is_Letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool All(std::string_view text, bool (*is)(char)) {
  return !text.empty() && std::all_of(text.begin(), text.end(), is);
}

// Without the blanks and tabs at both ends.
std::string_view Stripped(std::string_view text) {
  while (!text.empty() && Is_Blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && Is_Blank(text.back())) text.remove_suffix(1);
  return text;
}

// Takes the text up to the separator, and the separator itself, off the front of rest.
std::string_view Take_Until(std::string_view& rest, char separator) {
  const size_t at = rest.find(separator);
  const std::string_view piece = rest.substr(0, at);
  rest.remove_prefix(at == std::string_view::npos ? rest.size() : at + 1);
  return piece;
}

// Takes the next word of a line off the front of rest; empty at the line's end.
std::string_view Take_Word(std::string_view& rest) {
  while (!rest.empty() && Is_Blank(rest.front())) rest.remove_prefix(1);
  const auto end = std::find_if(rest.begin(), rest.end(), Is_Blank);
  const std::string_view word = rest.substr(0, static_cast<size_t>(end - rest.begin()));
  rest.remove_prefix(word.size());
  return word;
}

template <class Number>
std::optional<Number> Whole_Number(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return number;
}

bool Is_One_Of(std::string_view text, std::initializer_list<std::string_view> texts) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// A line "key: value"; false when it has no colon.
bool Split_Line(std::string_view line, std::string_view& key, std::string_view& value) {
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) return false;
  key = Stripped(line.substr(0, colon));
  value = Stripped(line.substr(colon + 1));
  return true;
}

// The bytes of a text such as "1024 kB".
std::optional<std::uint64_t> Kilobytes(std::string_view text) {
  const auto number = Whole_Number<std::uint64_t>(Take_Word(text));
  if (!number || Take_Word(text) != "kB" || !Stripped(text).empty()) return std::nullopt;
  if (*number > std::numeric_limits<std::uint64_t>::max() / 1024) return std::nullopt;
  return *number * 1024;
}

std::optional<std::uint64_t> Sum(std::optional<std::uint64_t> one, std::optional<std::uint64_t> other) {
  if (!one || !other || *one > std::numeric_limits<std::uint64_t>::max() - *other) return std::nullopt;
  return *one + *other;
}

// A value of a file that a shell could read: quotes are dropped, a backslash is before its character.
std::string Shell_Value(std::string_view text) {
  std::string value;
  char quote = '\0';
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' && quote != '\'' && i + 1 < text.size()) {
      value += text[++i];
    } else if (quote != '\0' && c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else {
      value += c;
    }
  }
  return value;
}

// Whether the text holds the word by itself, between the ends, blanks and signs.
bool Holds_Word(std::string_view text, std::string_view word) {
  const std::string lower = Lower_Case(text);
  const auto is_part = [&](size_t at) { return at < lower.size() && Is_Letter(lower[at]); };
  for (size_t at = lower.find(word); at != std::string::npos; at = lower.find(word, at + 1)) {
    if ((at == 0 || !is_part(at - 1)) && !is_part(at + word.size())) return true;
  }
  return false;
}

bool Written_From_Right(std::string_view language, std::string_view country, std::string_view modifier) {
  if (Is_One_Of(modifier, {"latin", "cyrillic", "devanagari"})) return false;
  if (modifier == "arabic" || modifier == "hebrew") return true;
  // Punjabi is written from the right in Pakistan only, Azerbaijani in Iran only.
  if (language == "pa") return country == "PK";
  if (language == "az") return country == "IR";
  return Is_One_Of(language, {"ar",  "arc", "azb", "ckb", "dv", "fa", "glk", "he",  "iw",  "ji", "ks", "lrc",
                              "mzn", "nqo", "pnb", "prs", "ps", "sd", "skr", "sdh", "syr", "ug", "ur", "yi"});
}

// The value of NAME=value among the options of a printer, where a value with blanks stands in quotes.
std::string Option_Of(std::string_view options, std::string_view name) {
  while (!options.empty()) {
    while (!options.empty() && Is_Blank(options.front())) options.remove_prefix(1);
    size_t end = 0;
    char quote = '\0';
    for (; end < options.size() && (quote != '\0' || !Is_Blank(options[end])); ++end) {
      const char c = options[end];
      if (c == '\\') {
        // The character behind it is taken as it is; a backslash at the very end stands for itself.
        if (end + 1 < options.size()) ++end;
      } else if (quote != '\0' ? c == quote : (c == '"' || c == '\'')) {
        quote = quote != '\0' ? '\0' : c;
      }
    }
    const std::string_view option = options.substr(0, end);
    options.remove_prefix(end);
    if (option.starts_with(name) && option.substr(name.size()).starts_with('=')) {
      return std::string(Stripped(Shell_Value(option.substr(name.size() + 1))));
    }
  }
  return {};
}

// The text with "\040" and its like turned into the characters they stand for.
std::string Without_Octal(std::string_view text) {
  std::string plain;
  const auto digit = [&](size_t at) { return at < text.size() && text[at] >= '0' && text[at] <= '7'; };
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && digit(i + 1) && text[i + 1] <= '3' && digit(i + 2) && digit(i + 3)) {
      plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

bool Is_Network_Type(std::string_view type) {
  return Is_One_Of(
      type, {"9p",        "afs",        "beegfs",          "ceph",       "cifs",           "coda",
             "davfs",     "fuse.ceph",  "fuse.curlftpfs",  "fuse.davfs", "fuse.glusterfs", "fuse.rclone",
             "fuse.s3fs", "fuse.sshfs", "glusterfs",       "gpfs",       "lustre",         "ncpfs",
             "nfs",       "nfs4",       "orangefs",        "smb3",       "smbfs",          "vboxsf",
             "virtiofs",  "vmhgfs",     "fuse.vmhgfs-fuse"});
}

// Another process or machine stands behind it, or may be put there by looking.
bool May_Wait(const Mount& mount) {
  return Is_Network_Type(mount.Type) || mount.Type == "autofs" || mount.Type == "fuse" ||
         mount.Type.starts_with("fuse.");
}

bool Is_Image_Type(std::string_view type) {
  // Packed images of programs; always full.
  return Is_One_Of(type, {"squashfs", "erofs", "cramfs", "fuse.squashfuse", "fuse.snapfuse"});
}

bool Is_Made_Up_Process_Type(std::string_view type) {
  return Is_One_Of(type, {"fuse.gvfsd-fuse", "fuse.portal", "fuse.lxcfs", "fuse.vmware-vmblock"});
}

std::optional<DriveKind> Drive_Kind(const Mount& mount) {
  const std::string_view device = mount.Device;
  const std::string_view type = mount.Type;
  if (Is_Image_Type(type) || Is_Made_Up_Process_Type(type) || type == "autofs") return std::nullopt;
  if (Is_Network_Type(type)) return DriveKind::Network;
  if (type == "iso9660" || device.starts_with("/dev/sr") || device.starts_with("/dev/scd")) {
    return DriveKind::CD;
  }
  if (device.starts_with("/dev/fd") && device.size() > 7 && Is_Digit(device[7])) return DriveKind::Floppy;
  if (type == "udf") return DriveKind::CD;
  if (May_Wait(mount)) return DriveKind::Unknown;
  if (device.starts_with("/dev/") && type != "devtmpfs") return DriveKind::Fixed;
  // These name their devices otherwise. The root of a container is an overlay over some disk.
  if (Is_One_Of(type, {"zfs", "btrfs", "bcachefs", "ubifs"})) return DriveKind::Fixed;
  if (type == "overlay" && mount.Folder == "/") return DriveKind::Fixed;
  return std::nullopt;
}

// Whether path is folder or lies below it.
bool Lies_In(std::string_view path, std::string_view folder) {
  if (!path.starts_with(folder)) return false;
  return folder.ends_with('/') || path.size() == folder.size() || path[folder.size()] == '/';
}

}  // namespace

MemorySizes Memory_From(std::string_view meminfo) {
  constexpr std::array<std::string_view, 4> names = {"MemTotal", "MemAvailable", "SwapTotal", "SwapFree"};
  std::array<std::optional<std::uint64_t>, names.size()> sizes;
  while (!meminfo.empty()) {
    std::string_view key;
    std::string_view value;
    if (!Split_Line(Take_Until(meminfo, '\n'), key, value)) continue;
    const auto name = std::find(names.begin(), names.end(), key);
    if (name == names.end()) continue;
    auto& size = sizes[static_cast<size_t>(name - names.begin())];
    if (!size) size = Kilobytes(value);
  }
  const auto not_above = [](std::optional<std::uint64_t> part, std::optional<std::uint64_t> whole) {
    return part && whole && *part > *whole ? std::nullopt : part;
  };
  MemorySizes memory;
  memory.Physical = sizes[0];
  memory.AvailablePhysical = not_above(sizes[1], sizes[0]);
  memory.Virtual = Sum(sizes[0], sizes[2]);
  memory.AvailableVirtual = Sum(memory.AvailablePhysical, not_above(sizes[3], sizes[2]));
  return memory;
}

std::optional<int> Load_Percent(const MemorySizes& memory) {
  if (!memory.Physical || !memory.AvailablePhysical || *memory.Physical == 0) return std::nullopt;
  if (*memory.AvailablePhysical > *memory.Physical) return std::nullopt;
  const double used = static_cast<double>(*memory.Physical - *memory.AvailablePhysical);
  return static_cast<int>(used * 100 / static_cast<double>(*memory.Physical));
}

std::string System_Name_From(std::string_view os_release) {
  std::map<std::string, std::string, std::less<>> values;
  while (!os_release.empty()) {
    std::string_view line = Stripped(Take_Until(os_release, '\n'));
    if (line.empty() || line.front() == '#' || !Contains(line, "=")) continue;
    const std::string_view name = Stripped(Take_Until(line, '='));
    // As when a shell reads the file, of two equal names the last holds.
    values.insert_or_assign(std::string(name), std::string(Stripped(Shell_Value(Stripped(line)))));
  }
  if (const std::string& pretty = values["PRETTY_NAME"]; !pretty.empty()) return pretty;
  const std::string& version = values["VERSION"].empty() ? values["VERSION_ID"] : values["VERSION"];
  const std::string& name = values["NAME"];
  return name.empty() || version.empty() ? name : name + " " + version;
}

std::optional<bool> Debug_Kernel_From(std::string_view release, std::string_view version) {
  if (Holds_Word(release, "debug") || Holds_Word(version, "debug")) return true;
  return std::nullopt;
}

ProcessorFacts Processors_From(std::string_view cpuinfo) {
  // By their worth: "Hardware" and "Model" name the board, "vendor_id" the maker only.
  constexpr std::array<std::string_view, 8> names = {"model name", "cpu model", "processor", "cpu",
                                                     "uarch",      "hardware",  "model",     "vendor_id"};
  std::array<std::string, names.size()> values;
  std::string arm_maker;
  std::string part;
  int count = 0;
  std::optional<int> told_count;
  while (!cpuinfo.empty()) {
    std::string_view key;
    std::string_view value;
    if (!Split_Line(Take_Until(cpuinfo, '\n'), key, value) || value.empty()) continue;
    const std::string lower = Lower_Case(key);
    const bool number = All(value, Is_Digit);
    if (lower == "processor" && number && count < std::numeric_limits<int>::max()) ++count;
    if (lower == "# processors" || lower == "ncpus active") told_count = Whole_Number<int>(value);
    // The kernel's own word for the maker of an ARM processor.
    if (lower == "cpu implementer" && arm_maker.empty()) arm_maker = value;
    if (lower == "cpu part" && part.empty()) part = value;
    const auto name = std::find(names.begin(), names.end(), lower);
    if (name == names.end() || number) continue;
    std::string& kept = values[static_cast<size_t>(name - names.begin())];
    if (kept.empty()) kept = value;
  }
  ProcessorFacts facts;
  const auto best = std::find_if(values.begin(), values.end(), [](const auto& v) { return !v.empty(); });
  const bool has_name = best != values.end() && best - values.begin() < 5;
  if (has_name || (best != values.end() && arm_maker.empty())) {
    facts.Name = *best;
  } else if (!arm_maker.empty()) {
    facts.Name = "implementer " + arm_maker + (part.empty() ? "" : ", part " + part);
  }
  if (told_count && *told_count > 0) {
    facts.Count = told_count;
  } else if (count > 0) {
    facts.Count = count;
  }
  return facts;
}

LanguageFacts Language_From(std::string_view locale_name) {
  std::string_view modifier = locale_name;
  std::string_view name = Take_Until(modifier, '@');
  name = Take_Until(name, '.');
  std::string_view country = name;
  const std::string_view language = Take_Until(country, '_');
  LanguageFacts facts;
  if (language.size() < 2 || language.size() > 3 || !All(language, Is_Letter)) return facts;
  facts.Language = Lower_Case(language);
  const bool letters = country.size() == 2 && All(country, Is_Letter);
  const bool digits = country.size() == 3 && All(country, Is_Digit);
  if (letters || digits) facts.Country = Upper_Case(country);
  facts.MidEast = Written_From_Right(facts.Language, facts.Country, Lower_Case(modifier));
  return facts;
}

std::string_view Charset_From(std::string_view locale_name) {
  std::string_view charset = Take_Until(locale_name, '@');
  Take_Until(charset, '.');
  return charset;
}

std::optional<bool> Double_Byte(std::string_view charset) {
  std::string name;
  for (const char c : Upper_Case(charset)) {
    if (Is_Letter(c) || Is_Digit(c)) name += c;
  }
  if (name.empty()) return std::nullopt;
  for (const std::string_view family : {"EUC", "SJIS", "SHIFTJIS", "SHIFTJISX", "GB2312", "GBK", "GB18030",
                                        "BIG5", "JOHAB", "UHC", "WINDOWS31J", "MS932", "MS936"}) {
    if (name.starts_with(family)) return true;
  }
  for (const std::string_view page : {"932", "936", "949", "950"}) {
    if (name == page || name == "CP" + std::string(page) || name == "IBM" + std::string(page)) return true;
  }
  return false;
}

std::string Printer_From(std::string_view lpoptions, std::string_view printer) {
  while (!lpoptions.empty()) {
    std::string_view line = Take_Until(lpoptions, '\n');
    const std::string keyword = Lower_Case(Take_Word(line));
    if (keyword != "default" && keyword != "dest") continue;
    std::string_view name = Take_Word(line);
    // A printer's set of options of its own follows the name.
    name = Take_Until(name, '/');
    if (name.empty() || (printer.empty() ? keyword != "default" : name != printer)) continue;
    const std::string model = Option_Of(line, "printer-make-and-model");
    return model.empty() ? std::string(name) : model;
  }
  return std::string(printer);
}

std::string User_Name_From(std::string_view passwd, unsigned long user) {
  while (!passwd.empty()) {
    std::string_view line = Take_Until(passwd, '\n');
    const std::string_view name = Take_Until(line, ':');
    Take_Until(line, ':');
    if (!name.empty() && Whole_Number<unsigned long>(Take_Until(line, ':')) == user) return std::string(name);
  }
  return {};
}

std::string Library_Version_From(std::string_view file_name) {
  constexpr std::string_view Ending = ".so";
  const auto is_version = [](std::string_view text) {
    return All(text, [](char c) { return Is_Digit(c) || c == '.'; }) && Is_Digit(text.front()) &&
           Is_Digit(text.back());
  };
  if (const size_t at = file_name.rfind(".so."); at != std::string_view::npos) {
    const std::string_view version = file_name.substr(at + Ending.size() + 1);
    return is_version(version) ? std::string(version) : std::string();
  }
  if (!file_name.ends_with(Ending)) return {};
  file_name.remove_suffix(Ending.size());
  const size_t at = file_name.rfind('-');
  if (at == std::string_view::npos || !is_version(file_name.substr(at + 1))) return {};
  return std::string(file_name.substr(at + 1));
}

std::vector<Mount> Mounts_From(std::string_view mounts) {
  std::vector<Mount> found;
  while (!mounts.empty()) {
    std::string_view line = Take_Until(mounts, '\n');
    Mount mount;
    mount.Device = Without_Octal(Take_Word(line));
    mount.Folder = Without_Octal(Take_Word(line));
    mount.Type = Take_Word(line);
    if (!mount.Type.empty() && mount.Folder.starts_with('/')) found.push_back(std::move(mount));
  }
  return found;
}

std::vector<MountedDrive> Drives_From(const std::vector<Mount>& mounts) {
  std::map<std::string_view, size_t> last_at;
  for (size_t i = 0; i < mounts.size(); ++i) last_at[mounts[i].Folder] = i;
  std::vector<MountedDrive> drives;
  std::set<std::string_view> devices;
  for (size_t i = 0; i < mounts.size(); ++i) {
    const Mount& mount = mounts[i];
    if (last_at[mount.Folder] != i) continue;
    const std::optional<DriveKind> kind = Drive_Kind(mount);
    if (!kind || !devices.insert(mount.Device).second) continue;
    drives.push_back({mount.Folder, *kind, Path_Answers(mounts, mount.Folder)});
  }
  return drives;
}

bool Path_Answers(const std::vector<Mount>& mounts, std::string_view path) {
  return std::none_of(mounts.begin(), mounts.end(),
                      [&](const Mount& mount) { return May_Wait(mount) && Lies_In(path, mount.Folder); });
}

}  // namespace hq
