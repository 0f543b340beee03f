#include "base/profile.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/profile_cases.h"

namespace hq {
namespace {

class ProfileRules : public testing::TestWithParam<test::ProfileCase> {};

TEST_P(ProfileRules, Hold) {
  const test::ProfileCase& rule = GetParam();
  EXPECT_EQ(Profile(rule.Text).Get(rule.Section, rule.Key, rule.Fallback, rule.Longest), rule.Expected)
      << rule.Text;
}

INSTANTIATE_TEST_SUITE_P(Profile, ProfileRules, testing::ValuesIn(test::ProfileCases),
                         [](const auto& rule) { return std::string(rule.param.Name); });

TEST(Profile, GivesAnEmptyTextForWhatIsMissingWithoutFallback) {
  const Profile profile("[A]\nKey=1\n");
  EXPECT_EQ(profile.Get("C", "Key"), "");
  EXPECT_EQ(profile.Get("A", "Other"), "");
}

TEST(Profile, GivesTheEntriesOfASectionInOrder) {
  const Profile profile("[B]\nOther=0\n[A]\nKey = 1\n;Key=2\nempty=\nKEY='3'\n[a]\nKey=4\n");
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"Key", "1"}, {"empty", ""}, {"KEY", "3"}};
  EXPECT_EQ(profile.Entries("a"), expected);
  EXPECT_TRUE(profile.Entries("C").empty());
}

TEST(Profile, GivesAWholeTextWhereNoRoomIsNamed) {
  const std::string value(100000, 'x');
  EXPECT_EQ(Profile("[A]\nKey=" + value + "\n").Get("A", "Key"), value);
  EXPECT_EQ(Profile("").Get("A", "Key", value + "  "), value + "  ");
}

TEST(ProfileValue, IsPutInPlaceOfTheOneThatIsRead) {
  EXPECT_EQ(With_Profile_Value("", "A", "Key", "1"), "[A]\r\nKey=1\r\n");
  EXPECT_EQ(With_Profile_Value("[A]\nkey = 2\nother=3\n", "a", "Key", "1"), "[A]\nKey=1\nother=3\n");
  EXPECT_EQ(With_Profile_Value("; said\r\n[A]\r\n;Key=2\r\nother=3\r\n\r\n[B]\r\nKey=4\r\n", "A", "Key", "1"),
            "; said\r\n[A]\r\n;Key=2\r\nother=3\r\nKey=1\r\n\r\n[B]\r\nKey=4\r\n");
  EXPECT_EQ(With_Profile_Value("[B]\nKey=4", "A", "Key", "1"), "[B]\nKey=4\n\n[A]\nKey=1\n");
  EXPECT_EQ(With_Profile_Value("[A]", "A", "Key", "1"), "[A]\r\nKey=1\r\n");
  EXPECT_EQ(With_Profile_Value("[A]\nKey=2\nKEY=3\n[A]\nKey=4\n", "A", "Key", "1"),
            "[A]\nKey=1\n[A]\nKey=4\n");
}

TEST(ProfileValue, IsTakenOutWhenItIsEmpty) {
  EXPECT_EQ(With_Profile_Value("[A]\nKey=2\nKEY=3\nother=4\n", "A", "Key", ""), "[A]\nother=4\n");
  EXPECT_EQ(With_Profile_Value("[B]\nKey=2\n", "A", "Key", ""), "[B]\nKey=2\n");
  EXPECT_EQ(With_Profile_Value("", "A", "Key", ""), "");
}

TEST(ProfileValue, IsWhatTheReaderReadsWhateverTheFileIs) {
  for (const test::ProfileCase& rule : test::ProfileCases) {
    const std::string text = With_Profile_Value(rule.Text, "Some Section", "Some Key", "a value");
    EXPECT_EQ(Profile(text).Get("Some Section", "Some Key"), "a value") << rule.Text;
    if (rule.Section == "Some Section") continue;
    EXPECT_EQ(Profile(text).Get(rule.Section, rule.Key, rule.Fallback, rule.Longest), rule.Expected)
        << rule.Text;
  }
}

TEST(Profile, NeverCutsWithinACharacter) {
  const std::string value = "a\xC3\xA4z";
  EXPECT_EQ(Profile("[A]\nKey=" + value + "\n").Get("A", "Key", "", 2), "a");
  EXPECT_EQ(Profile("").Get("A", "Key", value, 2), "a");
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
