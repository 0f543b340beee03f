#include "server/source_keys.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include "base/strings.h"

namespace hq::server {

namespace fs = std::filesystem;

std::map<std::string, std::string> Read_Keys(std::string_view settings_text) {
  constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
  if (settings_text.starts_with(byte_order_mark)) settings_text.remove_prefix(byte_order_mark.size());
  std::map<std::string, std::string> keys;
  bool is_within = false;
  while (!settings_text.empty()) {
    const auto end = std::min(settings_text.find('\n'), settings_text.size());
    const std::string_view line = Trim_White(settings_text.substr(0, end));
    settings_text.remove_prefix(std::min(end + 1, settings_text.size()));
    if (line.starts_with('[')) {
      const auto close = line.find(']');
      is_within = close != std::string_view::npos &&
                  Equal_Without_Case(Trim_White(line.substr(1, close - 1)), "keys");
      continue;
    }
    const auto equals = line.find('=');
    if (!is_within || line.starts_with(';') || line.starts_with('#') || equals == std::string_view::npos)
      continue;
    const std::string name{Trim_White(line.substr(0, equals))};
    const auto is_same = [&name](const auto& entry) { return Equal_Without_Case(entry.first, name); };
    if (std::ranges::none_of(keys, is_same)) keys.emplace(name, Trim_White(line.substr(equals + 1)));
  }
  return keys;
}

std::map<std::string, std::string> Load_Keys(const fs::path& settings_file,
                                             const std::function<void(const std::string& line)>& warn) {
  std::ifstream stream{settings_file, std::ios::binary};
  if (!stream) return {};
  std::ostringstream text;
  text << stream.rdbuf();
  std::map<std::string, std::string> keys = Read_Keys(text.str());
#ifndef _WIN32
  std::error_code unknown;
  const auto others = fs::perms::group_read | fs::perms::others_read;
  const bool is_open = (fs::status(settings_file, unknown).permissions() & others) != fs::perms::none;
  if (is_open && !unknown && !keys.empty() && warn) {
    warn("Other users of this computer can read the keys in " + settings_file.string() +
         ": let only yourself read that file (chmod 600).");
  }
#else
  (void)warn;
#endif
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
