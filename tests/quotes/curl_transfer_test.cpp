#include "quotes/curl_transfer.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#include <zlib.h>

#include "base/run_time_error.h"
#include "cli/console_message_loop.h"
#include "quotes/scripted_look_up.h"
#include "support/socket_server.h"

namespace hq {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using test::Answer_With;
using test::Http_Answer;
using test::RefusingPort;
using test::SocketConnection;
using test::SocketServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr size_t MiB = size_t{1024} * 1024;

// A control, its loop, and the states that arrived.
struct Client {
  explicit Client(CurlTransferOptions options = {}) : Control(std::make_unique<CurlTransfer>(Loop, options)) {
    Control->StateChanged = [this](int state) { States.push_back(state); };
  }

  [[nodiscard]] bool Done() const {
    return !States.empty() && (States.back() == TransferError || States.back() == ResponseCompleted);
  }

  // False when it did not come true in time.
  bool Run_Until(const std::function<bool()>& condition, seconds deadline = seconds(10)) {
    const auto end = steady_clock::now() + deadline;
    while (!condition()) {
      if (steady_clock::now() > end) return false;
      Loop.Sleep(milliseconds(20));
      Loop.DoEvents();
    }
    return true;
  }

  // Runs a transfer to its end and gives the last state, or 0 when none came in time.
  int Get(const std::string& address, seconds deadline = seconds(10)) {
    States.clear();
    Control->Execute(address, "GET");
    return Run_Until([this] { return Done(); }, deadline) ? States.back() : 0;
  }

  std::string Body(size_t size = 1024) {
    std::string body;
    for (;;) {
      const std::string piece = Control->GetChunk(size, 0);
      EXPECT_LE(piece.size(), size);
      if (piece.empty()) return body;
      body += piece;
    }
  }

  // Runs what is pending, and what comes within a short while.
  void Run_The_Rest() {
    for (int pass = 0; pass < 5; ++pass) {
      Loop.Sleep(milliseconds(10));
      Loop.DoEvents();
    }
  }

  ConsoleMessageLoop Loop;
  std::vector<int> States;
  std::unique_ptr<CurlTransfer> Control;
};

const auto All_States = ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12);
const auto All_States_And_Error = ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);

std::string Gzip(const std::string& text) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::runtime_error("deflateInit2");
  std::string packed(deflateBound(&stream, static_cast<uLong>(text.size())) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  const int result = deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("deflate");
  return packed;
}

// Bytes of every value, so that a lost, doubled or changed one shows.
std::string Pattern(size_t size) {
  std::string text(size, '\0');
  uint32_t value = 1;
  for (char& character : text) {
    value = value * 1664525 + 1013904223;
    character = static_cast<char>(value >> 24);
  }
  return text;
}

// Sets an environment variable until the end of the scope; no value takes it away.
class EnvironmentVariable {
 public:
  EnvironmentVariable(std::string name, const std::optional<std::string>& value) : name_(std::move(name)) {
    if (const char* old = std::getenv(name_.c_str())) old_ = old;
    Set(value);
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { Set(old_); }

 private:
  void Set(const std::optional<std::string>& value) {
    if (value)
      setenv(name_.c_str(), value->c_str(), 1);
    else
      unsetenv(name_.c_str());
  }

  std::string name_;
  std::optional<std::string> old_;
};

// The latest request that a server was sent.
class SeenRequest {
 public:
  void Put(std::string request) {
    const std::lock_guard lock(mutex_);
    request_ = std::move(request);
  }
  std::string Get() const {
    const std::lock_guard lock(mutex_);
    return request_;
  }

