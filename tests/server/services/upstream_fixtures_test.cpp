#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>

#include "built_places.h"
#include "server/http/quote_text.h"
#include "server/services/answer_writer.h"
#include "server/services/feed_choice.h"

namespace hq::server {
namespace {

using namespace std::chrono;

// What a recorded answer gives: how many bars with the first and the last one, or the kind of trouble.
struct Recorded {
  const char* File;
  const char* Profile;
  std::size_t Feed;
  const char* Symbol;
  Adjustment Adjusted;
  int Status;
  std::size_t Bars;
  const char* First;
  const char* Last;
  std::optional<TroubleKind> Trouble = {};
};

constexpr auto splits = Adjustment::Splits;
constexpr auto raw = Adjustment::Raw;
constexpr auto full = Adjustment::Full;

const std::vector<Recorded>& Expected_Answers() {
  static const std::vector<Recorded> answers = {
      {"alpaca/bars_AAPL_1Day.json", "alpaca", 0, "AAPL", splits, 200, 2,
       "220201,0930,174,174.84,172.31,174.61,85998033", "220202,0930,174.64,175.88,173.33,175.84,84817432"},
      {"alpaca/bars_META_1Day_page1.json", "alpaca", 0, "META", splits, 200, 2,
       "220608,0930,194.67,202.03,194.41,196.64,22211813", "220609,0930,194.28,199.45,183.68,184,23458984"},
      {"alpaca/bars_META_1Day_page2.json", "alpaca", 0, "META", splits, 200, 2,
       "220610,0930,183.04,183.1,175.02,175.57,27398594",
       "220613,0930,170.59,172.575,164.03,164.26,31514255"},
      {"alpaca/bars_TSLA_1Day_desc.json", "alpaca", 0, "TSLA", splits, 200, 3,
       "230925,0930,243.38,247.1,238.31,246.99,104668716",
       "230927,0930,244.262,245.33,234.58,240.5,136616287"},
      {"alpaca/transcribed_403_recent_sip.json", "alpaca", 0, "AAPL", splits, 403, 0, "", "",
       TroubleKind::NotAllowed},
      {"alpaca/transcribed_empty.json", "alpaca", 0, "ZZZZZ", splits, 200, 0, "", "",
       TroubleKind::NothingThere},
      {"alphavantage/TIME_SERIES_DAILY_IBM_compact.csv", "alphavantage", 0, "IBM", raw, 200, 100,
       "251222,0930,301.03,303.18,298.32,302.79,2612100", "260515,0930,218.2,220.91,217.615,219.3,6154450"},
      {"alphavantage/TIME_SERIES_INTRADAY_IBM_5min_2026.csv", "alphavantage", 2, "IBM", splits, 200, 52,
       "260515,1140,217.98,218.42,217.96,218.14,62832", "260515,1555,219.74,219.91,219.3,219.3,323841"},
      {"alphavantage/transcribed_error_invalid_call.json", "alphavantage", 0, "IBM", raw, 200, 0, "", "",
       TroubleKind::UnknownSymbol},
      {"alphavantage/transcribed_information_25_per_day.json", "alphavantage", 0, "IBM", raw, 200, 0, "", "",
       TroubleKind::Quota},
      {"alphavantage/transcribed_information_premium.json", "alphavantage", 0, "IBM", raw, 200, 0, "", "",
       TroubleKind::NotAllowed},
      {"alphavantage/transcribed_note_5_per_minute.json", "alphavantage", 0, "IBM", raw, 200, 0, "", "",
       TroubleKind::Throttled},
      {"cboe/transcribed_daily_SPX.json", "cboe", 0, "index:SPX", splits, 200, 2,
       "260921,0930,7692.83,7779.22,7691.19,7764.7,0", "260922,0930,7770.81,7782.19,7756.26,7764.64,0"},
      {"cboe/transcribed_intraday_SPX_2026-09-22.json", "cboe", 1, "index:SPX", splits, 200, 2,
       "260922,0930,7770.8101,7773.5801,7769.6001,7772.6499,0",
       "260922,0931,7772.9399,7779.8799,7772.8999,7779.1499,0"},
      {"eodhd/documented_error_403.json", "eodhd", 0, "AAPL", splits, 403, 0, "", "",
       TroubleKind::NotAllowed},
      {"eodhd/transcribed_eod_AAPL_free_plan.json", "eodhd", 0, "AAPL", splits, 200, 1,
       "250811,0930,227.92,229.56,224.76,227.18,61806100",
       "250811,0930,227.92,229.56,224.76,227.18,61806100"},
      {"polygon/aggs_AAPL_1day_2005.json", "polygon", 0, "AAPL", splits, 200, 2,
       "050401,0930,1.5032,1.5064,1.4489,1.4604,642646396",
       "050404,0930,1.4639,1.4754,1.4343,1.4675,578172308"},
      {"polygon/aggs_AAPL_1minute_2023-01-03_premarket.json", "polygon", 2, "AAPL", splits, 200, 0, "", ""},
      {"polygon/transcribed_403_timeframe.json", "polygon", 2, "AAPL", splits, 403, 0, "", "",
       TroubleKind::NotAllowed},
      {"polygon/transcribed_429.json", "polygon", 0, "AAPL", splits, 429, 0, "", "", TroubleKind::Throttled},
      {"tiingo/daily_GOOGL_2015.json", "tiingo", 0, "GOOGL", splits, 200, 2,
       "150102,0930,532.6,535.8,527.88,529.55,1327870", "150105,0930,527.15,527.9899,517.75,519.46,2059119"},
      {"tiingo/daily_GOOGL_2015.json", "tiingo", 0, "GOOGL", raw, 200, 2,
       "150102,0930,532.6,535.8,527.88,529.55,1327870", "150105,0930,527.15,527.9899,517.75,519.46,2059119"},
      {"tiingo/daily_GOOGL_2015.json", "tiingo", 0, "GOOGL", full, 200, 2,
       "150102,0930,532.6,535.8,527.88,529.55,1327870", "150105,0930,527.15,527.9899,517.75,519.46,2059119"},
      {"tiingo/daily_GOOGL_latest_only.json", "tiingo", 0, "GOOGL", splits, 200, 1,
       "180412,0930,1031.47,1044.65,1026.05,1037.29,1644794",
       "180412,0930,1031.47,1044.65,1026.05,1037.29,1644794"},
      {"tiingo/transcribed_404_ticker.json", "tiingo", 0, "GONE", splits, 404, 0, "", "",
       TroubleKind::UnknownSymbol},
      {"tiingo/transcribed_429_hourly.json", "tiingo", 0, "GOOGL", splits, 429, 0, "", "",
       TroubleKind::Quota},
      {"tiingo/transcribed_429_hourly.json", "tiingo", 0, "GOOGL", splits, 200, 0, "", "",
       TroubleKind::Quota},
      {"tiingo/transcribed_daily_AAPL_2023-02_dividend.json", "tiingo", 0, "AAPL", splits, 200, 4,
       "230208,0930,153.88,154.58,151.168,151.92,64120079",
       "230213,0930,150.952,154.26,150.92,153.85,62199013"},
      {"tiingo/transcribed_daily_AAPL_2023-02_dividend.json", "tiingo", 0, "AAPL", full, 200, 4,
       "230208,0930,153.0287271,153.7248546,150.33173,151.0795699,64120079",
       "230213,0930,150.3455647,153.6402751,150.3136933,153.2319223,62199013"},
      {"twelvedata/transcribed_400_interval.json", "twelvedata", 0, "AAPL", splits, 400, 0, "", "",
       TroubleKind::BadRequest},
      {"twelvedata/transcribed_400_no_data.json", "twelvedata", 3, "AAPL", splits, 400, 0, "", "",
       TroubleKind::NothingThere},
      {"twelvedata/transcribed_400_no_data.json", "twelvedata", 3, "AAPL", splits, 200, 0, "", "",
       TroubleKind::NothingThere},
      {"twelvedata/transcribed_401.json", "twelvedata", 0, "AAPL", splits, 401, 0, "", "",
       TroubleKind::KeyRefused},
      {"twelvedata/transcribed_429_minute.json", "twelvedata", 0, "AAPL", splits, 429, 0, "", "",
       TroubleKind::Throttled},
      {"twelvedata/transcribed_429_minute.json", "twelvedata", 0, "AAPL", splits, 200, 0, "", "",
       TroubleKind::Throttled},
      {"twelvedata/transcribed_time_series_1min_2022.json", "twelvedata", 3, "AAPL", splits, 200, 6,
       "220817,1554,174.59,174.67,174.59,174.60001,0", "220817,1559,174.48,174.63,174.48,174.55,0"},
      {"twelvedata/batch_error_mixed.json", "twelvedata", 0, "AAPL", splits, 200, 0, "", "",
       TroubleKind::FormatChanged},
      {"yahoo/chart_AAPL_1d_2020-08-31_2020-11-07.json", "yahoo", 0, "AAPL", splits, 200, 49,
       "200831,0930,127.58,131,126,129.04,225702700", "201106,0930,118.32,119.2,116.13,118.69,114457900"},
      {"yahoo/chart_AAPL_1d_5d_compact.json", "yahoo", 0, "AAPL", splits, 200, 0, "", "",
       TroubleKind::FormatChanged},
      {"yahoo/chart_AAPL_1d_year2020_recorded_2021.json", "yahoo", 0, "AAPL", splits, 200, 253,
       "200102,0930,74.06,75.15,73.7975,75.0875,135480400",
       "201231,0930,134.08,134.74,131.72,132.69,99116600"},
      {"yahoo/chart_AAPL_1h_no_results.json", "yahoo", 2, "AAPL", splits, 200, 0, "", "",
       TroubleKind::NothingThere},
      {"yahoo/chart_AAPL_1m_2024-10-02.json", "yahoo", 3, "AAPL", splits, 200, 389,
       "241002,0930,225.89,226.11,225.42,225.7,1205461",
       "241002,1559,226.86,226.9601,226.6901,226.81,546314"},
      {"yahoo/chart_AAPL_1m_weekend_empty.json", "yahoo", 3, "AAPL", splits, 200, 0, "", "",
       TroubleKind::NothingThere},
      {"yahoo/chart_ADH_1d_renamed.json", "yahoo", 0, "ADH", splits, 200, 1,
       "200102,0930,11,11,10.22,10.38,637529", "200102,0930,11,11,10.22,10.38,637529"},
      {"yahoo/chart_ALL.AX_1d.json", "yahoo", 0, "ALL.AX", splits, 200, 64,
       "211013,0930,44.422,45.08933,43.674995,44.700882,771128",
       "220113,0930,44.38,44.38,43.72,44.05,848539"},
      {"yahoo/chart_BTC-USD_1d.json", "yahoo", 0, "BTC-USD", splits, 200, 3,
       "200101,0930,7194.892,7254.3306,7174.9443,7200.1743,18565664997",
       "200103,0930,6984.4287,7413.7153,6914.996,7344.8843,28111481032"},
      {"yahoo/chart_CAPIO.ST_delisted_no_data.json", "yahoo", 0, "CAPIO.ST", splits, 200, 0, "", "",
       TroubleKind::NothingThere},
      {"yahoo/chart_GC=F_1d.json", "yahoo", 0, "GC=F", splits, 200, 1,
       "200102,0930,1518.1,1528.7,1518,1524.5,214", "200102,0930,1518.1,1528.7,1518,1524.5,214"},
      {"yahoo/chart_GS2C.DE_1d.json", "yahoo", 0, "GS2C.DE", splits, 200, 5,
       "251023,0930,19.58,19.8,19.3,19.738,4549", "251029,0930,20.13,20.15,19.786,19.948,9179"},
      {"yahoo/chart_MSFT_1d_2021_dividend_events.json", "yahoo", 0, "MSFT", splits, 200, 252,
       "210201,0930,235.06,242.5,232.43,239.65,33314200", "220128,0930,300.23,308.48,294.45,308.26,49743700"},
      {"yahoo/chart_MUV2.DE_1d_6mo_2020.json", "yahoo", 0, "MUV2.DE", splits, 200, 0, "", "",
       TroubleKind::FormatChanged},
      {"yahoo/chart_OCDO.L_1d_pence.json", "yahoo", 0, "OCDO.L", splits, 200, 1,
       "200102,0930,1279.5,1286.57,1258,1259.5,728520", "200102,0930,1279.5,1286.57,1258,1259.5,728520"},
      {"yahoo/chart_QQQ_1d.json", "yahoo", 0, "QQQ", splits, 200, 1,
       "200102,0930,214.4,216.16,213.98,216.16,30969400", "200102,0930,214.4,216.16,213.98,216.16,30969400"},
      {"yahoo/chart_WSU.DE_1d.json", "yahoo", 0, "WSU.DE", splits, 200, 3,
       "230804,0930,34.25,34.55,34.1,34.45,1251", "230808,0930,34.05,34.2,32.9,33.2,10846"},
      {"yahoo/chart_^VXAPL_1d_index_no_bars.json", "yahoo", 0, "index:VXAPL", splits, 200, 0, "", "",
       TroubleKind::NothingThere},
      {"yahoo/chart_AAPL_1d_year2020_recorded_2021.json", "yahoo", 0, "AAPL", full, 200, 253,
       "200102,0930,72.97600917,74.05005521,72.71735129,73.98847,135480400",
       "201231,0930,133.2584834,133.9144395,130.9129433,131.877,99116600"},
      {"yahoo/chart_AAPL_1d_2020-08-31_2020-11-07.json", "yahoo", 0, "MSFT", splits, 200, 0, "", "",
       TroubleKind::FormatChanged},
      {"yahoo/transcribed_404_not_found.json", "yahoo", 0, "GONE", splits, 404, 0, "", "",
       TroubleKind::UnknownSymbol},
      {"yahoo/transcribed_422_1m_too_old.json", "yahoo", 3, "AAPL", splits, 422, 0, "", "",
       TroubleKind::NothingThere},
      {"yahoo/transcribed_429_edge.txt", "yahoo", 0, "AAPL", splits, 429, 0, "", "", TroubleKind::Throttled},
  };
  return answers;
}

std::filesystem::path Fixtures_Folder() {
  const char* elsewhere = std::getenv("HQ_SHARED_FIXTURES");
  return std::filesystem::path{elsewhere != nullptr ? elsewhere : HQ_SHARED_FIXTURES} / "providers";
}

// Answers of the services themselves. They may not be handed on, so they lie outside the tree.
TEST(UpstreamFixtures, AreReadOrRefusedWithTheReason) {
  const auto folder = Fixtures_Folder();
  if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "the shared fixtures are not here: " << folder;
  const sys_seconds now = sys_days{2026y / November / 21} + hours{12};

  for (const Recorded& recorded : Expected_Answers()) {
    SCOPED_TRACE(recorded.File);
    const SourceProfile profile = Shipped(recorded.Profile);
    std::ifstream stream{folder / recorded.File, std::ios::binary};
    ASSERT_TRUE(stream);
    const std::string body{std::istreambuf_iterator<char>{stream}, {}};
    UpstreamRequest request;
    request.Feed = recorded.Feed;
    request.Adjusted = recorded.Adjusted;
    request.Symbol = recorded.Symbol;
    request.Spelled_Symbol = Spell_Symbol(profile, recorded.Symbol).value();
    request.Url = "https://" + profile.Hosts.front() + "/";
    request.Hosts = profile.Hosts;
    const auto answer = Read_Answer(profile, request, {recorded.Status, {}, body}, now);
    if (const auto* trouble = std::get_if<Trouble>(&answer)) {
      EXPECT_EQ(trouble->Kind, recorded.Trouble) << trouble->Reason;
      continue;
    }
    const auto& bars = std::get<UpstreamBars>(answer);
    EXPECT_EQ(recorded.Trouble, std::nullopt);
    EXPECT_EQ(bars.Bad_Rows, 0U);
    BarTable table;
    for (const NativeBar& bar : bars.Bars) {
      EXPECT_TRUE(bar.Final);
      table.Bars.push_back(bar.Quote);
    }
    const auto lines = Lines(Quote_Text(table));
    EXPECT_EQ(lines.size(), recorded.Bars);
    if (lines.empty()) continue;
    EXPECT_EQ(lines.front(), recorded.First);
    EXPECT_EQ(lines.back(), recorded.Last);
  }
}

}  // namespace
}  // namespace hq::server
