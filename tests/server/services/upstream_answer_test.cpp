#include "server/services/upstream_answer.h"

#include <chrono>
#include <gmock/gmock.h>
#include <random>

#include "server/http/quote_text.h"
#include "server/services/asked.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::HasSubstr;
using testing::SizeIs;

TEST(UpstreamAnswer, AMillionRowsAreRead) {
  const Asked asked{"polygon", 2};
  const auto sent = Sessions(Date(2026, 11, 9), Date(2026, 11, 13), 1);
  const auto once = Sent(sent);
  std::vector<SentRow> rows;
  rows.reserve(1'000'000);
  while (rows.size() < 1'000'000) rows.push_back(once[rows.size() % once.size()]);
  EXPECT_THAT(asked.Read(asked.Body(rows)).Bars, SizeIs(sent.size()));
}

TEST(UpstreamAnswer, AnotherSymbolsAnswerIsRefused) {
  for (const auto* name : {"polygon", "twelvedata", "yahoo", "cboe"}) {
    const Asked asked{name, 0};
    const Asked other{name, 0, weekend, "MSFT"};
    const auto rows = Sent(Sessions(Date(2026, 11, 9), Date(2026, 11, 13), daily_interval));
    const Trouble trouble = asked.Refusal(other.Body(rows));
    EXPECT_EQ(trouble.Kind, TroubleKind::FormatChanged);
    EXPECT_THAT(trouble.Reason, HasSubstr("it is about \"MSFT\" instead of \"IBM\"")) << name;
  }
  const Asked alpaca{"alpaca", 0};
  const Asked other{"alpaca", 0, weekend, "MSFT"};
  EXPECT_EQ(
      alpaca.Refusal(other.Body(Sent(Sessions(Date(2026, 11, 9), Date(2026, 11, 13), daily_interval)))).Kind,
      TroubleKind::NothingThere);
}

TEST(UpstreamAnswer, TheZoneAnAnswerNamesCountsAndItsOffsetDoesNot) {
  const Asked asked{"yahoo", 1, weekend, "SAP.DE"};
  const std::string body =
      R"({"chart":{"result":[{"meta":{"symbol":"SAP.DE","gmtoffset":3600,"exchangeTimezoneName":"Europe/Berlin"},)"
      R"("timestamp":[1786345200,1786345500],"indicators":{"quote":[{"open":[10,11],"high":[12,12],"low":[9,9],)"
      R"("close":[11,10],"volume":[5,6]}]}}],"error":null}})";
  const UpstreamBars read = asked.Read(body);
  ASSERT_THAT(read.Bars, SizeIs(2));
  // 07:00 universal time in summer.
  EXPECT_EQ(read.Bars[0].Quote, (Bar{Date(2026, 8, 10), At(9, 0), 10, 12, 9, 11, 5}));
  EXPECT_FALSE(read.Us_Sessions);
  EXPECT_EQ(read.Market_Zone.Name(), "Europe/Berlin");

  std::string unknown = body;
  unknown.replace(unknown.find("Europe/Berlin"), 13, "Europe/Utopia");
  EXPECT_THAT(asked.Refusal(unknown).Reason, HasSubstr("time zone \"Europe/Utopia\""));
}

TEST(UpstreamAnswer, SinglePrecisionPricesGetTheirDigitsBack) {
  const Asked asked{"yahoo", 0};
  const std::vector<SentRow> rows = {
      {{Date(2026, 11, 12), session_open}, "133.11000061035156", "134.83999633789062", "133", "133.5", "100"},
      {{Date(2026, 11, 13), session_open},
       "227.123456789",
       "227.22500610351562",
       "226.949905395",
       "227.1750030517578",
       "100"}};
  const auto bars = asked.Bars(rows);
  EXPECT_EQ(bars[0], (Bar{Date(2026, 11, 12), session_open, 133.11, 134.84, 133, 133.5, 100}));
  EXPECT_EQ(bars[1].Open, 227.123456789) << "no single precision number";
  EXPECT_EQ(bars[1].High, 227.225);
}

