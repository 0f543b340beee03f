#include "base/unicode.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace hq {
namespace {

TEST(FirstUtf8Character, GivesCodeAndLength) {
  const auto expect = [](std::string_view text, std::uint32_t code, std::size_t length) {
    const Utf8Character found = First_Utf8_Character(text);
    EXPECT_EQ(found.Code, code) << text;
    EXPECT_EQ(found.Length, length) << text;
  };
  expect("", 0, 0);
  expect(std::string_view("\0", 1), 0, 1);
  expect("Ab", 'A', 1);
  expect("\xC3\xA4x", 0xE4, 2);
  expect("\xE2\x82\xACx", 0x20AC, 3);
  expect("\xF0\x9F\x93\x88x", 0x1F4C8, 4);
}

TEST(IsUtf8, RefusesWhatIsCutOverlongOrNoCharacter) {
  EXPECT_TRUE(Is_Utf8(""));
  EXPECT_TRUE(Is_Utf8("\xEF\xBB\xBFUml\xC3\xA4ut \xE2\x82\xAC \xF4\x8F\xBF\xBF"));
  for (const std::string_view wrong : {"\x80", "caf\xE9", "\xC3", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80",
                                       "\xF0\x80\x80\xAF", "\xF4\x90\x80\x80", "\xFF\xFE", "\xE2\x82"}) {
    EXPECT_FALSE(Is_Utf8(wrong)) << wrong;
  }
}

TEST(Utf16, IsReadAndWrittenInBothOrders) {
  const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x88\n";
  const std::string little("a\0\xE4\0\xAC\x20\x3D\xD8\xC8\xDC\n\0", 12);
  const std::string big("\0a\0\xE4\x20\xAC\xD8\x3D\xDC\xC8\0\n", 12);
  EXPECT_EQ(Utf8_Of_Utf16(little, ByteOrder::LittleEnd), text);
  EXPECT_EQ(Utf8_Of_Utf16(big, ByteOrder::BigEnd), text);
  EXPECT_EQ(Utf16_Of_Utf8(text, ByteOrder::LittleEnd), little);
  EXPECT_EQ(Utf16_Of_Utf8(text, ByteOrder::BigEnd), big);
  EXPECT_EQ(Utf8_Of_Utf16("", ByteOrder::BigEnd), "");
}

TEST(Utf16, HalvesAreRefused) {
  EXPECT_EQ(Utf8_Of_Utf16("a", ByteOrder::LittleEnd), std::nullopt);
  EXPECT_EQ(Utf8_Of_Utf16(std::string("a\0b", 3), ByteOrder::LittleEnd), std::nullopt);
  EXPECT_EQ(Utf8_Of_Utf16("\x3D\xD8", ByteOrder::LittleEnd), std::nullopt) << "the second is missing";
  EXPECT_EQ(Utf8_Of_Utf16("\xC8\xDC", ByteOrder::LittleEnd), std::nullopt) << "the first is missing";
  EXPECT_EQ(Utf8_Of_Utf16(std::string("\x3D\xD8"
                                      "a\0",
                                      4),
                          ByteOrder::LittleEnd),
            std::nullopt);
  EXPECT_EQ(Utf16_Of_Utf8("caf\xE9", ByteOrder::LittleEnd), std::nullopt);
}

TEST(Windows1252, IsReadWhereItHasCharacters) {
  EXPECT_EQ(Utf8_Of_Windows_1252(""), "");
  EXPECT_EQ(Utf8_Of_Windows_1252("aZ\r\n\x7F"), "aZ\r\n\x7F");
  EXPECT_EQ(Utf8_Of_Windows_1252(std::string_view("a\0b", 3)), std::string("a\0b", 3));
  EXPECT_EQ(Utf8_Of_Windows_1252("\x80\x9F\xA0\xE9\xFF"), "\xE2\x82\xAC\xC5\xB8\xC2\xA0\xC3\xA9\xC3\xBF");
  for (const char* none : {"\x81", "\x8D", "\x8F", "\x90", "a\x9D"})
    EXPECT_EQ(Utf8_Of_Windows_1252(none), std::nullopt);
}

}  // namespace
}  // namespace hq
