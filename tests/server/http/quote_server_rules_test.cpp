// What the quote server refuses, and what it answers in spite of what it was asked.

#include <algorithm>
#include <atomic>
#include <gmock/gmock.h>
#include <httplib.h>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "base/latch.h"
#include "platform/sockets.h"
#include "server/http/quote_server_support.h"

namespace hq::server {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* quotes = "/quotes?Interval=1440&Symbol=IBM&Date=031103";

// Sends a request of these lines and gives the whole answer.
std::string Answer_Of(int port, const std::string& lines) {
  const RawConnection connection{port};
  connection.Send(lines + "Connection: close\r\n\r\n");
  return connection.Read_Rest();
}

std::string Body_Of(const std::string& answer) {
  const auto end = answer.find("\r\n\r\n");
  return end == std::string::npos ? std::string{} : answer.substr(end + 4);
}

TEST_F(QuoteServerTest, AnswersTheWholeWhateverPartIsAskedFor) {
  std::string many = "Range: bytes=0-0";
  while (many.size() < 8100) many += ",0-0";
  const std::string whole = Get(port_, quotes).Body;
  const std::string page = Get(port_, "/home/misc/symbol_search.asp").Body;
  for (const std::string& range :
       {std::string{"Range: bytes=0-99"}, std::string{"range:bytes=-5"}, std::string{"Range: bytes=5-2"},
        std::string{"Range: nonsense"}, std::string{"Range: bytes=0-1\r\nRange: bytes=2-3"},
        std::string{"Range: bytes=0-1,\r\n 5-6"}, std::string{"Range: bytes=0-1\r\nIf-Range: \"x\""}, many}) {
    SCOPED_TRACE(range.substr(0, 60));
    const std::string lines = " HTTP/1.1\r\nHost: localhost\r\n" + range + "\r\n";
    const std::string answer = Answer_Of(port_, "GET " + std::string{quotes} + lines);
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 "));
    EXPECT_TRUE(Body_Of(answer) == whole);
    EXPECT_THAT(answer.substr(0, answer.size() - whole.size()), Not(HasSubstr("Content-Range")));
    EXPECT_TRUE(Body_Of(Answer_Of(port_, "GET /home/misc/symbol_search.asp" + lines)) == page);

    const std::string head = Answer_Of(port_, "HEAD " + std::string{quotes} + lines);
    EXPECT_THAT(head, StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(head, HasSubstr("Content-Length: " + std::to_string(whole.size()) + "\r\n"));
    EXPECT_THAT(head, HasSubstr("Accept-Ranges: none\r\n"));
    EXPECT_THAT(Body_Of(head), IsEmpty());
  }
}

TEST_F(QuoteServerTest, AnswersHostsOfThisComputerOnly) {
  const auto status = [this](const std::string& host, const std::string& target = quotes) {
    return Answer_Of(port_, "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n").substr(0, 13);
  };
  for (const char* host : {"localhost", "127.0.0.1:80", "any.localhost:1", "[::1]", " 127.1.2.3 "})
    EXPECT_EQ(status(host), "HTTP/1.1 200 ") << host;
  for (const char* host : {"example.com", "127.0.0.1.example.com:80", "192.168.0.1"}) {
    for (const char* target : {quotes, "/", "/home/misc/symbol_search.asp", "/elsewhere"})
      EXPECT_EQ(status(host, target), "HTTP/1.1 403 ") << host << target;
  }
  EXPECT_THAT(Answer_Of(port_, "GET / HTTP/1.1\r\nHost: example.com\r\n"), HasSubstr("[Server]"));
}

TEST_F(QuoteServerTest, WantsOneHost) {
  const auto status = [this](const std::string& lines) { return Answer_Of(port_, lines).substr(0, 13); };
  EXPECT_EQ(status("GET / HTTP/1.1\r\n"), "HTTP/1.1 400 ");
  EXPECT_EQ(status("GET / HTTP/1.1\r\nHost:\r\n"), "HTTP/1.1 400 ");
  EXPECT_EQ(status("GET / HTTP/1.1\r\nHost: localhost\r\nHost: example.com\r\n"), "HTTP/1.1 400 ");
  EXPECT_EQ(status("GET / HTTP/1.1\r\nHost: localhost\r\nhost: localhost\r\n"), "HTTP/1.1 400 ");
  EXPECT_EQ(status("GET / HTTP/1.0\r\nHost: example.com\r\n"), "HTTP/1.1 403 ");
  EXPECT_EQ(status("GET / HTTP/1.0\r\nHost: localhost\r\nHost: localhost\r\n"), "HTTP/1.1 400 ");
  EXPECT_EQ(status("GET / HTTP/1.0\r\n"), "HTTP/1.1 200 ") << "no browser asks so";
}

TEST(QuoteServer, AnswersTheHostsThatAreListed) {
  ServerOptions options;
  options.Hosts = {"quotes.lan", "desk:81"};
  QuoteServer server{Simulated(), std::move(options)};
  const int port = server.Start();
  const auto status = [port](const std::string& host) {
    return Answer_Of(port, "GET / HTTP/1.1\r\nHost: " + host + "\r\n").substr(0, 13);
  };
  EXPECT_EQ(status("quotes.lan:5"), "HTTP/1.1 200 ");
  EXPECT_EQ(status("desk:81"), "HTTP/1.1 200 ");
  EXPECT_EQ(status("desk"), "HTTP/1.1 403 ");
  EXPECT_EQ(status("localhost"), "HTTP/1.1 200 ");
}

TEST_F(QuoteServerTest, GivesPagesOfOtherSitesNoQuotes) {
  const auto status = [this](const std::string& site, const std::string& target = quotes) {
    return Answer_Of(port_, "GET " + target + " HTTP/1.1\r\nHost: localhost\r\n" + site).substr(0, 13);
  };
  for (const char* site : {"", "Sec-Fetch-Site: none\r\n", "sec-fetch-site: same-origin\r\n"})
    EXPECT_EQ(status(site), "HTTP/1.1 200 ") << site;
  for (const char* site :
       {"Sec-Fetch-Site: cross-site\r\n", "sec-fetch-site: same-site\r\n", "Sec-Fetch-Site: other\r\n",
        "Sec-Fetch-Site: none\r\nSec-Fetch-Site: cross-site\r\n"}) {
    EXPECT_EQ(status(site), "HTTP/1.1 403 ") << site;
    EXPECT_EQ(status(site, "/"), "HTTP/1.1 200 ") << "a link on another site leads to the page: " << site;
  }
}

TEST_F(QuoteServerTest, ShowsWhatItRefused) {
  (void)Answer_Of(port_, "GET " + std::string{quotes} + " HTTP/1.1\r\nHost: example.com\r\n");
  EXPECT_THAT(Get(port_, "/").Body, HasSubstr("-&gt; 403</td>"));
}

TEST_F(QuoteServerTest, UnderstandsGetAndHeadOnlyAndReadsNoBody) {
  const std::string host = " HTTP/1.1\r\nHost: localhost\r\n";
  for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS"}) {
    const std::string answer = Answer_Of(
        port_, method + (" " + std::string{quotes}) + host + "Content-Length: 5\r\nExpect: 100-continue\r\n");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 405 ")) << method;
    EXPECT_THAT(answer, HasSubstr("Allow: GET, HEAD\r\n"));
    EXPECT_THAT(answer, Not(HasSubstr("Access-Control")));
  }
  // What looks like a second request is the body of the first.
  const RawConnection connection{port_};
  connection.Send("GET " + std::string{quotes} + host + "Content-Length: 40\r\n\r\nGET /elsewhere" + host +
                  "\r\n");
  const std::string answer = connection.Read_Rest();
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(answer, HasSubstr("Connection: close\r\n"));
  EXPECT_EQ(answer.find("HTTP/1.1 404"), std::string::npos);
}

TEST_F(QuoteServerTest, UnderstandsLinesThatEndInALineFeedAlone) {
  const RawConnection connection{port_};
  connection.Send("GET " + std::string{quotes} + " HTTP/1.0\nHost: localhost\n\n");
  EXPECT_TRUE(Body_Of(connection.Read_Rest()) == Get(port_, quotes).Body);
}

// Threads of a system that has none left while `None_Left` is true.
struct ScarceThreads {
  std::atomic<bool> None_Left = false;
  std::atomic<int> Refused = 0;

