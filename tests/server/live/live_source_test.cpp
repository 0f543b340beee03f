#include "server/live/live_source.h"

#include <gmock/gmock.h>
#include <thread>

#include "base/latch.h"
#include "server/csv/csv_source.h"
#include "server/http/quote_text.h"
#include "server/live/replay.h"
#include "server/simulated/simulated_source.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

// Saturday: the session before it is over.
const Day saturday = Date(2026, 11, 14);
const Day friday = Date(2026, 11, 13);
const Day monday = Date(2026, 11, 16);

QuoteRequest Daily(const std::string& symbol, int sessions = 20) {
  return {symbol, daily_interval, {}, sessions};
}

HttpReply Reply(int status, std::string body, std::vector<std::pair<std::string, std::string>> headers = {}) {
  return {status, std::move(headers), std::move(body)};
}

std::string Source_Of(const Answer& answer) {
  if (const auto* failure = std::get_if<Failure>(&answer)) return "failed: " + failure->Reason;
  return std::get<BarTable>(answer).Source;
}

// A live source on the clock, the archive's file and the services of one test.
class LiveSourceTest : public testing::Test {
 protected:
  LiveSourceTest() {
    Fetcher->Answer = [this](const HttpRequest& request) -> FetchResult {
      EXPECT_THAT(request.Secrets, Not(IsEmpty()));
      if (request.Address.find("api.tiingo.com") != std::string::npos && Tiingo_Answer)
        return Tiingo_Answer(request);
      if (request.Address.find("api.tiingo.com") != std::string::npos) return Tiingo.Answer(request.Address);
      if (Other_Answer) return Other_Answer(request);
      return FetchFailure{FetchHop::NameLookUp, "There is no such name."};
    };
  }

  // As after a start of the program.
  std::unique_ptr<LiveSource> Start(std::vector<ChainLink> chain = {Planted_Service("tiingo")}) {
    return std::make_unique<LiveSource>(
        std::move(chain),
        std::make_shared<Archive>(Folder.Path() / "quotes.db",
                                  [this](const std::string& line) { Report(line); }),
        Fetcher, Clock.Options(), [this](const std::string& line) { Report(line); });
  }
  void Report(const std::string& line) {
    const std::lock_guard lock{mutex_};
    EXPECT_THAT(line, Not(HasSubstr("PLANTED")));
    reports_.push_back(line);
  }
  [[nodiscard]] std::vector<std::string> Reports() {
    const std::lock_guard lock{mutex_};
    return reports_;
  }
  [[nodiscard]] std::size_t Calls() const { return Fetcher->Requests().size(); }
  static std::vector<Bar> Expected(int number, Day last, int sessions, int minutes_long = daily_interval) {
    std::vector<Bar> bars = Market_Bars(number, {last - days{sessions * 2 + 20}, last}, minutes_long);
    std::set<Day> dates;
    for (const Bar& bar : bars) dates.insert(bar.Date);
    const Day first = *std::next(dates.rbegin(), sessions - 1);
    std::erase_if(bars, [first](const Bar& bar) { return bar.Date < first; });
    return bars;
  }

  TemporaryFolder Folder;
  TestClock Clock{New_York(saturday, 10)};
  TiingoReplay Tiingo{Clock};
  std::shared_ptr<ScriptedFetcher> Fetcher = std::make_shared<ScriptedFetcher>();
  std::function<FetchResult(const HttpRequest&)> Tiingo_Answer;
  std::function<FetchResult(const HttpRequest&)> Other_Answer;

 private:
  std::mutex mutex_;
  std::vector<std::string> reports_;
};

TEST_F(LiveSourceTest, ServesWhatTheServiceSendsAndNamesIt) {
  const auto source = Start();
  const Answer answer = source->Bars(Daily("S3"));
  EXPECT_EQ(Bars_Of(answer), Expected(3, friday, 20));
  EXPECT_EQ(Source_Of(answer), "Tiingo (fetched 2026-11-14 10:00)");
  EXPECT_THAT(Quote_Text(std::get<BarTable>(answer)),
              StartsWith("Source: Tiingo (fetched 2026-11-14 10:00)\n26"));
  EXPECT_TRUE(source->Real_Quotes());
  EXPECT_EQ(source->Description(), "Tiingo.");
  EXPECT_GE(source->Archive_Size(), std::filesystem::file_size(Folder.Path() / "quotes.db"));
}

TEST_F(LiveSourceTest, WhatWasFetchedIsNotAskedForAgain) {
  const auto source = Start();
  const auto first = Bars_Of(source->Bars(Daily("S3")));
  const Answer second = source->Bars(Daily("s3"));
  EXPECT_EQ(Bars_Of(second), first);
  EXPECT_EQ(Source_Of(second), "Tiingo (archive, fetched 2026-11-14 10:00)");
  EXPECT_EQ(Calls(), 1U);
  EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3", 5))), Expected(3, friday, 5));
  EXPECT_EQ(Calls(), 1U);
}

