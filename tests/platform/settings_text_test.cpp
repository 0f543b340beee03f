#include "platform/settings_text.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "base/run_time_error.h"
#include "base/unicode.h"
#include "support/utf16.h"

namespace hq {
namespace {

using test::Utf16;

constexpr std::string_view Lines = "; mine\r\n[Keys]\r\ntiingo=abc\r\n\r\n[Other]\nKey=1\n";
constexpr std::string_view Changed = "; mine\r\n[Keys]\r\ntiingo=new\r\n\r\n[Other]\nKey=1\n";

std::string Big_End(std::string_view text) {
  return Utf16_Of_Utf8(text, ByteOrder::BigEnd).value();
}

std::string With_New_Key(std::string_view bytes) {
  SettingsText text(bytes);
  text.Put({"Keys", "tiingo", "new"});
  return text.Bytes();
}

TEST(SettingsText, ReadsEveryWayOfWriting) {
  const std::string plain(Lines);
  EXPECT_EQ(SettingsText(plain).Text(), plain);
  EXPECT_EQ(SettingsText("\xEF\xBB\xBF" + plain).Text(), plain);
  EXPECT_EQ(SettingsText(Utf16(plain)).Text(), plain);
  EXPECT_EQ(SettingsText("\xFE\xFF" + Big_End(plain)).Text(), plain);
  EXPECT_EQ(SettingsText(Utf16(plain).substr(2)).Text(), plain) << "without a mark";
  EXPECT_EQ(SettingsText(Big_End(plain)).Text(), plain) << "without a mark";
  EXPECT_EQ(SettingsText("").Text(), "");
  EXPECT_EQ(SettingsText("\xFF\xFE").Text(), "");
}

TEST(SettingsText, KeepsTheWayOfWriting) {
  const std::string plain(Changed);
  EXPECT_EQ(With_New_Key(Lines), plain);
  EXPECT_EQ(With_New_Key("\xEF\xBB\xBF" + std::string(Lines)), "\xEF\xBB\xBF" + plain);
  EXPECT_EQ(With_New_Key(Utf16(Lines)), Utf16(plain));
  EXPECT_EQ(With_New_Key("\xFE\xFF" + Big_End(Lines)), "\xFE\xFF" + Big_End(plain));
  EXPECT_EQ(With_New_Key(Utf16(Lines).substr(2)), Utf16(plain).substr(2));
  EXPECT_EQ(With_New_Key(Big_End(Lines)), Big_End(plain));
  EXPECT_EQ(With_New_Key(""), "[Keys]\r\ntiingo=new\r\n");
  EXPECT_EQ(With_New_Key("\xFF\xFE"), Utf16("[Keys]\r\ntiingo=new\r\n"));
}

TEST(SettingsText, KeepsCharactersOfEveryKind) {
  const std::string remark = "; \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x93\x88\n[Keys]\ntiingo=";
  for (const ByteOrder order : {ByteOrder::LittleEnd, ByteOrder::BigEnd}) {
    const std::string mark = order == ByteOrder::LittleEnd ? "\xFF\xFE" : "\xFE\xFF";
    EXPECT_EQ(With_New_Key(mark + Utf16_Of_Utf8(remark + "old\n", order).value()),
              mark + Utf16_Of_Utf8(remark + "new\n", order).value());
  }
  // What is the system's own need be no UTF-8.
  EXPECT_EQ(With_New_Key("; caf\xE9\n[Keys]\ntiingo=old\n"), "; caf\xE9\n[Keys]\ntiingo=new\n");
}

TEST(SettingsText, RefusesWhatIsNoText) {
  const auto reason = [](std::string_view bytes) {
    try {
      static_cast<void>(SettingsText(bytes));
    } catch (const RunTimeError& error) {
      EXPECT_EQ(error.Number(), TypeMismatch);
      return error.Detail();
    }
    return std::string("read");
  };
  const std::string no_text = "it is no plain text, it holds NULs";
  const std::string half_utf16 = "it begins as UTF-16, and not all of it is";
  EXPECT_EQ(reason(std::string("[Keys]\0", 7)), no_text);
  EXPECT_EQ(reason(std::string("\0\0\0", 3)), no_text);
  EXPECT_EQ(reason(std::string("\xFF\xFE\0\0[\0\0\0", 8)), no_text) << "four bytes a character";
  EXPECT_EQ(reason(Utf16("[Keys]") + "x"), half_utf16);
  EXPECT_EQ(reason(Utf16("[Keys]") + "\x3D\xD8"), half_utf16);
  EXPECT_EQ(reason("\xEF\xBB\xBF[K\xE9ys]"), "it begins as UTF-8, and not all of it is");
}

#ifndef _WIN32
TEST(SettingsText, RefusesAValueThatItHasNoCharactersFor) {
  SettingsText text(Utf16(Lines));
  EXPECT_THROW(text.Put({"Quotes", "Source", "csv:/f\xE9"}), RunTimeError);
  EXPECT_EQ(text.Bytes(), Utf16(Lines));
}
#endif

}  // namespace
}  // namespace hq
