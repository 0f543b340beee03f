#include "base/dates.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "base/run_time_error.h"
#include "support/raises.h"

namespace hq {
namespace {

using std::chrono::day;
using std::chrono::month;
using std::chrono::year;

Date Day(int y, unsigned m, unsigned d) {
  return std::chrono::year_month_day(year(y), month(m), day(d));
}

std::string Time_Text(TimeOfDay time, std::string_view layout) {
  std::string text;
  Append_Time(text, time, layout);
  return text;
}

TEST(ParseDate, ReadsMonthDayYear) {
  EXPECT_EQ(Parse_Date("01/15/03"), Day(2003, 1, 15));
  EXPECT_EQ(Parse_Date("1/5/03"), Day(2003, 1, 5));
  EXPECT_EQ(Parse_Date("12/31/1999"), Day(1999, 12, 31));
  EXPECT_EQ(Parse_Date("10/11/2012"), Day(2012, 10, 11));
}

TEST(ParseDate, PutsShortYearsInto1950To2049) {
  EXPECT_EQ(Parse_Date("1/1/00"), Day(2000, 1, 1));
  EXPECT_EQ(Parse_Date("1/1/49"), Day(2049, 1, 1));
  EXPECT_EQ(Parse_Date("1/1/50"), Day(1950, 1, 1));
  EXPECT_EQ(Parse_Date("1/1/99"), Day(1999, 1, 1));
  EXPECT_EQ(Parse_Date("1/1/5"), Day(2005, 1, 1));
  EXPECT_EQ(Parse_Date("1/1/0049"), Day(49, 1, 1));
}

TEST(ParseDate, KnowsTheLengthsOfMonths) {
  const std::array<unsigned, 12> lengths = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (unsigned m = 1; m <= 12; ++m) {
    const unsigned last = lengths[m - 1];
    EXPECT_EQ(Parse_Date(std::to_string(m) + "/" + std::to_string(last) + "/03"), Day(2003, m, last));
    EXPECT_RAISES(Parse_Date(std::to_string(m) + "/" + std::to_string(last + 1) + "/03"), TypeMismatch) << m;
  }
}

TEST(ParseDate, KnowsLeapYears) {
  for (const std::string text : {"2/29/04", "2/29/00", "2/29/2000", "2/29/96", "02/29/2400"}) {
    EXPECT_EQ(Format_Date(Parse_Date(text), "MMDD"), "0229") << text;
  }
  for (const std::string text : {"2/29/03", "2/29/1900", "2/29/2100", "2/29/99", "2/30/04"}) {
    EXPECT_RAISES(Parse_Date(text), TypeMismatch) << text;
  }
}

TEST(ParseDate, RaisesTypeMismatchForWhatIsNoDate) {
  for (const std::string_view text :
       {"",        "/",       "//",       "1",       "1/",        "1/2",     "1/2/",      "/2/03",
        "1//03",   "0/1/03",  "1/0/03",   "13/1/03", "1/32/03",   "1/2/003", "1/2/20033", "1/2/03\r",
        "-1/2/03", "1/-2/03", "1/2/-3",   "+1/2/03", "1-2-03",    "1.2.03",  "2003/1/2",  "a/b/c",
        "1/2/0x",  "1/2/x",   "1/2/03/4", "010203",  "Jan 2 2003"}) {
    EXPECT_RAISES(Parse_Date(text), TypeMismatch) << text;
  }
}

TEST(ParseTime, ReadsHoursAndMinutes) {
  EXPECT_EQ(Parse_Time("00:00").count(), 0);
  EXPECT_EQ(Parse_Time("9:30").count(), 570);
  EXPECT_EQ(Parse_Time("09:30").count(), 570);
  EXPECT_EQ(Parse_Time("16:05").count(), 965);
  EXPECT_EQ(Parse_Time("23:59").count(), 1439);
}

TEST(ParseTime, RaisesTypeMismatchForWhatIsNoTime) {
  for (const std::string_view text :
       {"", ":", "9", "930", "0930", "9:", ":30", "9:3", "9:300", "24:00", "12:60", "99:99", "-1:00", "9:-1",
        "9:30\r", "9:30:00", "009:30", "9.30", "x:yy"}) {
    EXPECT_RAISES(Parse_Time(text), TypeMismatch) << text;
  }
}

TEST(AppendDate, FollowsEveryLayout) {
  const Date date = Day(2003, 1, 5);
  EXPECT_EQ(Format_Date(date, "MM/DD/YY"), "01/05/03");
  EXPECT_EQ(Format_Date(date, "MM/DD/YYYY"), "01/05/2003");
  EXPECT_EQ(Format_Date(date, "YYMMDD"), "030105");
  EXPECT_EQ(Format_Date(date, "YYYYMMDD"), "20030105");
  EXPECT_EQ(Format_Date(date, "YYYY/MM/DD"), "2003/01/05");
  EXPECT_EQ(Format_Date(date, ""), "");
}

TEST(AppendDate, WritesYearsOfAllCenturies) {
  EXPECT_EQ(Format_Date(Day(1999, 12, 31), "MM/DD/YY"), "12/31/99");
  EXPECT_EQ(Format_Date(Day(1950, 10, 10), "YYYYMMDD"), "19501010");
  EXPECT_EQ(Format_Date(Day(2049, 1, 1), "YYMMDD"), "490101");
  EXPECT_EQ(Format_Date(Day(50, 1, 1), "YYYY"), "0050");
  EXPECT_EQ(Format_Date(Day(9999, 12, 31), "YYYY/MM/DD"), "9999/12/31");
}

TEST(AppendDate, KeepsOtherCharactersAndWhatWasThere) {
  std::string text = "AAPL,";
  Append_Date(text, Day(2003, 1, 5), "D:YYYYY-MMM DDx");
  EXPECT_EQ(text, "AAPL,D:2003Y-01M 05x");
}

TEST(AppendDate, ReadsBackEveryDay) {
  for (Date date = Day(1950, 1, 1); date <= Day(2049, 12, 31); date += std::chrono::days(1)) {
    ASSERT_EQ(Parse_Date(Format_Date(date, "MM/DD/YY")), date);
    ASSERT_EQ(Parse_Date(Format_Date(date, "MM/DD/YYYY")), date);
  }
}

TEST(AppendTime, FollowsEveryLayout) {
  EXPECT_EQ(Time_Text(TimeOfDay(570), "HHMM"), "0930");
  EXPECT_EQ(Time_Text(TimeOfDay(570), "HH:MM"), "09:30");
  EXPECT_EQ(Time_Text(TimeOfDay(0), "HH:MM"), "00:00");
  EXPECT_EQ(Time_Text(TimeOfDay(1439), "HHMM"), "2359");
  EXPECT_EQ(Time_Text(TimeOfDay(965), "at HH h MM"), "at 16 h 05");
  EXPECT_EQ(Time_Text(TimeOfDay(965), ""), "");
}

TEST(AppendTime, ReadsBackEveryMinute) {
  for (int minute = 0; minute < 1440; ++minute) {
    ASSERT_EQ(Parse_Time(Time_Text(TimeOfDay(minute), "HH:MM")).count(), minute);
  }
}

}  // namespace
}  // namespace hq
