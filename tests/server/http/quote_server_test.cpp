#include "server/http/quote_server.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <httplib.h>
#include <mutex>
#include <regex>
#include <set>
#include <stdexcept>
#include <thread>

#include "market/market_support.h"
#include "server/http/quote_request.h"
#include "server/http/quote_server_support.h"
#include "server/http/quote_text.h"

namespace hq::server {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

// A source that gives the same answer to everything.
class FixedSource : public QuoteSource {
 public:
  explicit FixedSource(Answer answer) : answer_(std::move(answer)) {}
  Answer Bars(const QuoteRequest& request) override {
    Last = request;
    return answer_;
  }
  std::vector<SymbolEntry> Find_Symbols(std::string_view, std::size_t) override { return {{"<A>", "x"}}; }
  [[nodiscard]] std::string Description() const override { return "A test."; }
  [[nodiscard]] bool Real_Quotes() const override { return true; }

  QuoteRequest Last;

 private:
  Answer answer_;
};

class ThrowingSource : public FixedSource {
 public:
  ThrowingSource() : FixedSource(BarTable{}) {}
  Answer Bars(const QuoteRequest&) override { throw std::bad_alloc{}; }
};

std::set<std::string> Dates(const std::string& body) {
  std::set<std::string> dates;
  for (const auto& line : Lines(body)) dates.insert(line.substr(0, 6));
  return dates;
}

TEST_F(QuoteServerTest, AnswersEachIntervalWithItsSessions) {
  const std::regex row(R"([0-9]{6},[0-9]{4}(,[0-9]+\.[0-9][0-9]){4},[0-9]+)");
  for (const int interval : {1, 5, 10, 20, 30, 60, 1440}) {
    SCOPED_TRACE(interval);
    const Reply reply = Ask("Interval=" + std::to_string(interval) + "&Symbol=IBM&Date=031103");
    EXPECT_EQ(reply.Status, 200);
    EXPECT_THAT(reply.Type, StartsWith("text/plain"));
    EXPECT_THAT(reply.Body, EndsWith("\n"));
    EXPECT_EQ(reply.Body.find(",0930,"), 6U);
    const auto dates = Dates(reply.Body);
    EXPECT_THAT(dates, SizeIs(Session_Limit(interval).value()));
    EXPECT_EQ(Lines(reply.Body).back().substr(0, 6), "030310");
    for (const auto& line : Lines(reply.Body)) {
      ASSERT_TRUE(std::regex_match(line, row)) << line;
    }
  }
}

TEST_F(QuoteServerTest, RefusesWhatItDoesNotUnderstandBesideTheSymbol) {
  for (const char* query : {"Interval=5&Symbol=AT&T", "Interval=5&Symbol=IBM&date=031103",
                            "Interval=5&Interval=10&Symbol=IBM", "Interval=5&Symbol=IBM&Symbol=MSFT"}) {
    EXPECT_EQ(Ask(query).Status, 400) << query;
  }
}

TEST_F(QuoteServerTest, SendsTheSessionsBeforeTheDate) {
  const auto last_date = [this](const std::string& date) {
    return Lines(Ask("Interval=1&Symbol=IBM&Date=" + date).Body).back().substr(0, 6);
  };
  EXPECT_EQ(last_date("031103"), "030310");
  EXPECT_EQ(last_date("031003"), "030307") << "a weekend lies between";
  EXPECT_EQ(last_date("070504"), "040702") << "the holiday is kept on a Monday";
  EXPECT_EQ(last_date("010103"), "021231") << "the year before";
  EXPECT_EQ(last_date("010100"), "991231") << "the century before";
  EXPECT_EQ(last_date("060150"), "500531");
  EXPECT_EQ(last_date("010149"), "261120") << "the future is the latest session";
  EXPECT_EQ(Lines(Ask("Interval=1&Symbol=IBM").Body).back().substr(0, 6), "261120");
}

TEST_F(QuoteServerTest, DecodesTheQueryAndIgnoresLetterCase) {
  const std::string expected = Ask("Interval=60&Symbol=index:DJI&Date=031103").Body;
  EXPECT_TRUE(Ask("Interval=60&Symbol=index%3ADJI&Date=031103").Body == expected);
  EXPECT_TRUE(Ask("Interval=60&Symbol=INDEX:dji&Date=031103").Body == expected);
  EXPECT_TRUE(Ask("Interval=60&Symbol=%69%6edex%3aDJI&Date=%30%331103").Body == expected);
  const std::string fund = Ask("Interval=60&Symbol=mutual%20FUND&Date=031103").Body;
  EXPECT_THAT(fund, HasSubstr(",0930,"));
  EXPECT_TRUE(Ask("Interval=60&Symbol=mutual+FUND&Date=031103").Body == fund);
  EXPECT_TRUE(Ask("Date=031103&Symbol=mutual+FUND&Interval=60").Body == fund);
}

TEST_F(QuoteServerTest, RefusesWithOneLine) {
  const std::pair<const char*, int> cases[] = {
      {"Interval=5&Symbol=12345", 404},
      {"Interval=5&Symbol=../x", 404},
      {"Interval=5&Symbol=030115,0930,1,2", 404},
      {"Interval=5&Symbol=%2c0930%2c0930%2c", 404},
      {"Interval=5&Symbol=A%0d%0aB", 404},
      {"Interval=5&Symbol=%00%ff%1b", 404},
      {"Interval=7&Symbol=IBM", 400},
      {"Symbol=IBM", 400},
      {"Interval=&Symbol=IBM", 400},
      {"Interval=,0930,&Symbol=IBM", 400},
      {"Interval=5", 400},
      {"Interval=5&Symbol=", 400},
      {"Interval=5&Symbol=%20", 400},
      {"Interval=5&Symbol=IBM&Date=", 400},
      {"Interval=5&Symbol=IBM&Date=130103", 400},
      {"Interval=5&Symbol=IBM&Date=,0930,", 400},
      {"Interval=XXX&Symbol=SSS&Date=DDD", 400},
      {"", 400},
  };
  for (const auto& [query, status] : cases) {
    SCOPED_TRACE(query);
    const Reply reply = Ask(query);
    EXPECT_EQ(reply.Status, status);
    EXPECT_THAT(reply.Type, StartsWith("text/plain"));
    EXPECT_THAT(Lines(reply.Body), SizeIs(1));
    EXPECT_THAT(reply.Body, EndsWith("\n"));
    EXPECT_THAT(reply.Body, Not(HasSubstr(",0930,")));
    EXPECT_TRUE(std::ranges::all_of(reply.Body, [](char c) { return (c >= ' ' && c <= '~') || c == '\n'; }));
  }
}

TEST_F(QuoteServerTest, SaysWhenThereAreNoSessions) {
  const Reply reply = Ask("Interval=5&Symbol=IBM&Date=010150");
  EXPECT_EQ(reply.Status, 200);
  EXPECT_EQ(reply.Body, "No quotes of IBM in the time asked for.\n");
}

TEST_F(QuoteServerTest, NamesItsAddresses) {
  const std::string base = "http://127.0.0.1:" + std::to_string(port_);
  EXPECT_EQ(server_.Request_Template(), base + "/quotes?Interval=XXX&Symbol=SSS&Date=DDD");
  EXPECT_EQ(server_.Symbol_Search_Address(), base + "/home/misc/symbol_search.asp");
  server_.Stop();
  EXPECT_EQ(server_.Request_Template(), "");
  EXPECT_EQ(server_.Symbol_Search_Address(), "");
}

TEST_F(QuoteServerTest, ShowsItsPages) {
  const Reply home = Get(port_, "/");
  EXPECT_EQ(home.Status, 200);
  EXPECT_THAT(home.Type, StartsWith("text/html"));
  EXPECT_THAT(home.Body, HasSubstr("/quotes?Interval=XXX&amp;Symbol=SSS&amp;Date=DDD"));
  EXPECT_THAT(home.Body, HasSubstr("NOT real quotes"));

  const Reply search = Get(port_, "/home/misc/symbol_search.asp");
  EXPECT_EQ(search.Status, 200);
  EXPECT_THAT(search.Body, HasSubstr("<td>IBM</td><td>simulated share</td>"));
  EXPECT_THAT(search.Body, HasSubstr("NOT real quotes"));

  const Reply escaped = Get(port_, "/home/misc/symbol_search.asp?q=%3Cscript%3Ealert(%22x%22)%3C/script%3E");
  EXPECT_THAT(escaped.Body, Not(HasSubstr("<script")));
  EXPECT_THAT(escaped.Body, HasSubstr("&lt;script&gt;alert(&quot;x&quot;)&lt;/script&gt;"));

  EXPECT_EQ(Get(port_, "/elsewhere").Status, 404);
  EXPECT_EQ(Get(port_, "/elsewhere").Body, "There is nothing here.\n");
}

TEST_F(QuoteServerTest, KeepsAConnectionForSeveralRequests) {
  httplib::Client client{"127.0.0.1", port_};
  client.set_keep_alive(true);
  for (int i = 0; i < 20; ++i) {
    const auto result = client.Get("/quotes?Interval=1&Symbol=IBM&Date=031103");
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 200);
  }
}