  [[nodiscard]] ServerOptions Options() {
    ServerOptions options;
    options.Start_Thread = [this](std::function<void()> body) {
      if (None_Left) {
        ++Refused;
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
      }
      return std::thread{std::move(body)};
    };
    return options;
  }
};

TEST(QuoteServer, SaysThatItIsBusyWhereThereIsNoThread) {
  ScarceThreads threads;
  QuoteServer server{Simulated(), threads.Options()};
  const int port = server.Start();
  threads.None_Left = true;
  for (int i = 0; i < 3; ++i) {
    const Reply reply = Get(port, quotes);
    EXPECT_EQ(reply.Status, 503);
    EXPECT_THAT(reply.Type, StartsWith("text/plain"));
    EXPECT_EQ(reply.Body, "The server is busy. Try again soon.\n");
  }
  EXPECT_EQ(threads.Refused, 3);
  threads.None_Left = false;
  EXPECT_EQ(Get(port, quotes).Status, 200);
  server.Stop();
  EXPECT_EQ(Get(server.Start(), quotes).Status, 200);
}

// A source whose answers wait until they are let go.
class WaitingSource final : public QuoteSource {
 public:
  Answer Bars(const QuoteRequest&) override {
    Asked.Count_Down();
    Go_On.Wait();
    return Failure{FailureKind::Unsuitable, "No."};
  }
  std::vector<SymbolEntry> Find_Symbols(std::string_view, std::size_t) override { return {}; }
  [[nodiscard]] std::string Description() const override { return "A test."; }
  [[nodiscard]] bool Real_Quotes() const override { return true; }

