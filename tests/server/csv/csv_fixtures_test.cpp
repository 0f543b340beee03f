#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <set>

#include "built_places.h"
#include "market/market_support.h"
#include "server/csv/csv_source.h"
#include "server/http/quote_request.h"
#include "server/http/quote_text.h"

namespace hq::server {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

// What one interval of a file gives: the rows with the first and the last one, or the reason of the refusal.
struct Expected {
  int Interval;
  std::size_t Rows;
  const char* First;
  const char* Last;
};

struct ExpectedFile {
  const char* Folder;
  const char* Symbol;
  std::vector<Expected> Served;
  std::vector<std::pair<int, const char*>> Refused;
  std::size_t Reports = 0;
};

const std::vector<std::pair<int, const char*>> refused_as_daily = {{1, "daily bars"},  {5, "daily bars"},
                                                                   {10, "daily bars"}, {20, "daily bars"},
                                                                   {30, "daily bars"}, {60, "daily bars"}};

const std::vector<std::pair<int, const char*>> refused_as_hours_on_the_hour = {
    {1, "60-minute bars, which are longer"},  {5, "60-minute bars, which are longer"},
    {10, "60-minute bars, which are longer"}, {20, "60-minute bars, which are longer"},
    {30, "60-minute bars, which are longer"}, {60, "don't fit 60-minute bars"}};

const std::vector<ExpectedFile>& Expected_Files() {
  static const std::vector<ExpectedFile> files = {
      {"cboe",
       "VIX_History",
       {{1440, 500, "240422,0930,18.59,18.72,16.69,16.94,0", "260327,0930,27.54,31.65,27.54,31.05,0"}},
       refused_as_daily,
       0},
      {"generic",
       "2006-day-001_extra_columns",
       {{1440, 255, "060102,0930,3578.73,3605.95,3578.73,3604.33,0",
         "061229,0930,4130.12,4142.01,4119.94,4119.94,0"}},
       refused_as_daily,
       0},
      {"generic",
       "2006-min-005_openinterest",
       {{1440, 21, "060102,0930,3578.73,3605.95,3578.73,3604.33,0",
         "060130,0930,3684.38,3685.65,3664.45,3677.52,0"},
        {60, 209, "060102,0930,3591.18,3605.49,3590.02,3601.02,0",
         "060130,1730,3679.29,3679.4,3676.31,3677.52,0"},
        {30, 377, "060102,0930,3591.18,3605.49,3590.02,3601.79,0",
         "060130,1730,3679.29,3679.4,3676.31,3677.52,0"},
        {20, 565, "060102,0930,3591.18,3605.49,3590.02,3604.35,0",
         "060130,1730,3679.29,3679.4,3676.31,3677.52,0"},
        {10, 621, "060113,0930,3651.57,3652.13,3645.31,3646.35,0",
         "060130,1730,3679.29,3679.4,3676.31,3677.52,0"},
        {5, 607, "060123,0930,3522.77,3523.38,3520.74,3521.73,0",
         "060130,1730,3679.29,3679.4,3676.31,3677.52,0"}},
       {{1, "5-minute bars, which are longer"}},
       0},
      {"investing",
       "SP500_2010_2022",
       {{1440, 500, "200713,0930,3205.08,3235.32,3149.43,3155.22,0",
         "220706,0930,3831.98,3870.91,3809.37,3845.08,0"}},
       refused_as_daily,
       0},
      {"metatrader",
       "EURUSD60_mt4",
       {{1440, 41, "190215,0930,1.12525,1.13058,1.12514,1.12908,37744",
         "190403,0930,1.1203,1.12544,1.12016,1.12316,74032"}},
       refused_as_hours_on_the_hour,
       0},
      {"metatrader",
       "EURUSD_M5_mt5_quoted_tabs",
       {{1440, 5, "210624,0930,1.19328,1.19449,1.19266,1.19405,14155",
         "210629,0930,1.19129,1.1923,1.18775,1.18923,53048"},
        {60, 72, "210624,0930,1.19328,1.19328,1.19328,1.19328,0",
         "210629,1030,1.18914,1.18932,1.18813,1.18923,2517"},
        {30, 135, "210624,0930,1.19328,1.19328,1.19328,1.19328,0",
         "210629,1030,1.18914,1.18932,1.18813,1.18923,2517"},
        {20, 205, "210624,0930,1.19328,1.19328,1.19328,1.19328,0",
         "210629,1030,1.18914,1.18932,1.18813,1.18923,2517"},
        {10, 402, "210624,0930,1.19328,1.19328,1.19328,1.19328,0",
         "210629,1040,1.18906,1.18932,1.18872,1.18923,671"},
        {5, 801, "210624,0930,1.19328,1.19328,1.19328,1.19328,0",
         "210629,1040,1.18906,1.18932,1.18872,1.18923,671"}},
       {{1, "5-minute bars, which are longer"}},
       0},
      {"nasdaq",
       "HistoricalData_AAPL_with_id",
       {{1440, 500, "220915,0930,154.65,155.24,151.38,152.37,90481110",
         "240911,0930,221.455,223.09,217.89,222.66,44587070"}},
       refused_as_daily,
       0},
      {"nasdaq",
       "HistoricalQuotes_2019_quoted",
       {{1440, 500, "170714,0930,224.52,225.9,224.39,225.47,1642408",
         "190710,0930,274.02,275.19,273.46,274.21,2853620"}},
       refused_as_daily,
       1},
      {"nasdaq",
       "HistoricalQuotes_AMZN_2020_dollar",
       {{1440, 22, "200924,0930,2977.79,3069.3,2965,3019.79,5529392",
         "201023,0930,3191,3205.33,3140,3204.4,3466687"}},
       refused_as_daily,
       0},
      {"tradingview",
       "BATS_SPY_5",
       {{1440, 20, "250616,0930,592.06981918,596.06362792,591.90217783,594.35269998,0",
         "250715,0930,620.62327803,620.98922323,616.12314111,617.74022328,0"},
        {60, 135, "250616,0930,592.06981918,595.80723526,591.90217783,595.68890019,0",
         "250715,1330,617.01327808,617.77483971,617.01327808,617.74022328,0"},
        {30, 250, "250616,0930,592.06981918,595.02819603,591.90217783,594.69291332,0",
         "250715,1330,617.01327808,617.77483971,617.01327808,617.74022328,0"},
        {20, 385, "250616,0930,592.06981918,594.03220916,591.90217783,593.78567775,0",
         "250715,1350,617.20119589,617.77483971,617.07262055,617.74022328,0"},
        {10, 438, "250627,0930,606.18327825,606.92505906,605.98547004,606.87560701,0",
         "250715,1350,617.20119589,617.77483971,617.07262055,617.74022328,0"},
        {5, 444, "250708,0930,614.54067538,614.54067538,613.80878498,613.80878498,0",
         "250715,1355,617.56714109,617.77483971,617.49790821,617.74022328,0"}},
       {{1, "5-minute bars, which are longer"}},
       0},
      {"wsj",
       "HistoricalPrices_SPX",
       {{1440, 500, "181023,0930,2721.03,2753.59,2691.43,2740.69,0",
         "201016,0930,3493.5,3515.76,3480.45,3483.81,0"}},
       refused_as_daily,
       0},
      {"yahoo",
       "BTC-USD_download",
       {{1440, 500, "201008,0930,10669.371094,10945.737305,10562.606445,10915.685547,63314794397",
         "220219,0930,40022.132813,40246.027344,40010.867188,40126.429688,22263900160"}},
       refused_as_daily,
       0},
      {"yahoo",
       "yhoo-2014_adj",
       {{1440, 252, "140102,0930,40.369999,40.490002,39.310001,39.59,21504200",
         "141231,0930,51.540001,51.68,50.459999,50.509998,9305000"}},
       refused_as_daily,
       0},
      {"yfinance",
       "ASAI-L-1h-bad-unit",
       {{1440, 7, "241021,0930,69,72,67,68.25,3061", "241030,0930,69,74.5,69,71.75,10070"}},
       refused_as_hours_on_the_hour,
       0},
      {"yfinance",
       "EA-15m",
       {{1440, 7, "260526,0930,170.0712,203.9988,170.0712,201.13,774410",
         "260603,0930,206.5488,206.5488,200.3179,202.770004272461,849276"},
        {60, 100, "260526,0930,200.606506347656,200.994995117188,200.520004272461,200.554992675781,190669",
         "260603,1330,202.710006713867,202.889999389648,202.5,202.770004272461,139929"},
        {30, 172, "260526,0930,200.606506347656,200.994995117188,200.544998168945,200.669998168945,109881",
         "260603,1400,202.529998779297,202.889999389648,202.509994506836,202.770004272461,75540"}},
       {{1, "15-minute bars, which are longer"},
        {5, "which are longer"},
        {10, "which are longer"},
        {20, "can't be put together to 20-minute bars"}},
       0},
      {"yfinance",
       "VWILX-1d-fund_trim",
       {{1440, 300,
         "240110,0930,100.02999877929688,100.02999877929688,100.02999877929688,100.02999877929688,0",
         "250321,0930,108.02999877929688,108.02999877929688,108.02999877929688,108.02999877929688,0"}},
       refused_as_daily,
       0}};
  return files;
}

std::filesystem::path Fixtures_Folder() {
  const char* elsewhere = std::getenv("HQ_SHARED_FIXTURES");
  return std::filesystem::path{elsewhere != nullptr ? elsewhere : HQ_SHARED_FIXTURES} / "csv";
}

// Files of the makers whose exports traders have. They may not be handed on, so they lie outside the tree.
TEST(CsvFixtures, AreServedOrRefusedWithTheReason) {
  const auto folder = Fixtures_Folder();
  if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "the shared fixtures are not here: " << folder;

  std::set<std::filesystem::path> not_expected;
  for (const auto& entry : std::filesystem::recursive_directory_iterator{folder}) {
    if (entry.is_regular_file())
      not_expected.insert(std::filesystem::relative(entry.path(), folder).replace_extension());
  }

  for (const ExpectedFile& file : Expected_Files()) {
    SCOPED_TRACE(file.Symbol);
    EXPECT_EQ(not_expected.erase(std::filesystem::path{file.Folder} / file.Symbol), 1U);
    std::size_t reports = 0;
    CsvSource source{folder / file.Folder, [&reports](const std::string&) { ++reports; }};
    std::size_t asked = 0;
    for (const Expected& expected : file.Served) {
      SCOPED_TRACE(expected.Interval);
      const Answer answer =
          source.Bars({file.Symbol, expected.Interval, {}, Session_Limit(expected.Interval).value()});
      ASSERT_TRUE(std::holds_alternative<BarTable>(answer)) << Failure_Of(answer).Reason;
      const auto lines = Lines(Quote_Text(std::get<BarTable>(answer)));
      ASSERT_EQ(lines.size(), expected.Rows);
      EXPECT_EQ(lines.front(), expected.First);
      EXPECT_EQ(lines.back(), expected.Last);
      for (const auto& line : lines) ASSERT_EQ(std::ranges::count(line, ','), 6) << line;
      ++asked;
    }
    for (const auto& [interval, reason] : file.Refused) {
      SCOPED_TRACE(interval);
      const Failure failure =
          Failure_Of(source.Bars({file.Symbol, interval, {}, Session_Limit(interval).value()}));
      EXPECT_EQ(failure.Kind, FailureKind::Unsuitable);
      EXPECT_THAT(failure.Reason, HasSubstr(reason));
      ++asked;
    }
    EXPECT_EQ(asked, 7U) << "each interval is asked for";
    EXPECT_EQ(reports, file.Reports);
  }
  for (const auto& file : not_expected) ADD_FAILURE() << "nothing is expected of " << file;
}

}  // namespace
}  // namespace hq::server
