#pragma once

#include <functional>
#include <memory>
#include <string>

#include "server/quote_source.h"

namespace hq::server {

// An HTTP server that answers quote requests from one source, on threads of its own.
//
// GET /quotes?Interval=XXX&Symbol=SSS&Date=DDD is answered with the lines of Quote_Text: the sessions before
// the day sent, or the latest ones when Date is left out, as many as Session_Limit allows. Without such
// sessions the answer is one line of plain words with status 200. Errors are one such line too: 400 for a
// request that makes no sense, 404 for an unknown symbol, 422 for an interval that the source can't make of
// its data, 500 for data that can't be read. No such line ever holds ",0930,". GET
// /home/misc/symbol_search.asp?q=TEXT is a page that lists symbols, and GET / says what the server is.
//
// A request may be 16 KiB long and take 5 seconds; a connection may be idle for 2 seconds. Several servers in
// one process don't disturb each other. The methods of one server are called from one thread.
class QuoteServer {
 public:
  // Takes one line, without a line end, for each request answered. It is called from the server's threads.
  using RequestLog = std::function<void(const std::string& line)>;

  // `source` must not be null; the server shares it and asks it from several threads at once. `request_log`
  // may be empty.
  explicit QuoteServer(std::shared_ptr<QuoteSource> source, RequestLog request_log = {});
  // Stops the server.
  ~QuoteServer();
  QuoteServer(const QuoteServer&) = delete;
  QuoteServer& operator=(const QuoteServer&) = delete;

  // Begins to answer at a numeric address or host name and a port from 1 to 65535, or 0 for any free one, and
  // returns the port. Raises std::runtime_error with a text for the user when the place can't be taken
  // (std::system_error, which is one, when the system names a reason), std::invalid_argument for a port out
  // of range, and std::logic_error when the server runs already.
  int Start(const std::string& address = "127.0.0.1", int port = 0);

  // Ends all connections and threads; requests being worked on are finished first, idle connections are not
  // waited for. Does nothing when the server doesn't run. It can be started again.
  void Stop();

  // The request address with the placeholders XXX (interval), SSS (symbol) and DDD (date), empty unless the
  // server runs: http://ADDRESS:PORT/quotes?Interval=XXX&Symbol=SSS&Date=DDD. A server that listens on all
  // addresses names loopback.
  [[nodiscard]] std::string Request_Template() const;

  // The address of the symbol search page, empty unless the server runs.
  [[nodiscard]] std::string Symbol_Search_Address() const;

 private:
  class Listener;

  std::shared_ptr<QuoteSource> source_;
  RequestLog request_log_;
  std::unique_ptr<Listener> listener_;
};

}  // namespace hq::server