TEST(UpstreamAnswer, DigitsOfPricesStay) {
  const Asked asked{"twelvedata", 0};
  const std::vector<SentRow> rows = {{{Date(2026, 11, 13), session_open},
                                      "9999.990",
                                      "612345.123456",
                                      "0.000000059152179",
                                      "174.48001",
                                      "3.5"}};
  BarTable table;
  table.Bars = asked.Bars(rows);
  EXPECT_EQ(Quote_Text(table), "261113,0930,9999.99,612345.123456,0.000000059152179,174.48001,4\n");
}

TEST(UpstreamAnswer, SplitsAreWorkedInBackwards) {
  Asked asked{"tiingo", 0};
  const std::string body =
      R"([{"date":"2026-11-10T00:00:00.000Z","open":400,"high":420,"low":390,"close":410,"volume":100,"adjClose":100,"splitFactor":1.0},)"
      R"({"date":"2026-11-11T00:00:00.000Z","open":102.5,"high":105,"low":101,"close":104,"volume":450,"adjClose":102,"splitFactor":4.0},)"
      R"({"date":"2026-11-12T00:00:00.000Z","open":104,"high":106,"low":103,"close":105,"volume":500,"adjClose":105,"splitFactor":1.0}])";
  const auto bars = [&] {
    std::vector<Bar> quotes;
    for (const auto& bar : asked.Read(body).Bars) quotes.push_back(bar.Quote);
    return quotes;
  };
  asked.Request().Adjusted = Adjustment::Splits;
  EXPECT_EQ(bars()[0], (Bar{Date(2026, 11, 10), session_open, 100, 105, 97.5, 102.5, 400}));
  EXPECT_EQ(bars()[1], (Bar{Date(2026, 11, 11), session_open, 102.5, 105, 101, 104, 450}));
  asked.Request().Adjusted = Adjustment::Raw;
  EXPECT_EQ(bars()[0], (Bar{Date(2026, 11, 10), session_open, 400, 420, 390, 410, 100}));
  asked.Request().Adjusted = Adjustment::Full;
  EXPECT_EQ(bars()[0],
            (Bar{Date(2026, 11, 10), session_open, 97.56097561, 102.4390244, 95.12195122, 100, 400}));
  EXPECT_EQ(bars()[2], (Bar{Date(2026, 11, 12), session_open, 104, 106, 103, 105, 500}));
}

TEST(UpstreamAnswer, ASplitFactorThatIsNoneIsAChangedFormat) {
  const Asked asked{"tiingo", 0};
  for (const auto* factor : {"null", "\"x\"", "{}"}) {
    EXPECT_EQ(
        asked
            .Refusal(
                R"([{"date":"2026-11-10","open":4,"high":4,"low":3,"close":4,"volume":1,"adjClose":1,"splitFactor":)" +
                std::string{factor} + "}]")
            .Kind,
        TroubleKind::FormatChanged);
  }
}

TEST(UpstreamAnswer, ARemarkInARowIsToldAndDoesNoHarm) {
  const Asked asked{"eodhd", 0};
  const std::string row =
      R"({"date":"2026-11-10","open":4,"high":4,"low":3,"close":4,"adjusted_close":4,"volume":1)";
  const std::string warning = R"("warning":"Data is limited by one year as you have free subscription")";
  for (const auto& body : {"[" + row + "," + warning + "}]", "[" + row + "},{" + warning + "}]"}) {
    const UpstreamBars read = asked.Read(body);
    EXPECT_THAT(read.Bars, SizeIs(1));
    EXPECT_EQ(read.Remark, "Data is limited by one year as you have free subscription");
  }
}

TEST(UpstreamAnswer, RowsThatLackAMemberAreAChangedFormat) {
  const Asked asked{"polygon", 1};
  EXPECT_THAT(asked.Refusal(R"({"ticker":"IBM","results":[{"t":1794580200000,"o":1,"h":1,"l":1}]})").Reason,
              HasSubstr("row 1 has no close"));
  EXPECT_THAT(asked.Refusal(R"({"ticker":"IBM","results":[{"o":1,"h":1,"l":1,"c":1}]})").Reason,
              HasSubstr("row 1 has no stamp"));
  EXPECT_THAT(asked.Refusal(R"({"ticker":"IBM","results":[null]})").Reason, HasSubstr("row 1 is neither"));
  EXPECT_THAT(asked.Refusal(R"({"ticker":"IBM","results":{"a":1}})").Reason,
              HasSubstr("its rows are no list"));
  EXPECT_THAT(asked.Refusal(R"({"ticker":"IBM","status":"OK"})").Reason,
              HasSubstr("no rows where they should be"));
}

