#include "errortrap/rich_text.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace hq {
namespace {

std::string Rich(std::string_view text, std::size_t room = std::string::npos) {
  std::string rich;
  Append_Rich_Text(rich, text, room);
  return rich;
}

TEST(RichTextName, EndsInRtf) {
  EXPECT_TRUE(Has_Rich_Text_Name("error.rtf"));
  EXPECT_TRUE(Has_Rich_Text_Name("/tmp/a.b/ERROR.RTF"));
  EXPECT_TRUE(Has_Rich_Text_Name("x.rTf"));
  EXPECT_FALSE(Has_Rich_Text_Name("error.log"));
  EXPECT_FALSE(Has_Rich_Text_Name("rtf"));
  EXPECT_FALSE(Has_Rich_Text_Name(".rtf"));
  EXPECT_FALSE(Has_Rich_Text_Name("error.rtf.log"));
  EXPECT_FALSE(Has_Rich_Text_Name(""));
}

TEST(RichText, NamesItsFont) {
  EXPECT_NE(RichTextHeader.find("{\\f0\\fswiss\\fcharset0 ARIAL;}"), std::string_view::npos);
}

TEST(RichText, KeepsPlainText) {
  EXPECT_EQ(Rich("frmmain1.frm : Sub Form_Load [1] <2> 'x' \"y\" ~"),
            "frmmain1.frm : Sub Form_Load [1] <2> 'x' \"y\" ~");
  EXPECT_EQ(Rich(""), "");
}

TEST(RichText, EscapesItsOwnCharacters) {
  EXPECT_EQ(Rich("C:\\a{b}"), "C:\\\\a\\{b\\}");
}

TEST(RichText, EscapesBytesThatAreNoUtf8) {
  EXPECT_EQ(Rich("\xE4\xFF"), "\\'e4\\'ff");
  EXPECT_EQ(Rich("\x80x"), "\\'80x");
  EXPECT_EQ(Rich("\xC3"), "\\'c3");
  EXPECT_EQ(Rich("\xC0\x80"), "\\'c0\\'80");
  EXPECT_EQ(Rich("\xE0\x80\x80"), "\\'e0\\'80\\'80");
  EXPECT_EQ(Rich("\xED\xA0\x80"), "\\'ed\\'a0\\'80");
  EXPECT_EQ(Rich("\xF4\x90\x80\x80"), "\\'f4\\'90\\'80\\'80");
  EXPECT_EQ(Rich("\xE2\x82z"), "\\'e2\\'82z");
}

TEST(RichText, EscapesUtf8AsCharacters) {
  EXPECT_EQ(Rich("\xC3\xA4"), "\\u228?");
  EXPECT_EQ(Rich("\xE2\x82\xAC"), "\\u8364?");
  EXPECT_EQ(Rich("\xEF\xBD\x81"), "\\u-191?");
  EXPECT_EQ(Rich("\xF0\x9F\x93\x88"), "\\u-10179?\\u-9016?");
}

TEST(RichText, HasNoControlCharacters) {
  EXPECT_EQ(Rich(std::string_view("a\0b\r\nc\td\x7F", 9)), "a b  c\\tab d ");
}

TEST(RichText, NeverCutsAnEscape) {
  EXPECT_EQ(Rich("ab{c", 4), "ab\\{");
  EXPECT_EQ(Rich("ab{c", 3), "ab");
  EXPECT_EQ(Rich("ab{c", 0), "");
  EXPECT_EQ(Rich("a\xE4", 4), "a");
  EXPECT_EQ(Rich("a\xE4", 5), "a\\'e4");
  // Both halves of a character or none.
  EXPECT_EQ(Rich("\xF0\x9F\x93\x88", 10), "");
  EXPECT_EQ(Rich("\xF0\x9F\x93\x88", 17), "\\u-10179?\\u-9016?");
}

TEST(RichText, IsAppended) {
  std::string rich = "before ";
  Append_Rich_Text(rich, "{", 2);
  EXPECT_EQ(rich, "before \\{");
}

}  // namespace
}  // namespace hq
