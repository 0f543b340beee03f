#include "server/upstream_answer.h"

#include <chrono>
#include <gmock/gmock.h>
#include <random>

#include "server/answer_trouble.h"
#include "server/answer_writer.h"
#include "server/bar_maker.h"
#include "server/quote_request.h"
#include "server/quote_text.h"
#include "server/trading_calendar.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

// Saturday, 21 November 2026.
const sys_seconds weekend = sys_days{2026y / November / 21} + hours{12};

// A feed of a shipped profile with a request made for it.
class Asked {
 public:
  Asked(const std::string& name, std::size_t feed, sys_seconds now = weekend, std::string symbol = "IBM")
      : profile_(Shipped(name)), now_(now) {
    request_.Feed = feed;
    const SourceFeed& chosen = profile_.Feeds.at(feed);
    request_.Source = name;
    request_.Adjusted = chosen.Adjustments.contains(Adjustment::Splits) ? Adjustment::Splits
                                                                        : chosen.Adjustments.begin()->first;
    request_.Symbol = symbol;
    request_.Spelled_Symbol = Spell_Symbol(profile_, symbol).value();
    request_.Url = "https://" + profile_.Hosts.front() + "/?key=" + std::string{planted_key};
    request_.Hosts = profile_.Hosts;
    request_.Secrets = {std::string{planted_key}};
  }

  [[nodiscard]] std::string Body(const std::vector<SentRow>& rows, const std::string& zone = "") const {
    return AnswerWriter{profile_, request_.Feed, request_.Spelled_Symbol}.Body(rows, zone);
  }

  [[nodiscard]] UpstreamAnswer Answer(const std::string& body, int status = 200,
                                      std::vector<std::pair<std::string, std::string>> headers = {}) const {
    return Read_Answer(profile_, request_, {status, std::move(headers), body}, now_);
  }

  [[nodiscard]] UpstreamBars Read(const std::string& body) const {
    const auto answer = Answer(body);
    if (const auto* trouble = std::get_if<Trouble>(&answer)) {
      ADD_FAILURE() << trouble->Reason;
      return {};
    }
    return std::get<UpstreamBars>(answer);
  }

  [[nodiscard]] std::vector<Bar> Bars(const std::vector<SentRow>& rows) const {
    std::vector<Bar> bars;
    for (const NativeBar& bar : Read(Body(rows)).Bars) bars.push_back(bar.Quote);
    return bars;
  }

  [[nodiscard]] Trouble Refusal(const std::string& body, int status = 200,
                                std::vector<std::pair<std::string, std::string>> headers = {}) const {
    const auto answer = Answer(body, status, std::move(headers));
    if (const auto* trouble = std::get_if<Trouble>(&answer)) {
      EXPECT_THAT(trouble->Reason, Not(HasSubstr("PLANTED")));
      EXPECT_EQ(trouble->Reason.find_first_of("\r\n"), std::string::npos);
      return *trouble;
    }
    ADD_FAILURE() << "the answer was taken";
    return {};
  }

  [[nodiscard]] const SourceFeed& Feed() const { return profile_.Feeds.at(request_.Feed); }
  [[nodiscard]] const SourceProfile& Profile() const { return profile_; }
  [[nodiscard]] bool Is_Daily() const { return Feed().Minutes == daily_interval; }
  UpstreamRequest& Request() { return request_; }

 private:
  SourceProfile profile_;
  UpstreamRequest request_;
  sys_seconds now_;
};