TEST_F(LiveSourceTest, ASecondRunAsksForTheNewDaysAndAWeekBeforeThemAndTakesCorrections) {
  const auto source = Start();
  EXPECT_THAT(source->Bars(Daily("S3")), testing::VariantWith<BarTable>(testing::_));
  Clock.Set(New_York(monday, 17));
  Tiingo.Changed[Date(2026, 11, 12)] = 4711;
  const auto bars = Bars_Of(source->Bars(Daily("S3")));
  auto expected = Expected(3, monday, 20);
  for (Bar& bar : expected) {
    if (bar.Date == Date(2026, 11, 12)) bar.Volume = 4711;
  }
  EXPECT_EQ(bars, expected);
  ASSERT_THAT(Tiingo.Asked("S3"), SizeIs(2));
  const DayRange again = Tiingo.Asked("S3").back();
  EXPECT_THAT(again.First, AllOf(Ge(friday - days{9}), Le(friday - days{4})));
  EXPECT_EQ(again.Last, monday);
}

TEST_F(LiveSourceTest, TheRunningDayIsLeftOutUntilItsEnd) {
  const auto source = Start();
  Clock.Set(New_York(monday, 12));
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))).back().Date, friday);
  const auto minutes = Bars_Of(source->Bars({"S3", 10, {}, 1}));
  EXPECT_EQ(minutes.back().Date, monday);
  EXPECT_EQ(minutes.back().Start, At(11, 40))
      << "the bar of 11:50 may still change: the service is a minute late";
  Clock.Set(New_York(monday, 16, 30));
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))).back().Date, monday);
  EXPECT_EQ(Bars_Of(source->Bars({"S3", 10, {}, 1})).back().Start, At(15, 50));
}

TEST_F(LiveSourceTest, IntradayBarsAreFoldedFromTheServicesOwnAndKeepItsVolume) {
  const auto source = Start();
  const auto fives = Expected(3, friday, 2, 5);
  for (const int interval : {5, 10, 20, 30, 60}) {
    const auto bars = Bars_Of(source->Bars({"S3", interval, {}, 2}));
    std::int64_t volume = 0;
    std::int64_t expected = 0;
    double high = 0;
    double highest = 0;
    for (const Bar& bar : bars) volume += bar.Volume, high = std::max(high, bar.High);
    for (const Bar& bar : fives) expected += bar.Volume, highest = std::max(highest, bar.High);
    EXPECT_EQ(volume, expected) << interval;
    EXPECT_EQ(high, highest) << interval;
    EXPECT_EQ(bars.front().Start, session_open);
  }
  // All of them are made of the same bars.
  EXPECT_EQ(Tiingo.Asked("S3").size(), Calls());
  EXPECT_LE(Calls(), 2U);
  Clock.Advance(1h);
  EXPECT_EQ(Source_Of(source->Bars({"S3", 5, {}, 2})),
            "Tiingo, not adjusted (archive, fetched 2026-11-14 10:00)");
}

TEST_F(LiveSourceTest, MinutesOutliveTheServicesOwnWindow) {
  const auto source = Start();
  const auto first = Bars_Of(source->Bars({"S3", 5, saturday, 3}));
  Clock.Set(New_York(Date(2027, 3, 1), 10));
  Tiingo_Answer = [](const HttpRequest&) { return Reply(200, "[]"); };
  EXPECT_EQ(Bars_Of(source->Bars({"S3", 5, saturday, 3})), first);
}

TEST_F(LiveSourceTest, AfterASplitAllIsFetchedAnewAndTheOldStaysInTheArchive) {
  {
    const auto source = Start();
    EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))).size(), 20U);
  }
  Clock.Set(New_York(monday, 17));
  Tiingo.Split_Before = monday;
  const auto source = Start();
  auto expected = Expected(3, monday, 20);
  for (Bar& bar : expected) {
    if (bar.Date == monday) continue;
    for (double* price : {&bar.Open, &bar.High, &bar.Low, &bar.Close}) *price /= 2;
  }
  const auto bars = Bars_Of(source->Bars(Daily("S3")));
  ASSERT_EQ(bars.size(), expected.size());
  for (std::size_t i = 0; i < bars.size(); ++i) EXPECT_NEAR(bars[i].Close, expected[i].Close, 1e-6);
  EXPECT_THAT(Reports(), Contains(HasSubstr("has changed the past prices of S3")));
  std::set<std::string> kept;
  for (const SeriesInfo& info : Archive{Folder.Path() / "quotes.db"}.List()) kept.insert(info.Key.Adjustment);
  EXPECT_THAT(kept, ElementsAre("splits", "splits until 2026-11-16"));
}