 private:
  mutable std::mutex mutex_;
  std::string request_;
};

TEST(CurlTransfer, ReportsEveryStateInOrderAndGivesTheBody) {
  SocketServer server(Answer_With(Http_Answer("Date,Close\n1/2/2024,10.5\n")));
  Client client;
  EXPECT_EQ(client.Get(server.Address() + "/quotes?s=ABC"), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "Date,Close\n1/2/2024,10.5\n");
  EXPECT_EQ(client.Control->GetChunk(1024, 0), "");
  EXPECT_EQ(client.Control->Reason(), "");
}

TEST(CurlTransfer, SendsAPlainRequest) {
  SeenRequest seen;
  SocketServer server([&seen](SocketConnection& connection) {
    seen.Put(connection.ReadRequest());
    connection.Send(Http_Answer("x"));
  });
  CurlTransferOptions options;
  options.Version = "1.2.3";
  Client client(options);
  EXPECT_EQ(client.Get(server.Address() + "/q?s=ABC&x=1"), ResponseCompleted);
  EXPECT_THAT(seen.Get(), StartsWith("GET /q?s=ABC&x=1 HTTP/1.1\r\n"));
  EXPECT_THAT(seen.Get(), HasSubstr("\r\nUser-Agent: history-quotes/1.2.3\r\n"));
  EXPECT_THAT(seen.Get(), HasSubstr("\r\nAccept-Encoding: "));
  EXPECT_THAT(seen.Get(), HasSubstr("gzip"));

  Client unnamed;
  EXPECT_EQ(unnamed.Get(server.Address()), ResponseCompleted);
  EXPECT_THAT(seen.Get(), StartsWith("GET / HTTP/1.1\r\n"));
  EXPECT_THAT(seen.Get(), HasSubstr("\r\nUser-Agent: history-quotes\r\n"));
}

TEST(CurlTransfer, EncodesWhatAnAddressCannotHoldAndNothingElse) {
  SeenRequest seen;
  SocketServer server([&seen](SocketConnection& connection) {
    seen.Put(connection.ReadRequest());
    connection.Send(Http_Answer("x"));
  });
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"/a b?s=C D", "/a%20b?s=C%20D"},
      {"/q?s=#1", "/q?s=%231"},
      {"/q#1", "/q%231"},
      {"/q?s=Z\xC3\xBCrich", "/q?s=Z%C3%BCrich"},
      {"/q?s=100%25&t=%5EX", "/q?s=100%25&t=%5EX"},
      {"/q?s=^X&t=A+B&u=A/B?C", "/q?s=^X&t=A+B&u=A/B?C"},
      {"?s=1", "/?s=1"},
  };
  Client client;
  for (const auto& [address, sent] : cases) {
    EXPECT_EQ(client.Get(server.Address() + address), ResponseCompleted) << address;
    EXPECT_THAT(seen.Get(), StartsWith("GET " + sent + " HTTP/1.1\r\n"));
  }
}

TEST(CurlTransfer, GivesTheBodyInPiecesOfTheSizeAskedFor) {
  const std::string body = Pattern(10 * 1024 + 7);
  SocketServer server(Answer_With(Http_Answer(body)));
  Client client;
  ASSERT_EQ(client.Get(server.Address()), ResponseCompleted);
  std::string joined;
  for (int piece = 0; piece < 10; ++piece) {
    const std::string chunk = client.Control->GetChunk(1024, 0);
    EXPECT_EQ(chunk.size(), 1024U);
    joined += chunk;
  }
  joined += client.Control->GetChunk(3, 0);
  joined += client.Control->GetChunk(1024, 0);
  EXPECT_EQ(joined, body);
  EXPECT_EQ(client.Control->GetChunk(1024, 0), "");
}

TEST(CurlTransfer, KeepsNulBytes) {
  const std::string body("a\0b\0\0c", 6);
  SocketServer server(Answer_With(Http_Answer(body)));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Body(2), body);
}

TEST(CurlTransfer, AnEmptyBodyIsComplete) {
  SocketServer server(Answer_With(Http_Answer("")));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "");
  EXPECT_EQ(client.Control->Reason(), "");
}

TEST(CurlTransfer, TheEndOfTheConnectionEndsABodyWithoutALength) {
  SocketServer server(Answer_With("HTTP/1.0 200 OK\r\n\r\nuntil the end"));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "until the end");
}

TEST(CurlTransfer, Decompresses) {
  const std::string body = Pattern(300'000);
  SocketServer server(Answer_With(Http_Answer(Gzip(body), "200 OK", "Content-Encoding: gzip\r\n")));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Body(), body);
}