// Bars of whole sessions as a market would make them: reproducible, and never equal to their neighbours.
std::vector<Bar> Session_Bars(Day date, int minutes_long, std::mt19937& random) {
  std::vector<Bar> bars;
  if (!Is_Session(date)) return bars;
  const auto cents = [&random](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
  for (seconds start = session_open; start < Session_Close(date); start += minutes{minutes_long}) {
    const int low = 10000 + cents(500);
    const int high = low + 2 + cents(100);
    bars.push_back({date, start, (low + cents(high - low)) / 100.0, high / 100.0, low / 100.0,
                    (low + cents(high - low)) / 100.0, 100 + cents(100000)});
  }
  return bars;
}

std::vector<Bar> Sessions(Day first, Day last, int minutes_long) {
  std::mt19937 random{4711};
  std::vector<Bar> bars;
  for (Day date = first; date <= last; date += days{1}) {
    auto session = Session_Bars(date, minutes_long, random);
    if (minutes_long == daily_interval) session.resize(std::min<std::size_t>(session.size(), 1));
    bars.insert(bars.end(), session.begin(), session.end());
  }
  return bars;
}

class EveryFeed : public testing::TestWithParam<std::pair<std::string, std::size_t>> {
 protected:
  [[nodiscard]] static Asked Ask(sys_seconds now = weekend) {
    return {GetParam().first, GetParam().second, now};
  }
};

std::vector<std::pair<std::string, std::size_t>> All_Feeds() {
  std::vector<std::pair<std::string, std::size_t>> feeds;
  for (const auto& profile : Load_Profiles(Sources_Folder()).Profiles) {
    for (std::size_t i = 0; i < profile.Feeds.size(); ++i) feeds.emplace_back(profile.Name, i);
  }
  return feeds;
}

INSTANTIATE_TEST_SUITE_P(Shipped, EveryFeed, testing::ValuesIn(All_Feeds()), [](const auto& tested) {
  return tested.param.first + "_" + std::to_string(tested.param.second);
});

TEST_P(EveryFeed, GivesTheBarsThatWereSent) {
  const Asked asked = Ask();
  const auto sent = Sessions(Date(2026, 11, 9), Date(2026, 11, 13), asked.Feed().Minutes);
  const UpstreamBars read = asked.Read(asked.Body(Sent(sent)));
  ASSERT_EQ(read.Bars.size(), sent.size());
  for (std::size_t i = 0; i < sent.size(); ++i) {
    EXPECT_EQ(read.Bars[i].Quote, sent[i]);
    EXPECT_TRUE(read.Bars[i].Final);
  }
  EXPECT_EQ(read.Minutes, asked.Feed().Minutes);
  EXPECT_EQ(read.Bad_Rows, 0U);
  EXPECT_TRUE(read.Us_Sessions);
  EXPECT_FALSE(read.Next);
}

TEST_P(EveryFeed, RowsOutOfOrderAndDoubledGiveTheSameBars) {
  const Asked asked = Ask();
  const auto sent = Sessions(Date(2026, 11, 2), Date(2026, 11, 13), asked.Feed().Minutes);
  auto rows = Sent(sent);
  const auto once = rows;
  rows.insert(rows.end(), once.begin(), once.begin() + 5);
  std::mt19937 random{1};
  std::ranges::shuffle(rows, random);
  EXPECT_EQ(asked.Bars(rows), sent);
}

TEST_P(EveryFeed, OfTwoRowsWithOneStampTheNewerOneCounts) {
  const Asked asked = Ask();
  auto sent = Sessions(Date(2026, 11, 9), Date(2026, 11, 12), asked.Feed().Minutes);
  const SentRow old = Sent(sent[2]);
  sent[2].Volume += 1000;
  auto rows = Sent(sent);
  rows.insert(rows.begin() + (asked.Feed().Layout.Newest_First ? 3 : 2), old);
  EXPECT_EQ(asked.Bars(rows), sent);
}

TEST_P(EveryFeed, RowsWithoutPricesArePassedOver) {
  const Asked asked = Ask();
  const auto sent = Sessions(Date(2026, 11, 2), Date(2026, 11, 13), asked.Feed().Minutes);
  auto rows = Sent(sent);
  rows[3].Open = rows[3].High = rows[3].Low = rows[3].Close = "null";
  rows[3].Volume = "null";
  rows[5].Open = rows[5].High = rows[5].Low = rows[5].Close = rows[5].Volume = "0";
  auto expected = sent;
  expected.erase(expected.begin() + 5);
  expected.erase(expected.begin() + 3);
  const UpstreamBars read = asked.Read(asked.Body(rows));
  EXPECT_EQ(asked.Bars(rows), expected);
  EXPECT_EQ(read.Bad_Rows, 0U);
}

TEST_P(EveryFeed, RowsThatMakeNoSenseAreCountedAndPassedOver) {
  const Asked asked = Ask();
  const auto sent = Sessions(Date(2026, 10, 12), Date(2026, 11, 13), asked.Feed().Minutes);
  ASSERT_GE(sent.size(), 24U);
  auto rows = Sent(sent);
  std::swap(rows[4].High, rows[4].Low);
  rows[7].Close = "999999";
  auto expected = sent;
  expected.erase(expected.begin() + 7);
  expected.erase(expected.begin() + 4);
  EXPECT_EQ(asked.Bars(rows), expected);
  EXPECT_EQ(asked.Read(asked.Body(rows)).Bad_Rows, 2U);

  for (auto& row : rows) std::swap(row.High, row.Low);
  const Trouble trouble = asked.Refusal(asked.Body(rows));
  EXPECT_EQ(trouble.Kind, TroubleKind::FormatChanged);
  EXPECT_THAT(trouble.Reason, HasSubstr("rows make no sense"));
}

TEST_P(EveryFeed, WrongTypesAndHugeNumbersAreAChangedFormat) {
  const Asked asked = Ask();
  const auto good = Sent(Sessions(Date(2026, 11, 9), Date(2026, 11, 13), asked.Feed().Minutes));
  for (const std::string wrong :
       {"true", "{}", "[1]", "\"abc\"", "1e15", "1e308", "\"NaN\"", "\"inf\"", "\"1,234\""}) {
    SCOPED_TRACE(wrong);
    auto rows = good;
    rows[1].High = wrong;
    EXPECT_EQ(asked.Refusal(asked.Body(rows)).Kind, TroubleKind::FormatChanged);
  }
  for (const std::string wrong : {"1e400", "NaN", "1e99999"}) {
    SCOPED_TRACE(wrong);
    auto rows = good;
    rows[1].Open = wrong;
    rows[1].Volume = wrong;
    EXPECT_EQ(asked.Refusal(asked.Body(rows)).Kind, TroubleKind::FormatChanged);
  }
  auto rows = good;
  rows[1].Volume = "1e17";
  EXPECT_EQ(asked.Refusal(asked.Body(rows)).Kind, TroubleKind::FormatChanged);
}

TEST_P(EveryFeed, ACutAnswerIsNeverTakenForAWholeOne) {
  const Asked asked = Ask();
  const auto sent = Sessions(Date(2026, 11, 9), Date(2026, 11, 13), asked.Feed().Minutes);
  const std::string body = asked.Body(Sent(sent));
  const bool is_csv = asked.Feed().Layout.Shape == RowShape::Csv;
  const std::size_t step = std::max<std::size_t>(body.size() / 60, 1);
  for (std::size_t size = 0; size < body.size(); size += step) {
    const auto answer = asked.Answer(body.substr(0, size));
    if (is_csv && std::holds_alternative<UpstreamBars>(answer)) {
      // A text of lines doesn't show that it goes on; the bars that are there must be true, but for the last.
      const auto& bars = std::get<UpstreamBars>(answer).Bars;
      for (std::size_t i = 0; i + 1 < bars.size(); ++i) ASSERT_EQ(bars[i].Quote, sent[i]);
      continue;
    }
    ASSERT_TRUE(std::holds_alternative<Trouble>(answer)) << size;
    ASSERT_THAT(std::get<Trouble>(answer).Kind, AnyOf(TroubleKind::FormatChanged, TroubleKind::NothingThere));
  }
}

TEST_P(EveryFeed, WebPagesEmptyAnswersAndOtherTextAreAChangedFormat) {
  const Asked asked = Ask();
  const auto reason = [&](const std::string& body) {
    const Trouble trouble = asked.Refusal(body);
    EXPECT_EQ(trouble.Kind, TroubleKind::FormatChanged);
    return trouble.Reason;
  };
  EXPECT_THAT(reason(""), HasSubstr("it is empty"));
  EXPECT_THAT(reason(" \r\n "), HasSubstr("it is empty"));
  EXPECT_THAT(reason("<!DOCTYPE html><html><body>Verify your browser</body></html>"),
              HasSubstr("it is a web page"));
  EXPECT_THAT(reason("\n  <html></html>"), HasSubstr("it is a web page"));
  EXPECT_THAT(reason("Service under maintenance"), HasSubstr("answered in a form"));
  EXPECT_THAT(reason(std::string("\0\1\2\xFF", 4)), HasSubstr("answered in a form"));
}

TEST_P(EveryFeed, StatusesThatNoRuleNamesHaveTheirUsualMeaning) {
  const Asked asked = Ask();
  EXPECT_EQ(asked.Refusal("down for maintenance", 503, {{"Retry-After", "17"}}).Kind,
            TroubleKind::ServerDown);
  EXPECT_EQ(asked.Refusal("down for maintenance", 503, {{"retry-after", "17"}}).Wait, seconds{17});
  EXPECT_EQ(asked.Refusal("", 500).Kind, TroubleKind::ServerDown);
  EXPECT_EQ(asked.Refusal("", 302).Kind, TroubleKind::FormatChanged);
  EXPECT_THAT(asked.Refusal("", 401).Kind, AnyOf(TroubleKind::KeyRefused, TroubleKind::NotAllowed));
  EXPECT_THAT(asked.Refusal("<html>Too Many Requests</html>", 429).Kind,
              AnyOf(TroubleKind::Throttled, TroubleKind::Quota));
  EXPECT_EQ(asked.Refusal("", 429, {{"Retry-After", "30"}}).Wait, seconds{30});
}

TEST_P(EveryFeed, WhatAServiceSaysIsShownWithoutTheKey) {
  const Asked asked = Ask();
  for (const std::string member : {"detail", "message", "Information", "Note", "Error Message", "error"}) {
    for (const int status : {200, 400, 401, 403, 429}) {
      const auto answer = asked.Answer(R"({")" + member + R"(":"we detected your API key as )" +
                                           std::string{planted_key} + " and the 25 requests\\n per day\"}",
                                       status);
      ASSERT_TRUE(std::holds_alternative<Trouble>(answer));
      EXPECT_THAT(std::get<Trouble>(answer).Reason, Not(HasSubstr("PLANTED")));
      EXPECT_EQ(std::get<Trouble>(answer).Reason.find('\n'), std::string::npos);
    }
  }
}