TEST(UpstreamAnswer, ColumnsOfUnequalLengthAreAChangedFormat) {
  const Asked asked{"yahoo", 1};
  const auto body = [](const char* volumes) {
    return R"({"chart":{"result":[{"meta":{"symbol":"IBM"},"timestamp":[1794580200,1794580500],"indicators":{"quote":[{)"
           R"("open":[1,1],"high":[1,1],"low":[1,1],"close":[1,1],"volume":)" +
           std::string{volumes} + "}]}}]}}";
  };
  EXPECT_THAT(asked.Read(body("[5,6]")).Bars, SizeIs(2));
  EXPECT_THAT(asked.Refusal(body("[5]")).Reason, HasSubstr("its lists differ in length"));
  EXPECT_THAT(asked.Refusal(body("[5,6,7]")).Reason, HasSubstr("its lists differ in length"));
  EXPECT_THAT(asked.Refusal(body("7")).Reason, HasSubstr("no list of the volumes"));
}

TEST(UpstreamAnswer, StampsThatAreNoneAreAChangedFormat) {
  const Asked asked{"twelvedata", 3};
  for (const auto* stamp : {"\"\"", "\"2026-11-13\\u0000\"", "\"2026-13-01 09:30:00\"",
                            "\"2026-11-31 09:30:00\"", "\"2026-11-13 24:00:00\"",
                            "\"2026-11-13 09:30:00-05:00\"", "\"13/11/2026 09:30\"", "5", "null", "[]"}) {
    const std::string body = R"({"meta":{"symbol":"IBM"},"values":[{"datetime":)" + std::string{stamp} +
                             R"(,"open":"1","high":"1","low":"1","close":"1","volume":"1"}],"status":"ok"})";
    EXPECT_EQ(asked.Refusal(body).Kind, TroubleKind::FormatChanged) << stamp;
  }
}

TEST(UpstreamAnswer, ATokenLeadsToTheNextPage) {
  const Asked asked{"alpaca", 1};
  const std::string rows = R"({"bars":{"IBM":[{"t":"2026-11-13T14:30:00Z","o":1,"h":1,"l":1,"c":1,"v":1}]},)";
  const UpstreamBars first = asked.Read(rows + R"("next_page_token":"a+b="})");
  ASSERT_TRUE(first.Next);
  EXPECT_TRUE(first.Next->Url.ends_with("&page_token=a%2Bb%3D"));
  EXPECT_EQ(first.Next->Page, 2);

  const auto read_next = [&](const std::string& body) {
    return Read_Answer(asked.Profile(), *first.Next, {200, {}, body}, weekend);
  };
  const auto second = read_next(rows + R"("next_page_token":"c"})");
  ASSERT_TRUE(std::holds_alternative<UpstreamBars>(second));
  EXPECT_TRUE(std::get<UpstreamBars>(second).Next->Url.ends_with("4711&page_token=c"));
  const auto same = read_next(rows + R"("next_page_token":"a+b="})");
  ASSERT_TRUE(std::holds_alternative<Trouble>(same));
  EXPECT_THAT(std::get<Trouble>(same).Reason, HasSubstr("the same one again"));
  EXPECT_FALSE(asked.Read(rows + R"("next_page_token":null})").Next);
  EXPECT_THAT(asked.Refusal(rows + R"("next_page_token":7})").Reason, HasSubstr("its next page is no text"));
}

TEST(UpstreamAnswer, AWholeAddressLeadsToTheNextPageOfTheSameServiceOnly) {
  Asked asked{"polygon", 1};
  const auto body = [](const std::string& next) {
    return R"({"ticker":"IBM","results":[{"t":1794580200000,"o":1,"h":1,"l":1,"c":1,"v":1}],"next_url":")" +
           next + "\"}";
  };
  const UpstreamBars read = asked.Read(body("https://api.massive.com/v2/aggs?cursor=abc"));
  ASSERT_TRUE(read.Next);
  EXPECT_EQ(read.Next->Url, "https://api.massive.com/v2/aggs?cursor=abc");
  for (const auto* elsewhere :
       {"https://evil.example/v2", "http://api.polygon.io/v2", "https://api.polygon.io@evil.example/",
        "https://api.polygon.io.evil.example/", "file:///etc/passwd", "/v2/aggs",
        "https://api.polygon.io/a b"})
    EXPECT_THAT(asked.Refusal(body(elsewhere)).Reason, HasSubstr("at another place")) << elsewhere;
  asked.Request().Page = most_pages;
  EXPECT_THAT(asked.Refusal(body("https://api.massive.com/v2/x")).Reason, HasSubstr("more than 100 pages"));
}