TEST(CurlTransfer, BrokenCompressionIsAnError) {
  SocketServer server(Answer_With(Http_Answer("no gzip at all", "200 OK", "Content-Encoding: gzip\r\n")));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.Control->Reason(), StartsWith("The answer can't be decompressed ("));
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, JoinsChunkedBodies) {
  SocketServer server(Answer_With(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nfirst\r\n7\r\n second\r\n0\r\n\r\n"));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "first second");
}

TEST(CurlTransfer, BrokenChunksAreAnError) {
  for (const char* chunks : {"5\r\nfirst\r\n7\r\n sec", "5\r\nfirst\r\n", "5\r\nfirst\r\nxyz\r\n"}) {
    SocketServer server(
        Answer_With(std::string("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n") + chunks));
    Client client;
    EXPECT_EQ(client.Get(server.Address()), TransferError) << chunks;
    EXPECT_THAT(client.States, All_States_And_Error);
    EXPECT_EQ(client.Body(), "");
    EXPECT_THAT(client.Control->Reason(), Not(IsEmpty()));
  }
}

TEST(CurlTransfer, AnHttpErrorIsACompletedTransferThatSaysSo) {
  const std::vector<std::pair<std::string, std::string>> cases = {{"404 Not Found", "HTTP 404"},
                                                                  {"500 Internal Server Error", "HTTP 500"}};
  for (const auto& [status, reason] : cases) {
    SocketServer server(Answer_With(Http_Answer("sorry", status)));
    Client client;
    EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
    EXPECT_THAT(client.States, All_States);
    EXPECT_EQ(client.Body(), "sorry");
    EXPECT_EQ(client.Control->Reason(), reason);
  }
}

TEST(CurlTransfer, TheReasonIsThatOfTheLatestTransfer) {
  SocketServer missing(Answer_With(Http_Answer("sorry", "404 Not Found")));
  SocketServer server(Answer_With(Http_Answer("fine")));
  Client client;
  EXPECT_EQ(client.Get(missing.Address()), ResponseCompleted);
  client.Control->Cancel();
  EXPECT_EQ(client.Control->Reason(), "HTTP 404");
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Control->Reason(), "");
}

TEST(CurlTransfer, FollowsARedirectAndTellsItsStatesOnce) {
  SocketServer target(Answer_With(Http_Answer("the second body")));
  SocketServer server(
      Answer_With(Http_Answer("moved", "302 Found", "Location: " + target.Address() + "/new\r\n")));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "the second body");
  EXPECT_EQ(client.Control->Reason(), "");
}

TEST(CurlTransfer, FollowsARedirectOnTheSameConnection) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send(Http_Answer("moved", "301 Moved Permanently", "Location: /new\r\n"));
    if (connection.ReadRequest().starts_with("GET /new ")) connection.Send(Http_Answer("the second body"));
  });
  Client client;
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "the second body");
  EXPECT_EQ(server.Connections(), 1U);
}

TEST(CurlTransfer, EndsACircleOfRedirects) {
  std::atomic<int> requests = 0;
  SocketServer server([&requests](SocketConnection& connection) {
    while (!connection.ReadRequest().empty()) {
      ++requests;
      connection.Send(Http_Answer("again", "302 Found", "Location: /q?key=secret\r\n"));
    }
  });
  Client client;
  EXPECT_EQ(client.Get(server.Address() + "/q?key=secret"), TransferError);
  EXPECT_THAT(client.States, All_States_And_Error);
  EXPECT_EQ(requests, 11);
  EXPECT_THAT(client.Control->Reason(), StartsWith("The server redirects in a circle or too often ("));
  EXPECT_THAT(client.Control->Reason(), Not(HasSubstr("secret")));
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, RefusesRedirectsToAnythingButHttp) {
  const std::string file = testing::TempDir() + "/curl_transfer_redirect_target.txt";
  std::ofstream(file) << "private";
  for (const std::string& location :
       {"file://" + file, std::string("ftp://127.0.0.1/x"), std::string("gopher:x")}) {
    SocketServer server(Answer_With(Http_Answer("moved", "302 Found", "Location: " + location + "\r\n")));
    Client client;
    EXPECT_EQ(client.Get(server.Address()), TransferError) << location;
    EXPECT_THAT(client.States, All_States_And_Error);
    EXPECT_THAT(client.Control->Reason(),
                StartsWith("The server redirects to an address that can't be used ("));
    EXPECT_EQ(client.Body(), "");
  }
  std::filesystem::remove(file);
}

