#include <gtest/gtest.h>
#include <windows.h>

#include "platform/settings_text.h"
#include "platform/system_text.h"

namespace hq {
namespace {

TEST(SystemText, IsThatOfTheCodePage) {
  EXPECT_EQ(System_Text("plain"), "plain");
  EXPECT_EQ(Utf8_Of_System_Text("plain"), "plain");
  EXPECT_EQ(System_Text(""), "");
  if (GetACP() != 1252) GTEST_SKIP() << "the code page here is " << GetACP();
  EXPECT_EQ(System_Text("M\xC3\xA4rz \xE2\x82\xAC"), "M\xE4rz \x80");
  EXPECT_EQ(Utf8_Of_System_Text("M\xE4rz \x80"), "M\xC3\xA4rz \xE2\x82\xAC");
}

TEST(SystemText, WhatTheCodePageLacksStaysInTheFile) {
  if (GetACP() != 1252) GTEST_SKIP() << "the code page here is " << GetACP();
  SettingsText text("\xEF\xBB\xBF; \xE6\x97\xA5\n[A]\nKey=1\n");
  EXPECT_EQ(text.Text(), "; ?\n[A]\nKey=1\n");
  text.Put({"A", "Key", "M\xE4rz"});
  EXPECT_EQ(text.Bytes(), "\xEF\xBB\xBF; \xE6\x97\xA5\n[A]\nKey=M\xC3\xA4rz\n");
}

}  // namespace
}  // namespace hq
