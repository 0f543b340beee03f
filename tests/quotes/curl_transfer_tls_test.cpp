// Transfers through a proxy and over secure connections.

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

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
  if (test::Under_Wine()) GTEST_SKIP() << "Wine leaves it to the program to look at a server's certificate";
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
