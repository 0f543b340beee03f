#pragma once

#include <functional>
#include <memory>
#include <string>

#include "server/quote_source.h"

namespace hq::server {

/// An HTTP server that answers quote requests from one source, on threads of its own. Several servers in one
/// process don't disturb each other. The methods of one server are called from one thread.
class QuoteServer {
 public:
  /// Takes one line, without a line end, for each request answered. It is called from the server's threads.
  using RequestLog = std::function<void(const std::string& line)>;

  /// `source` must not be null; the server shares it and asks it from several threads at once. `request_log`
  /// may be empty.
  explicit QuoteServer(std::shared_ptr<QuoteSource> source, RequestLog request_log = {});
  /// Stops the server.
  ~QuoteServer();
  QuoteServer(const QuoteServer&) = delete;
  QuoteServer& operator=(const QuoteServer&) = delete;

  /// Begins to answer at a numeric address or host name and a port from 1 to 65535, or 0 for any free one,
  /// and returns the port. Raises std::runtime_error with a text for the user when the place can't be taken
  /// (std::system_error, which is one, when the system names a reason), std::invalid_argument for a port out
  /// of range, and std::logic_error when the server runs already.
  int Start(const std::string& address = "127.0.0.1", int port = 0);

  /// Ends all connections and threads; requests being worked on are finished first, idle connections are not
  /// waited for. Does nothing when the server doesn't run. It can be started again.
  void Stop();

  /// The request address with the placeholders XXX (interval), SSS (symbol) and DDD (date), empty unless the
  /// server runs: http://ADDRESS:PORT/quotes?Interval=XXX&Symbol=SSS&Date=DDD. A server that listens on all
  /// addresses names loopback.
  [[nodiscard]] std::string Request_Template() const;

  /// The address of the symbol search page, empty unless the server runs.
  [[nodiscard]] std::string Symbol_Search_Address() const;

 private:
  class Listener;

  std::shared_ptr<QuoteSource> source_;
  RequestLog request_log_;
  std::unique_ptr<Listener> listener_;
};

}  // namespace hq::server
