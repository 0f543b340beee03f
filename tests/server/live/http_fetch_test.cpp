#include "server/live/http_fetch.h"

#include <gmock/gmock.h>
#include <mutex>
#include <optional>
#include <thread>
#include <zlib.h>

#include "market/market_support.h"
#include "quotes/scripted_look_up.h"
#include "support/environment.h"
#include "support/socket_server.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using test::Answer_With;
using test::EnvironmentVariable;
using test::Http_Answer;
using test::RefusingPort;
using test::SocketConnection;
using test::SocketServer;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* key = "sEcReT-kEy/1234";

HttpRequest Request(const std::string& address) {
  return {address, {{"Authorization", std::string{"Token "} + key}}, {key}};
}

HttpReply Reply_Of(const FetchResult& result) {
  if (const auto* reply = std::get_if<HttpReply>(&result)) return *reply;
  ADD_FAILURE() << std::get<FetchFailure>(result).Reason;
  return {};
}

FetchFailure Failure_In(const FetchResult& result) {
  if (const auto* failure = std::get_if<FetchFailure>(&result)) {
    EXPECT_THAT(failure->Reason, AllOf(Not(HasSubstr("sEcReT")), testing::EndsWith("."))) << failure->Reason;
    return *failure;
  }
  ADD_FAILURE() << "the request was answered";
  return {};
}

// What a server was sent, by any number of its threads.
class Seen {
 public:
  void Add(std::string request) {
    const std::lock_guard lock{mutex_};
    requests_.push_back(std::move(request));
  }
  std::vector<std::string> All() const {
    const std::lock_guard lock{mutex_};
    return requests_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
};

TEST(CurlFetcher, SendsTheRequestAndGivesStatusHeadersAndBody) {
  Seen seen;
  SocketServer server{[&seen](SocketConnection& connection) {
    seen.Add(connection.ReadRequest());
    connection.Send(
        Http_Answer("the body", "429 Too Many Requests", "Retry-After:  17 \r\nX-A: 1\r\nX-A: 2\r\n"));
  }};
  CurlFetcherOptions options;
  options.User_Agent = "history-quotes/1.0";
  CurlFetcher fetcher{options};
  const HttpReply reply = Reply_Of(fetcher.Get(Request(server.Address() + "/prices?t=A%20B"), 10s));
  EXPECT_EQ(reply.Status, 429);
  EXPECT_EQ(reply.Body, "the body");
  EXPECT_EQ(reply.Header("retry-after"), "17");
  EXPECT_EQ(reply.Header("x-a"), "1");
  EXPECT_EQ(reply.Header("x-b"), std::nullopt);
  ASSERT_EQ(seen.All().size(), 1U);
  EXPECT_THAT(seen.All()[0],
              AllOf(StartsWith("GET /prices?t=A%20B HTTP/1.1\r\n"),
                    HasSubstr("\r\nUser-Agent: history-quotes/1.0\r\n"),
                    HasSubstr("\r\nAuthorization: Token sEcReT-kEy/1234\r\n"), HasSubstr("gzip")));
}

TEST(CurlFetcher, UsesAConnectionAgain) {
  SocketServer server{[](SocketConnection& connection) {
    while (!connection.ReadRequest().empty()) connection.Send(Http_Answer("again"));
  }};
  CurlFetcher fetcher;
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Reply_Of(fetcher.Get(Request(server.Address()), 10s)).Body, "again");
  EXPECT_EQ(server.Connections(), 1U);
}

