#pragma once

#include <string>
#include <string_view>

namespace hq::test {

// A text of ASCII letters as programs write it that call UTF-16 "Unicode": behind a mark, low bytes first.
inline std::string Utf16(std::string_view ascii) {
  std::string bytes = "\xFF\xFE";
  for (const char c : ascii) {
    bytes += c;
    bytes += '\0';
  }
  return bytes;
}

}  // namespace hq::test
