#include <windows.h>

#include "platform/system_text.h"

namespace hq {

namespace {

std::string Converted(std::string_view text, UINT from, UINT to) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(static_cast<size_t>(MultiByteToWideChar(from, 0, text.data(), size, nullptr, 0)), L'\0');
  const int units = static_cast<int>(wide.size());
  MultiByteToWideChar(from, 0, text.data(), size, wide.data(), units);
  std::string made(
      static_cast<size_t>(WideCharToMultiByte(to, 0, wide.data(), units, nullptr, 0, nullptr, nullptr)),
      '\0');
  WideCharToMultiByte(to, 0, wide.data(), units, made.data(), static_cast<int>(made.size()), nullptr,
                      nullptr);
  return made;
}

}  // namespace

std::string System_Text(std::string_view utf8) {
  return Converted(utf8, CP_UTF8, CP_ACP);
}

std::string Utf8_Of_System_Text(std::string_view text) {
  return Converted(text, CP_ACP, CP_UTF8);
}

}  // namespace hq
