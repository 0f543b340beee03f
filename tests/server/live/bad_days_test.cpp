#include <algorithm>
#include <gmock/gmock.h>

#include "server/csv/csv_source.h"
#include "server/live/replay.h"
#include "support/environment.h"
#include "support/socket_server.h"

// Every service on every bad day, over real connections: right bars or a named reason, nothing wrong in the
// archive, and the next source answers.
namespace hq::server {
namespace {

using namespace std::chrono;
using test::Http_Answer;
using test::RefusingPort;
using test::SocketConnection;
using test::SocketServer;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The Saturday after Thanksgiving: the last session ended at 13:00.
const Day half_day = Date(2026, 11, 27);
const PacingTime saturday = New_York(Date(2026, 11, 28), 10);

// How the services tell of limits with status 200, as far as it is known.
std::string Limit_Told(const std::string& name) {
  if (name == "tiingo") return R"({"detail":"Error: You have run over your hourly request allocation."})";
  if (name == "alphavantage")
    return R"({"Information":"We have detected your API key as PLANTED+KEY/4711 and our standard API rate limit is 25 )"
           R"(requests per day."})";
  if (name == "twelvedata")
    return R"({"code":429,"message":"You have run out of API credits for the current minute.","status":"error"})";
  if (name == "polygon")
    return R"({"status":"ERROR","request_id":"1","error":"You've exceeded the maximum requests per minute."})";
  if (name == "yahoo") return "Edge: Too Many Requests";
  return "";
}

// One kind of request to one service.
struct Case {
  std::string Service;
  int Interval;
};