TEST_P(EveryFeed, NoRowsAreNothing) {
  const Asked asked = Ask();
  EXPECT_EQ(asked.Refusal(asked.Body({})).Kind, TroubleKind::NothingThere);
}

TEST_P(EveryFeed, AClockChangeInTheMiddleLeavesTheTimesTrue) {
  const Asked asked = Ask(sys_days{2026y / April / 20});
  const auto spring = Sessions(Date(2026, 3, 5), Date(2026, 3, 11), asked.Feed().Minutes);
  EXPECT_EQ(asked.Bars(Sent(spring)), spring);
  const Asked later = Ask();
  const auto autumn = Sessions(Date(2026, 10, 29), Date(2026, 11, 4), asked.Feed().Minutes);
  EXPECT_EQ(later.Bars(Sent(autumn)), autumn);
}

TEST_P(EveryFeed, BarsOutsideOfTheSessionAreLeftOutAlsoOnAHalfDay) {
  const Asked asked = Ask(sys_days{2026y / December / 5});
  if (asked.Is_Daily()) {
    const auto sent = Sessions(Date(2026, 11, 25), Date(2026, 12, 1), daily_interval);
    ASSERT_THAT(sent, SizeIs(4));
    EXPECT_EQ(asked.Bars(Sent(sent)), sent);
    return;
  }
  const auto sent = Sessions(Date(2026, 11, 25), Date(2026, 11, 27), asked.Feed().Minutes);
  std::vector<Bar> all;
  std::mt19937 random{1};
  for (const Day date : {Date(2026, 11, 25), Date(2026, 11, 27)}) {
    for (seconds time = hours{4}; time < hours{20};
         time += minutes{asked.Feed().Minutes == 60 ? 30 : asked.Feed().Minutes}) {
      const auto end = date == Date(2026, 11, 27) ? hours{13} : hours{16};
      if (time >= session_open && time < end) continue;
      all.push_back({date, time, 1, 2, 0.5, 1.5, static_cast<std::int64_t>(random() % 100)});
    }
  }
  auto rows = Sent(sent);
  const auto outside = Sent(all);
  rows.insert(rows.end(), outside.begin(), outside.end());
  EXPECT_EQ(asked.Bars(rows), sent);
}