TEST_F(LiveSourceTest, TheNextSourceIsAskedWhenOneIsDownAndTheAnswerNamesIt) {
  const auto file = Folder.Write("S3.csv", "Date,Open,High,Low,Close,Volume\n2026-11-13,1,2,1,2,7\n");
  const auto csv = std::make_shared<CsvSource>(Folder.Path());
  const auto source =
      Start({Planted_Service("alpaca"), Planted_Service("tiingo"), OtherSource{"csv:F", csv}});
  EXPECT_THAT(Source_Of(source->Bars(Daily("S3"))), StartsWith("Tiingo (fetched "));
  EXPECT_EQ(source->Sources().at(0).State, SourceState::Down);
  EXPECT_EQ(source->Sources().at(1).State, SourceState::Ready);
  EXPECT_EQ(State_Text(source->Sources().at(0)), "down until 2026-11-14 10:01");

  Tiingo_Answer = [](const HttpRequest&) { return FetchFailure{FetchHop::TimeOut, "It is slow."}; };
  const Answer answer = source->Bars({"S3", daily_interval, Date(2026, 11, 14), 1});
  EXPECT_THAT(Source_Of(answer), StartsWith("Tiingo (archive")) << "what is there is served without asking";
  const Answer other = source->Bars(Daily("S9"));
  EXPECT_EQ(Failure_Of(other).Kind, FailureKind::Unavailable);
  EXPECT_THAT(Failure_Of(other).Reason,
              AllOf(HasSubstr("Alpaca: There is no such name."), HasSubstr("Tiingo: It is slow.")));
  Clock.Advance(2min);
  Folder.Write("S9.csv", "Date,Open,High,Low,Close,Volume\n2026-11-13,1,2,1,2,7\n");
  EXPECT_THAT(Source_Of(source->Bars(Daily("S9"))), HasSubstr("iles"));
}

TEST_F(LiveSourceTest, AServiceThatIsDownIsLeftAloneForAMinute) {
  Tiingo_Answer = [](const HttpRequest&) {
    return FetchFailure{FetchHop::NameLookUp, "There is no such name."};
  };
  const auto source = Start();
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S1"))).Kind, FailureKind::Unavailable);
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S2"))).Kind, FailureKind::Unavailable);
  EXPECT_EQ(Calls(), 1U);
  Clock.Advance(61s);
  Tiingo_Answer = nullptr;
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S2"))).size(), 20U);
}