TEST(CurlTransfer, ARefusedConnectionIsAnError) {
  const RefusingPort port;
  Client client;
  EXPECT_EQ(client.Get(port.Address() + "/q?key=secret"), TransferError);
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 11));
  EXPECT_THAT(client.Control->Reason(), StartsWith("No connection to the server ("));
  EXPECT_THAT(client.Control->Reason(), Not(HasSubstr("secret")));
}

TEST(CurlTransfer, ARefusedRedirectTargetTellsNoStateAgain) {
  const RefusingPort port;
  SocketServer server(Answer_With(Http_Answer("moved", "302 Found", "Location: " + port.Address() + "\r\n")));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.States, All_States_And_Error);
}

TEST(CurlTransfer, AnUnknownHostIsAnError) {
  const EnvironmentVariable direct("no_proxy", "*");
  Client client;
  EXPECT_EQ(client.Get("http://unknown.example/q?key=secret"), TransferError);
  EXPECT_THAT(client.States, ElementsAre(1, 11));
  EXPECT_THAT(client.Control->Reason(), StartsWith("The server's name was not found ("));
  EXPECT_THAT(client.Control->Reason(), Not(HasSubstr("secret")));
}

TEST(CurlTransfer, TriesTheNextAddressOfAHostAndTellsNoStateAgain) {
  const EnvironmentVariable direct("no_proxy", "*");
  SocketServer server(Answer_With(Http_Answer("second address")));
  Client client;
  EXPECT_EQ(client.Get("http://two.example:" + std::to_string(server.Port())), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "second address");
}

TEST(CurlTransfer, CancelDoesNotWaitForALookUpThatHangs) {
  const EnvironmentVariable direct("no_proxy", "*");
  test::HeldLookUp held;
  Client client;
  client.Control->Execute("http://hanging.example/", "GET");
  ASSERT_TRUE(held.WaitUntilItHangs(seconds(10)));
  ASSERT_TRUE(client.Run_Until([&] { return !client.States.empty(); }));
  client.Control->Cancel();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1));

  client.Control->Execute("http://hanging.example/", "GET");
  client.Control.reset();
}

TEST(CurlTransfer, FindsLocalhost) {
  SocketServer server(Answer_With(Http_Answer("here")));
  Client client;
  EXPECT_EQ(client.Get("http://localhost:" + std::to_string(server.Port())), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
}

TEST(CurlTransfer, ABodyThatBreaksOffIsAnError) {
  SocketServer server(Answer_With("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf of it"));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.States, All_States_And_Error);
  EXPECT_THAT(client.Control->Reason(), StartsWith("The answer broke off ("));
  EXPECT_EQ(client.Control->GetChunk(1024, 0), "");
}

TEST(CurlTransfer, AConnectionWithoutAnAnswerIsAnError) {
  SocketServer server([](SocketConnection& connection) { connection.ReadRequest(); });
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 4, 5, 6, 7, 9, 10, 11));
  EXPECT_THAT(client.Control->Reason(), StartsWith("The server closed the connection without an answer ("));
}

TEST(CurlTransfer, AResetIsAnError) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Reset();
  });
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 4, 5, 6, 7, 9, 10, 11));
  EXPECT_THAT(client.Control->Reason(), StartsWith("The connection broke off ("));
}

TEST(CurlTransfer, AnAnswerThatIsNotHttpIsAnError) {
  SocketServer server(Answer_With("Hello! This is something else.\r\n"));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.Control->Reason(), Not(IsEmpty()));
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, EndlessHeadersAreAnError) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\n");
    const std::string line = "X: " + std::string(1000, 'x') + "\r\n";
    while (connection.Send(line)) {
    }
  });
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_EQ(client.Control->Reason(), "The answer's header is too large");
}

TEST(CurlTransfer, ABodyOfExactlyTheLimitIsComplete) {
  CurlTransferOptions options;
  options.BodyLimit = 5000;
  const std::string body = Pattern(5000);
  SocketServer server(Answer_With(Http_Answer(body)));
  Client client(options);
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Body(), body);
}