class BadDay : public testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    profile_ = Shipped(GetParam().Service);
    feed_ = Choose_Feed(profile_, GetParam().Interval, Adjustment::Splits).value().Feed;
    spelled_ = Spell_Symbol(profile_, "S3").value();
    // Whatever else is asked, such as a day of a market that is closed.
    Folder.Write("S3.csv", "Date,Open,High,Low,Close,Volume\n2026-11-25,1,2,1,2,7\n");
  }

  [[nodiscard]] bool Is_Daily() const { return GetParam().Interval == daily_interval; }
  [[nodiscard]] int Minutes() const { return profile_.Feeds.at(feed_).Minutes; }
  [[nodiscard]] QuoteRequest Request() const { return {"S3", GetParam().Interval, {}, Is_Daily() ? 5 : 1}; }
  [[nodiscard]] std::string Body(const std::vector<SentRow>& rows) const {
    return AnswerWriter{profile_, feed_, spelled_}.Body(rows);
  }
  // The bars of the last two weeks, of which the newest stand last, in the order of the service.
  [[nodiscard]] std::vector<SentRow> In_Order(std::vector<SentRow> rows) const {
    if (profile_.Feeds.at(feed_).Layout.Newest_First) std::ranges::reverse(rows);
    return rows;
  }
  [[nodiscard]] std::vector<Bar> Market(Day first, Day last) const {
    return Market_Bars(3, {first, last}, Minutes());
  }
  // What a request for the last sessions must give of these bars.
  [[nodiscard]] std::vector<Bar> Wanted(std::vector<Bar> bars) const {
    std::set<Day> dates;
    for (const Bar& bar : bars) dates.insert(bar.Date);
    const auto first = *std::next(dates.rbegin(), Request().Sessions - 1);
    std::erase_if(bars, [first](const Bar& bar) { return bar.Date < first; });
    return bars;
  }

  // The service at another address.
  [[nodiscard]] LiveService Service_At(const std::string& address) const {
    SourceProfile moved = profile_;
    for (SourceFeed& feed : moved.Feeds) {
      const auto path = feed.Address.find('/', feed.Address.find("://") + 3);
      feed.Address = address + feed.Address.substr(path);
    }
    moved.Hosts = {"127.0.0.1"};
    return {std::make_shared<const SourceProfile>(moved), Planted_Keys(moved)};
  }
  [[nodiscard]] std::unique_ptr<LiveSource> Start(const std::string& address, bool with_files = false) {
    std::vector<ChainLink> chain;
    chain.emplace_back(Service_At(address));
    if (with_files) chain.emplace_back(OtherSource{"csv:F", std::make_shared<CsvSource>(Folder.Path())});
    LiveOptions options = Clock.Options();
    options.Try_Limit = Try_Limit;
    options.Time_Limit = std::max(options.Time_Limit, Try_Limit);
    return std::make_unique<LiveSource>(
        std::move(chain), std::make_shared<Archive>(Folder.Path() / "quotes.db"),
        std::make_shared<CurlFetcher>(), options,
        [](const std::string& line) { EXPECT_THAT(line, Not(HasSubstr("PLANTED"))); });
  }

  // The bars that come of these bytes.
  [[nodiscard]] std::vector<Bar> Bars(const std::string& body) {
    const SocketServer server{[&](SocketConnection& client) {
      while (!client.ReadRequest().empty()) {
        if (!client.Send(Http_Answer(body))) return;
      }
    }};
    std::vector<Bar> bars = Bars_Of(Start(server.Address())->Bars(Request()));
    // And once more from the archive.
    EXPECT_EQ(Bars_Of(Start("http://127.0.0.1:1")->Bars(Request())), bars);
    return bars;
  }
  // Why nothing comes from a service at this address.
  [[nodiscard]] std::string Reason(const std::string& address) {
    const auto source = Start(address);
    const Answer answer = source->Bars(Request());
    const auto* failure = std::get_if<Failure>(&answer);
    if (failure == nullptr) {
      ADD_FAILURE() << "the answer was taken";
      return "";
    }
    EXPECT_THAT(failure->Reason,
                AllOf(HasSubstr(profile_.Title), Not(HasSubstr("PLANTED")), Not(HasSubstr("\n"))));
    State = State_Text(source->Sources().at(0));
    EXPECT_THAT(Archive{Folder.Path() / "quotes.db"}.List(), IsEmpty());
    // The next source has daily bars.
    const Answer next = Start(address, true)->Bars({"S3", daily_interval, {}, 1});
    EXPECT_EQ(Bars_Of(next).size(), 1U);
    EXPECT_THAT(std::get<BarTable>(next).Source, HasSubstr("iles"));
    return failure->Reason;
  }
  [[nodiscard]] std::string Reason_Of(const std::string& answer) {
    const SocketServer server{[&](SocketConnection& client) {
      while (!client.ReadRequest().empty()) {
        if (!client.Send(answer)) return;
      }
    }};
    return Reason(server.Address());
  }

  TemporaryFolder Folder;
  TestClock Clock{saturday};
  milliseconds Try_Limit = 12s;
  std::string State;

 private:
  SourceProfile profile_;
  std::size_t feed_ = 0;
  std::string spelled_;
};

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (const SourceProfile& profile : Load_Profiles(Sources_Folder()).Profiles) {
    cases.push_back({profile.Name, daily_interval});
    for (const int interval : {5, 1}) {
      // One that is served as it is sent; what is folded has tests of its own.
      const auto chosen = Choose_Feed(profile, interval, Adjustment::Splits);
      if (!chosen || profile.Feeds[chosen->Feed].Minutes != interval) continue;
      cases.push_back({profile.Name, interval});
      break;
    }
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Shipped, BadDay, testing::ValuesIn(Cases()), [](const auto& tested) {
  return tested.param.Service + "_" + std::to_string(tested.param.Interval);
});

TEST_P(BadDay, TooManyWithRetryAfter) {
  EXPECT_NE(Reason_Of(Http_Answer("slow down", "429 Too Many Requests", "Retry-After: 3600\r\n")), "");
  EXPECT_THAT(State, HasSubstr("out of quota until 2026-11-28 11:00"));
}

TEST_P(BadDay, TooManyWithoutRetryAfter) {
  EXPECT_NE(Reason_Of(Http_Answer("<html>Too many</html>", "429 Too Many Requests")), "");
  EXPECT_THAT(State, AnyOf(HasSubstr("out of quota until 2026-11-"), testing::StrEq("ready")));
}