TEST(CurlFetcher, ReadsACompressedBodyAndBoundsItAfterwards) {
  const std::string plain(1 << 20, 'x');
  std::string packed(4096, '\0');
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));
  stream.avail_in = static_cast<uInt>(plain.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  ASSERT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(stream.total_out);
  deflateEnd(&stream);

  SocketServer server{Answer_With(Http_Answer(packed, "200 OK", "Content-Encoding: gzip\r\n"))};
  CurlFetcher fetcher;
  EXPECT_EQ(Reply_Of(fetcher.Get(Request(server.Address()), 10s)).Body, plain);
  CurlFetcherOptions small;
  small.Body_Limit = plain.size() - 1;
  CurlFetcher careful{small};
  EXPECT_EQ(Failure_In(careful.Get(Request(server.Address()), 10s)).Hop, FetchHop::TooLarge);
}

TEST(CurlFetcher, RefusesABodyWithoutEndAndHeadersWithoutEnd) {
  SocketServer body{[](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\n\r\n");
    while (connection.Send(std::string(65536, 'x'))) {
    }
  }};
  SocketServer headers{[](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\n");
    while (connection.Send("X-Filler: " + std::string(1000, 'x') + "\r\n")) {
    }
  }};
  SocketServer line{[](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nX-Endless: ");
    while (connection.Send(std::string(1000, 'x'))) {
    }
  }};
  CurlFetcherOptions options;
  options.Body_Limit = 1 << 20;
  CurlFetcher fetcher{options};
  EXPECT_EQ(Failure_In(fetcher.Get(Request(line.Address()), 20s)).Hop, FetchHop::TooLarge);
  EXPECT_EQ(Failure_In(fetcher.Get(Request(body.Address()), 20s)).Hop, FetchHop::TooLarge);
  EXPECT_EQ(Failure_In(fetcher.Get(Request(headers.Address()), 20s)).Hop, FetchHop::TooLarge);
}

TEST(CurlFetcher, NamesTheHopThatFailed) {
  const RefusingPort refusing;
  SocketServer closing{[](SocketConnection& connection) { connection.ReadRequest(); }};
  SocketServer resetting{[](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
    connection.Reset();
  }};
  SocketServer cut{[](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
  }};
  SocketServer other{Answer_With("220 mail.example ESMTP\r\n")};
  CurlFetcher fetcher;
  const auto hop = [&](const std::string& address) {
    return Failure_In(fetcher.Get(Request(address), 10s)).Hop;
  };
  EXPECT_EQ(hop("http://unknown.example/?k=sEcReT-kEy"), FetchHop::NameLookUp);
  EXPECT_EQ(hop(refusing.Address() + "/?k=sEcReT-kEy"), FetchHop::Connection);
  EXPECT_EQ(hop(closing.Address()), FetchHop::BrokenOff);
  EXPECT_EQ(hop(resetting.Address()), FetchHop::BrokenOff);
  EXPECT_EQ(hop(cut.Address()), FetchHop::BrokenOff);
  EXPECT_EQ(hop(other.Address()), FetchHop::BrokenOff);
  for (const char* address : {"", "ftp://host/", "file:///etc/passwd", "http://", "no address",
                              "http://host/a b", "http://host/\r\nX: y"})
    EXPECT_EQ(hop(address), FetchHop::Address) << address;
  EXPECT_THAT(Failure_In(fetcher.Get(Request("http://unknown.example/"), 10s)).Reason,
              HasSubstr("unknown.example"));
}

TEST(CurlFetcher, EndsAtItsLimitWhateverTheServerDoes) {
  SocketServer silent{[](SocketConnection& connection) { connection.WaitForEnd(); }};
  SocketServer dripping{[](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
    while (connection.Pause(50ms) && connection.Send("x")) {
    }
  }};
  const test::HeldLookUp look_up;
  CurlFetcher fetcher;
  for (const std::string& address :
       {silent.Address(), dripping.Address(), "https://127.0.0.1:" + std::to_string(silent.Port()),
        std::string{"http://hanging.example/"}}) {
    const auto begin = steady_clock::now();
    EXPECT_EQ(Failure_In(fetcher.Get(Request(address), 400ms)).Hop, FetchHop::TimeOut) << address;
    EXPECT_LT(steady_clock::now() - begin, 5s);
  }
  EXPECT_EQ(Failure_In(fetcher.Get(Request(silent.Address()), 0ms)).Hop, FetchHop::TimeOut);
  EXPECT_EQ(Failure_In(fetcher.Get(Request(silent.Address()), -5s)).Hop, FetchHop::TimeOut);
}

