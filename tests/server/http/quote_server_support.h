#pragma once

#include <array>
#include <gtest/gtest.h>
#include <httplib.h>
#include <memory>
#include <string>

#include "market/market_support.h"
#include "server/http/quote_server.h"
#include "server/simulated/simulated_source.h"
#include "support/sockets.h"

// What the tests of the quote server share.

namespace hq::server {

inline std::shared_ptr<QuoteSource> Simulated() {
  // A Friday, long after the close.
  return std::make_shared<SimulatedSource>(Fixed_Clock(Date(2026, 11, 20), At(20, 0)));
}

struct Reply {
  int Status = 0;
  std::string Body;
  std::string Type;
};

inline Reply Get(int port, const std::string& target) {
  httplib::Client client{"127.0.0.1", port};
  client.set_url_encode(false);
  const auto result = client.Get(target);
  if (!result) {
    ADD_FAILURE() << httplib::to_string(result.error()) << ": " << target;
    return {};
  }
  return {result->status, result->body, result->get_header_value("Content-Type")};
}

class QuoteServerTest : public testing::Test {
 protected:
  [[nodiscard]] Reply Ask(const std::string& query) const { return Get(port_, "/quotes?" + query); }

  QuoteServer server_{Simulated()};
  int port_ = server_.Start();
};

// A connection that carries bytes as they are.
class RawConnection {
 public:
  explicit RawConnection(int port) : socket_(test::Connected_Socket(port)) {}
  ~RawConnection() { test::Close_Socket(socket_); }
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  // The server may have closed the connection already; then the bytes are lost.
  void Send(const std::string& bytes) const { (void)test::Send_Now(socket_, bytes); }
  void End_Sending() const { test::End_Sending(socket_); }

  [[nodiscard]] std::string Read_Line() const {
    std::string line;
    char c = 0;
    while (test::Receive_Now(socket_, &c, 1) == 1 && c != '\n') line += c;
    return line;
  }

  [[nodiscard]] std::string Read_Rest() const {
    std::string text;
    std::array<char, 4096> piece{};
    for (long count = 0; (count = test::Receive_Now(socket_, piece.data(), piece.size())) > 0;) {
      text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  test::Socket socket_;
};

}  // namespace hq::server