TEST_P(EveryFeed, DaysWithoutASessionAndTradesAreLeftOut) {
  const Asked asked = Ask();
  auto sent = Sessions(Date(2026, 11, 12), Date(2026, 11, 13), asked.Feed().Minutes);
  auto rows = Sent(sent);
  SentRow filler = rows.front();
  filler.Start.Date = Date(2026, 11, 14);
  filler.Volume = "0";
  rows.push_back(filler);
  EXPECT_EQ(asked.Bars(rows), sent);
}

TEST_P(EveryFeed, TheRunningBarIsNotFinal) {
  // 10:02:30 in New York; services that are late are read the later.
  const Asked probe = Ask();
  const auto now =
      sys_days{2026y / November / 19} + hours{15} + minutes{2} + seconds{30} + probe.Feed().Delay;
  const Asked asked = Ask(now);
  std::vector<Bar> sent;
  for (const Bar& bar : Sessions(Date(2026, 11, 18), Date(2026, 11, 19), asked.Feed().Minutes)) {
    if (bar.Date == Date(2026, 11, 18) || bar.Start <= At(10, 2)) sent.push_back(bar);
  }
  const UpstreamBars read = asked.Read(asked.Body(Sent(sent)));
  ASSERT_EQ(read.Bars.size(), sent.size());
  for (std::size_t i = 0; i < sent.size(); ++i) {
    const auto end = sent[i].Start + minutes{asked.Feed().Minutes};
    const bool is_over = sent[i].Date == Date(2026, 11, 18) || (!asked.Is_Daily() && end <= At(10, 2, 30));
    EXPECT_EQ(read.Bars[i].Final, is_over) << i;
  }
}