TEST(UpstreamAnswer, AnEmptyPageLeadsToTheOnesBehindIt) {
  const Asked polygon{"polygon", 1};
  const std::string empty = R"({"ticker":"IBM","resultsCount":0,"status":"OK")";
  const UpstreamBars first =
      polygon.Read(empty + R"(,"next_url":"https://api.polygon.io/v2/aggs?cursor=abc"})");
  EXPECT_TRUE(first.Bars.empty());
  ASSERT_TRUE(first.Next);
  EXPECT_EQ(first.Next->Page, 2);
  EXPECT_EQ(first.Minutes, 5);
  EXPECT_TRUE(first.Us_Sessions);
  EXPECT_EQ(polygon.Refusal(empty + "}").Kind, TroubleKind::NothingThere);
  EXPECT_THAT(polygon.Refusal(empty + R"(,"next_url":"https://evil.example/"})").Reason,
              HasSubstr("at another place"));
  const Asked alpaca{"alpaca", 1};
  EXPECT_TRUE(alpaca.Read(R"({"bars":{},"next_page_token":"x"})").Next);
  EXPECT_EQ(alpaca.Refusal(R"({"bars":{},"next_page_token":null})").Kind, TroubleKind::NothingThere);
}

TEST(UpstreamAnswer, RowsBesideTheGridAreAChangedFormatWhenThereAreMany) {
  const Asked asked{"alpaca", 1};
  auto rows = Sent(Sessions(Date(2026, 11, 13), Date(2026, 11, 13), 5));
  for (auto& row : rows) row.Start.Time += seconds{90};
  EXPECT_THAT(asked.Refusal(asked.Body(rows)).Reason, HasSubstr("whole 5-minute steps"));
}

TEST(UpstreamAnswer, IndexRowsWithoutAnOpenArePassedOver) {
  const Asked asked{"cboe", 0, weekend, "index:SPX"};
  const std::vector<SentRow> rows = {
      {{Date(1975, 1, 2), session_open}, "0.000000", "70.92", "68.65", "70.23", "0.0"},
      {{Date(2026, 11, 13), session_open}, "7770.81", "7782.19", "7756.26", "7764.64", "0.0"}};
  EXPECT_EQ(asked.Bars(rows),
            (std::vector<Bar>{{Date(2026, 11, 13), session_open, 7770.81, 7782.19, 7756.26, 7764.64, 0}}));
}

TEST(UpstreamAnswer, RowsBefore1950ArePassedOver) {
  const Asked asked{"yahoo", 0};
  const std::vector<SentRow> rows = {{{Date(1949, 12, 30), session_open}, "16", "17", "15", "16", "1"},
                                     {{Date(1950, 1, 3), session_open}, "16", "17", "15", "16", "1"}};
  EXPECT_THAT(asked.Bars(rows), SizeIs(1));
}

TEST(UpstreamAnswer, VolumesAreWholeAndNeverNegative) {
  const Asked asked{"polygon", 1};
  auto rows = Sent(Sessions(Date(2026, 11, 13), Date(2026, 11, 13), 5));
  rows[0].Volume = "1234.5678";
  rows[1].Volume = "1.0E3";
  rows[2].Volume = "-5";
  const UpstreamBars read = asked.Read(asked.Body(rows));
  EXPECT_EQ(read.Bars[0].Quote.Volume, 1235);
  EXPECT_EQ(read.Bars[1].Quote.Volume, 1000);
  EXPECT_EQ(read.Bad_Rows, 1U);
  EXPECT_EQ(read.Bars.size(), rows.size() - 1);
}

}  // namespace
}  // namespace hq::server
