#include "server/csv/csv_fields.h"

#include <gmock/gmock.h>

#include "market/market_support.h"

namespace hq::server {
namespace {

struct StampCase {
  const char* Text;
  Day Date;
  std::optional<std::chrono::seconds> Time;
  bool Universal = false;
};

TEST(Read_Stamp, ReadsTheUsualDates) {
  const Day day = Date(2003, 3, 10);
  const StampCase cases[] = {
      {"2003-03-10", day, {}},
      {" 2003.03.10 ", day, {}},
      {"2003/3/10", day, {}},
      {"20030310", day, {}},
      {"030310", day, {}},
      {"03/10/2003", day, {}},
      {"3/10/03", day, {}},
      {"10.03.2003", day, {}},
      {"Mar 10, 2003", day, {}},
      {"March 10, 2003", day, {}},
      {"10-Mar-03", day, {}},
      {"10 mar 2003", day, {}},
      {"2003-Mar-10", day, {}},
      {"01/03/78", Date(1978, 1, 3), {}},
      {"01/03/49", Date(2049, 1, 3), {}},
      {"01/03/50", Date(1950, 1, 3), {}},
      {"2004-02-29", Date(2004, 2, 29), {}},
      {"2003-03-10 09:30", day, At(9, 30)},
      {"2003-03-10T09:30:15", day, At(9, 30, 15)},
      {"2003.03.10 9:30:00.250", day, At(9, 30)},
      {"20030310 093000", day, At(9, 30)},
      {"20030310T0930", day, At(9, 30)},
      {"Mar 10, 2003 4:05 PM", day, At(16, 5)},
      {"03/10/2003 12:00 am", day, At(0, 0)},
      {"2026-05-26 04:00:00-04:00", Date(2026, 5, 26), At(4, 0)},
      {"2024-10-29T15:00:00+0100", Date(2024, 10, 29), At(15, 0)},
      {"2003-03-10T14:30:00Z", day, At(14, 30), true},
      {"2003-03-10T00:00:00.000Z", day, At(0, 0), true},
      {"1750080600", Date(2025, 6, 16), At(13, 30), true},
      {"1750080600999", Date(2025, 6, 16), At(13, 30), true},
      {"946684800", Date(2000, 1, 1), At(0, 0), true},
  };
  for (const StampCase& expected : cases) {
    const auto stamp = Read_Stamp(expected.Text, DateOrder::MonthFirst);
    ASSERT_TRUE(stamp.has_value()) << expected.Text;
    EXPECT_EQ(stamp->Date, expected.Date) << expected.Text;
    EXPECT_EQ(stamp->Time, expected.Time) << expected.Text;
    EXPECT_EQ(stamp->Universal, expected.Universal) << expected.Text;
  }
}

TEST(Read_Stamp, PutsTheDayFirstWhereAskedTo) {
  EXPECT_EQ(Read_Stamp("10/03/2003", DateOrder::DayFirst)->Date, Date(2003, 3, 10));
  EXPECT_EQ(Read_Stamp("2003/03/10", DateOrder::DayFirst)->Date, Date(2003, 3, 10));
  EXPECT_FALSE(Read_Stamp("03/13/2003", DateOrder::DayFirst).has_value());
}

TEST(Read_Stamp, RefusesWhatIsNoDate) {
  for (const char* bad : {"",
                          " ",
                          "16:00",
                          "2003-02-29",
                          "2003-13-01",
                          "13/01/2003",
                          "2003-03-10 25:00",
                          "2003-03-10 09:60",
                          "2003-03-10 9h",
                          "2003-03",
                          "2003-03-10-11",
                          "Foo 10, 2003",
                          "Mar 2003",
                          "1234",
                          "12345678901",
                          "99999999999999999999",
                          "2003-03-10 09:30 XM",
                          "1750080600 09:30",
                          "--",
                          "-1",
                          "2003-03-10T",
                          "a1402061400",
                          "2003-03-10 09:30+1:2:3:4",
                          "20030310 09:30:00:00",
                          "\xff\xfe"}) {
    EXPECT_FALSE(Read_Stamp(bad, DateOrder::MonthFirst).has_value()) << bad;
  }
}

TEST(Read_Time, ReadsTimesOfDay) {
  EXPECT_EQ(Read_Time("09:30"), At(9, 30));
  EXPECT_EQ(Read_Time("9:30:05"), At(9, 30, 5));
  EXPECT_EQ(Read_Time("0930"), At(9, 30));
  EXPECT_EQ(Read_Time("930"), At(9, 30));
  EXPECT_EQ(Read_Time("093005"), At(9, 30, 5));
  EXPECT_EQ(Read_Time("93005"), At(9, 30, 5));
  EXPECT_EQ(Read_Time("000000"), At(0, 0));
  EXPECT_EQ(Read_Time("23:59:59.999"), At(23, 59, 59));
  EXPECT_EQ(Read_Time("12:30 PM"), At(12, 30));
  for (const char* bad : {"", "24:00", "12:60", "12:00:60", "9", "93", "1234567", "12:", ":30", "1:2:3:4",
                          "13:00 PM", "0:30 AM", "x", "-1:00", "099:00"}) {
    EXPECT_EQ(Read_Time(bad), std::nullopt) << bad;
  }
}

TEST(Read_Price, ReadsNumbersWithMoneySignsAndGroups) {
  EXPECT_EQ(Read_Price("12.75", DecimalMark::Point), 12.75);
  EXPECT_EQ(Read_Price(" $3,204.40 ", DecimalMark::Point), 3204.4);
  EXPECT_EQ(Read_Price("1,234,567", DecimalMark::Point), 1234567);
  EXPECT_EQ(Read_Price("-37.63", DecimalMark::Point), -37.63);
  EXPECT_EQ(Read_Price("+.5", DecimalMark::Point), 0.5);
  EXPECT_EQ(Read_Price("\xe2\x82\xac"
                       "7",
                       DecimalMark::Point),
            7);
  EXPECT_EQ(Read_Price("1e2", DecimalMark::Point), 100);
  EXPECT_EQ(Read_Price("1.234,5", DecimalMark::Comma), 1234.5);
  EXPECT_EQ(Read_Price("12,34", DecimalMark::Comma), 12.34);
  for (const char* bad : {"", "$", "-", "null", "nan", "inf", "1.2.3", "12,34", "1,23,456", ",123", "1,2345",
                          "0x10", "1e400", "1e12", "1 2", "12a", "--1", "1.234,5"}) {
    EXPECT_EQ(Read_Price(bad, DecimalMark::Point), std::nullopt) << bad;
  }
  EXPECT_EQ(Read_Price(std::string(100, '1'), DecimalMark::Point), std::nullopt);
}

TEST(Read_Volume, ReadsWholeNumbersWithSuffixes) {
  EXPECT_EQ(Read_Volume("1,234", DecimalMark::Point), 1234);
  EXPECT_EQ(Read_Volume("2853620.0000", DecimalMark::Point), 2853620);
  EXPECT_EQ(Read_Volume("9100614.9714937", DecimalMark::Point), 9100615);
  EXPECT_EQ(Read_Volume("1.5K", DecimalMark::Point), 1500);
  EXPECT_EQ(Read_Volume("66.33m", DecimalMark::Point), 66330000);
  EXPECT_EQ(Read_Volume("2B", DecimalMark::Point), 2000000000);
  for (const char* none : {"", "-", "null", "N/A", "NaN"})
    EXPECT_EQ(Read_Volume(none, DecimalMark::Point), 0) << none;
  for (const char* bad : {"-5", "x", "K", "1KK", "9.1e18", "1e300", "9999999999B"}) {
    EXPECT_EQ(Read_Volume(bad, DecimalMark::Point), std::nullopt) << bad;
  }
}

TEST(Is_No_Value, KnowsTheWordsForNothing) {
  for (const char* none : {"", "-", "--", "null", "NULL", "N/A", "n/a", "NaN", "None", "#N/A"})
    EXPECT_TRUE(Is_No_Value(none)) << none;
  for (const char* some : {"0", "-1", "x", "nil"}) EXPECT_FALSE(Is_No_Value(some)) << some;
}

}  // namespace
}  // namespace hq::server