TEST(CurlTransfer, ABodyOverTheLimitIsAnErrorAlsoWhenCompressed) {
  CurlTransferOptions options;
  options.BodyLimit = 5000;
  const std::string body(5001, 'x');
  for (const std::string& answer :
       {Http_Answer(body), Http_Answer(Gzip(body), "200 OK", "Content-Encoding: gzip\r\n")}) {
    SocketServer server(Answer_With(answer));
    Client client(options);
    EXPECT_EQ(client.Get(server.Address()), TransferError);
    EXPECT_THAT(client.States, All_States_And_Error);
    EXPECT_EQ(client.Control->Reason(), "The answer is too large");
    EXPECT_EQ(client.Control->GetChunk(1024, 0), "");
  }
}

TEST(CurlTransfer, RefusesMoreThan64MiBUnlessToldOtherwise) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\n\r\n");
    const std::string block(MiB, 'x');
    for (int sent = 0; sent < 65; ++sent) connection.Send(block);
  });
  Client client;
  EXPECT_EQ(client.Get(server.Address(), seconds(60)), TransferError);
  EXPECT_EQ(client.Control->Reason(), "The answer is too large");
}

TEST(CurlTransfer, HandsOut64MiBInSmallPieces) {
  const std::string block = Pattern(MiB);
  SocketServer server([&block](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(64 * MiB) + "\r\n\r\n");
    for (int sent = 0; sent < 64; ++sent) connection.Send(block);
  });
  Client client;
  ASSERT_EQ(client.Get(server.Address(), seconds(60)), ResponseCompleted);
  size_t position = 0;
  for (;;) {
    const std::string piece = client.Control->GetChunk(1024, 0);
    if (piece.empty()) break;
    ASSERT_EQ(piece.compare(0, piece.size(), block, position % MiB, piece.size()), 0);
    position += piece.size();
  }
  EXPECT_EQ(position, 64 * MiB);
}

TEST(CurlTransfer, TheBodyIsNotThereBeforeTheLastState) {
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  std::string early;
  client.Control->StateChanged = [&](int state) {
    client.States.push_back(state);
    if (state != ResponseCompleted) early += client.Control->GetChunk(1024, 0);
  };
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(early, "");
  EXPECT_EQ(client.Body(), "body");
}

TEST(CurlTransfer, CancelEndsATransferWhoseServerHangs) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.WaitForEnd();
  });
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ASSERT_TRUE(
      client.Run_Until([&] { return !client.States.empty() && client.States.back() == ReceivingResponse; }));
  const auto start = steady_clock::now();
  client.Control->Cancel();
  // Without being woken the transfer's thread would sleep much longer.
  EXPECT_LT(steady_clock::now() - start, seconds(5));
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 4, 5, 6, 7));
  EXPECT_EQ(client.Control->Reason(), "");
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, CancelEndsATransferThatTrickles) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
    while (connection.Send("x") && connection.Pause(milliseconds(1))) {
    }
  });
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ASSERT_TRUE(
      client.Run_Until([&] { return !client.States.empty() && client.States.back() == ResponseReceived; }));
  client.Control->Cancel();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, CancelEndsATransferThatStreamsAtFullSpeed) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\n\r\n");
    const std::string block(MiB, 'x');
    while (connection.Send(block)) {
    }
  });
  CurlTransferOptions options;
  options.BodyLimit = 4096 * MiB;
  Client client(options);
  client.Control->Execute(server.Address(), "GET");
  ASSERT_TRUE(
      client.Run_Until([&] { return !client.States.empty() && client.States.back() == ResponseReceived; }));
  client.Control->Cancel();
  client.Run_The_Rest();
  EXPECT_EQ(client.States.back(), ResponseReceived);
}

TEST(CurlTransfer, CancelDoesNothingWhenIdle) {
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  client.Control->Cancel();
  client.Control->Cancel();
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  client.Control->Cancel();
  client.Control->Cancel();
  EXPECT_EQ(client.Control->GetChunk(1024, 0), "");
  client.Run_The_Rest();
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Body(), "body");
}

// Waits, without running events, until the transfer has posted its last one: the server sees the connection's
// end between Disconnecting and the last state.
struct Ended {
  std::atomic<bool> Value = false;
  SocketServer::Script Script = [this](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send(Http_Answer("body"));
    connection.WaitForEnd();
    Value = true;
    Value.notify_all();
  };
  void Wait() const { Value.wait(false); }
};

