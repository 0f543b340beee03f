#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace hq {

// A character and how many bytes of UTF-8 it takes; a length of 0 when there is none.
struct Utf8Character {
  std::uint32_t Code = 0;
  std::size_t Length = 0;
};

// The character that a text begins with; none when the text is empty or begins with no UTF-8.
[[nodiscard]] Utf8Character First_Utf8_Character(std::string_view text);

// Whether all of a text is UTF-8.
[[nodiscard]] bool Is_Utf8(std::string_view text);

enum class ByteOrder { LittleEnd, BigEnd };

// The text of bytes in UTF-16, in UTF-8; nothing when they are no UTF-16: half of a unit, or half of a pair.
// A byte-order mark is a character like others.
[[nodiscard]] std::optional<std::string> Utf8_Of_Utf16(std::string_view bytes, ByteOrder order);

// The bytes in UTF-16 of a text that is UTF-8; nothing when it isn't. The other way round it gives the text
// again.
[[nodiscard]] std::optional<std::string> Utf16_Of_Utf8(std::string_view text, ByteOrder order);

// The text of bytes in Windows-1252, in UTF-8; nothing when one of them stands for no character there.
[[nodiscard]] std::optional<std::string> Utf8_Of_Windows_1252(std::string_view bytes);

}  // namespace hq
