#include "errortrap/report_text.h"

#include <gtest/gtest.h>
#include <string>

namespace hq {
namespace {

TEST(OneLine, HasNoLineEndsAndNoOtherControls) {
  EXPECT_EQ(One_Line("  a\r\nKEY: b\t\x7f"), "a  KEY: b");
  EXPECT_EQ(One_Line(std::string_view("a\0b", 3)), "a b");
  EXPECT_EQ(One_Line("\n\n"), "");
  EXPECT_EQ(One_Line("J\xC3\xBCrgen"), "J\xC3\xBCrgen");
}

TEST(IndentedLines, StandBehindBlanks) {
  EXPECT_EQ(Indented_Lines("a\nKEY: b\r\nc\rd"), "a\n   KEY: b\n   c\n   d");
  EXPECT_EQ(Indented_Lines("a\tb\x1b"
                           "c"),
            "a b c");
  EXPECT_EQ(Indented_Lines("a\n\n\n"), "a");
  EXPECT_EQ(Indented_Lines("\nKEY:"), "\n   KEY:");
  EXPECT_EQ(Indented_Lines(""), "");
  EXPECT_EQ(Indented_Lines("\r"), "");
  EXPECT_EQ(Indented_Lines("a\r\r\nb"), "a\n   \n   b");
}

TEST(Grouped, SetsACommaBeforeEveryThreeDigits) {
  EXPECT_EQ(Grouped(0), "0");
  EXPECT_EQ(Grouped(999), "999");
  EXPECT_EQ(Grouped(1000), "1,000");
  EXPECT_EQ(Grouped(123456), "123,456");
  EXPECT_EQ(Grouped(1234567), "1,234,567");
  EXPECT_EQ(Grouped(18446744073709551615U), "18,446,744,073,709,551,615");
}

TEST(KilobyteText, RoundsDown) {
  EXPECT_EQ(Kilobyte_Text(0), "0 KB");
  EXPECT_EQ(Kilobyte_Text(1023), "0 KB");
  EXPECT_EQ(Kilobyte_Text(1048576), "1,024 KB");
}

TEST(PercentText, HasAtMostTwoDecimals) {
  EXPECT_EQ(Percent_Text(0, 7), "0");
  EXPECT_EQ(Percent_Text(7, 7), "100");
  EXPECT_EQ(Percent_Text(1, 2), "50");
  EXPECT_EQ(Percent_Text(1, 3), "33.33");
  EXPECT_EQ(Percent_Text(2, 3), "66.67");
  EXPECT_EQ(Percent_Text(975, 1000), "97.5");
  EXPECT_EQ(Percent_Text(5, 1000), ".5");
  EXPECT_EQ(Percent_Text(10001, 100000), "10");
  EXPECT_EQ(Percent_Text(1005, 10000), "10.05");
  EXPECT_EQ(Percent_Text(1, 1000000), "0");
  EXPECT_EQ(Percent_Text(~0ULL, ~0ULL), "100");
}

TEST(YesNo, IsEmptyForWhatIsNotKnown) {
  EXPECT_EQ(Yes_No(true), "YES");
  EXPECT_EQ(Yes_No(false), "NO");
  EXPECT_EQ(Yes_No(std::nullopt), "");
}

TEST(ColorText, CountsBits) {
  EXPECT_EQ(Color_Text(24), "24 bits per pixel");
  EXPECT_EQ(Color_Text(std::nullopt), "");
}

}  // namespace
}  // namespace hq
