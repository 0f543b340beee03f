#include "base/profile.h"

#include <algorithm>
#include <optional>

#include "base/strings.h"

namespace hq {

namespace {

std::string_view Without_Quotes(std::string_view value) {
  const bool quoted =
      value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
  return quoted ? value.substr(1, value.size() - 2) : value;
}

// The name of the section that a line begins, null when it begins none.
std::optional<std::string_view> Section_Begun(std::string_view line) {
  if (!line.starts_with('[')) return std::nullopt;
  return Trim_White(line.substr(1, line.find(']') - 1));
}

}  // namespace

Profile::Profile(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  while (!text.empty()) {
    const size_t end = text.find_first_of("\r\n");
    const std::string_view line = Trim_White(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.empty() || line.front() == ';') continue;
    if (const auto section = Section_Begun(line)) {
      sections_.push_back({std::string(*section), {}});
      continue;
    }
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos || sections_.empty()) continue;
    const std::string_view value = Without_Quotes(Trim_White(line.substr(equals + 1)));
    sections_.back().Entries.push_back(
        {std::string(Trim_White(line.substr(0, equals))), std::string(value.substr(0, value.find('\0')))});
  }
}

const Profile::Section* Profile::Find(std::string_view section) const {
  const auto found = std::find_if(sections_.begin(), sections_.end(), [section](const Section& candidate) {
    return Equal_Without_Case(candidate.Name, section);
  });
  return found == sections_.end() ? nullptr : &*found;
}

const std::string* Profile::Find(std::string_view section, std::string_view key) const {
  const Section* within = Find(section);
  if (within == nullptr) return nullptr;
  for (const auto& [name, value] : within->Entries) {
    if (Equal_Without_Case(name, key)) return &value;
  }
  return nullptr;
}

std::vector<std::pair<std::string, std::string>> Profile::Entries(std::string_view section) const {
  const Section* within = Find(section);
  if (within == nullptr) return {};
  return within->Entries;
}

std::string Profile::Get(std::string_view section, std::string_view key, std::string_view fallback) const {
  const std::string* value = Find(section, key);
  return value != nullptr ? *value : std::string(fallback);
}

std::string Profile::Get(std::string_view section, std::string_view key, std::string_view fallback,
                         std::size_t longest) const {
  const std::string* value = Find(section, key);
  if (value != nullptr) return std::string(Cut_Text(*value, longest));
  return std::string(Cut_Text(fallback.substr(0, fallback.find_last_not_of(' ') + 1), longest));
}

std::string With_Profile_Value(std::string_view text, std::string_view section, std::string_view key,
                               std::string_view value) {
  const std::string_view line_end = Contains(text, "\r\n") || !Contains(text, "\n") ? "\r\n" : "\n";
  const std::string entry =
      value.empty() ? std::string() : std::string(key).append("=").append(value).append(line_end);
  std::string made;
  size_t section_end =
      std::string::npos;  // behind the last line of the first such section that says something
  bool within = false;
  bool taken = false;
  const bool has_mark = text.starts_with("\xEF\xBB\xBF");
  if (has_mark) {
    made = text.substr(0, 3);
    text.remove_prefix(3);
  }
  while (!text.empty()) {
    const size_t end = text.find_first_of("\r\n");
    const std::string_view line = Trim_White(text.substr(0, end));
    size_t length = end == std::string_view::npos ? text.size() : end + 1;
    if (text.substr(0, length).ends_with('\r') && text.substr(length).starts_with('\n')) ++length;
    const std::string_view whole = text.substr(0, length);
    text.remove_prefix(length);
    if (const auto begun = Section_Begun(line)) {
      within = section_end == std::string::npos && Equal_Without_Case(*begun, section);
    } else if (within && !line.starts_with(';')) {
      const size_t equals = line.find('=');
      if (equals != std::string_view::npos && Equal_Without_Case(Trim_White(line.substr(0, equals)), key)) {
        // Of equal keys the first holds; with the others gone too an empty value is one.
        if (!taken) made += entry;
        taken = true;
        continue;
      }
    }
    made += whole;
    if (within && !line.empty()) {
      if (!made.ends_with('\n') && !made.ends_with('\r')) made += line_end;
      section_end = made.size();
    }
  }
  if (taken || entry.empty()) return made;
  if (section_end != std::string::npos) return made.insert(section_end, entry);
  if (!made.empty() && !made.ends_with('\n') && !made.ends_with('\r')) made += line_end;
  if (made.size() > (has_mark ? 3U : 0U)) made += line_end;
  return made.append("[").append(section).append("]").append(line_end).append(entry);
}

}  // namespace hq
