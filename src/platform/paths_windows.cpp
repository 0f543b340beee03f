#include <algorithm>
#include <string>
#include <windows.h>

#include "base/strings.h"
#include "platform/paths.h"

namespace hq {

// The standard library would take the text for UTF-8.
std::filesystem::path System_Path(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(static_cast<size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string File_Name_Key(const std::filesystem::path& name) {
  std::string key = Lower_Case(Utf8_Text(name));
  key.resize(std::min(key.find(':'), key.size()));
  while (key.ends_with('.') || key.ends_with(' ')) key.pop_back();
  return key;
}

bool Is_System_Text(std::string_view /*text*/) {
  return true;
}

bool Others_Can_Read(const std::filesystem::path& /*file*/) {
  return false;
}

}  // namespace hq