TEST(CurlTransfer, EventsThatWaitWhenCancelIsCalledNeverArrive) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  client.Control->Cancel();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, IsEmpty());
  EXPECT_EQ(client.Body(), "");
}

TEST(CurlTransfer, CancelInsideAnEventSilencesThoseBehindIt) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->StateChanged = [&](int state) {
    client.States.push_back(state);
    if (state == HostResolved) client.Control->Cancel();
  };
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2));
}

TEST(CurlTransfer, ExecuteEndsTheTransferBeforeIt) {
  Ended ended;
  SocketServer first(ended.Script);
  SocketServer hanging([](SocketConnection& connection) { connection.WaitForEnd(); });
  SocketServer last(Answer_With(Http_Answer("the last one")));
  Client client;
  client.Control->Execute(first.Address(), "GET");
  ended.Wait();
  client.Control->Execute(hanging.Address(), "GET");
  EXPECT_EQ(client.Get(last.Address()), ResponseCompleted);
  client.Run_The_Rest();
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "the last one");
}

TEST(CurlTransfer, ExecuteInsideTheLastEventStartsAnew) {
  SocketServer first(Answer_With(Http_Answer("first")));
  SocketServer second(Answer_With(Http_Answer("second")));
  Client client;
  int completed = 0;
  client.Control->StateChanged = [&](int state) {
    client.States.push_back(state);
    if (state == ResponseCompleted && ++completed == 1) client.Control->Execute(second.Address(), "GET");
  };
  client.Control->Execute(first.Address(), "GET");
  EXPECT_TRUE(client.Run_Until([&] { return completed == 2; }));
  EXPECT_EQ(client.Body(), "second");
  EXPECT_EQ(client.States.size(), 22U);
}

TEST(CurlTransfer, MayBeDestroyedWhileATransferRuns) {
  SocketServer server([](SocketConnection& connection) { connection.WaitForEnd(); });
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ASSERT_TRUE(client.Run_Until([&] { return !client.States.empty(); }));
  client.Control.reset();
  const size_t states = client.States.size();
  client.Run_The_Rest();
  EXPECT_EQ(client.States.size(), states);
}

TEST(CurlTransfer, MayBeDestroyedWhileEventsWait) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  client.Control.reset();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, IsEmpty());
}

TEST(CurlTransfer, MayBeDestroyedInsideItsEvent) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->StateChanged = [&client](int state) {
    std::vector<int>& states = client.States;
    if (state == Requesting) client.Control.reset();
    states.push_back(state);
  };
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 4, 5));
}

TEST(CurlTransfer, WorksWithoutAnEventHandler) {
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  client.Control->StateChanged = nullptr;
  client.Control->Execute(server.Address(), "GET");
  std::string body;
  EXPECT_TRUE(client.Run_Until([&] { return !(body = client.Control->GetChunk(1024, 0)).empty(); }));
  EXPECT_EQ(body, "body");
}

TEST(CurlTransfer, TwoControlsDoNotDisturbEachOther) {
  SocketServer hanging([](SocketConnection& connection) { connection.WaitForEnd(); });
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  CurlTransfer other(client.Loop);
  std::vector<int> other_states;
  other.StateChanged = [&](int state) { other_states.push_back(state); };
  other.Execute(hanging.Address(), "GET");
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  client.Control->Cancel();
  ASSERT_TRUE(client.Run_Until([&] { return other_states.size() == 7; }));
  EXPECT_THAT(other_states, ElementsAre(1, 2, 3, 4, 5, 6, 7));
  other.Cancel();
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Body(), "body");
  EXPECT_EQ(other_states.size(), 7U);
}