TEST_P(EveryFeed, ALiveQuoteAsTheLastRowIsNoBarOfItsOwn) {
  const auto now = sys_days{2026y / November / 19} + hours{15} + minutes{2} + seconds{30};
  const Asked asked = Ask(now);
  auto sent = Sessions(Date(2026, 11, 17), Date(2026, 11, 18), asked.Feed().Minutes);
  auto rows = Sent(sent);
  if (rows.size() < 12 && !asked.Is_Daily()) FAIL() << "too few rows to judge";
  rows.push_back({{Date(2026, 11, 19), At(10, 2, 17)}, "105.5", "105.5", "105.5", "105.5", "0"});
  const UpstreamBars read = asked.Read(asked.Body(rows));
  std::vector<Bar> final_bars;
  for (const auto& bar : read.Bars) {
    if (bar.Final) final_bars.push_back(bar.Quote);
  }
  std::vector<Bar> over;
  for (const Bar& bar : sent) {
    const auto zone = asked.Profile().Market_Zone;
    const auto end = asked.Is_Daily() ? seconds{hours{16}} : bar.Start + minutes{asked.Feed().Minutes};
    if (zone.Moment({bar.Date, std::min<seconds>(end, hours{16})}) + asked.Feed().Delay <= now)
      over.push_back(bar);
  }
  EXPECT_EQ(final_bars, over);
  EXPECT_EQ(read.Bars.size(), sent.size() + (asked.Is_Daily() ? 1 : 0));
}

TEST_P(EveryFeed, RowsFromTheFutureAreAChangedFormat) {
  const Asked asked = Ask(sys_days{2026y / November / 2});
  const auto rows = Sent(Sessions(Date(2026, 11, 9), Date(2026, 11, 13), asked.Feed().Minutes));
  const Trouble trouble = asked.Refusal(asked.Body(rows));
  EXPECT_EQ(trouble.Kind, TroubleKind::FormatChanged);
  EXPECT_THAT(trouble.Reason, HasSubstr("in the future"));
}