TEST_F(QuoteServerTest, LimitsWhatARequestMayHold) {
  EXPECT_EQ(Get(port_, "/quotes?Symbol=" + std::string(9000, 'A')).Status, 414);
  httplib::Client client{"127.0.0.1", port_};
  httplib::Headers headers;
  for (int i = 0; i < 10; ++i) headers.emplace("X-Long-" + std::to_string(i), std::string(2000, 'x'));
  const auto refused = client.Get("/", headers);
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->status, 400);
  EXPECT_EQ(Ask("Interval=1&Symbol=IBM").Status, 200) << "the server goes on";
}

TEST_F(QuoteServerTest, AnswersManyClientsAtOnce) {
  const std::string expected = Ask("Interval=1&Symbol=IBM&Date=031103").Body;
  std::atomic<int> equal = 0;
  {
    std::vector<std::jthread> clients;
    for (int i = 0; i < 12; ++i) {
      clients.emplace_back([&] {
        for (int round = 0; round < 5; ++round)
          equal += Ask("Interval=1&Symbol=IBM&Date=031103").Body == expected ? 1 : 0;
      });
    }
  }
  EXPECT_EQ(equal, 60);
}

TEST(QuoteServer, PassesTheRequestToItsSource) {
  const auto source = std::make_shared<FixedSource>(
      BarTable{{{Date(2003, 3, 10), At(9, 30), 1, 2, 0.5, 1.5, 7}}, std::nullopt, {}});
  QuoteServer server{source};
  const int port = server.Start();
  EXPECT_EQ(Get(port, "/quotes?Interval=30&Symbol=brk.b&Date=031103").Body, "030310,0930,1,2,0.5,1.5,7\n");
  server.Stop();
  EXPECT_EQ(source->Last.Symbol, "brk.b");
  EXPECT_EQ(source->Last.Interval, 30);
  EXPECT_EQ(source->Last.Sessions, 38);
  EXPECT_EQ(source->Last.Before, Date(2003, 3, 11));
}

