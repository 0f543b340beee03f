#include "server/services/upstream_request.h"

#include <gmock/gmock.h>

#include "server/services/answer_writer.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::string_view program = "history-quotes/1.0.0";

// Friday, 20 November 2026, 12:00 in New York.
const sys_seconds noon = sys_days{2026y / November / 20} + hours{17};

std::vector<UpstreamRequest> Requests(const SourceProfile& profile, const UpstreamWish& wish,
                                      sys_seconds now = noon) {
  auto made = Make_Requests(profile, wish, Planted_Keys(profile), program, now);
  if (const auto* trouble = std::get_if<Trouble>(&made)) {
    ADD_FAILURE() << trouble->Reason;
    return {};
  }
  return std::get<std::vector<UpstreamRequest>>(std::move(made));
}

Trouble Refusal(const SourceProfile& profile, const UpstreamWish& wish, const KeyTexts& keys,
                sys_seconds now = noon) {
  const auto made = Make_Requests(profile, wish, keys, program, now);
  if (const auto* trouble = std::get_if<Trouble>(&made)) return *trouble;
  ADD_FAILURE() << "requests were made";
  return {};
}

std::string Address(const char* name, const char* symbol, int interval, DayRange days,
                    Adjustment adjustment = Adjustment::Splits) {
  const auto profile = Shipped(name);
  const auto requests = Requests(profile, {symbol, interval, adjustment, days});
  if (requests.size() != 1) {
    ADD_FAILURE() << requests.size() << " requests";
    return "";
  }
  return requests.front().Shown_Url();
}

const DayRange a_week = {Date(2026, 11, 9), Date(2026, 11, 13)};

TEST(UpstreamRequest, AddressesAreThoseOfTheServices) {
  EXPECT_EQ(
      Address("tiingo", "BRK.B", 5, a_week),
      "https://api.tiingo.com/iex/BRK-B/prices?startDate=2026-11-09&endDate=2026-11-13&resampleFreq=5min&"
      "columns=open,high,low,close,volume&afterHours=false&forceFill=false");
  EXPECT_EQ(
      Address("alpaca", "AAPL", 1440, a_week, Adjustment::Full),
      "https://data.alpaca.markets/v2/stocks/bars?symbols=AAPL&timeframe=1Day&start=2026-11-09T05%3A00%3A00Z&"
      "end=2026-11-14T05%3A00%3A00Z&limit=10000&adjustment=all&feed=sip&sort=asc");
  EXPECT_EQ(Address("twelvedata", "AAPL", 60, a_week),
            "https://api.twelvedata.com/time_series?symbol=AAPL&interval=30min&outputsize=5000&start_date="
            "2026-11-09%2000%3A00%3A00&end_date=2026-11-14%2000%3A00%3A00&order=asc&timezone=Exchange&adjust="
            "splits&"
            "format=JSON&dp=-1");
  EXPECT_EQ(Address("polygon", "index:SPX", 1, a_week, Adjustment::Raw),
            "https://api.polygon.io/v2/aggs/ticker/I%3ASPX/range/1/minute/2026-11-09/"
            "2026-11-13?adjusted=false&sort=asc&"
            "limit=50000");
  EXPECT_EQ(Address("alphavantage", "IBM", 5, a_week, Adjustment::Raw),
            "https://www.alphavantage.co/"
            "query?function=TIME_SERIES_INTRADAY&symbol=IBM&interval=5min&adjusted=false&"
            "extended_hours=false&month=2026-11&outputsize=full&datatype=csv&apikey=***");
  EXPECT_EQ(Address("eodhd", "AAPL", 30, a_week),
            "https://eodhd.com/api/intraday/"
            "AAPL.US?interval=1m&from=1794200400&to=1794632400&fmt=json&api_token=***");
  EXPECT_EQ(Address("yahoo", "index:SPX", 1440, a_week),
            "https://query1.finance.yahoo.com/v8/finance/chart/%5EGSPC?period1=1794200400&period2=1794632400&"
            "interval=1d&includePrePost=false");
  EXPECT_EQ(Address("cboe", "index:SPX", 1440, a_week),
            "https://cdn.cboe.com/api/global/delayed_quotes/charts/historical/_SPX.json");
}