TEST(CurlTransfer, RefusesMalformedAddresses) {
  const std::vector<std::string> addresses = {
      "",
      "quotes.example",
      "/quotes?key=secret",
      "http:",
      "http:/quotes.example/?key=secret",
      "http://",
      "http:///quotes.example/?key=secret",
      "http://?key=secret",
      "http://:80/?key=secret",
      "http://#key=secret",
      "https://user@/?key=secret",
      "http://quotes.example:99999/?key=secret",
      "http://quotes.example:abc/?key=secret",
      "http://[::1/?key=secret",
      "http://quotes example/?key=secret",
      "http://quotes.example#key=secret",
      " http://quotes.example/?key=secret",
      "ftp://quotes.example/?key=secret",
      "file:///etc/hostname?key=secret",
      "file://127.0.0.1/etc/hostname",
      "javascript:secret",
      "://quotes.example/",
      "http://quotes.example/?s=A\r\nHost: secret",
      "http://quotes.example/?s=\tsecret",
      "http://quotes.example/?s=\x7Fsecret",
      std::string("http://quotes.example/?s=A\0secret", 33),
  };
  Client client;
  for (const std::string& address : addresses) {
    try {
      client.Control->Execute(address, "GET");
      ADD_FAILURE() << "accepted: " << address;
    } catch (const RunTimeError& error) {
      EXPECT_EQ(error.Number(), UnableToCompleteRequest) << address;
      EXPECT_THAT(error.Detail(), StartsWith("the address ")) << address;
      EXPECT_THAT(error.Detail(), Not(HasSubstr("secret"))) << address;
    }
  }
  client.Run_The_Rest();
  EXPECT_THAT(client.States, IsEmpty());
}

TEST(CurlTransfer, RefusesOtherOperations) {
  SocketServer server(Answer_With(Http_Answer("body")));
  Client client;
  for (const char* operation : {"POST", "PUT", "get", ""}) {
    try {
      client.Control->Execute(server.Address(), operation);
      ADD_FAILURE() << "accepted: " << operation;
    } catch (const RunTimeError& error) {
      EXPECT_EQ(error.Number(), UnableToCompleteRequest);
      EXPECT_EQ(error.Detail(), "the only operation is GET");
    }
  }
  EXPECT_EQ(server.Connections(), 0U);
}

TEST(CurlTransfer, ARefusedExecuteEndsTheTransferBeforeIt) {
  Ended ended;
  SocketServer server(ended.Script);
  Client client;
  client.Control->Execute(server.Address(), "GET");
  ended.Wait();
  EXPECT_THROW(client.Control->Execute("nonsense", "GET"), RunTimeError);
  client.Run_The_Rest();
  EXPECT_THAT(client.States, IsEmpty());
}

TEST(CurlTransfer, UsesTheProxyOfTheEnvironmentButNotForLoopback) {
  SeenRequest seen;
  SocketServer proxy([&seen](SocketConnection& connection) {
    seen.Put(connection.ReadRequest());
    connection.Send(Http_Answer("through the proxy"));
  });
  SocketServer server(Answer_With(Http_Answer("direct")));
  const std::string port = std::to_string(server.Port());
  const EnvironmentVariable all("all_proxy", std::nullopt);
  const EnvironmentVariable none("no_proxy", "direct.example");
  const EnvironmentVariable variable("http_proxy", proxy.Address());
  Client client;
  for (const std::string host : {"127.0.0.1", "localhost", "127.9.8.7"}) {
    // The server listens at 127.0.0.1 alone, so the last of these is refused; directly, too.
    client.Get("http://" + host + ":" + port + "/");
    EXPECT_EQ(client.Body(), host == "127.9.8.7" ? "" : "direct") << host;
  }
  client.Get("http://[::1]:" + port + "/");
  EXPECT_EQ(client.States.back(), TransferError);
  EXPECT_EQ(proxy.Connections(), 0U);

  EXPECT_EQ(client.Get("http://quotes.example/q?s=A"), ResponseCompleted);
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), "through the proxy");
  EXPECT_THAT(seen.Get(), StartsWith("GET http://quotes.example/q?s=A HTTP/1.1\r\n"));
}

TEST(CurlTransfer, ADeadProxyDoesNotKeepFromLoopback) {
  const RefusingPort dead;
  SocketServer server(Answer_With(Http_Answer("direct")));
  const EnvironmentVariable none("no_proxy", std::nullopt);
  const EnvironmentVariable none_too("NO_PROXY", std::nullopt);
  const EnvironmentVariable variable("http_proxy", dead.Address());
  Client client;
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted);
  EXPECT_EQ(client.Body(), "direct");
  EXPECT_EQ(client.Get("http://quotes.example/q?key=secret"), TransferError);
  EXPECT_THAT(client.Control->Reason(), Not(HasSubstr("secret")));
}