// What a client gets of the feed, in each interval that the feed serves.
TEST_P(EveryFeed, FoldedBarsKeepVolumesAndExtremesAndInventNothingButTheOpening) {
  const Asked asked = Ask();
  auto sent = Sessions(Date(2026, 11, 9), Date(2026, 11, 13), asked.Feed().Minutes);
  // A thin stock: most bars are missing, the first one of the first day among them.
  if (!asked.Is_Daily()) {
    std::mt19937 random{7};
    std::erase_if(sent, [&](const Bar& bar) {
      return (bar.Date == Date(2026, 11, 9) && bar.Start == session_open) || random() % 3 == 0;
    });
  }
  const auto bars = asked.Bars(Sent(sent));
  ASSERT_EQ(bars, sent);
  for (const int interval : asked.Feed().Serves) {
    SCOPED_TRACE(interval);
    const auto answer = Bars_Of(Answer_From_Feed(
        {bars, asked.Feed().Minutes, {Date(2026, 11, 14), seconds{0}}, true, asked.Profile().Title},
        {"IBM", interval, {}, 100}));
    ASSERT_FALSE(answer.empty());
    EXPECT_EQ(answer.front().Start, session_open);
    std::int64_t volume = 0;
    std::size_t invented = 0;
    for (const Bar& bar : answer) {
      volume += bar.Volume;
      EXPECT_EQ(Grid_Start(bar.Start, interval), bar.Start);
      double high = 0;
      double low = 1e9;
      const Bar* first = nullptr;
      const Bar* last = nullptr;
      for (const Bar& part : sent) {
        if (part.Date != bar.Date || Grid_Start(part.Start, interval) != bar.Start) continue;
        high = std::max(high, part.High);
        low = std::min(low, part.Low);
        if (first == nullptr) first = &part;
        last = &part;
      }
      if (first == nullptr) {
        ++invented;
        EXPECT_EQ(&bar, answer.data());
        EXPECT_EQ(bar, (Bar{bar.Date, session_open, sent.front().Open, sent.front().Open, sent.front().Open,
                            sent.front().Open, 0}));
        continue;
      }
      EXPECT_EQ(bar.High, high);
      EXPECT_EQ(bar.Low, low);
      EXPECT_EQ(bar.Open, first->Open);
      EXPECT_EQ(bar.Close, last->Close);
    }
    std::int64_t sum = 0;
    for (const Bar& bar : sent) sum += bar.Volume;
    EXPECT_EQ(volume, sum);
    EXPECT_LE(invented, 1U);
    for (std::size_t i = 1; i < answer.size(); ++i) EXPECT_TRUE(Earlier(answer[i - 1], answer[i]));
  }
}

TEST_P(EveryFeed, ManyRowsTakeTimeInProportion) {
  const Asked asked = Ask();
  // Many rows on few stamps: what counts is that each row is read.
  const auto sent = Sessions(Date(2026, 11, 12), Date(2026, 11, 13), asked.Feed().Minutes);
  const auto time_for = [&](std::size_t count) {
    std::vector<SentRow> rows;
    rows.reserve(count);
    const auto once = Sent(sent);
    while (rows.size() < count) rows.push_back(once[rows.size() % once.size()]);
    const std::string body = asked.Body(rows);
    const auto begin = steady_clock::now();
    EXPECT_THAT(asked.Read(body).Bars, SizeIs(sent.size()));
    return steady_clock::now() - begin;
  };
  const auto few = time_for(1500);
  const auto many = time_for(15000);
  // A reader that compares each row with all others would need a hundred times as long, not ten times.
  EXPECT_LT(many, few * 60 + milliseconds{50});
}

// ---- single services ----

TEST(UpstreamAnswer, AMillionRowsAreRead) {
  const Asked asked{"polygon", 2};
  const auto sent = Sessions(Date(2026, 11, 9), Date(2026, 11, 13), 1);
  const auto once = Sent(sent);
  std::vector<SentRow> rows;
  rows.reserve(1'000'000);
  while (rows.size() < 1'000'000) rows.push_back(once[rows.size() % once.size()]);
  EXPECT_THAT(asked.Read(asked.Body(rows)).Bars, SizeIs(sent.size()));
}