TEST_F(LiveSourceTest, AServiceThatIsDownIsAnsweredFromTheArchiveAndThatIsSaid) {
  { EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3"))).size(), 20U); }
  Clock.Set(New_York(monday, 17));
  Tiingo_Answer = [](const HttpRequest&) {
    return FetchFailure{FetchHop::Connection, "The connection was refused."};
  };
  const auto source = Start();
  const Answer answer = source->Bars(Daily("S3"));
  EXPECT_EQ(Bars_Of(answer), Expected(3, friday, 20));
  EXPECT_EQ(Source_Of(answer),
            "Tiingo (archive, fetched 2026-11-14 10:00; Tiingo: The connection was refused)");
}

TEST_F(LiveSourceTest, TheArchiveComesBeforeQuotesThatAreNotReal) {
  EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3"))).size(), 20U);
  Clock.Set(New_York(monday, 17));
  Tiingo_Answer = [](const HttpRequest&) { return FetchFailure{FetchHop::Connection, "Refused."}; };
  const auto source =
      Start({Planted_Service("tiingo"),
             OtherSource{"simulated", std::make_shared<SimulatedSource>(Fixed_Clock(monday, At(17, 0)))}});
  EXPECT_FALSE(source->Real_Quotes());
  EXPECT_THAT(Source_Of(source->Bars(Daily("S3"))), StartsWith("Tiingo (archive"));
  EXPECT_THAT(Source_Of(source->Bars(Daily("MSFT"))), HasSubstr("NOT real"));
}

TEST_F(LiveSourceTest, AFailingServiceIsTriedThreeTimesWithGrowingPauses) {
  int calls = 0;
  Tiingo_Answer = [&](const HttpRequest&) {
    ++calls;
    return Reply(503, "down");
  };
  const auto source = Start();
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S3"))).Kind, FailureKind::Unavailable);
  EXPECT_EQ(calls, 3);
  EXPECT_THAT(Clock.Waits(), ElementsAre(1s, 3s));
}

TEST_F(LiveSourceTest, AServiceThatComesBackWithinTheTriesIsServed) {
  int calls = 0;
  Tiingo_Answer = [&](const HttpRequest& request) -> FetchResult {
    if (++calls == 1) return FetchFailure{FetchHop::BrokenOff, "It broke off."};
    if (calls == 2) return Reply(502, "");
    return Tiingo.Answer(request.Address);
  };
  EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3"))), Expected(3, friday, 20));
}

TEST_F(LiveSourceTest, AllTriesEndWithinTheTimeThatAClientWaits) {
  for (const auto each : {milliseconds{11s}, milliseconds{24s}}) {
    Tiingo_Answer = [&](const HttpRequest&) {
      Clock.Advance(std::min(each, Fetcher->Limits().back()));
      return Reply(503, "", {{"retry-after", "5"}});
    };
    const auto began = Clock.Now();
    const auto source = Start();
    EXPECT_EQ(Failure_Of(source->Bars(Daily("S3"))).Kind, FailureKind::Unavailable);
    EXPECT_LE(Clock.Now() - began, 25s);
    Clock.Advance(10min);
  }
  EXPECT_THAT(Fetcher->Limits(), Each(Le(milliseconds{12s})));
}

TEST_F(LiveSourceTest, AShortRetryAfterIsWaitedForAndALongOneClosesTheService) {
  int calls = 0;
  Tiingo_Answer = [&](const HttpRequest& request) -> FetchResult {
    if (++calls == 1) return Reply(429, "slow down", {{"retry-after", "7"}});
    return Tiingo.Answer(request.Address);
  };
  EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3"))).size(), 20U);
  EXPECT_THAT(Clock.Waits(), ElementsAre(7s));

  Tiingo_Answer = [](const HttpRequest&) { return Reply(429, "slow down", {{"retry-after", "7200"}}); };
  auto source = Start();
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S4"))).Kind, FailureKind::Unavailable);
  Tiingo_Answer = nullptr;
  const auto before = Calls();
  // Also after a restart.
  source = Start();
  EXPECT_THAT(Failure_Of(source->Bars(Daily("S4"))).Reason, HasSubstr("out of quota until 2026-11-14 12:00"));
  EXPECT_EQ(State_Text(source->Sources().at(0)), "out of quota until 2026-11-14 12:00");
  EXPECT_EQ(Calls(), before);
  Clock.Advance(2h + 1min);
  EXPECT_EQ(source->Sources().at(0).State, SourceState::Ready);
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S4"))).size(), 20U);
}

TEST_F(LiveSourceTest, TooManyWithoutATimeClosesForLongerEachTime) {
  Other_Answer = [](const HttpRequest&) { return Reply(429, "<html>Too many</html>"); };
  LiveService alpaca = Planted_Service("alpaca");
  SourceProfile silent = *alpaca.Profile;
  silent.Troubles.clear();
  alpaca.Profile = std::make_shared<const SourceProfile>(silent);
  const auto source = Start({alpaca});
  std::vector<seconds> closed;
  for (int i = 0; i < 7; ++i) {
    const auto calls = Calls();
    EXPECT_EQ(Failure_Of(source->Bars(Daily("S3"))).Kind, FailureKind::Unavailable);
    EXPECT_EQ(Calls(), calls + 1);
    const auto until = source->Sources().at(0).Until;
    ASSERT_TRUE(until);
    closed.push_back(duration_cast<seconds>(PacingTime{*until} - Clock.Now()));
    Clock.Set(PacingTime{*until} + 1s);
  }
  EXPECT_THAT(closed, ElementsAre(15min, 30min, 1h, 2h, 4h, 4h, 4h));
}

TEST_F(LiveSourceTest, AnUnknownSymbolIsAskedForOnceADay) {
  auto source = Start();
  EXPECT_EQ(Failure_Of(source->Bars(Daily("GONE"))).Kind, FailureKind::UnknownSymbol);
  EXPECT_EQ(Failure_Of(source->Bars(Daily("gone"))).Kind, FailureKind::UnknownSymbol);
  EXPECT_THAT(Failure_Of(source->Bars({"GONE", 5, {}, 1})).Reason, HasSubstr("GONE"));
  EXPECT_EQ(Calls(), 1U);
  source = Start();
  EXPECT_EQ(Failure_Of(source->Bars(Daily("GONE"))).Kind, FailureKind::UnknownSymbol);
  EXPECT_EQ(Calls(), 1U);
  Clock.Advance(25h);
  EXPECT_EQ(Failure_Of(source->Bars(Daily("GONE"))).Kind, FailureKind::UnknownSymbol);
  EXPECT_EQ(Calls(), 2U);
}

TEST_F(LiveSourceTest, ADayLimitIsRememberedAcrossRestartsAndEndsAtItsMidnight) {
  // EODHD: 20 calls a day until midnight UTC.
  const SourceProfile profile = Shipped("eodhd");
  ASSERT_EQ(profile.Pacing.Calls_A_Day, 20);
  Other_Answer = [&](const HttpRequest& request) {
    const DayRange asked{Read_Date(Behind(request.Address, "from=", "&")),
                         Read_Date(Behind(request.Address, "to=", "&"))};
    return Reply(200, AnswerWriter{profile, 0, "X"}.Body(Sent(Market_Bars(5, asked, daily_interval))));
  };
  int answered = 0;
  for (int i = 0; i < 30; ++i) {
    const auto source = Start({Planted_Service("eodhd")});
    const Answer answer = source->Bars(Daily("X" + std::to_string(i), 5));
    if (const auto* table = std::get_if<BarTable>(&answer)) {
      answered += table->Bars.empty() ? 0 : 1;
    } else {
      EXPECT_THAT(std::get<Failure>(answer).Reason, HasSubstr("20 requests a day"));
    }
    Clock.Advance(1min);
  }
  EXPECT_EQ(answered, 20);
  EXPECT_EQ(Calls(), 20U);
  const auto source = Start({Planted_Service("eodhd")});
  EXPECT_EQ(State_Text(source->Sources().at(0)), "out of quota until 2026-11-14 19:00");
  Clock.Set(New_York(saturday, 19, 1));
  EXPECT_EQ(Bars_Of(source->Bars(Daily("X29", 5))).size(), 5U);
}

TEST_F(LiveSourceTest, ARefusedKeyIsNotSentAgain) {
  Tiingo_Answer = [](const HttpRequest&) {
    return Reply(401, R"({"detail":"Invalid token PLANTED+KEY/4711."})");
  };
  const auto source = Start();
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S3"))).Kind, FailureKind::Unavailable);
  EXPECT_THAT(Failure_Of(source->Bars(Daily("S4"))).Reason,
              AllOf(HasSubstr("key"), Not(HasSubstr("PLANTED"))));
  EXPECT_EQ(Calls(), 1U);
  EXPECT_EQ(State_Text(source->Sources().at(0)), "key refused");
  EXPECT_THAT(Reports(), SizeIs(1));
}

TEST_F(LiveSourceTest, AServiceWithoutItsKeyIsNotAsked) {
  const auto source = Start({LiveService{Shared_Profile("tiingo"), {}}});
  EXPECT_THAT(Failure_Of(source->Bars(Daily("S3"))).Reason, HasSubstr("Tiingo needs a key"));
  EXPECT_EQ(source->Sources().at(0).State, SourceState::NeedsKey);
  EXPECT_EQ(Calls(), 0U);
}

TEST_F(LiveSourceTest, AnswersThatMakeNoSenseDontReachTheArchive) {
  for (const char* body :
       {"", "<html>Log in</html>", R"([{"date":"2026-11-13T00:00:00.000Z","open":1)", "[1,2,3]",
        R"([{"date":"2026-11-13T00:00:00.000Z","open":"x","high":1,"low":1,"close":1,"volume":1}])"}) {
    SCOPED_TRACE(body);
    Tiingo_Answer = [body](const HttpRequest&) { return Reply(200, body); };
    const auto source = Start();
    EXPECT_EQ(Failure_Of(source->Bars(Daily("S3"))).Kind, FailureKind::Unavailable);
  }
  EXPECT_THAT(Archive{Folder.Path() / "quotes.db"}.List(), IsEmpty());
  Tiingo_Answer = nullptr;
  EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3"))), Expected(3, friday, 20));
}

TEST_F(LiveSourceTest, WhatAServiceWritesBesideTheBarsIsTold) {
  Other_Answer = [](const HttpRequest&) {
    return Reply(200, R"([{"date":"2026-11-13","open":1,"high":2,"low":1,"close":2,"adjusted_close":2,)"
                      R"("volume":7,"warning":"One year only for key PLANTED+KEY/4711."}])");
  };
  const auto source = Start({Planted_Service("eodhd")});
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))).size(), 1U);
  EXPECT_THAT(Reports(), ElementsAre("EODHD says with the bars: \"One year only for key ***.\""));
  EXPECT_THAT(source->Try_Out("eodhd", "S3").Text, HasSubstr("It says: \"One year only"));
}