TEST(QuoteServer, TellsTheKindsOfFailureApart) {
  const std::pair<FailureKind, int> cases[] = {
      {FailureKind::UnknownSymbol, 404}, {FailureKind::Unsuitable, 422}, {FailureKind::Unreadable, 500}};
  for (const auto& [kind, status] : cases) {
    QuoteServer server{std::make_shared<FixedSource>(Failure{kind, "Because\nof ,0930, that."})};
    const Reply reply = Get(server.Start(), "/quotes?Interval=5&Symbol=IBM");
    EXPECT_EQ(reply.Status, status);
    EXPECT_EQ(reply.Body, "Because?of ;0930, that.\n");
  }
  QuoteServer server{std::make_shared<ThrowingSource>()};
  const Reply reply = Get(server.Start(), "/quotes?Interval=5&Symbol=IBM");
  EXPECT_EQ(reply.Status, 500);
  EXPECT_EQ(reply.Body, "The server can't answer now.\n");
}

TEST(QuoteServer, LivesBesideAnother) {
  QuoteServer simulated{Simulated()};
  QuoteServer fixed{std::make_shared<FixedSource>(Failure{FailureKind::Unsuitable, "No."})};
  const int simulated_port = simulated.Start();
  const int fixed_port = fixed.Start();
  EXPECT_NE(simulated_port, fixed_port);
  EXPECT_EQ(Get(fixed_port, "/quotes?Interval=5&Symbol=IBM").Status, 422);
  EXPECT_EQ(Get(simulated_port, "/quotes?Interval=5&Symbol=IBM").Status, 200);
  fixed.Stop();
  EXPECT_EQ(Get(simulated_port, "/quotes?Interval=5&Symbol=IBM").Status, 200);
}