TEST_P(BadDay, ALimitToldWithStatus200) {
  const std::string told = Limit_Told(GetParam().Service);
  if (told.empty()) {
    // No such form is known of this service; then nothing it says may pass for bars.
    EXPECT_NE(Reason_Of(Http_Answer(R"({"message":"too many requests."})")), "");
    return;
  }
  EXPECT_NE(Reason_Of(Http_Answer(told)), "");
}

TEST_P(BadDay, AWebPageWithStatus200) {
  EXPECT_THAT(Reason_Of(Http_Answer("<!DOCTYPE html><html><body>Verify your browser</body></html>")),
              HasSubstr("web page"));
}

TEST_P(BadDay, AnEmptyBody) {
  EXPECT_THAT(Reason_Of(Http_Answer("")), HasSubstr("empty"));
}

TEST_P(BadDay, AnAnswerCutInTheMiddle) {
  const std::string body = Body(In_Order(Sent(Market(Date(2026, 11, 9), half_day))));
  // Cut by the connection: the length says that there was more.
  const std::string whole = Http_Answer(body);
  const SocketServer server{test::Answer_With(whole.substr(0, whole.size() - body.size() / 2))};
  EXPECT_NE(Reason(server.Address()), "");
}

TEST_P(BadDay, WrongTypes) {
  auto rows = Sent(Market(Date(2026, 11, 9), half_day));
  for (SentRow& row : rows) row.Close = "\"true\"";
  EXPECT_NE(Reason_Of(Http_Answer(Body(In_Order(rows)))), "");
}

TEST_P(BadDay, HugeNumbers) {
  auto rows = Sent(Market(Date(2026, 11, 9), half_day));
  rows[2].High = "1e300";
  EXPECT_NE(Reason_Of(Http_Answer(Body(In_Order(rows)))), "");
  rows[2].High = "1" + std::string(500, '0');
  EXPECT_NE(Reason_Of(Http_Answer(Body(In_Order(rows)))), "");
}