TEST_F(LiveSourceTest, ASymbolThatNobodyServesIsToldAsUnknown) {
  const auto source =
      Start({Planted_Service("tiingo"), OtherSource{"csv:F", std::make_shared<CsvSource>(Folder.Path())}});
  const Failure failure = Failure_Of(source->Bars(Daily("GONE")));
  EXPECT_EQ(failure.Kind, FailureKind::UnknownSymbol);
  EXPECT_THAT(failure.Reason, HasSubstr("Tiingo doesn't know the symbol"));
  EXPECT_EQ(Failure_Of(Start({Planted_Service("tiingo")})->Bars(Daily("opra:X"))).Kind,
            FailureKind::UnknownSymbol);
}

TEST_F(LiveSourceTest, SymbolsOfTheArchiveAreFound) {
  const auto source = Start();
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S31"))).size(), 20U);
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S4"))).size(), 20U);
  const auto found = source->Find_Symbols("s3", 10);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].Symbol, "S31");
  EXPECT_EQ(source->Find_Symbols("", 1).size(), 1U);
}

TEST_F(LiveSourceTest, RequestsForTheSameDataShareOneFetch) {
  constexpr int clients = 16;
  Latch all_ask{clients};
  Tiingo_Answer = [&](const HttpRequest& request) {
    // Nothing is sent before all have begun to ask.
    all_ask.Wait();
    return Tiingo.Answer(request.Address);
  };
  const auto source = Start();
  std::vector<std::vector<Bar>> answers(clients);
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < clients; ++i) {
      threads.emplace_back([&, i] {
        all_ask.Count_Down();
        answers[static_cast<std::size_t>(i)] = Bars_Of(source->Bars(Daily("S3")));
      });
    }
  }
  EXPECT_THAT(answers, Each(Expected(3, friday, 20)));
  EXPECT_EQ(Calls(), 1U);
}

