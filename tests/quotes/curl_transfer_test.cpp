#include "quotes/curl_transfer.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#include <zlib.h>

#include "base/run_time_error.h"
#include "quotes/scripted_look_up.h"
#include "quotes/transfer_client.h"
#include "support/socket_server.h"

namespace hq {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

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
  // Wine tells of a reset as of any other end.
  EXPECT_THAT(client.Control->Reason(),
              StartsWith(test::Under_Wine() ? "The server closed the connection without an answer ("
                                            : "The connection broke off ("));
}

TEST(CurlTransfer, AnAnswerThatIsNotHttpIsAnError) {
  for (const char* answer : {"Hello! This is something else.\r\n", "220 mail.example ESMTP\r\n", "\r\n\r\n",
                             "HTTP/9.9 200 OK\r\n\r\n", "HTTP/1.7 200 OK\r\n\r\n", "HTTP/\r\n\r\n",
                             "HTTP/1.1 100 Continue\r\n\r\nHello!\r\n"}) {
    SocketServer server(Answer_With(answer));
    Client client;
    EXPECT_EQ(client.Get(server.Address()), TransferError);
    EXPECT_THAT(client.Control->Reason(), StartsWith("The server's answer is not HTTP (")) << answer;
    EXPECT_EQ(client.Body(), "");
  }
}

TEST(CurlTransfer, ARedirectToWhatIsNotHttpIsNotToldAsTheRedirect) {
  SocketServer other(Answer_With("Hello!\r\n"));
  SocketServer server(
      Answer_With(Http_Answer("moved", "302 Found", "Location: " + other.Address() + "/\r\n")));
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_THAT(client.Control->Reason(), StartsWith("The server's answer is not HTTP ("));
}

TEST(CurlTransfer, AnEndlessHeaderLineIsNoLackOfMemory) {
  SocketServer server([](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send("HTTP/1.1 200 OK\r\nX: ");
    while (connection.Send(std::string(1000, 'x'))) {
    }
  });
  Client client;
  EXPECT_EQ(client.Get(server.Address()), TransferError);
  EXPECT_EQ(client.Control->Reason(), "The answer's header is too large");
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
  EXPECT_EQ(client.Get(server.Address(), seconds(300)), TransferError);
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
  ASSERT_EQ(client.Get(server.Address(), seconds(300)), ResponseCompleted);
  size_t position = 0;
  for (;;) {
    const std::string piece = client.Control->GetChunk(1024, 0);
    if (piece.empty()) break;
    ASSERT_EQ(piece.compare(0, piece.size(), block, position % MiB, piece.size()), 0);
    position += piece.size();
  }
  EXPECT_EQ(position, 64 * MiB);
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

}  // namespace
}  // namespace hq