TEST(CurlTransfer, TheStatesOfATunnelAreThoseOfItsServer) {
  const RefusingPort unused;
  SeenRequest seen;
  SocketServer proxy([&seen](SocketConnection& connection) {
    seen.Put(connection.ReadRequest());
    connection.Send("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
  });
  const EnvironmentVariable none("no_proxy", std::nullopt);
  const EnvironmentVariable variable("https_proxy", proxy.Address());
  Client client;
  EXPECT_EQ(client.Get("https://quotes.example/"), TransferError);
  EXPECT_THAT(seen.Get(), StartsWith("CONNECT quotes.example:443 "));
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 11));
  EXPECT_THAT(client.Control->Reason(), HasSubstr("403"));
}

// A file with this text until the end of the scope.
class TextFile {
 public:
  TextFile(const std::string& name, const std::string& text) : Path(testing::TempDir() + "/" + name) {
    std::ofstream(Path) << text;
  }
  TextFile(const TextFile&) = delete;
  TextFile& operator=(const TextFile&) = delete;
  ~TextFile() { std::filesystem::remove(Path); }

  const std::string Path;
};

TEST(CurlTransferOverTls, RefusesACertificateThatNobodyVouchesFor) {
  const test::TlsCertificate certificate = test::Make_Certificate("127.0.0.1");
  SocketServer server(Answer_With(Http_Answer("body")), &certificate);
  Client client;
  EXPECT_EQ(client.Get(server.Address() + "/?key=secret"), TransferError);
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 11));
  EXPECT_THAT(client.Control->Reason(), StartsWith("The server's certificate is not trusted ("));
  EXPECT_THAT(client.Control->Reason(), Not(HasSubstr("secret")));
}

TEST(CurlTransferOverTls, AcceptsACertificateOfTheCaFile) {
  const test::TlsCertificate certificate = test::Make_Certificate("127.0.0.1");
  const TextFile authority("curl_transfer_accepted.pem", certificate.Certificate);
  const std::string body = Pattern(100'000);
  SocketServer server(Answer_With(Http_Answer(body)), &certificate);
  CurlTransferOptions options;
  options.CaFile = authority.Path;
  Client client(options);
  EXPECT_EQ(client.Get(server.Address()), ResponseCompleted) << client.Control->Reason();
  EXPECT_THAT(client.States, All_States);
  EXPECT_EQ(client.Body(), body);
}

TEST(CurlTransferOverTls, RefusesTheCertificateOfAnotherHost) {
  const test::TlsCertificate certificate = test::Make_Certificate("quotes.example");
  const TextFile authority("curl_transfer_other_host.pem", certificate.Certificate);
  SocketServer server(Answer_With(Http_Answer("body")), &certificate);
  CurlTransferOptions options;
  options.CaFile = authority.Path;
  Client client(options);
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3, 11));
  EXPECT_THAT(client.Control->Reason(), StartsWith("The server's certificate is not trusted ("));
}

TEST(CurlTransferOverTls, AResetIsAnError) {
  const test::TlsCertificate certificate = test::Make_Certificate("127.0.0.1");
  const TextFile authority("curl_transfer_reset.pem", certificate.Certificate);
  SocketServer server(
      [](SocketConnection& connection) {
        connection.ReadRequest();
        connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
        connection.Reset();
      },
      &certificate);
  CurlTransferOptions options;
  options.CaFile = authority.Path;
  Client client(options);
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.Control->Reason(), Not(IsEmpty()));
}

TEST(CurlTransferOverTls, CancelEndsAHandshakeThatHangs) {
  SocketServer server([](SocketConnection& connection) { connection.WaitForEnd(); });
  Client client;
  client.Control->Execute("https://127.0.0.1:" + std::to_string(server.Port()), "GET");
  ASSERT_TRUE(client.Run_Until([&] { return !client.States.empty() && client.States.back() == Connecting; }));
  client.Control->Cancel();
  client.Run_The_Rest();
  EXPECT_THAT(client.States, ElementsAre(1, 2, 3));
}

}  // namespace
}  // namespace hq