  Latch Asked;
  Latch Go_On;
};

TEST(QuoteServer, LetsRequestsWaitForTheThreadsThatAreThere) {
  ScarceThreads threads;
  const auto source = std::make_shared<WaitingSource>();
  QuoteServer server{source, threads.Options()};
  const int port = server.Start();
  const RawConnection first{port};
  first.Send("GET " + std::string{quotes} + " HTTP/1.0\r\n\r\n");
  source->Asked.Wait();
  threads.None_Left = true;
  const RawConnection second{port};
  second.Send("GET / HTTP/1.0\r\n\r\n");
  while (threads.Refused == 0) std::this_thread::yield();
  source->Go_On.Count_Down();
  EXPECT_THAT(first.Read_Rest(), StartsWith("HTTP/1.1 422 "));
  EXPECT_THAT(second.Read_Rest(), StartsWith("HTTP/1.1 200 "));
}

TEST(QuoteServer, SaysThatItCannotStartWithoutAThread) {
  ScarceThreads threads;
  QuoteServer server{Simulated(), threads.Options()};
  threads.None_Left = true;
  try {
    (void)server.Start();
    FAIL() << "it has started";
  } catch (const std::system_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("no thread for the quote server"));
  }
  EXPECT_EQ(server.Request_Template(), "");
  threads.None_Left = false;
  EXPECT_EQ(Get(server.Start(), quotes).Status, 200);
}

// Nothing where the machine has no such address.
std::optional<std::string> Template_At(QuoteServer& server, const std::string& address, int& port) {
  try {
    port = server.Start(address);
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
  return server.Request_Template();
}

TEST(QuoteServer, NamesTheAddressItListensAt) {
  for (const auto& [address, named] : {std::pair{"127.0.0.1", "127.0.0.1"},
                                       {"127.0.0.2", "127.0.0.2"},
                                       {"localhost", "localhost"},
                                       {"::1", "[::1]"}}) {
    QuoteServer server{Simulated()};
    int port = 0;
    const auto request_template = Template_At(server, address, port);
    if (!request_template) continue;
    EXPECT_THAT(*request_template,
                StartsWith("http://" + std::string{named} + ":" + std::to_string(port) + "/quotes?"));
    EXPECT_THAT(server.Reach_Note(), IsEmpty());
  }
}

TEST(QuoteServer, NamesTheComputerWhenItListensEverywhereAndSaysWhatThatMeans) {
  for (const char* address : {"0.0.0.0", "::"}) {
    QuoteServer server{Simulated()};
    int port = 0;
    const auto request_template = Template_At(server, address, port);
    if (!request_template) continue;
    const std::string base = "http://" + Computer_Name() + ":" + std::to_string(port) + "/";
    EXPECT_EQ(*request_template, base + "quotes?Interval=XXX&Symbol=SSS&Date=DDD");
    EXPECT_THAT(server.Reach_Note(), HasSubstr(base));
    EXPECT_THAT(server.Reach_Note(), HasSubstr(std::string{"listening at "} + address));
    EXPECT_THAT(server.Reach_Note(), HasSubstr("licences"));
    // By loopback it answers this computer's names only, as a server that listens there alone.
    EXPECT_THAT(Answer_Of(port, "GET / HTTP/1.1\r\nHost: example.com\r\n"), StartsWith("HTTP/1.1 403 "));
    EXPECT_THAT(Answer_Of(port, "GET / HTTP/1.1\r\nHost: " + Computer_Name() + "\r\n"),
                StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(Answer_Of(port, "GET / HTTP/1.1\r\nHost: localhost\r\n"), StartsWith("HTTP/1.1 200 "));
    server.Stop();
    EXPECT_THAT(server.Reach_Note(), IsEmpty());
  }
}

}  // namespace
}  // namespace hq::server
