#include "base/strings.h"

#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <string_view>

namespace hq {
namespace {

TEST(Trim, TakesBlanksOffBothEndsOnly) {
  EXPECT_EQ(Trim(""), "");
  EXPECT_EQ(Trim("   "), "");
  EXPECT_EQ(Trim("a"), "a");
  EXPECT_EQ(Trim("  a b  "), "a b");
  EXPECT_EQ(Trim("a "), "a");
  EXPECT_EQ(Trim(" a"), "a");
}

TEST(Trimmed, TakesBlanksOffBothEnds) {
  EXPECT_EQ(Trimmed(" \t a b\xc2\xa0 "), "a b");
  EXPECT_EQ(Trimmed(" \t "), "");
}

TEST(Trim, LeavesOtherWhiteSpace) {
  EXPECT_EQ(Trim(" \ta\r\n "), "\ta\r\n");
  EXPECT_EQ(Trim("\xC2\xA0"), "\xC2\xA0");
  EXPECT_EQ(Trim(std::string_view(" \0 ", 3)), std::string_view("\0", 1));
}

TEST(TrimWhite, TakesBlanksTabsAndLineEndsOffBothEnds) {
  EXPECT_EQ(Trim_White(""), "");
  EXPECT_EQ(Trim_White(" \t\r\n"), "");
  EXPECT_EQ(Trim_White(" \ta b\r\n "), "a b");
  EXPECT_EQ(Trim_White("\xC2\xA0"), "\xC2\xA0");
  EXPECT_EQ(Trim_White("\va\f"), "\va\f");
}

TEST(LowerCase, TurnsAsciiLettersOnly) {
  EXPECT_EQ(Lower_Case(""), "");
  EXPECT_EQ(Lower_Case("MSFT"), "msft");
  EXPECT_EQ(Lower_Case("Brk.B-1 {`}~[@]"), "brk.b-1 {`}~[@]");
  EXPECT_EQ(Lower_Case("\xC3\x84\xFF"), "\xC3\x84\xFF");
}

TEST(UpperCase, TurnsAsciiLettersOnly) {
  EXPECT_EQ(Upper_Case(""), "");
  EXPECT_EQ(Upper_Case("msft"), "MSFT");
  EXPECT_EQ(Upper_Case("Brk.b-1 {`}~[@]"), "BRK.B-1 {`}~[@]");
  EXPECT_EQ(Upper_Case("\xC3\xA4\xFF"), "\xC3\xA4\xFF");
  EXPECT_EQ(Upper_Case(std::string_view("a\0b", 3)), std::string_view("A\0B", 3));
}

TEST(EqualWithoutCase, LooksPastTheCaseOfAsciiLettersOnly) {
  EXPECT_TRUE(Equal_Without_Case("", ""));
  EXPECT_TRUE(Equal_Without_Case("Log File", "log file"));
  EXPECT_FALSE(Equal_Without_Case("Log File", "LogFile"));
  EXPECT_FALSE(Equal_Without_Case("abc", "abcd"));
  EXPECT_FALSE(Equal_Without_Case("abcd", "abc"));
  EXPECT_FALSE(Equal_Without_Case("@", "`"));
  EXPECT_FALSE(Equal_Without_Case("[", "{"));
  EXPECT_FALSE(Equal_Without_Case("\xC3\xA4", "\xC3\x84"));
  EXPECT_FALSE(Equal_Without_Case(std::string_view("a\0b", 3), std::string_view("a\0c", 3)));
}

TEST(ContainsWithoutCase, LooksPastTheCaseOfAsciiLettersOnly) {
  EXPECT_TRUE(Contains_Without_Case("Too Many Requests", "too many"));
  EXPECT_TRUE(Contains_Without_Case("abc", "BC"));
  EXPECT_TRUE(Contains_Without_Case("abc", ""));
  EXPECT_FALSE(Contains_Without_Case("abc", "abcd"));
  EXPECT_FALSE(Contains_Without_Case("a@b", "`"));
}

TEST(ReplaceAll, ReplacesEveryOccurrenceFromLeftToRight) {
  EXPECT_EQ(Replace_All("", "a", "b"), "");
  EXPECT_EQ(Replace_All("abc", "x", "y"), "abc");
  EXPECT_EQ(Replace_All("a.b.c", ".", ""), "abc");
  EXPECT_EQ(Replace_All("a.b.c.", ".", "--"), "a--b--c--");
  EXPECT_EQ(Replace_All("aaa", "aa", "b"), "ba");
  EXPECT_EQ(Replace_All("%%", "%", "%%"), "%%%%");
  EXPECT_EQ(Replace_All("Aa", "a", "b"), "Ab");
  EXPECT_EQ(Replace_All("^IXIC", "^", "_"), "_IXIC");
}

TEST(PercentEncoded, LeavesLettersDigitsAndFourMarks) {
  EXPECT_EQ(Percent_Encoded("azAZ09-._~"), "azAZ09-._~");
  EXPECT_EQ(Percent_Encoded("a b&c=d?e#f%g+h,i@j\n"), "a%20b%26c%3Dd%3Fe%23f%25g%2Bh%2Ci%40j%0A");
  EXPECT_EQ(Percent_Encoded("\xC3\xBC\xFF"), "%C3%BC%FF");
  EXPECT_EQ(Percent_Encoded(std::string_view("\0", 1)), "%00");
}

TEST(Contains, FindsAnyPartIncludingTheEmptyOne) {
  EXPECT_TRUE(Contains("date,0930,open", ",0930,"));
  EXPECT_TRUE(Contains("abc", "abc"));
  EXPECT_TRUE(Contains("abc", ""));
  EXPECT_TRUE(Contains("", ""));
  EXPECT_FALSE(Contains("abc", "B"));
  EXPECT_FALSE(Contains("", "a"));
  EXPECT_TRUE(Contains(std::string_view("a\0b", 3), std::string_view("\0b", 2)));
}

TEST(CutText, KeepsWholeCharacters) {
  // One, two, three and four bytes.
  const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\x88z";
  const size_t whole[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11, 11};
  for (size_t longest = 0; longest < std::size(whole); ++longest) {
    EXPECT_EQ(Cut_Text(text, longest), text.substr(0, whole[longest])) << longest;
  }
}

TEST(CutText, CutsATextThatIsNoUtf8AtTheVeryByte) {
  for (const std::string_view text :
       {"\xE4\xF6\xFC\xDF\xE4\xF6", "\x80\x80\x80\x80\x80\x80", "\xFF\xBF\xBF\xBF\xBF\xBF",
        "\xC3\xBF\xBF\xBF\xBF\xBF", "ab\xFF\xBF\xBF\xBF"}) {
    EXPECT_EQ(Cut_Text(text, 4), text.substr(0, 4));
  }
}

TEST(Parts_Of_List, AreWithoutBlanksAndNeverEmpty) {
  EXPECT_TRUE(Parts_Of_List("").empty());
  EXPECT_TRUE(Parts_Of_List(" , ,").empty());
  EXPECT_EQ(Parts_Of_List("a"), std::vector<std::string>{"a"});
  EXPECT_EQ(Parts_Of_List(" a.b , c:1 ,"), (std::vector<std::string>{"a.b", "c:1"}));
}

}  // namespace
}  // namespace hq
