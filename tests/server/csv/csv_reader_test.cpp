#include "server/csv/csv_reader.h"

#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

#include "built_places.h"
#include "market/market_support.h"

namespace hq::server {

void PrintTo(const BadLine& bad, std::ostream* out) {
  *out << bad.Line << ": " << bad.Reason;
}

namespace {

using std::chrono::days;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

CsvTable Read_Data(const std::string& name) {
  std::ifstream stream{std::string{HQ_TEST_DATA "/csv/"} + name, std::ios::binary};
  std::ostringstream text;
  text << stream.rdbuf();
  return Read_Csv(text.str());
}

Bar Daily(Day date, double open, double high, double low, double close, std::int64_t volume = 0) {
  return {date, At(9, 30), open, high, low, close, volume};
}

std::vector<std::size_t> Bad_Line_Numbers(const CsvTable& table) {
  std::vector<std::size_t> numbers;
  for (const BadLine& bad : table.Bad_Lines) numbers.push_back(bad.Line);
  return numbers;
}

TEST(Read_Csv, ReadsAHeaderWithAdjustedCloseAndRowsWithoutData) {
  const CsvTable table = Read_Data("adjusted_daily.csv");
  EXPECT_THAT(table.Bars,
              ElementsAre(Daily(Date(2015, 3, 2), 51.120001, 51.480002, 50.330001, 50.75, 18201300),
                          Daily(Date(2015, 3, 4), 50.880001, 51.04, 50.21, 50.47, 9377100)));
  EXPECT_EQ(table.Lines_Without_Data, 1U);
  EXPECT_EQ(table.Bad_Line_Count, 0U);
  EXPECT_EQ(table.Bar_Length, std::chrono::hours{24});
}

TEST(Read_Csv, ReadsByteOrderMarkQuotesThousandsAndSuffixes) {
  EXPECT_THAT(Read_Data("quoted_thousands.csv").Bars,
              ElementsAre(Daily(Date(2021, 8, 11), 4051.2, 4101.05, 4020.6, 4099.9),
                          Daily(Date(2021, 8, 12), 4100.5, 4130.75, 4090.1, 4112.25, 1250000)));
}

TEST(Read_Csv, ReportsRowsWithMoreFieldsThanTheHeader) {
  const CsvTable table = Read_Csv(
      "Date,Open,High,Low,Close,Volume\n03/10/2003,1,2,0.5,1.5,100,\n03/11/"
      "2003,1,234.50,1,240.00,1,230.00,1,235.00,1,000\n");
  EXPECT_THAT(table.Bars, ElementsAre(Daily(Date(2003, 3, 10), 1, 2, 0.5, 1.5, 100)));
  ASSERT_THAT(table.Bad_Lines, SizeIs(1));
  EXPECT_EQ(table.Bad_Lines[0].Line, 3U);
  EXPECT_THAT(table.Bad_Lines[0].Reason, HasSubstr("more fields"));
}

TEST(Read_Csv, ReportsARunningDayWithoutADate) {
  const CsvTable table = Read_Data("running_day.csv");
  EXPECT_THAT(table.Bars, ElementsAre(Daily(Date(2018, 5, 15), 86.9, 87.61, 86.77, 87.33, 990125),
                                      Daily(Date(2018, 5, 16), 88.05, 88.95, 87.52, 88.41, 1310400)));
  EXPECT_THAT(Bad_Line_Numbers(table), ElementsAre(2U));
  EXPECT_THAT(table.Bad_Lines.at(0).Reason, HasSubstr("only a time"));
}

TEST(Read_Csv, ReadsDollarsAndMissingVolumes) {
  EXPECT_THAT(Read_Data("dollars.csv").Bars,
              ElementsAre(Daily(Date(2019, 6, 11), 1695.15, 1703.45, 1680.05, 1699.9, 0),
                          Daily(Date(2019, 6, 12), 1701, 1715.25, 1690, 1712.6, 845120)));
}

TEST(Read_Csv, ReadsTwoDigitYears) {
  EXPECT_THAT(Read_Data("two_digit_years.csv").Bars,
              ElementsAre(Daily(Date(1979, 2, 7), 71.3, 72.05, 70.95, 71.3),
                          Daily(Date(2021, 11, 17), 2210.5, 2231.15, 2200.2, 2204.4)));
}

TEST(Read_Csv, ReadsWholeLinesInQuotes) {
  const CsvTable table = Read_Data("quoted_lines.csv");
  EXPECT_THAT(table.Bars,
              ElementsAre(Bar{Date(2020, 9, 17), At(16, 5), 1.3021, 1.30245, 1.3019, 1.30233, 310},
                          Bar{Date(2020, 9, 17), At(16, 10), 1.30234, 1.30251, 1.30201, 1.30208, 77}));
  EXPECT_EQ(table.Bar_Length, minutes{5});
}

TEST(Read_Csv, TakesTicksWhereThereIsNoVolume) {
  EXPECT_THAT(Read_Data("tick_volume.tsv").Bars,
              ElementsAre(Bar{Date(2021, 6, 24), At(9, 30), 1.1, 1.3, 1.0, 1.2, 25},
                          Bar{Date(2021, 6, 24), At(9, 31), 1.2, 1.4, 1.1, 1.3, 30}));
  const CsvTable both =
      Read_Csv("Date\tOpen\tHigh\tLow\tClose\tTickVol\tVol\n2021.06.24\t1\t1\t1\t1\t25\t7\n");
  EXPECT_EQ(both.Bars.at(0).Volume, 7);
}

TEST(Read_Csv, ReadsATickerAndAPeriodBeforeTheDate) {
  const std::vector<Bar> expected = {{Date(2026, 1, 26), At(9, 30), 10, 11, 9, 10.5, 1001},
                                     {Date(2026, 1, 26), At(9, 35), 10.5, 12, 10, 11.5, 2000}};
  EXPECT_EQ(Read_Data("ticker_and_period.txt").Bars, expected);
  EXPECT_EQ(Read_Csv("XYZ.US,5,20260126,093000,10,11,9,10.5,1000.75,0\nXYZ.US,5,20260126,093500,10.5,12,10,"
                     "11.5,2000,0\n")
                .Bars,
            expected);
}

TEST(Read_Csv, MovesSecondsSince1970ToNewYork) {
  EXPECT_THAT(
      Read_Data("epoch_seconds.csv").Bars,
      ElementsAre(
          Bar{Date(2025, 6, 16), At(9, 30), 301.12345678, 302.22334455, 300.9080706, 302.1020304, 0},
          Bar{Date(2025, 6, 16), At(9, 35), 302.1112131, 302.51617181, 301.82930313, 302.01415161, 0}));
  EXPECT_THAT(Read_Csv("time,close\n2025-01-15T14:30:00Z,5\n").Bars,
              ElementsAre(Daily(Date(2025, 1, 15), 5, 5, 5, 5)));
}

TEST(Read_Csv, LeavesUniversalMidnightsOnTheirDay) {
  EXPECT_THAT(Read_Csv("time,open,high,low,close\n1704067200,1,1,1,1\n1704153600,2,2,2,2\n").Bars,
              ElementsAre(Daily(Date(2024, 1, 1), 1, 1, 1, 1), Daily(Date(2024, 1, 2), 2, 2, 2, 2)));
  EXPECT_THAT(Read_Csv("date,close\n2024-01-02T00:00:00.000Z,2\n").Bars,
              ElementsAre(Daily(Date(2024, 1, 2), 2, 2, 2, 2)));
}

TEST(Read_Csv, ReadsTextWithoutAHeader) {
  EXPECT_THAT(Read_Data("semicolons_without_header.csv").Bars,
              ElementsAre(Bar{Date(2012, 2, 1), At(9, 30), 1.3066, 1.3067, 1.3065, 1.30665, 0},
                          Bar{Date(2012, 2, 1), At(9, 31), 1.30665, 1.3068, 1.3066, 1.3067, 0}));
  EXPECT_THAT(Read_Data("hours_on_the_hour.csv").Bars, SizeIs(3));
  EXPECT_THAT(Read_Csv("030310,0930,23.04,23.14,22.98,23.01,587\n").Bars,
              ElementsAre(Daily(Date(2003, 3, 10), 23.04, 23.14, 22.98, 23.01, 587)));
  EXPECT_THAT(Read_Csv("20030310,1330,1340,1320,1335,100\n").Bars,
              ElementsAre(Daily(Date(2003, 3, 10), 1330, 1340, 1320, 1335, 100)));
  EXPECT_THAT(Read_Csv("2003-03-10,1,2,1,2").Bars, ElementsAre(Daily(Date(2003, 3, 10), 1, 2, 1, 2)));
}

TEST(Read_Csv, KnowsHeadersOfOtherLanguages) {
  EXPECT_THAT(Read_Csv("Data,Otwarcie,Najwyzszy,Najnizszy,Zamkniecie,Wolumen\n2003-03-10,1,4,1,2,7\n").Bars,
              ElementsAre(Daily(Date(2003, 3, 10), 1, 4, 1, 2, 7)));
  EXPECT_THAT(Read_Csv("Datum;Er\xc3\xb6"
                       "ffnung;Hoch;Tief;Schluss;Volumen\n10.03.2003;1,25;1,5;1;1,375;1.000\n")
                  .Bars,
              ElementsAre(Daily(Date(2003, 3, 10), 1.25, 1.5, 1, 1.375, 1000)));
}

TEST(Read_Csv, TellsDaysFromMonthsByTheWholeText) {
  EXPECT_THAT(Read_Csv("Date,Close\n02/01/2003,1\n13/01/2003,2\n").Bars,
              ElementsAre(Daily(Date(2003, 1, 2), 1, 1, 1, 1), Daily(Date(2003, 1, 13), 2, 2, 2, 2)));
  const CsvTable mixed = Read_Csv("Date,Close\n02/01/2003,1\n13/01/2003,2\n01/13/2003,3\n");
  EXPECT_THAT(mixed.Bars,
              ElementsAre(Daily(Date(2003, 1, 13), 3, 3, 3, 3), Daily(Date(2003, 2, 1), 1, 1, 1, 1)));
  EXPECT_THAT(Bad_Line_Numbers(mixed), ElementsAre(3U));
}

TEST(Read_Csv, TellsDecimalCommasByTheWholeText) {
  EXPECT_THAT(Read_Csv("Date;Open;High;Low;Close\n2003-03-10;12,345;12,5;12,3;12,4\n").Bars,
              ElementsAre(Daily(Date(2003, 3, 10), 12.345, 12.5, 12.3, 12.4)));
  EXPECT_THAT(
      Read_Csv("Date,Open,High,Low,Close\n2003-03-10,\"12,345\",\"12,500\",\"12,300\",\"12,400\"\n").Bars,
      ElementsAre(Daily(Date(2003, 3, 10), 12345, 12500, 12300, 12400)));
}

TEST(Read_Csv, TakesTheCloseForPricesThatAreMissing) {
  EXPECT_THAT(Read_Csv("DATE,DSPX\n01/03/2024,12.5\n").Bars,
              ElementsAre(Daily(Date(2024, 1, 3), 12.5, 12.5, 12.5, 12.5)));
  EXPECT_THAT(Read_Csv("Date,Open,High,Low,Close\n2024-01-03,0.00,0,0,7\n").Bars,
              ElementsAre(Daily(Date(2024, 1, 3), 7, 7, 7, 7)));
}

TEST(Read_Csv, ReadsAnyLineEnd) {
  for (const char* end : {"\n", "\r\n", "\r"}) {
    const std::string text =
        std::string{"Date,Close"} + end + "2024-01-03,1" + end + end + "bad,1" + end + "2024-01-04,2";
    const CsvTable table = Read_Csv(text);
    EXPECT_THAT(table.Bars, SizeIs(2));
    EXPECT_THAT(Bad_Line_Numbers(table), ElementsAre(4U));
  }
}

TEST(Read_Csv, PassesOverLinesThatCannotBeRead) {
  const CsvTable table = Read_Csv(
      "# my quotes\n"
      "Date,Time,Open,High,Low,Close,Volume\n"
      "2024-01-03,09:30,1,2,1,2,5\n"
      "2024-01-03,09:31,1,2,1\n"
      "2024-01-03,25:00,1,2,1,2,5\n"
      "2024-01-03,09:32,1,x,1,2,5\n"
      "2024-01-03,09:33,1,2,1,2,-5\n"
      "2024-01-03,09:34,1,2,3,2,5\n"
      "1949-12-30,09:35,1,2,1,2,5\n"
      "2024-01-03,09:36,1,2,1,2,5\n");
  EXPECT_THAT(table.Bars, SizeIs(2));
  EXPECT_THAT(Bad_Line_Numbers(table), ElementsAre(1U, 4U, 5U, 6U, 7U, 8U, 9U));
}

TEST(Read_Csv, NamesOnlyTheFirstBadLines) {
  std::string text = "Date,Close\n";
  for (int i = 0; i < 100; ++i) text += "nothing,1\n";
  const CsvTable table = Read_Csv(text);
  EXPECT_EQ(table.Bad_Line_Count, 100U);
  EXPECT_THAT(table.Bad_Lines, SizeIs(most_bad_lines));
}

TEST(Read_Csv, KeepsTheLaterLineOfAStamp) {
  EXPECT_THAT(Read_Csv("Date,Close\n2024-01-04,1\n2024-01-03,2\n2024-01-04,3\n").Bars,
              ElementsAre(Daily(Date(2024, 1, 3), 2, 2, 2, 2), Daily(Date(2024, 1, 4), 3, 3, 3, 3)));
}

TEST(Read_Csv, FindsTheLengthOfABar) {
  const auto length = [](const std::string& rows) { return Read_Csv("Date,Close\n" + rows).Bar_Length; };
  EXPECT_EQ(length("2024-01-03 09:30,1\n2024-01-03 09:31,1\n2024-01-03 09:35,1\n2024-01-03 09:36,1\n"),
            minutes{1});
  EXPECT_EQ(length("2024-01-03 09:30:00,1\n2024-01-03 09:30:15,1\n"), std::chrono::seconds{15});
  EXPECT_EQ(length("2024-01-05,1\n2024-01-12,1\n2024-01-19,1\n"), days{7});
  EXPECT_EQ(length("2024-01-05,1\n2024-01-12,1\n"), days{1});
  EXPECT_EQ(length("2024-01-31,1\n2024-02-29,1\n2024-03-31,1\n2024-04-30,1\n2024-05-31,1\n2024-06-30,1\n"),
            days{30});
  EXPECT_EQ(length("2024-01-02 16:00,1\n2024-01-03 16:00,1\n2024-01-04 16:00,1\n"), days{1});
}

TEST(Read_Csv, KeepsOneBarADayOfADailyFile) {
  std::string text = "Date,Close\n";
  for (int day = 1; day <= 20; ++day) text += "2024-01-" + std::to_string(day) + " 00:00,1\n";
  text += "2024-01-20 15:59,2\n";
  const CsvTable table = Read_Csv(text);
  EXPECT_EQ(table.Bar_Length, std::chrono::hours{24});
  ASSERT_THAT(table.Bars, SizeIs(20));
  EXPECT_EQ(table.Bars.back(), Daily(Date(2024, 1, 20), 2, 2, 2, 2));
}

TEST(Read_Csv, MakesNothingOfOtherText) {
  for (const char* text : {"", "\n\n", "hello", "<html><body>No data</body></html>", "Date,Close\n", "\"",
                           ",,,,,", "a;b;c;d\n1;2;3;4\n"}) {
    EXPECT_THAT(Read_Csv(text).Bars, IsEmpty()) << text;
  }
  EXPECT_THAT(Read_Csv(std::string(100000, ',')).Bars, IsEmpty());
  EXPECT_THAT(Read_Csv(std::string_view{"\xff\xfe"
                                        "D\0a\0",
                                        6})
                  .Bad_Lines.at(0)
                  .Reason,
              HasSubstr("UTF-16"));
}

}  // namespace
}  // namespace hq::server