TEST_F(LiveSourceTest, ManyThreadsNeverGetTheBarsOfAnotherSymbol) {
  constexpr int clients = 8;
  constexpr int symbols = 12;
  const auto tiingo = Planted_Service("tiingo");
  SourceProfile unhurried = *tiingo.Profile;
  unhurried.Pacing = {};
  const auto source = Start({LiveService{std::make_shared<const SourceProfile>(unhurried), tiingo.Keys}});
  std::atomic<int> wrong = 0;
  {
    std::vector<std::jthread> threads;
    for (int client = 0; client < clients; ++client) {
      threads.emplace_back([&, client] {
        std::mt19937 random{static_cast<unsigned>(client)};
        for (int i = 0; i < symbols * 3; ++i) {
          const int number = 1 + static_cast<int>(random() % symbols);
          const bool is_daily = random() % 2 == 0;
          const Answer answer =
              source->Bars({"S" + std::to_string(number), is_daily ? daily_interval : 30, {}, 3});
          const auto* table = std::get_if<BarTable>(&answer);
          if (table == nullptr || table->Bars.empty()) {
            ++wrong;
            continue;
          }
          for (const Bar& bar : table->Bars) {
            if (bar.Low < number * 100.0 || bar.High > number * 100.0 + 50) ++wrong;
          }
          if (i % 10 == 0) static_cast<void>(source->Sources());
          if (i % 15 == 0) static_cast<void>(source->Find_Symbols("S", 5));
        }
      });
    }
  }
  EXPECT_EQ(wrong, 0);
  for (int number = 1; number <= symbols; ++number)
    EXPECT_LE(Tiingo.Asked("S" + std::to_string(number)).size(), 2U) << "once for each interval";
  Archive archive{Folder.Path() / "quotes.db"};
  EXPECT_THAT(archive.Check(), IsEmpty());
  for (const SeriesInfo& info : archive.List()) {
    const int number = std::stoi(info.Key.Symbol.substr(1));
    for (const Bar& bar : archive.Bars(info.Key, info.Days)) {
      ASSERT_GE(bar.Low, number * 100.0);
      ASSERT_LE(bar.High, number * 100.0 + 50);
    }
  }
}

TEST_F(LiveSourceTest, GivingUpEndsAWaitAtOnce) {
  LiveOptions options;
  options.Clock = [this] { return Clock.Now(); };
  const auto source =
      std::make_unique<LiveSource>(std::vector<ChainLink>{Planted_Service("tiingo")},
                                   std::make_shared<Archive>(std::filesystem::path{}), Fetcher, options);
  Latch asked;
  Tiingo_Answer = [&](const HttpRequest&) {
    asked.Count_Down();
    return Reply(429, "", {{"retry-after", "20"}});
  };
  const auto began = steady_clock::now();
  Failure failure;
  {
    const std::jthread client{[&] { failure = Failure_Of(source->Bars(Daily("S3"))); }};
    asked.Wait();
    source->Give_Up(true);
  }
  EXPECT_LT(steady_clock::now() - began, 10s);
  EXPECT_EQ(failure.Kind, FailureKind::Unavailable);
  source->Give_Up(false);
  Clock.Advance(24h);
  Tiingo_Answer = nullptr;
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))).size(), 20U);
}

