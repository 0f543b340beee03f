#include "server/setup/source_keys.h"

#include <algorithm>
#include <cstdlib>

#include "base/profile.h"
#include "base/strings.h"

namespace hq::server {

std::map<std::string, std::string> Read_Keys(std::string_view settings_text) {
  std::map<std::string, std::string> keys;
  for (const auto& [name, key] : Profile{settings_text}.Entries("Keys")) {
    const auto is_same = [&name = name](const auto& entry) { return Equal_Without_Case(entry.first, name); };
    if (!name.starts_with('#') && std::ranges::none_of(keys, is_same)) keys.emplace(name, key);
  }
  return keys;
}

std::optional<std::string> Program_Environment(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value == nullptr ? std::nullopt : std::optional<std::string>{value};
}

std::vector<std::string> Key_Settings(const SourceProfile& profile, const SourceKey& key) {
  std::vector<std::string> settings;
  if (!profile.Keys.empty() && profile.Keys.front().Name == key.Name) settings.push_back(profile.Name);
  settings.push_back(profile.Name + "_" + key.Name);
  return settings;
}

std::string Key_Variable(std::string_view setting) {
  std::string variable = "HQ_KEY_";
  for (const char c : setting) {
    if (c >= 'a' && c <= 'z') {
      variable += static_cast<char>(c - 'a' + 'A');
    } else {
      variable += (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ? c : '_';
    }
  }
  return variable;
}

KeyTexts Keys_Of(const SourceProfile& profile, const std::map<std::string, std::string>& settings,
                 const Environment& environment) {
  const auto find = [&](const std::vector<std::string>& names) -> std::string {
    for (const std::string& name : names) {
      const auto value = environment(Key_Variable(name));
      if (value && !Trim_White(*value).empty()) return std::string{Trim_White(*value)};
    }
    for (const std::string& name : names) {
      for (const auto& [setting, value] : settings) {
        if (Equal_Without_Case(setting, name) && !Trim_White(value).empty())
          return std::string{Trim_White(value)};
      }
    }
    return {};
  };
  KeyTexts keys;
  for (const SourceKey& key : profile.Keys) {
    if (std::string text = find(Key_Settings(profile, key)); !text.empty())
      keys.emplace(key.Name, std::move(text));
  }
  return keys;
}

std::string Masked_Key(std::string_view key) {
  constexpr std::size_t long_enough = 16;
  constexpr std::size_t shown = 4;
  std::string masked = "****";
  if (key.size() >= long_enough) masked += key.substr(key.size() - shown);
  return masked;
}

}  // namespace hq::server