TEST(QuoteServer, SaysWhyItCannotStart) {
  QuoteServer first{Simulated()};
  const int port = first.Start();
  QuoteServer second{Simulated()};
  try {
    second.Start("127.0.0.1", port);
    FAIL() << "two servers share a port";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::address_in_use);
    EXPECT_THAT(error.what(), HasSubstr("127.0.0.1:" + std::to_string(port)));
  }
  EXPECT_THROW(second.Start("no such address", 0), std::runtime_error);
  EXPECT_THROW(second.Start("127.0.0.1", 65536), std::invalid_argument);
  EXPECT_THROW(second.Start("127.0.0.1", -1), std::invalid_argument);
  EXPECT_THROW(first.Start(), std::logic_error);
  first.Stop();
  EXPECT_EQ(second.Start("127.0.0.1", port), port) << "the port is free again";
}

TEST(QuoteServer, StartsAgainAfterAStop) {
  QuoteServer server{Simulated()};
  server.Stop();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Get(server.Start(), "/quotes?Interval=5&Symbol=IBM").Status, 200);
    server.Stop();
    server.Stop();
  }
}

TEST(QuoteServer, DoesNotWaitForIdleConnections) {
  QuoteServer server{Simulated()};
  const int port = server.Start();
  httplib::Client idle{"127.0.0.1", port};
  idle.set_keep_alive(true);
  ASSERT_TRUE(idle.Get("/"));
  ASSERT_TRUE(idle.is_socket_open());
  const auto begin = std::chrono::steady_clock::now();
  server.Stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{1});
}

TEST(QuoteServer, DoesNotWaitForTheRestOfARequest) {
  QuoteServer server{Simulated()};
  const RawConnection connection{server.Start()};
  connection.Send("GET /quotes HTTP/1.1\r\nHost: local");
  const auto begin = std::chrono::steady_clock::now();
  server.Stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{1});
}

TEST_F(QuoteServerTest, ClosesTheConnectionAfterARequestThatIsTooLong) {
  const RawConnection connection{port_};
  std::string request = "GET / HTTP/1.1\r\n";
  while (request.size() < 16384) request += "X-Long: " + std::string(992, 'x') + "\r\n";
  connection.Send(request + "GET / HTTP/1.1\r\n\r\n");
  const std::string answer = connection.Read_Rest();
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 400"));
  EXPECT_EQ(answer.find("HTTP/1.1", 8), std::string::npos) << "what follows is no request";
}

TEST_F(QuoteServerTest, OutlivesAnyBytes) {
  for (const std::string& bytes :
       {std::string{"\r\n\r\n"}, std::string(3000, '\0'), std::string{"GET\r\n\r\n"},
        std::string{"GET / HTTP/9.9\r\n\r\n"}, std::string{"GET /quotes?%zz=%&=&&Interval HTTP/1.1\r\n\r\n"},
        std::string(20000, 'G'),
        std::string{"POST /quotes HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\nx"},
        std::string{"POST /quotes HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"}}) {
    const RawConnection connection{port_};
    connection.Send(bytes);
    connection.End_Sending();
    (void)connection.Read_Rest();
  }
  EXPECT_EQ(Ask("Interval=1&Symbol=IBM").Status, 200);
}

TEST(QuoteServer, LogsItsRequests) {
  std::mutex mutex;
  std::vector<std::string> log;
  ServerOptions options;
  options.Log = [&](const std::string& line) {
    const std::lock_guard lock{mutex};
    log.push_back(line);
  };
  QuoteServer server{Simulated(), std::move(options)};
  const int port = server.Start();
  (void)Get(port, "/quotes?Interval=5&Symbol=IBM");
  (void)Get(port, "/quotes?Interval=7&Symbol=IBM");
  server.Stop();
  EXPECT_THAT(log, UnorderedElementsAre("GET /quotes?Interval=5&Symbol=IBM -> 200",
                                        "GET /quotes?Interval=7&Symbol=IBM -> 400"));
}

}  // namespace
}  // namespace hq::server
