#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "base/latch.h"
#include "cli/console_message_loop.h"
#include "quotes/curl_transfer.h"
#include "support/environment.h"
#include "support/socket_server.h"

// What the tests of the transfer control share: a client that runs transfers and keeps what arrives.

namespace hq::test {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

inline constexpr size_t MiB = size_t{1024} * 1024;

// A control, its loop, and the states that arrived.
struct Client {
  explicit Client(CurlTransferOptions options = {}) : Control(std::make_unique<CurlTransfer>(Loop, options)) {
    Control->StateChanged = [this](int state) { States.push_back(state); };
  }

  [[nodiscard]] bool Done() const {
    return !States.empty() && (States.back() == TransferError || States.back() == ResponseCompleted);
  }

  // False when it did not come true in time.
  bool Run_Until(const std::function<bool()>& condition, seconds deadline = seconds(60)) {
    const auto end = steady_clock::now() + deadline;
    while (!condition()) {
      if (steady_clock::now() > end) return false;
      Loop.Sleep(milliseconds(20));
      Loop.DoEvents();
    }
    return true;
  }

  // Runs a transfer to its end and gives the last state, or 0 when none came in time.
  int Get(const std::string& address, seconds deadline = seconds(60)) {
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

inline const auto All_States = ::testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12);
inline const auto All_States_And_Error = ::testing::ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11);

// Bytes of every value, so that a lost, doubled or changed one shows.
inline std::string Pattern(size_t size) {
  std::string text(size, '\0');
  uint32_t value = 1;
  for (char& character : text) {
    value = value * 1664525 + 1013904223;
    character = static_cast<char>(value >> 24);
  }
  return text;
}

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

// Waits, without running events, until the transfer has posted its last one: the server sees the connection's
// end between Disconnecting and the last state.
struct Ended {
  Latch Has_Ended;
  SocketServer::Script Script = [this](SocketConnection& connection) {
    connection.ReadRequest();
    connection.Send(Http_Answer("body"));
    connection.WaitForEnd();
    Has_Ended.Count_Down();
  };
  void Wait() { Has_Ended.Wait(); }
};

}  // namespace hq::test
