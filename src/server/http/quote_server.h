#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "market/quote_source.h"

namespace hq::server {

// Starts a thread that runs `body`, or raises std::system_error when the system has none.
using ThreadStart = std::function<std::thread(std::function<void()> body)>;

struct ServerOptions {
  // Takes one line, without a line end, for each request answered. It is called from the server's threads.
  std::function<void(const std::string& line)> Log = {};
  // Hosts that a server on a loopback address answers beside the loopback names, each with or without a port.
  std::vector<std::string> Hosts = {};
  ThreadStart Start_Thread = [](std::function<void()> body) { return std::thread{std::move(body)}; };
};

// An HTTP server that answers quote requests from one source, on threads of its own.
//
// GET /quotes?Interval=XXX&Symbol=SSS&Date=DDD is answered with the lines of Quote_Text: the sessions before
// the day sent, or the latest ones when Date is left out, as many as Session_Limit allows. Without such
// sessions the answer is one line of plain words with status 200. Errors are one such line too: 400 for a
// request that makes no sense, 404 for an unknown symbol, 422 for an interval that the source can't make of
// its data, 500 for data that can't be read. No such line ever holds ",0930,". GET
// /home/misc/symbol_search.asp?q=TEXT is a page that lists symbols, and GET / says what the server is.
//
// The whole is answered, also when a part is asked for. Other methods than GET and HEAD are answered with
// 405, a request with no host (but of HTTP/1.0) or several with 400. On a loopback address a host that
// Is_Host_Answered does not let in is answered with 403, and so is, everywhere, what a page of another site
// asks of /quotes. Where the system gives no thread to answer on, the answer is 503.
//
// The head of a request may be 16 KiB long and take 5 seconds; a body is not read. A connection may be idle
// for 2 seconds. Several servers in one process don't disturb each other. The methods of one server are
// called from one thread.
class QuoteServer {
 public:
  // `source` must not be null; the server shares it and asks it from several threads at once.
  explicit QuoteServer(std::shared_ptr<QuoteSource> source, ServerOptions options = {});
  // Stops the server.
  ~QuoteServer();
  QuoteServer(const QuoteServer&) = delete;
  QuoteServer& operator=(const QuoteServer&) = delete;

  // Begins to answer at a numeric address or host name and a port from 1 to 65535, or 0 for any free one, and
  // returns the port. Raises std::runtime_error with a text for the user when the place can't be taken
  // or no thread be started (std::system_error, which is one, when the system names a reason),
  // std::invalid_argument for a port out of range, and std::logic_error when the server runs already.
  int Start(const std::string& address = "127.0.0.1", int port = 0);

  // Ends all connections and threads; requests being worked on are finished first, idle connections are not
  // waited for. Does nothing when the server doesn't run. It can be started again.
  void Stop();

  // The request address with the placeholders XXX (interval), SSS (symbol) and DDD (date), empty unless the
  // server runs: http://ADDRESS:PORT/quotes?Interval=XXX&Symbol=SSS&Date=DDD. A server that listens on all
  // addresses gives the computer's name.
  [[nodiscard]] std::string Request_Template() const;

  // What becomes reachable for whom, a line for the user; empty when only this computer reaches the server.
  [[nodiscard]] std::string Reach_Note() const;

  // The address of the symbol search page, empty unless the server runs.
  [[nodiscard]] std::string Symbol_Search_Address() const;

 private:
  class Listener;

  std::shared_ptr<QuoteSource> source_;
  ServerOptions options_;
  std::unique_ptr<Listener> listener_;
};

}  // namespace hq::server
