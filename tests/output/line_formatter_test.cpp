#include "output/line_formatter.h"

#include <gtest/gtest.h>

#include "support/quote_text.h"

namespace hq {
namespace {

using test::Parse;
using test::Table_Of;

std::string Line(const std::string& answer, std::string_view date, std::string_view time,
                 std::int16_t row = 0) {
  modFailSafe trap;
  return FormatOneLine(trap, Parse(answer).Table, row, date, time);
}

// An answer begins with an opening bar; the row looked at is the second one.
std::string Bar(const std::string& rest) {
  return "030310,0930,1,1,1,1,1\n030310,1330," + rest + "\n";
}

const std::string& Usual() {
  static const std::string text = Bar("23.04,23.14,22.98,23.01,5875387");
  return text;
}

TEST(LineFormatter, EveryLayout) {
  const std::string values = ",23.040,23.140,22.980,23.010,5875387";
  EXPECT_EQ(Line(Usual(), "MM/DD/YY", "HH:MM", 1), "03/10/03,13:30" + values);
  EXPECT_EQ(Line(Usual(), "YYMMDD", "HHMM", 1), "030310,1330" + values);
  EXPECT_EQ(Line(Usual(), "YYYYMMDD", "", 1), "20030310" + values);
  EXPECT_EQ(Line(Usual(), "MM/DD/YYYY", "HHMM", 1), "03/10/2003,1330" + values);
  EXPECT_EQ(Line(Usual(), "YYYY/MM/DD", "HHMM", 1), "2003/03/10,1330" + values);
  EXPECT_EQ(Line(Usual(), "YYYYMMDD", "HH:MM", 1), "20030310,13:30" + values);
}

TEST(LineFormatter, AnEmptyTimeLayoutGivesNoTimeColumn) {
  const std::string line = Line(Usual(), "MM/DD/YY", "", 1);
  EXPECT_EQ(std::count(line.begin(), line.end(), ','), 5);
  const std::string with_time = Line(Usual(), "MM/DD/YY", "HHMM", 1);
  EXPECT_EQ(std::count(with_time.begin(), with_time.end(), ','), 6);
}

TEST(LineFormatter, ZeroPriceAndZeroVolume) {
  EXPECT_EQ(Line(Bar("0,0,0,0,0"), "MM/DD/YY", "", 1), "03/10/03,0.000,0.000,0.000,0.000,0");
}

TEST(LineFormatter, VolumeAbove16777216PrintsWhatSinglePrecisionHolds) {
  EXPECT_EQ(Line(Bar("1,1,1,1,16777217"), "MM/DD/YY", "", 1), "03/10/03,1.000,1.000,1.000,1.000,16777216");
  EXPECT_EQ(Line(Bar("1,1,1,1,123456789"), "MM/DD/YY", "", 1), "03/10/03,1.000,1.000,1.000,1.000,123456792");
  EXPECT_EQ(Line(Bar("1,1,1,1,26246662813"), "MM/DD/YY", "", 1),
            "03/10/03,1.000,1.000,1.000,1.000,26246662144");
}

TEST(LineFormatter, PricesRoundHalfAwayFromZero) {
  EXPECT_EQ(Line(Bar("12.3445,0.0625,999.9996,0.0004,2.5"), "YYMMDD", "", 1),
            "030310,12.345,0.063,1000.000,0.000,3");
  EXPECT_EQ(Line(Bar("-12.3445,-0.0001,1.0005,22.98,0.4"), "YYMMDD", "", 1),
            "030310,-12.345,0.000,1.001,22.980,0");
}

TEST(LineFormatter, YearsAreOfThisCenturyUpTo49) {
  EXPECT_EQ(Line("290310,0930,1,1,1,1,1\n", "YYYYMMDD", "").substr(0, 8), "20290310");
  EXPECT_EQ(Line("490310,0930,1,1,1,1,1\n", "YYYYMMDD", "").substr(0, 8), "20490310");
  EXPECT_EQ(Line("500310,0930,1,1,1,1,1\n", "YYYYMMDD", "").substr(0, 8), "19500310");
}

TEST(LineFormatter, DailyRowsNeverShowTheirTime) {
  EXPECT_EQ(Line("030310,0930,1,2,3,4,5\n", "MM/DD/YY", ""), "03/10/03,1.000,2.000,3.000,4.000,5");
}

TEST(LineFormatter, APieceThatFailsIsLeftOut) {
  modFailSafe trap;
  const QuoteTable table =
      Table_Of({"99/10/03 13:300000", "03/10/03 99:300001", "03/10/03 13:30zzzz", "03/10/03 13:300099"});
  EXPECT_EQ(FormatOneLine(trap, table, 0, "MM/DD/YY", "HH:MM"), ",13:30,1.000,2.000,3.000,4.000,5");
  EXPECT_EQ(FormatOneLine(trap, table, 1, "MM/DD/YY", "HH:MM"), "03/10/03,11.000,12.000,13.000,14.000,15");
  EXPECT_EQ(FormatOneLine(trap, table, 2, "MM/DD/YY", "HH:MM"), "03/10/03,13:30");
  EXPECT_EQ(FormatOneLine(trap, table, 3, "MM/DD/YY", "HH:MM"), "03/10/03,13:30");
  EXPECT_EQ(FormatOneLine(trap, table, 50, "MM/DD/YY", "HH:MM"), "");
  EXPECT_EQ(FormatOneLine(trap, table, -1, "MM/DD/YY", "HH:MM"), "");
  EXPECT_EQ(trap.Depth(), 0);
}

TEST(LineFormatter, RowsMovedByTheSortKeepTheirOwnNumbers) {
  modFailSafe trap;
  QuoteTable table = Table_Of({"03/10/03 09:310000", "03/10/03 09:300001"});
  std::swap(table.QuoteKeys[0], table.QuoteKeys[1]);
  EXPECT_EQ(FormatOneLine(trap, table, 0, "MM/DD/YY", "HH:MM"),
            "03/10/03,09:30,11.000,12.000,13.000,14.000,15");
}

TEST(LineFormatter, RowsPast9999TakeTheNumbersThatTheirKeyNames) {
  std::string answer;
  for (int i = 0; i <= 10000; ++i) answer += "030310,0930,1,1,1,1," + std::to_string(i) + "\n";
  EXPECT_EQ(Line(answer, "YYMMDD", "", 9999), "030310,1.000,1.000,1.000,1.000,9999");
  EXPECT_EQ(Line(answer, "YYMMDD", "", 10000), "030310,1.000,1.000,1.000,1.000,0");
}

}  // namespace
}  // namespace hq
