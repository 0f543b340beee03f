#include "base/unicode.h"

namespace hq {

namespace {

constexpr std::uint32_t FirstOfPair = 0xD800;
constexpr std::uint32_t SecondOfPair = 0xDC00;
constexpr std::uint32_t BehindPairs = 0xE000;
constexpr std::uint32_t FirstOfTwoUnits = 0x10000;

void Append_Utf8(std::string& text, std::uint32_t code) {
  const auto append = [&text](std::uint32_t byte) {
    text += static_cast<char>(static_cast<std::uint8_t>(byte));
  };
  const auto append_tail = [&](int bits) { append(0x80U | ((code >> static_cast<unsigned>(bits)) & 0x3FU)); };
  if (code < 0x80) return append(code);
  if (code < 0x800) {
    append(0xC0U | code >> 6U);
  } else if (code < FirstOfTwoUnits) {
    append(0xE0U | code >> 12U);
    append_tail(6);
  } else {
    append(0xF0U | code >> 18U);
    append_tail(12);
    append_tail(6);
  }
  append_tail(0);
}

}  // namespace

Utf8Character First_Utf8_Character(std::string_view text) {
  if (text.empty()) return {};
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return {first, 1};
  const std::size_t length = first >= 0xC2 && first < 0xE0   ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
  if (length == 0 || text.size() < length) return {};
  std::uint32_t code = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80U) return {};
    code = code << 6U | (byte(i) & 0x3FU);
  }
  constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, FirstOfTwoUnits};
  const bool is_half_of_pair = code >= FirstOfPair && code < BehindPairs;
  if (code < least[length] || code > 0x10FFFF || is_half_of_pair) return {};
  return {code, length};
}

bool Is_Utf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = First_Utf8_Character(text).Length;
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::optional<std::string> Utf8_Of_Utf16(std::string_view bytes, ByteOrder order) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  const std::size_t high = order == ByteOrder::LittleEnd ? 1 : 0;
  const auto unit = [&](std::size_t at) {
    const auto byte = [&](std::size_t i) { return std::uint32_t{static_cast<unsigned char>(bytes[at + i])}; };
    return byte(high) << 8U | byte(1 - high);
  };
  std::string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t at = 0; at < bytes.size(); at += 2) {
    std::uint32_t code = unit(at);
    if (code >= FirstOfPair && code < BehindPairs) {
      at += 2;
      if (code >= SecondOfPair || at == bytes.size()) return std::nullopt;
      const std::uint32_t second = unit(at);
      if (second < SecondOfPair || second >= BehindPairs) return std::nullopt;
      code = FirstOfTwoUnits + ((code - FirstOfPair) << 10U) + (second - SecondOfPair);
    }
    Append_Utf8(text, code);
  }
  return text;
}

std::optional<std::string> Utf16_Of_Utf8(std::string_view text, ByteOrder order) {
  std::string bytes;
  bytes.reserve(text.size() * 2);
  const auto append = [&](std::uint32_t unit) {
    const char high = static_cast<char>(static_cast<std::uint8_t>(unit >> 8U));
    const char low = static_cast<char>(static_cast<std::uint8_t>(unit));
    bytes += order == ByteOrder::LittleEnd ? low : high;
    bytes += order == ByteOrder::LittleEnd ? high : low;
  };
  while (!text.empty()) {
    const auto [code, length] = First_Utf8_Character(text);
    if (length == 0) return std::nullopt;
    text.remove_prefix(length);
    if (code < FirstOfTwoUnits) {
      append(code);
    } else {
      append(FirstOfPair + ((code - FirstOfTwoUnits) >> 10U));
      append(SecondOfPair + ((code - FirstOfTwoUnits) & 0x3FFU));
    }
  }
  return bytes;
}

std::optional<std::string> Utf8_Of_Windows_1252(std::string_view bytes) {
  // From 0x80 on; 0 for none. All others are the characters of their own number.
  constexpr std::uint32_t special[] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                       0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                       0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                       0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};
  std::string text;
  text.reserve(bytes.size());
  for (const char c : bytes) {
    const std::uint32_t byte = static_cast<unsigned char>(c);
    const std::uint32_t code = byte >= 0x80 && byte < 0xA0 ? special[byte - 0x80] : byte;
    if (byte != 0 && code == 0) return std::nullopt;
    Append_Utf8(text, code);
  }
  return text;
}

}  // namespace hq