TEST(UpstreamAnswer, RefusalsAreToldByTheirOwnWords) {
  struct Case {
    const char* Name;
    int Status;
    const char* Body;
    TroubleKind Kind;
    std::optional<seconds> Wait;
  };
  // 12:34:56 in universal time is 07:34:56 in New York.
  const sys_seconds now = sys_days{2026y / November / 19} + hours{12} + minutes{34} + seconds{56};
  const auto next_minute = seconds{4};
  const auto next_hour = minutes{25} + seconds{4};
  const auto universal_midnight = hours{11} + next_hour;
  const auto new_york_midnight = hours{16} + next_hour;
  const std::vector<Case> cases = {
      {"tiingo", 429, R"({"detail":"Error: You have run over your hourly request allocation."})",
       TroubleKind::Quota, next_hour},
      {"tiingo", 200, R"({"detail":"Error: You have run over your hourly request allocation."})",
       TroubleKind::Quota, next_hour},
      {"tiingo", 200, R"({"detail":"Error: You have run over your daily request allocation."})",
       TroubleKind::Quota, new_york_midnight},
      {"tiingo", 429, "", TroubleKind::Quota, next_hour},
      {"tiingo", 404, R"({"detail":"Error: Ticker 'GONE' not found"})", TroubleKind::UnknownSymbol, {}},
      {"twelvedata", 503, R"({"status":"error","code":503,"message":"?"})", TroubleKind::ServerDown, {}},
      {"eodhd", 500, R"({"error":"Internal error"})", TroubleKind::ServerDown, {}},
      {"eodhd", 400, R"({"error":"No such period"})", TroubleKind::BadRequest, {}},
      {"tiingo", 401, R"({"detail":"Please supply a token"})", TroubleKind::KeyRefused, {}},
      {"alpaca",
       403,
       R"({"message":"subscription does not permit querying recent SIP data"})",
       TroubleKind::NotAllowed,
       {}},
      {"alpaca", 403, R"({"message":"forbidden."})", TroubleKind::KeyRefused, {}},
      {"alpaca", 401, "", TroubleKind::KeyRefused, {}},
      {"alpaca", 429, R"({"message":"too many requests."})", TroubleKind::Throttled, next_minute},
      {"alpaca", 200, R"({"bars":{},"next_page_token":null})", TroubleKind::NothingThere, {}},
      {"alpaca", 200, R"({"bars":null,"next_page_token":null})", TroubleKind::NothingThere, {}},
      {"alpaca", 200, R"({"bars":{"IBM":null},"next_page_token":null})", TroubleKind::NothingThere, {}},
      {"twelvedata", 429,
       R"({"code":429,"message":"You have run out of API credits for the current minute. 9 were used","status":"error"})",
       TroubleKind::Throttled, next_minute},
      {"twelvedata", 200,
       R"({"code":429,"message":"You have run out of API credits for the current minute. 9 were used","status":"error"})",
       TroubleKind::Throttled, next_minute},
      {"twelvedata", 429,
       R"({"code":429,"message":"You have run out of API credits for the day.","status":"error"})",
       TroubleKind::Quota, universal_midnight},
      {"twelvedata",
       200,
       R"({"code":400,"message":"No data is available on the specified dates. Try others.","status":"error"})",
       TroubleKind::NothingThere,
       {}},
      {"twelvedata",
       404,
       R"({"code":400,"message":"**symbol** not found: IBM.","status":"error"})",
       TroubleKind::UnknownSymbol,
       {}},
      {"twelvedata",
       401,
       R"({"code":401,"message":"**apikey** parameter is incorrect","status":"error"})",
       TroubleKind::KeyRefused,
       {}},
      {"twelvedata",
       404,
       R"({"code":404,"message":"not available with your plan","status":"error"})",
       TroubleKind::NotAllowed,
       {}},
      {"twelvedata",
       400,
       R"({"code":400,"message":"Invalid **interval** provided: 0.99min.","status":"error"})",
       TroubleKind::BadRequest,
       {}},
      {"polygon", 429,
       R"({"status":"ERROR","error":"You've exceeded the maximum requests per minute, please wait"})",
       TroubleKind::Throttled, next_minute},
      {"polygon", 401, R"({"status":"ERROR","error":"Unknown API Key"})", TroubleKind::KeyRefused, {}},
      {"polygon",
       403,
       R"({"status":"NOT_AUTHORIZED","message":"Your plan doesn't include this data timeframe."})",
       TroubleKind::NotAllowed,
       {}},
      {"polygon",
       403,
       R"({"status":"NOT_AUTHORIZED","message":"Attempted to request today's data before end of day."})",
       TroubleKind::NothingThere,
       {}},
      {"polygon",
       200,
       R"({"ticker":"IBM","queryCount":0,"resultsCount":0,"adjusted":true,"status":"OK"})",
       TroubleKind::NothingThere,
       {}},
      {"alphavantage", 200, R"({"Information":"Our standard API rate limit is 25 requests per day."})",
       TroubleKind::Quota, new_york_midnight},
      {"alphavantage",
       200,
       R"({"Information":"Thank you! This is a premium endpoint."})",
       TroubleKind::NotAllowed,
       {}},
      {"alphavantage", 200, R"({"Information":"Please consider 1 request per second."})",
       TroubleKind::Throttled, seconds{2}},
      {"alphavantage", 200,
       R"({"Note":"Our standard API call frequency is 5 calls per minute and 500 per day."})",
       TroubleKind::Throttled, next_minute},
      {"alphavantage",
       200,
       R"({"Error Message":"Invalid API call. Please retry."})",
       TroubleKind::UnknownSymbol,
       {}},
      {"alphavantage",
       200,
       R"({"Error Message":"the parameter apikey is invalid or missing."})",
       TroubleKind::KeyRefused,
       {}},
      {"eodhd", 402, "You exceeded your daily API requests limit", TroubleKind::Quota, universal_midnight},
      {"eodhd", 403, R"({"error":"Error message description","code":403})", TroubleKind::NotAllowed, {}},
      {"eodhd", 404, "Ticker Not Found.", TroubleKind::UnknownSymbol, {}},
      {"eodhd", 200, "Ticker Not Found.", TroubleKind::UnknownSymbol, {}},
      {"eodhd", 401, "Unauthenticated", TroubleKind::KeyRefused, {}},
      {"eodhd", 429, "Too Many Requests", TroubleKind::Throttled, next_minute},
      {"yahoo", 429, "Edge: Too Many Requests", TroubleKind::Throttled, minutes{15}},
      {"yahoo", 200, "Too Many Requests\r\n", TroubleKind::Throttled, minutes{15}},
      {"yahoo",
       404,
       R"({"chart":{"result":null,"error":{"code":"Not Found","description":"No data found, symbol may be delisted"}}})",
       TroubleKind::UnknownSymbol,
       {}},
      {"yahoo",
       422,
       R"({"chart":{"result":null,"error":{"code":"Unprocessable Entity","description":"1m data not available. The requested range must be within the last 30 days."}}})",
       TroubleKind::NothingThere,
       {}},
      {"yahoo",
       400,
       R"({"chart":{"result":null,"error":{"code":"Bad Request","description":"Invalid interval"}}})",
       TroubleKind::BadRequest,
       {}},
      {"yahoo", 200, R"({"chart":{"result":null,"error":null}})", TroubleKind::FormatChanged, {}},
      {"cboe", 403, "<html>AccessDenied</html>", TroubleKind::UnknownSymbol, {}},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(std::string{each.Name} + " " + each.Body);
    const Asked asked{each.Name, 0, now};
    const Trouble trouble = asked.Refusal(each.Body, each.Status);
    EXPECT_EQ(trouble.Kind, each.Kind) << trouble.Reason;
    EXPECT_EQ(trouble.Wait, each.Wait);
    EXPECT_THAT(trouble.Reason, HasSubstr(asked.Profile().Title.substr(0, 5)));
  }
}