TEST(UpstreamRequest, EveryOneSaysHonestlyWhoAsks) {
  for (const auto& profile : Load_Profiles(Sources_Folder()).Profiles) {
    for (const auto& request : Requests(profile, {"AAPL", 1440, Adjustment::Splits, a_week})) {
      std::size_t agents = 0;
      for (const auto& header : request.Headers) {
        if (header.Name != "User-Agent") continue;
        ++agents;
        EXPECT_EQ(header.Value, program) << profile.Name;
      }
      EXPECT_EQ(agents, 1U) << profile.Name;
    }
  }
}

TEST(UpstreamRequest, KeysAreSentButNeverShown) {
  for (const auto& profile : Load_Profiles(Sources_Folder()).Profiles) {
    SCOPED_TRACE(profile.Name);
    for (const auto& request : Requests(profile, {"AAPL", 1440, Adjustment::Splits, a_week})) {
      std::string sent = request.Url;
      for (const auto& header : request.Headers) sent += "\n" + header.Value;
      const bool is_sent = sent.find("PLANTED+KEY/4711") != std::string::npos ||
                           sent.find("PLANTED%2BKEY%2F4711") != std::string::npos;
      EXPECT_EQ(is_sent, !profile.Keys.empty());
      EXPECT_THAT(request.Shown_Url(), Not(HasSubstr("PLANTED")));
      EXPECT_THAT(request.Without_Keys(sent), Not(HasSubstr("PLANTED")));
    }
  }
}

TEST(UpstreamRequest, ASpecialCharacterInASymbolStaysInItsPlace) {
  EXPECT_THAT(Address("cboe", "../../X?Y#Z", 1440, a_week), HasSubstr("/..%2F..%2FX%3FY%23Z.json"));
  EXPECT_THAT(Address("twelvedata", "EUR/USD", 1440, a_week), HasSubstr("symbol=EUR%2FUSD&"));
}

TEST(UpstreamRequest, LongTimesAreCutIntoPartsThatJoin) {
  const auto profile = Shipped("tiingo");
  const auto requests =
      Requests(profile, {"AAPL", 1, Adjustment::Raw, {Date(2026, 11, 9), Date(2026, 11, 19)}});
  std::vector<DayRange> parts;
  for (const auto& request : requests) parts.push_back(request.Days);
  EXPECT_THAT(parts, ElementsAre(DayRange{Date(2026, 11, 9), Date(2026, 11, 12)},
                                 DayRange{Date(2026, 11, 13), Date(2026, 11, 16)},
                                 DayRange{Date(2026, 11, 17), Date(2026, 11, 19)}));
}

TEST(UpstreamRequest, MonthsAreAskedForOneByOne) {
  const auto requests =
      Requests(Shipped("alphavantage"), {"IBM", 5, Adjustment::Raw, {Date(2026, 9, 15), Date(2026, 11, 3)}});
  std::vector<std::string> months;
  for (const auto& request : requests)
    months.push_back(request.Url.substr(request.Url.find("month=") + 6, 7));
  EXPECT_THAT(months, ElementsAre("2026-09", "2026-10", "2026-11"));
}

TEST(UpstreamRequest, TimesOfAskingRespectTheClockChange) {
  // The clock goes back on 1 November 2026.
  EXPECT_THAT(Address("alpaca", "AAPL", 5, {Date(2026, 11, 1), Date(2026, 11, 1)}),
              HasSubstr("start=2026-11-01T04%3A00%3A00Z&end=2026-11-02T05%3A00%3A00Z"));
}

TEST(UpstreamRequest, NothingYoungerThanTheDelayIsAskedFor) {
  EXPECT_THAT(Address("alpaca", "AAPL", 5, {Date(2026, 11, 20), Date(2026, 11, 30)}),
              HasSubstr("start=2026-11-20T05%3A00%3A00Z&end=2026-11-20T16%3A44%3A00Z"));
}

TEST(UpstreamRequest, AServiceWithoutTheDayIsAskedUpToYesterday) {
  EXPECT_THAT(Address("polygon", "AAPL", 5, {Date(2026, 11, 18), Date(2026, 11, 20)}),
              HasSubstr("/2026-11-18/2026-11-19?"));
  const auto profile = Shipped("polygon");
  const Trouble trouble =
      Refusal(profile, {"AAPL", 5, Adjustment::Splits, {Date(2026, 11, 20), Date(2026, 11, 20)}},
              Planted_Keys(profile));
  EXPECT_EQ(trouble.Kind, TroubleKind::NothingThere);
}