TEST(CurlFetcher, ASlowBodyWithinTheLimitArrives) {
  SocketServer dripping{[](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n");
    for (int i = 0; i < 20 && connection.Pause(10ms); ++i) connection.Send("x");
  }};
  CurlFetcher fetcher;
  EXPECT_EQ(Reply_Of(fetcher.Get(Request(dripping.Address()), 20s)).Body, std::string(20, 'x'));
}

TEST(CurlFetcher, GivesUpWhenItIsTold) {
  SocketServer silent{[](SocketConnection& connection) { connection.WaitForEnd(); }};
  CurlFetcher fetcher;
  std::thread ender{[&] {
    while (silent.Connections() == 0) std::this_thread::yield();
    fetcher.Give_Up(true);
  }};
  EXPECT_EQ(Failure_In(fetcher.Get(Request(silent.Address()), 60s)).Hop, FetchHop::GivenUp);
  ender.join();
  EXPECT_EQ(Failure_In(fetcher.Get(Request(silent.Address()), 60s)).Hop, FetchHop::GivenUp);
  fetcher.Give_Up(false);
  EXPECT_EQ(Failure_In(fetcher.Get(Request(silent.Address()), 100ms)).Hop, FetchHop::TimeOut);
}

TEST(CurlFetcher, FollowsARedirectWithinItsHostOnly) {
  Seen seen;
  SocketServer elsewhere{[&seen](SocketConnection& connection) {
    seen.Add(connection.ReadRequest());
    connection.Send(Http_Answer("stolen"));
  }};
  SocketServer server{[&](SocketConnection& connection) {
    const std::string request = connection.ReadRequest();
    const auto to = [&](const std::string& place) {
      connection.Send(Http_Answer("", "302 Found", "Location: " + place + "\r\n"));
    };
    if (request.starts_with("GET /here "))
      to("/there?x=1");
    else if (request.starts_with("GET /there?x=1 "))
      connection.Send(Http_Answer("found"));
    else if (request.starts_with("GET /circle "))
      to("/circle");
    else if (request.starts_with("GET /port "))
      to(elsewhere.Address() + "/?k=sEcReT-kEy/1234");
    else if (request.starts_with("GET /host "))
      to("http://localhost:" + std::to_string(elsewhere.Port()) + "/");
    else if (request.starts_with("GET /secret-host "))
      to("http://sEcReT-kEy.example/");
    else if (request.starts_with("GET /scheme "))
      to("https://127.0.0.1/");
    else if (request.starts_with("GET /file "))
      to("file:///etc/passwd");
    else
      connection.Send(Http_Answer("no place named", "302 Found"));
  }};
  CurlFetcher fetcher;
  const auto get = [&](const std::string& path) {
    return fetcher.Get(Request(server.Address() + path), 10s);
  };
  EXPECT_EQ(Reply_Of(get("/here")).Body, "found");
  EXPECT_EQ(Failure_In(get("/circle")).Hop, FetchHop::Redirect);
  EXPECT_EQ(Failure_In(get("/port")).Hop, FetchHop::Redirect);
  EXPECT_EQ(Failure_In(get("/host")).Hop, FetchHop::Redirect);
  EXPECT_THAT(Failure_In(get("/host")).Reason, HasSubstr("localhost"));
  EXPECT_EQ(Failure_In(get("/scheme")).Hop, FetchHop::Redirect);
  EXPECT_EQ(Failure_In(get("/file")).Hop, FetchHop::Redirect);
  EXPECT_EQ(Reply_Of(get("/nowhere")).Status, 302);
  EXPECT_TRUE(seen.All().empty());
}

