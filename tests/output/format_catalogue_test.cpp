#include "output/format_catalogue.h"

#include <gtest/gtest.h>

#include "base/run_time_error.h"
#include "base/strings.h"

namespace hq {
namespace {

class FormatCatalogueTest : public ::testing::Test {
 protected:
  FormatCatalogueTest() { Load_Format(Trap, Catalogue, Settings); }

  modFailSafe Trap;
  FormatCatalogue Catalogue;
  RunSettings Settings;
};

TEST_F(FormatCatalogueTest, LoadingSetsCountAndCurrentFormat) {
  EXPECT_EQ(Catalogue.FormatCount, 15);
  EXPECT_EQ(Settings.CurrentFormat, 11);
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(FormatCatalogueTest, NamesKeepTheirOddities) {
  EXPECT_EQ(Catalogue.FormatName[0], "Aget");
  EXPECT_EQ(Catalogue.FormatName[1], "EWA/Winwaves ");
  EXPECT_EQ(Catalogue.FormatName[11], "Text with header-intraday");
  EXPECT_EQ(Catalogue.FormatName[12], "Text without header-intraday");
  EXPECT_EQ(Catalogue.FormatName[14], "Text without header-Daily");
}

TEST_F(FormatCatalogueTest, SlotFifteenStaysEmpty) {
  for (const auto* texts :
       {&Catalogue.FormatName, &Catalogue.SymbolPrefix, &Catalogue.DateLayout, &Catalogue.TimeLayout,
        &Catalogue.OpenInterestText, &Catalogue.HeaderLine, &Catalogue.SampleText}) {
    EXPECT_EQ((*texts)[15], "");
    EXPECT_EQ(Slot(*texts, 15), "");
    EXPECT_THROW(static_cast<void>(Slot(*texts, 16)), RunTimeError);
    EXPECT_THROW(static_cast<void>(Slot(*texts, -1)), RunTimeError);
  }
}

TEST_F(FormatCatalogueTest, Layouts) {
  const std::vector<std::array<std::string, 2>> expected = {
      {"MM/DD/YY", ""},       {"YYMMDD", "HHMM"},     {"YYYYMMDD", ""},       {"YYYYMMDD", "HH:MM"},
      {"MM/DD/YY", "HH:MM"},  {"MM/DD/YY", "HH:MM"},  {"MM/DD/YY", ""},       {"MM/DD/YY", "HHMM"},
      {"YYYY/MM/DD", "HHMM"}, {"MM/DD/YYYY", "HHMM"}, {"YYYY/MM/DD", "HHMM"}, {"MM/DD/YY", "HH:MM"},
      {"MM/DD/YY", "HH:MM"},  {"MM/DD/YY", ""},       {"MM/DD/YY", ""},
  };
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(Catalogue.DateLayout[i], expected[i][0]) << i;
    EXPECT_EQ(Catalogue.TimeLayout[i], expected[i][1]) << i;
  }
}

TEST_F(FormatCatalogueTest, PrefixOpenInterestAndHeaders) {
  const std::string intraday = "Date,Time,Open,High,Low,Close,Volume";
  const std::vector<std::string> headers = {"",
                                            "",
                                            "",
                                            "<ticker>,<per>,<date>,<time>,<open>,<high>,<low>,<close>,<vol>",
                                            intraday,
                                            intraday,
                                            "DateOpenHighLowCloseVolumeOpenInterest",
                                            "DateTimeOpenHighLowCloseVolumeOpenInterest",
                                            intraday,
                                            intraday,
                                            intraday,
                                            intraday,
                                            "",
                                            "Date,Open,High,Low,Close,Volume",
                                            ""};
  for (size_t i = 0; i < headers.size(); ++i) {
    EXPECT_EQ(Catalogue.HeaderLine[i], headers[i]) << i;
    EXPECT_EQ(Catalogue.SymbolPrefix[i], i == 3 ? "STOCK,D" : "") << i;
    EXPECT_EQ(Catalogue.OpenInterestText[i], i == 0 || i == 6 ? "0" : "") << i;
  }
}

TEST_F(FormatCatalogueTest, ItemsHaveTheirExactBlanksAndIndex) {
  const std::vector<std::pair<std::string, size_t>> expected = {
      {"Aget -Daily", 57},
      {"EWA/Winwaves-Intraday", 37},
      {"FCharts SE- Daily", 48},
      {"Metastock Downloader-Intraday", 28},
      {"Microsoft Excel-Intraday", 39},
      {"Neuroshell Day Trader-Intraday", 29},
      {"Sierra Chart EOD-Daily", 42},
      {"Sierra Chart Intraday-Intraday", 32},
      {"Supercharts 4-Intraday", 42},
      {"TradeStation 2000i-Intraday", 35},
      {"TradeStation 4-Intraday", 41},
      {"Text with header-Intraday", 38},
      {"Text without header-Intraday", 34},
      {"Text with header-Daily", 44},
      {"Text without header-Daily", 40},
  };
  for (size_t i = 0; i < expected.size(); ++i) {
    const std::string index = std::string(i < 10 ? "0" : "") + std::to_string(i);
    EXPECT_EQ(Format_Items()[i], expected[i].first + std::string(expected[i].second, ' ') + index);
    EXPECT_EQ(Format_Index(Format_Items()[i]), static_cast<int>(i));
    EXPECT_EQ(Format_Display_Name(Format_Items()[i]), expected[i].first);
  }
}

TEST_F(FormatCatalogueTest, IntradayItemsAndOnlyTheyHaveATimeColumn) {
  for (size_t i = 0; i < Format_Items().size(); ++i) {
    EXPECT_EQ(Contains(Format_Items()[i], "Intraday"), !Catalogue.TimeLayout[i].empty()) << Format_Items()[i];
  }
}

TEST_F(FormatCatalogueTest, IndexOfATextThatEndsInNoDigitsIsZero) {
  EXPECT_EQ(Format_Index("whatever 07"), 7);
  EXPECT_EQ(Format_Index("whatever"), 0);
  EXPECT_EQ(Format_Index(""), 0);
  EXPECT_EQ(Format_Index("5"), 5);
}

TEST_F(FormatCatalogueTest, SamplesShowTheStoredTextsAndThreeDots) {
  const FormatSamples first = Samples_Of(Catalogue, Format_Items()[0]);
  EXPECT_EQ(first.Title, "Samples: Aget -Daily");
  EXPECT_EQ(first.Prompt,
            "03/10/03,23.040,23.140,22.980,23.010,5875387,0\n03/11/"
            "03,23.060,23.270,22.900,23.150,14456329,0\n . . . ");
  EXPECT_EQ(Samples_Of(Catalogue, Format_Items()[12]).Prompt,
            "03/10/03,13:30,23.040,23.140,22.980,23.010,5875387\n . . . ");
  EXPECT_EQ(Samples_Of(Catalogue, Format_Items()[14]).Prompt,
            "\n03/10/03,23.040,23.140,22.980,23.010,5875387\n . . . ");
  EXPECT_EQ(
      Samples_Of(Catalogue, Format_Items()[8]).Prompt,
      "Date,Time,Open,High,Low,Close,Volume\n2003/03/10,1330,23.040,23.140,22.980,23.010,587538703\n . . . ");
  EXPECT_THROW(static_cast<void>(Samples_Of(Catalogue, "x99")), RunTimeError);
  EXPECT_THROW(static_cast<void>(Samples_Of(Catalogue, "x")), RunTimeError);
}

TEST_F(FormatCatalogueTest, EverySample) {
  const std::string header = "Date,Time,Open,High,Low,Close,Volume\n";
  const std::string bar = "23.040,23.140,22.980,23.010,5875387";
  const std::string metastock =
      "<ticker>,<per>,<date>,<time>,<open>,<high>,<low>,<close>,<vol>\nMSFT,D,20030310,13:30,23.040,23.140,"
      "22.980,"
      "23.010,5875387\nMSFT,D,20030310,14:30,23.010,23.140,22.980,23.030,6617375";
  EXPECT_EQ(Catalogue.SampleText[1],
            "030310,1330," + bar + "\n030311,0930,23.060,23.270,22.900,23.150,14456329");
  EXPECT_EQ(Catalogue.SampleText[2], "20030310," + bar + "\n20030311,23.060,23.270,22.900,23.150,14456329");
  EXPECT_EQ(Catalogue.SampleText[3], metastock);
  for (const size_t i : {4U, 5U, 11U}) EXPECT_EQ(Catalogue.SampleText[i], header + "03/10/03,13:30," + bar);
  EXPECT_EQ(Catalogue.SampleText[6], "DateOpenHighLowCloseVolumeOpenInterest\n03/10/03," + bar + ",0");
  EXPECT_EQ(Catalogue.SampleText[7], "DateTimeOpenHighLowCloseVolumeOpenInterest\n03/10/03,1330," + bar);
  EXPECT_EQ(Catalogue.SampleText[9], header + "03/10/2003,1330," + bar);
  EXPECT_EQ(Catalogue.SampleText[10], header + "2003/03/10,1330," + bar);
  EXPECT_EQ(Catalogue.SampleText[13], "Date,Open,High,Low,Close,Volume\n03/10/03," + bar);
}

}  // namespace
}  // namespace hq
