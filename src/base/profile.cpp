#include "base/profile.h"

#include "base/strings.h"

namespace hq {

namespace {

std::string_view Trim_White(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view Without_Quotes(std::string_view value) {
  const bool quoted =
      value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
  return quoted ? value.substr(1, value.size() - 2) : value;
}

}  // namespace

Profile::Profile(std::string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  while (!text.empty()) {
    const size_t end = text.find_first_of("\r\n");
    const std::string_view line = Trim_White(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.empty() || line.front() == ';') continue;
    if (line.front() == '[') {
      sections_.push_back({std::string(Trim_White(line.substr(1, line.find(']') - 1))), {}});
      continue;
    }
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos || sections_.empty()) continue;
    const std::string_view value = Without_Quotes(Trim_White(line.substr(equals + 1)));
    sections_.back().Entries.push_back(
        {std::string(Trim_White(line.substr(0, equals))), std::string(value.substr(0, value.find('\0')))});
  }
}

const std::string* Profile::Find(std::string_view section, std::string_view key) const {
  for (const Section& candidate : sections_) {
    if (!Equal_Without_Case(candidate.Name, section)) continue;
    for (const Entry& entry : candidate.Entries) {
      if (Equal_Without_Case(entry.Key, key)) return &entry.Value;
    }
    break;
  }
  return nullptr;
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

}  // namespace hq