TEST_P(BadDay, MoreRowsThanAreRead) {
  // On a machine that has much else to do the sending alone may take longer than a try usually may.
  Try_Limit = 100s;
  std::string rows = Body(In_Order(Sent(Market(Date(2026, 11, 9), half_day))));
  while (rows.size() < std::size_t{1} << 20U) rows += std::string{rows};
  const SocketServer server{[&](SocketConnection& client) {
    while (!client.ReadRequest().empty()) {
      constexpr std::size_t size = std::size_t{40} << 20U;
      if (!client.Send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n")) return;
      for (std::size_t sent = 0; sent < size; sent += rows.size()) {
        if (!client.Send(rows)) return;
      }
    }
  }};
  EXPECT_THAT(Reason(server.Address()), HasSubstr("large"));
}

TEST_P(BadDay, RowsOutOfOrderAndDoubled) {
  const auto bars = Market(Date(2026, 11, 9), half_day);
  auto rows = Sent(bars);
  for (std::size_t i = 0; i < 4; ++i) rows.push_back(Sent(bars[i]));
  std::mt19937 random{1};
  std::ranges::shuffle(rows, random);
  EXPECT_EQ(Bars(Body(rows)), Wanted(bars));
}

TEST_P(BadDay, AClockChangeInTheMiddle) {
  // Early, because one service tells nothing of the present day.
  Clock.Set(New_York(Date(2026, 11, 4), 8));
  const auto bars = Market(Date(2026, 10, 26), Date(2026, 11, 3));
  EXPECT_EQ(Bars(Body(In_Order(Sent(bars)))), Wanted(bars));
}

TEST_P(BadDay, AHalfDay) {
  const auto bars = Market(Date(2026, 11, 9), half_day);
  auto rows = Sent(bars);
  if (!Is_Daily()) {
    EXPECT_EQ(bars.back().Start, At(13, 0) - minutes{Minutes()});
    rows.push_back({{half_day, At(13, 30)}, "1", "1", "1", "1", "5"});
    rows.push_back({{half_day, At(17, 0)}, "1", "1", "1", "1", "0"});
  }
  EXPECT_EQ(Bars(Body(In_Order(rows))), Wanted(bars));
}

TEST_P(BadDay, AThinStockWithoutABarAtTheOpening) {
  auto bars = Market(Date(2026, 11, 9), half_day);
  if (Is_Daily()) {
    // A day without a trade.
    std::erase_if(bars, [](const Bar& bar) { return bar.Date == Date(2026, 11, 24); });
    EXPECT_EQ(Bars(Body(In_Order(Sent(bars)))), Wanted(bars));
    return;
  }
  std::erase_if(bars, [](const Bar& bar) { return bar.Date == half_day && bar.Start < At(10, 0); });
  const auto before = std::ranges::find_if(bars, [](const Bar& bar) { return bar.Date == half_day; });
  const double close = (before - 1)->Close;
  auto expected = Wanted(bars);
  expected.insert(expected.begin(), Bar{half_day, session_open, close, close, close, close, 0});
  EXPECT_EQ(Bars(Body(In_Order(Sent(bars)))), expected);
}

TEST_P(BadDay, ALiveQuoteInTheLastRow) {
  Clock.Set(New_York(Date(2026, 11, 25), 12, 3));
  auto bars = Market(Date(2026, 11, 9), Date(2026, 11, 25));
  std::erase_if(bars, [](const Bar& bar) { return bar.Date == Date(2026, 11, 25) && bar.Start > At(12, 0); });
  auto rows = Sent(bars);
  rows.push_back({{Date(2026, 11, 25), At(12, 2, 17)}, "7", "7", "7", "7", "1"});
  for (const Bar& bar : Bars(Body(In_Order(rows)))) {
    EXPECT_NE(bar.Close, 7);
    if (bar.Date == Date(2026, 11, 25)) {
      EXPECT_FALSE(Is_Daily());
      EXPECT_LE(bar.Start + minutes{Minutes()}, At(12, 3));
    }
    EXPECT_NE(std::ranges::find(bars, bar), bars.end());
  }
}

TEST_P(BadDay, ARedirectToAnotherHost) {
  std::atomic<int> reached = 0;
  const SocketServer elsewhere{[&](SocketConnection& client) {
    ++reached;
    static_cast<void>(client.ReadRequest());
  }};
  const std::string location =
      "Location: http://localhost:" + std::to_string(elsewhere.Port()) + "/?token=1\r\n";
  EXPECT_THAT(Reason_Of(Http_Answer("", "302 Found", location)), HasSubstr("sends on to another place"));
  EXPECT_EQ(reached, 0);
}

TEST_P(BadDay, ASlowBody) {
  Try_Limit = 250ms;
  const SocketServer server{[&](SocketConnection& client) {
    if (client.ReadRequest().empty()) return;
    if (client.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n[")) client.WaitForEnd();
  }};
  EXPECT_NE(Reason(server.Address()), "");
  EXPECT_THAT(State, HasSubstr("down until"));
}

TEST_P(BadDay, NoNetwork) {
  const RefusingPort nobody;
  EXPECT_NE(Reason(nobody.Address()), "");
  EXPECT_THAT(State, HasSubstr("down until"));
}

TEST_P(BadDay, ABadCertificate) {
  if (test::Under_Wine()) GTEST_SKIP() << "Wine leaves it to the program to look at a server's certificate";
  const test::TlsCertificate own = test::Make_Certificate("127.0.0.1");
  std::atomic<int> reached = 0;
  const SocketServer server{[&](SocketConnection& client) {
                              if (!client.ReadRequest().empty()) ++reached;
                            },
                            &own};
  EXPECT_THAT(Reason(server.Address()), HasSubstr("ertificate"));
  EXPECT_EQ(reached, 0) << "the key was sent";
}

}  // namespace
}  // namespace hq::server
