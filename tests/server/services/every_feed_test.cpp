#include <chrono>
#include <gmock/gmock.h>
#include <random>

#include "market/bar_maker.h"
#include "server/http/quote_request.h"
#include "server/http/quote_text.h"
#include "server/services/asked.h"
#include "server/services/upstream_answer.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

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

}  // namespace
}  // namespace hq::server