TEST_F(LiveSourceTest, ADamagedArchiveIsSetAsideToldAndBegunAnew) {
  EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3"))).size(), 20U);
  Folder.Write("quotes.db", "This is no database, though it once was one.");
  std::filesystem::remove(Folder.Path() / "quotes.db-wal");
  const auto source = Start();
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))), Expected(3, friday, 20));
  EXPECT_THAT(Reports(), Contains(HasSubstr("is damaged")));
  EXPECT_TRUE(std::filesystem::exists(Folder.Path() / "quotes.db.damaged-1"));
}

TEST_F(LiveSourceTest, TwoServersOnOneFileShareWhatTheyFetch) {
  const auto one = Start();
  const auto other = Start();
  EXPECT_EQ(Bars_Of(one->Bars(Daily("S3"))).size(), 20U);
  EXPECT_EQ(Source_Of(other->Bars(Daily("S3"))), "Tiingo (archive, fetched 2026-11-14 10:00)");
  {
    std::vector<std::jthread> threads;
    for (LiveSource* source : {one.get(), other.get()}) {
      threads.emplace_back([source] {
        for (int i = 4; i < 20; ++i)
          EXPECT_EQ(Bars_Of(source->Bars(Daily("S" + std::to_string(i)))).size(), 20U);
      });
    }
  }
  EXPECT_THAT((Archive{Folder.Path() / "quotes.db"}.Check()), IsEmpty());
}

TEST_F(LiveSourceTest, AServiceThatIsDownUntilATimeItNamesIsLeftAloneUntilThen) {
  Tiingo_Answer = [](const HttpRequest&) { return Reply(503, "maintenance", {{"retry-after", "3600"}}); };
  auto source = Start();
  EXPECT_EQ(source->Try_Out("tiingo", "S3").Next_Step, "Wait until 2026-11-14 11:00 (New York).");
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S3"))).Kind, FailureKind::Unavailable);
  EXPECT_EQ(Calls(), 1U);
  Clock.Advance(5min);
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S4"))).Kind, FailureKind::Unavailable);
  // Also after a restart.
  source = Start();
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S5"))).Kind, FailureKind::Unavailable);
  EXPECT_EQ(Calls(), 1U);
  Clock.Advance(1h);
  Tiingo_Answer = nullptr;
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))).size(), 20U);
}

TEST_F(LiveSourceTest, NobodyElseAsksWhileAServiceWantsAPause) {
  std::atomic<int> calls = 0;
  PacingTime wait_ends;
  Tiingo_Answer = [&](const HttpRequest& request) -> FetchResult {
    if (++calls == 1) {
      wait_ends = Clock.Now() + 7s;
      return Reply(429, "slow down", {{"retry-after", "7"}});
    }
    EXPECT_GE(Clock.Now(), wait_ends);
    return Tiingo.Answer(request.Address);
  };
  LiveOptions options = Clock.Options();
  // The first to wait is overtaken by another client.
  std::shared_ptr<LiveSource> source;
  std::atomic<bool> is_overtaken = false;
  options.Wait = [&](milliseconds time) {
    if (!is_overtaken.exchange(true)) {
      EXPECT_EQ(Bars_Of(source->Bars(Daily("S4"))).size(), 20U);
    }
    Clock.Advance(time);
  };
  source = std::make_shared<LiveSource>(std::vector<ChainLink>{Planted_Service("tiingo")},
                                        std::make_shared<Archive>(std::filesystem::path{}), Fetcher, options);
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))).size(), 20U);
}

TEST_F(LiveSourceTest, AnAnswerThatWasOnItsWayDoesNotOpenAClosedService) {
  std::shared_ptr<LiveSource> source = Start();
  bool is_first = true;
  Tiingo_Answer = [&](const HttpRequest& request) -> FetchResult {
    if (!std::exchange(is_first, false)) return Reply(429, "slow down", {{"retry-after", "7200"}});
    // While this one is on its way, another one is told to stop.
    EXPECT_EQ(Failure_Of(source->Bars(Daily("S4"))).Kind, FailureKind::Unavailable);
    return Tiingo.Answer(request.Address);
  };
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))).size(), 20U);
  EXPECT_EQ(State_Text(source->Sources().at(0)), "out of quota until 2026-11-14 12:00");
  const auto calls = Calls();
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S5"))).Kind, FailureKind::Unavailable);
  EXPECT_EQ(Calls(), calls);
}