TEST(UpstreamRequest, DaysBeforeTheHistoryAreNotAskedFor) {
  const auto profile = Shipped("yahoo");
  const auto requests =
      Requests(profile, {"AAPL", 1, Adjustment::Splits, {Date(2020, 1, 1), Date(2026, 11, 20)}});
  ASSERT_FALSE(requests.empty());
  EXPECT_EQ(requests.front().Days.First, Date(2026, 10, 22));
  for (const auto& request : requests) EXPECT_LE(request.Days.Last - request.Days.First, days{6});

  const Trouble trouble =
      Refusal(profile, {"AAPL", 1, Adjustment::Splits, {Date(2020, 1, 1), Date(2020, 1, 31)}}, {});
  EXPECT_EQ(trouble.Kind, TroubleKind::NothingThere);
  EXPECT_EQ(trouble.Reason, "Yahoo chart reaches back 29 days only for 1-minute bars.");
}

TEST(UpstreamRequest, SplitFactorsAreAskedForUpToNow) {
  EXPECT_THAT(Address("tiingo", "AAPL", 1440, a_week), HasSubstr("startDate=2026-11-09&endDate=2026-11-20&"));
  EXPECT_THAT(Address("tiingo", "AAPL", 1440, a_week, Adjustment::Raw),
              HasSubstr("startDate=2026-11-09&endDate=2026-11-13&"));
}

TEST(UpstreamRequest, WhatCantBeAskedIsRefusedWithTheReason) {
  const auto alpaca = Shipped("alpaca");
  const auto keys = Planted_Keys(alpaca);
  Trouble trouble = Refusal(alpaca, {"index:DJI", 5, Adjustment::Splits, a_week}, keys);
  EXPECT_EQ(trouble.Kind, TroubleKind::NotServed);
  EXPECT_EQ(trouble.Reason, "Alpaca has no symbols of the kind of \"index:DJI\".");

  trouble = Refusal(Shipped("yahoo"), {"AAPL", 1440, Adjustment::Raw, a_week}, {});
  EXPECT_EQ(trouble.Kind, TroubleKind::NotServed);
  EXPECT_EQ(trouble.Reason, "Yahoo chart has no daily bars that are not adjusted.");

  trouble = Refusal(alpaca, {"AAPL", 5, Adjustment::Splits, {Date(2027, 1, 4), Date(2027, 1, 5)}}, keys);
  EXPECT_EQ(trouble.Kind, TroubleKind::NothingThere);
}

TEST(UpstreamRequest, AKeyThatIsLackingOrNoneIsTold) {
  const auto profile = Shipped("alpaca");
  const UpstreamWish wish{"AAPL", 5, Adjustment::Splits, a_week};
  Trouble trouble = Refusal(profile, wish, {{"id", "abc"}});
  EXPECT_EQ(trouble.Kind, TroubleKind::KeyRefused);
  EXPECT_EQ(trouble.Reason, "Alpaca needs a key: \"API secret key\" is not set.");

  for (const std::string key : {"Qx Zy", "Qx\r\nX-Other: Zy", "schl\xC3\xBCssel"}) {
    trouble = Refusal(profile, wish, {{"id", key}, {"secret", "abc"}});
    EXPECT_EQ(trouble.Kind, TroubleKind::KeyRefused);
    EXPECT_THAT(trouble.Reason, HasSubstr("\"API key ID\" holds a blank"));
    EXPECT_THAT(trouble.Reason, Not(HasSubstr(key)));
  }
  EXPECT_EQ(Missing_Keys(profile, {{"id", ""}}).size(), 2U);
}

TEST(UpstreamRequest, KeysGoToTheHostsOfTheServiceOnly) {
  EXPECT_THAT(Requests(Shipped("polygon"), {"AAPL", 5, Adjustment::Splits, a_week}).front().Hosts,
              ElementsAre("api.massive.com", "api.polygon.io"));
  EXPECT_THAT(Requests(Shipped("eodhd"), {"AAPL", 5, Adjustment::Splits, a_week}).front().Hosts,
              ElementsAre("eodhd.com"));
}

}  // namespace
}  // namespace hq::server