TEST(UpstreamAnswer, RetryAfterGoesBeforeTheProfilesOwnWait) {
  const Asked asked{"eodhd", 0};
  EXPECT_EQ(asked.Refusal("", 429, {{"RETRY-AFTER", "90"}}).Wait, seconds{90});
  EXPECT_EQ(asked.Refusal("", 404, {{"Retry-After", "90"}}).Wait, std::nullopt);
}

TEST(UpstreamAnswer, RetryAfterIsSecondsOrADate) {
  const sys_seconds now = sys_days{1994y / November / 6} + hours{8} + minutes{49};
  EXPECT_EQ(Read_Retry_After("120", now), seconds{120});
  EXPECT_EQ(Read_Retry_After(" 0 ", now), seconds{0});
  EXPECT_EQ(Read_Retry_After("Sun, 06 Nov 1994 08:49:37 GMT", now), seconds{37});
  EXPECT_EQ(Read_Retry_After("Sat, 05 Nov 1994 08:49:37 GMT", now), seconds{0});
  EXPECT_EQ(Read_Retry_After("99999999999999999999999", now), days{31});
  EXPECT_EQ(Read_Retry_After("Sun, 06 Nov 2094 08:49:37 GMT", now), days{31});
  for (const auto* value :
       {"", "-1", "soon", "1.5", "Sun, 06 Abc 1994 08:49:37 GMT", "Sun, 36 Nov 1994 08:49:37 GMT",
        "Sun, 06 Nov 1994 08:49:37 EST", "Sunday, 06-Nov-94 08:49:37 GMT"})
    EXPECT_EQ(Read_Retry_After(value, now), std::nullopt) << value;
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