TEST(CurlFetcher, TellsTheProxyFromTheServer) {
  const RefusingPort dead;
  SocketServer refusing{[](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
  }};
  SocketServer asking{Answer_With(Http_Answer("", "407 Proxy Authentication Required"))};
  const EnvironmentVariable all{"all_proxy", std::nullopt};
  const EnvironmentVariable none{"no_proxy", std::nullopt};
  const EnvironmentVariable none_too{"NO_PROXY", std::nullopt};
  CurlFetcher fetcher;
  const auto fail = [&](const char* variable, const std::string& proxy, const std::string& address) {
    const EnvironmentVariable set{variable, proxy};
    return Failure_In(fetcher.Get(Request(address), 10s));
  };
  EXPECT_EQ(fail("http_proxy", dead.Address(), "http://quotes.example/").Hop, FetchHop::Proxy);
  EXPECT_EQ(fail("https_proxy", dead.Address(), "https://quotes.example/").Hop, FetchHop::Proxy);
  EXPECT_EQ(fail("http_proxy", "http://unknown.example:1", "http://quotes.example/").Hop, FetchHop::Proxy);
  EXPECT_EQ(fail("http_proxy", asking.Address(), "http://quotes.example/").Hop, FetchHop::Proxy);
  EXPECT_EQ(fail("https_proxy", "nonsense://x:1", "https://quotes.example/").Hop, FetchHop::Proxy);
  const FetchFailure refused = fail("https_proxy", refusing.Address(), "https://quotes.example/");
  EXPECT_EQ(refused.Hop, FetchHop::Proxy);
  EXPECT_THAT(refused.Reason, HasSubstr("403"));

  SocketServer direct{Answer_With(Http_Answer("direct"))};
  const EnvironmentVariable set{"http_proxy", dead.Address()};
  EXPECT_EQ(Reply_Of(fetcher.Get(Request(direct.Address()), 10s)).Body, "direct");
}

TEST(CurlFetcher, ChecksCertificates) {
  if (test::Under_Wine()) GTEST_SKIP() << "Wine leaves it to the program to look at a server's certificate";
  const test::TlsCertificate own = test::Make_Certificate("127.0.0.1");
  const test::TlsCertificate other = test::Make_Certificate("quotes.example");
  SocketServer server{Answer_With(Http_Answer("safe")), &own};
  SocketServer wrong{Answer_With(Http_Answer("safe")), &other};
  SocketServer plain{[](SocketConnection& connection) { connection.Send(Http_Answer("not safe")); }};
  const TemporaryFolder folder;
  CurlFetcherOptions options;
  options.Ca_File = folder.Write("authorities.pem", own.Certificate + other.Certificate).string();
  CurlFetcher knowing{options};
  CurlFetcher unknowing;
  EXPECT_EQ(Reply_Of(knowing.Get(Request(server.Address()), 10s)).Body, "safe");
  EXPECT_EQ(Failure_In(unknowing.Get(Request(server.Address()), 10s)).Hop, FetchHop::Certificate);
  EXPECT_EQ(Failure_In(knowing.Get(Request(wrong.Address()), 10s)).Hop, FetchHop::Certificate);
  const auto no_tls = "https://127.0.0.1:" + std::to_string(plain.Port());
  EXPECT_EQ(Failure_In(knowing.Get(Request(no_tls), 10s)).Hop, FetchHop::Certificate);
}

TEST(Without_Secrets, HidesThemHoweverTheyAreWritten) {
  EXPECT_EQ(Without_Secrets("a sEcReT-kEy/1234 b sEcReT-kEy%2F1234", {key}), "a **** b ****");
  EXPECT_EQ(Without_Secrets("keykey", {"key"}), "keykey");
  EXPECT_EQ(Without_Secrets("****", {"****"}), "****");
  EXPECT_EQ(Without_Secrets("text", {}), "text");
}

}  // namespace
}  // namespace hq::server
