#include "base/profile.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace hq {
namespace {

TEST(Profile, GivesTheValueOfAKey) {
  const Profile profile(
      "[Log File]\r\nCircularLog=1\r\nName=trace.log\r\n[CircularLog]\r\nMaxRecords=50\r\n");
  EXPECT_EQ(profile.Get("Log File", "CircularLog"), "1");
  EXPECT_EQ(profile.Get("Log File", "Name"), "trace.log");
  EXPECT_EQ(profile.Get("CircularLog", "MaxRecords"), "50");
}

TEST(Profile, GivesTheFallbackForWhatIsMissing) {
  const Profile profile("[A]\nKey=1\n[B]\nOther=2\n");
  EXPECT_EQ(profile.Get("A", "Other", "fallback"), "fallback");
  EXPECT_EQ(profile.Get("C", "Key", "fallback"), "fallback");
  EXPECT_EQ(profile.Get("C", "Key"), "");
  EXPECT_EQ(Profile("").Get("A", "Key", "fallback"), "fallback");
}

TEST(Profile, TellsAnEmptyValueFromAMissingOne) {
  const Profile profile("[A]\nKey=\nBlank=   \nQuoted=\"\"\n");
  EXPECT_EQ(profile.Get("A", "Key", "fallback"), "");
  EXPECT_EQ(profile.Get("A", "Blank", "fallback"), "");
  EXPECT_EQ(profile.Get("A", "Quoted", "fallback"), "");
}

TEST(Profile, LooksPastTheCaseOfNames) {
  const Profile profile("[Log File]\nCapture To Disk=Yes\n");
  EXPECT_EQ(profile.Get("log file", "capture to disk"), "Yes");
  EXPECT_EQ(profile.Get("LOG FILE", "CAPTURE TO DISK"), "Yes");
  EXPECT_EQ(profile.Get("LogFile", "Capture To Disk", "none"), "none");
}

TEST(Profile, DropsBlanksAroundNamesAndValues) {
  const Profile profile(" [ A ] \r\n\t Key\t = \t a  value \t\r\n");
  EXPECT_EQ(profile.Get("A", "Key"), "a  value");
}

TEST(Profile, DropsOnePairOfQuotes) {
  const Profile profile(
      "[A]\n1=\" x \"\n2=' x '\n3=\"x'\n4=\"\"x\"\"\n5=\"\n6=x\"y\"\n7='\"x\"'\n8= \"x\" \n9=\"x\"y\n");
  EXPECT_EQ(profile.Get("A", "1"), " x ");
  EXPECT_EQ(profile.Get("A", "2"), " x ");
  EXPECT_EQ(profile.Get("A", "3"), "\"x'");
  EXPECT_EQ(profile.Get("A", "4"), "\"x\"");
  EXPECT_EQ(profile.Get("A", "5"), "\"");
  EXPECT_EQ(profile.Get("A", "6"), "x\"y\"");
  EXPECT_EQ(profile.Get("A", "7"), "\"x\"");
  EXPECT_EQ(profile.Get("A", "8"), "x");
  EXPECT_EQ(profile.Get("A", "9"), "\"x\"y");
}

TEST(Profile, PassesOverComments) {
  const Profile profile("; [A]\n[A]\n;Key=1\n  ;Key=2\nKey=3;4\n");
  EXPECT_EQ(profile.Get("A", "Key"), "3;4");
  EXPECT_EQ(profile.Get("A", ";Key", "none"), "none");
}

TEST(Profile, LetsTheFirstOfEqualNamesHold) {
  const Profile profile("[A]\nKey=1\nkey=2\n[a]\nKey=3\nMore=4\n");
  EXPECT_EQ(profile.Get("A", "Key"), "1");
  EXPECT_EQ(profile.Get("A", "More", "none"), "none");
}

TEST(Profile, TakesEveryLineEnd) {
  EXPECT_EQ(Profile("[A]\r\nKey=1\r\n").Get("A", "Key"), "1");
  EXPECT_EQ(Profile("[A]\nKey=1\n").Get("A", "Key"), "1");
  EXPECT_EQ(Profile("[A]\rKey=1\r").Get("A", "Key"), "1");
  EXPECT_EQ(Profile("[A]\n\n\r\n\rKey=1").Get("A", "Key"), "1");
}

TEST(Profile, PassesOverAByteOrderMark) {
  EXPECT_EQ(Profile("\xEF\xBB\xBF[A]\nKey=1\n").Get("A", "Key"), "1");
}

TEST(Profile, SplitsAtTheFirstEqualsSign) {
  const Profile profile("[A]\nAddress=http://host/?a=1&b==2\n");
  EXPECT_EQ(profile.Get("A", "Address"), "http://host/?a=1&b==2");
}

TEST(Profile, PassesOverLinesThatMakeNoSense) {
  const Profile profile(
      "Key=0\nnonsense\n[A\nKey=1\n]\n[]\nKey=2\n[A] trailing\n[B]x\nno equals sign\nKey=3\n");
  EXPECT_EQ(profile.Get("A", "Key"), "1");
  EXPECT_EQ(profile.Get("", "Key"), "2");
  EXPECT_EQ(profile.Get("B", "Key"), "3");
  EXPECT_EQ(profile.Get("B", "no equals sign", "none"), "none");
}

TEST(Profile, AcceptsAnyBytes) {
  std::string bytes = "[A]\nKey=1\n";
  for (int c = 0; c < 256; ++c) bytes += static_cast<char>(c);
  bytes += "\n[B]\nKey=\xE4\n";
  const Profile profile(bytes);
  EXPECT_EQ(profile.Get("A", "Key"), "1");
  EXPECT_EQ(profile.Get("B", "Key"), "\xE4");
  for (const std::string_view text : {"[", "]", "=", "[]", "[=", "\r", "\n", ";", "[A]\n="}) {
    EXPECT_EQ(Profile(text).Get("A", "Key", "none"), "none") << text;
  }
}

}  // namespace
}  // namespace hq
