#include "errortrap/rich_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "base/strings.h"
#include "base/unicode.h"

namespace hq {

namespace {

// "\u" takes signed numbers of 16 bits; the "?" is for readers that know no such characters.
void Append_Unit(std::string& rich, std::uint32_t unit) {
  char digits[8];
  const auto number = static_cast<std::int16_t>(static_cast<std::uint16_t>(unit));
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  rich.append("\\u").append(digits, end).append("?");
}

void Append_Unicode(std::string& rich, std::uint32_t code) {
  if (code < 0x10000) return Append_Unit(rich, code);
  code -= 0x10000;
  Append_Unit(rich, 0xD800U + (code >> 10U));
  Append_Unit(rich, 0xDC00U + (code & 0x3FFU));
}

void Append_Byte(std::string& rich, char c) {
  constexpr std::string_view Digits = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  if (c == '\\' || c == '{' || c == '}') {
    rich += '\\';
    rich += c;
  } else if (c == '\t') {
    rich += "\\tab ";
  } else if (byte < 0x20 || byte == 0x7F) {
    rich += ' ';
  } else if (byte < 0x80) {
    rich += c;
  } else {
    rich += "\\'";
    rich += Digits[byte >> 4U];
    rich += Digits[byte & 0xFU];
  }
}

}  // namespace

bool Has_Rich_Text_Name(std::string_view path) {
  constexpr std::string_view Extension = ".rtf";
  return path.size() > Extension.size() &&
         Equal_Without_Case(path.substr(path.size() - Extension.size()), Extension);
}

void Append_Rich_Text(std::string& rich, std::string_view text, std::size_t room) {
  const std::size_t start = rich.size();
  while (!text.empty()) {
    const std::size_t before = rich.size();
    const auto [code, length] = First_Utf8_Character(text);
    if (length > 1) {
      Append_Unicode(rich, code);
    } else {
      Append_Byte(rich, text.front());
    }
    if (rich.size() - start > room) return rich.resize(before);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
}

}  // namespace hq