TEST_F(LiveSourceTest, AServiceForWhichNoTimeWasLeftIsNotTakenForDown) {
  Other_Answer = [this](const HttpRequest&) {
    Clock.Advance(Fetcher->Limits().back());
    return FetchFailure{FetchHop::TimeOut, "It did not answer in time."};
  };
  const auto source = Start({Planted_Service("alpaca"), Planted_Service("twelvedata"),
                             Planted_Service("eodhd"), Planted_Service("tiingo")});
  Tiingo_Answer = [this](const HttpRequest&) {
    Clock.Advance(Fetcher->Limits().back());
    return FetchFailure{FetchHop::TimeOut, "It did not answer in time."};
  };
  EXPECT_EQ(Failure_Of(source->Bars(Daily("S3"))).Kind, FailureKind::Unavailable);
  EXPECT_EQ(source->Sources().at(3).State, SourceState::Ready);
  EXPECT_THAT(Fetcher->Limits(), Each(Ge(milliseconds{1s})));
}

TEST_F(LiveSourceTest, ASplitThatAServiceWorksIntoThePastADayLateIsSeen) {
  EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3", 40))).size(), 40U);
  Clock.Set(New_York(monday, 17));
  // The bar of the day is in new prices already, those of the past are not.
  Tiingo.Split_Before = Date(1900, 1, 1);
  EXPECT_EQ(Bars_Of(Start()->Bars(Daily("S3", 40))).size(), 40U);
  Clock.Set(New_York(monday + days{1}, 17));
  Tiingo.Split_Before = monday;
  const auto bars = Bars_Of(Start()->Bars(Daily("S3", 40)));
  auto expected = Expected(3, monday + days{1}, 40);
  ASSERT_EQ(bars.size(), expected.size());
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const double factor = bars[i].Date < monday ? 0.5 : 1;
    EXPECT_NEAR(bars[i].Close, expected[i].Close * factor, 1e-6) << Iso_Date(bars[i].Date);
  }
}

TEST_F(LiveSourceTest, NothingInOtherDaysIsNotTheAnswerForOnesOwn) {
  Latch first_asks;
  Latch second_waits;
  Tiingo_Answer = [&](const HttpRequest& request) -> FetchResult {
    if (Read_Date(Behind(request.Address, "startDate=", "&")).time_since_epoch() >
        Date(2000, 1, 1).time_since_epoch())
      return Tiingo.Answer(request.Address);
    first_asks.Count_Down();
    second_waits.Wait();
    // Time for the other one to begin to wait; too little of it hides the fault, and makes none.
    std::this_thread::sleep_for(100ms);
    return Reply(200, "[]");
  };
  const auto source = Start();
  std::jthread first{[&] { std::ignore = source->Bars({"S3", daily_interval, Date(1995, 3, 1), 5}); }};
  first_asks.Wait();
  second_waits.Count_Down();
  EXPECT_EQ(Bars_Of(source->Bars(Daily("S3"))), Expected(3, friday, 20));
}

TEST_F(LiveSourceTest, WhatTakesMoreCallsThanAMinuteAllowsIsFetchedByAndBy) {
  // Polygon: 5 calls a minute, and a page ends after 50000 minutes, of which a day has 960.
  const SourceProfile profile = Shipped("polygon");
  ASSERT_EQ(profile.Pacing.Calls_A_Minute, 5);
  Other_Answer = [&](const HttpRequest& request) {
    const std::string dates = Behind(request.Address, "/range/5/minute/", "?");
    DayRange asked{Read_Date(dates), Read_Date(dates.substr(11))};
    const Day page_end = asked.First + days{70};
    const bool has_more = asked.Last > page_end;
    std::string next;
    if (has_more) {
      next = R"(,"next_url":"https://api.polygon.io/v2/aggs/ticker/S3/range/5/minute/)" +
             Iso_Date(page_end + days{1}) + "/" + Iso_Date(asked.Last) + R"(?cursor=1")";
      asked.Last = page_end;
    }
    std::string body = AnswerWriter{profile, 1, "S3"}.Body(Sent(Market_Bars(3, asked, 5)));
    body.insert(body.size() - 1, next);
    return Reply(200, body);
  };
  const auto source = Start({Planted_Service("polygon")});
  const QuoteRequest request{"S3", 5, {}, 480};
  int tries = 1;
  for (; tries <= 4; ++tries) {
    const std::string came = Source_Of(source->Bars(request));
    if (came.starts_with("Polygon (Massive) (fetched")) break;
    EXPECT_THAT(came, HasSubstr("out of quota")) << "the days that came may be served, but that is said";
    Clock.Advance(61s);
  }
  EXPECT_EQ(tries, 3);
  EXPECT_EQ(Bars_Of(source->Bars(request)), Expected(3, friday, 480, 5));
  EXPECT_LE(Calls(), 16U) << "nothing is fetched twice but a few days";
}

}  // namespace
}  // namespace hq::server
