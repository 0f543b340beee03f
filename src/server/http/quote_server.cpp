#include "server/http/quote_server.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <httplib.h>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/sockets.h"
#include "platform/thread_name.h"
#include "server/http/connection_stream.h"
#include "server/http/connection_threads.h"
#include "server/http/host_rule.h"
#include "server/http/quote_request.h"
#include "server/http/quote_text.h"
#include "server/http/server_pages.h"

namespace hq::server {
namespace {

using namespace std::chrono_literals;

constexpr const char* quotes_path = "/quotes";
constexpr const char* search_path = "/home/misc/symbol_search.asp";

constexpr int requests_a_connection = 100;
constexpr std::size_t most_requests_shown = 30;
constexpr auto idle_limit = 2s;
constexpr auto read_limit = 5s;
// How long a client that is told "busy" may take to send its request.
constexpr auto busy_limit = 200ms;

constexpr std::string_view busy_text = "The server is busy. Try again soon.\n";

SocketNumber Number(socket_t socket) {
  return static_cast<SocketNumber>(socket);
}

void Set_Text(httplib::Response& response, int status, std::string_view text) {
  response.status = status;
  response.set_content(One_Line(text), "text/plain; charset=utf-8");
}

int Status_Of(FailureKind kind) {
  switch (kind) {
    case FailureKind::UnknownSymbol:
      return 404;
    case FailureKind::Unsuitable:
      return 422;
    case FailureKind::Unavailable:
      return 503;
    case FailureKind::Unreadable:
      break;
  }
  return 500;
}

std::optional<std::string> Parameter(const httplib::Request& request, const char* name) {
  if (!request.has_param(name)) return std::nullopt;
  return request.get_param_value(name);
}

// Whether a request says something that is not understood. What looks so is often a symbol with a bare "&" in
// it, which must not be answered with another symbol's quotes.
bool Says_More(const httplib::Request& request) {
  std::size_t understood = 0;
  for (const char* name : {"Interval", "Symbol", "Date"}) understood += request.has_param(name) ? 1U : 0U;
  return request.params.size() != understood;
}

// Gives where the quotes came from, or why there are none.
std::string Answer_Quotes(QuoteSource& source, const httplib::Request& http_request,
                          httplib::Response& response) {
  const auto refuse = [&response](int status, const std::string& reason) {
    Set_Text(response, status, reason);
    return reason;
  };
  if (Says_More(http_request))
    return refuse(400, "A request has Interval, Symbol and at most Date, each once.");
  const auto read = Read_Request(Parameter(http_request, "Interval"), Parameter(http_request, "Symbol"),
                                 Parameter(http_request, "Date"));
  if (const auto* wrong = std::get_if<std::string>(&read)) return refuse(400, *wrong);

  const QuoteRequest& request = std::get<QuoteRequest>(read);
  const Answer answer = source.Bars(request);
  if (const auto* failure = std::get_if<Failure>(&answer))
    return refuse(Status_Of(failure->Kind), failure->Reason);
  const BarTable& table = std::get<BarTable>(answer);
  if (table.Bars.empty()) return refuse(200, "No quotes of " + request.Symbol + " in the time asked for.");
  response.set_content(Quote_Text(table), "text/plain; charset=utf-8");
  return table.Source;
}

std::string Request_Line(const httplib::Request& request, const httplib::Response& response) {
  std::string line =
      One_Line(request.method + " " + request.target + " -> " + std::to_string(response.status));
  line.pop_back();
  return line;
}

// How clients reach a server that was told to listen at `address` and does so at `bound`, a numeric address.
std::string Host_For_Clients(const std::string& address, const std::string& bound) {
  if (bound == "0.0.0.0" || bound == "::") return Computer_Name();
  const std::string& host = address.empty() ? bound : address;
  if (host.find(':') == std::string::npos) return host;
  std::string bracketed = "[";
  // The name of a network is behind a percent sign, which addresses of pages can't hold as it is.
  for (const char c : host) bracketed += c == '%' ? std::string{"%25"} : std::string{c};
  return bracketed + "]";
}

// Why a request is answered by nothing but a status and a line.
struct Refusal {
  int Status;
  std::string Text;
};

// A page of another site can send requests to this computer from its reader's browser, which then says so.
bool Is_Of_Another_Site(const httplib::Request& request) {
  const auto [begin, end] = request.headers.equal_range("Sec-Fetch-Site");
  return std::any_of(begin, end,
                     [](const auto& line) { return line.second != "none" && line.second != "same-origin"; });
}

[[noreturn]] void Raise_Place_Taken(const std::string& address, int port, std::error_code reason) {
  std::string text = "can't listen at " + address;
  if (port != 0) text.append(":").append(std::to_string(port));
  if (reason) throw std::system_error(reason, text);
  throw std::runtime_error(text + ": there is no such address");
}

}  // namespace

// The library's server with connections of our own: they can be ended at once, and a request has limits in
// length and time from its first byte to its last.
class QuoteServer::Listener final : public httplib::Server {
 public:
  Listener(const std::shared_ptr<QuoteSource>& source, const ServerOptions& options)
      : source_(source), hosts_(options.Hosts), start_thread_(options.Start_Thread) {
    new_task_queue = [this] { return new ConnectionThreads{start_thread_}; };
    // Head and body of an answer are written one after the other; the second must not wait for the client to
    // confirm the first.
    set_tcp_nodelay(true);
    set_socket_options([this](socket_t socket) {
      listening_ = socket;
      // The library would let several processes share one port, and a request would reach any of them.
      Take_Port_Alone(Number(socket));
    });
    // Answers are for who asked, and never sent in part.
    set_default_headers({{"Cache-Control", "no-store"},
                         {"X-Content-Type-Options", "nosniff"},
                         {"Cross-Origin-Resource-Policy", "same-origin"},
                         {"Accept-Ranges", "none"}});

    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      const auto refusal = Refused(request);
      if (!refusal) return HandlerResponse::Unhandled;
      Set_Text(response, refusal->Status, refusal->Text);
      if (refusal->Status == 405) response.set_header("Allow", "GET, HEAD");
      Remember(request, response, refusal->Text);
      return HandlerResponse::Handled;
    });
    Get(quotes_path, [this, source](const httplib::Request& request, httplib::Response& response) {
      Remember(request, response, Answer_Quotes(*source, request, response));
    });
    Get(search_path, [source](const httplib::Request& request, httplib::Response& response) {
      Set_Page(response, Search_Page(*source, request.get_param_value("q"), search_path));
    });
    Get("/", [this, source](const httplib::Request&, httplib::Response& response) {
      Set_Page(response, Home_Page(*source, request_template_, search_path, Last_Requests()));
    });
    set_error_handler([](const httplib::Request&, httplib::Response& response) {
      if (!response.body.empty()) return;
      Set_Text(response, response.status,
               response.status == 404 ? "There is nothing here." : "The request can't be understood.");
    });
    set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, const std::exception_ptr&) {
          Set_Text(response, 500, "The server can't answer now.");
        });
    if (options.Log) {
      set_logger(
          [request_log = options.Log](const httplib::Request& request, const httplib::Response& response) {
            request_log(Request_Line(request, response));
          });
    }
  }

  ~Listener() override { Stop(); }

  int Start(const std::string& address, int port) {
    Forget_Last_Socket_Error();
    const int bound = port == 0 ? bind_to_any_port(address) : (bind_to_port(address, port) ? port : -1);
    if (bound < 0) Raise_Place_Taken(address, port, Last_Socket_Error());
    bound_address_ = Local_Address(Number(listening_));
    request_template_ = "http://" + Host_For_Clients(address, bound_address_) + ":" + std::to_string(bound) +
                        quotes_path + "?Interval=XXX&Symbol=SSS&Date=DDD";
    is_loopback_ = Is_Loopback_Address(bound_address_);
    if (!address.empty()) hosts_.push_back(address);
    // Where it listens everywhere, that is what its template calls it.
    hosts_.push_back(Host_For_Clients(address, bound_address_));
    try {
      thread_ = start_thread_([this] { Listen(); });
    } catch (const std::system_error& error) {
      Close_Connection(Number(listening_));
      throw std::system_error(error.code(), "no thread for the quote server");
    }
    // The library ignores a stop that comes before its loop runs.
    while (!is_running() && !ended_) std::this_thread::sleep_for(1ms);
    return bound;
  }

  void Stop() {
    {
      const std::lock_guard lock{mutex_};
      stopping_ = true;
      for (const socket_t connection : connections_) Stop_Receiving(Number(connection));
    }
    if (!thread_.joinable()) return;
    source_->Give_Up(true);
    stop();
    thread_.join();
    source_->Give_Up(false);
  }

  [[nodiscard]] const std::string& Request_Template() const { return request_template_; }

  [[nodiscard]] std::string Reach_Note() const {
    if (is_loopback_) return {};
    const auto base = request_template_.substr(0, request_template_.find(quotes_path)) + "/";
    return "Not only this computer is served: whoever can reach " + base + " (listening at " +
           bound_address_ +
           ") gets quotes at the cost of your quotas, and sees the pages of the server. The licences of data "
           "services may forbid to hand their quotes on.";
  }

 private:
  void Listen() {
    accepting_ = std::this_thread::get_id();
    Name_This_Thread("quote server");
    try {
      listen_after_bind();
    } catch (const std::exception&) {
      // No memory for the first step; the server is one that has ended.
    }
    ended_ = true;
  }

  [[nodiscard]] std::optional<Refusal> Refused(const httplib::Request& request) const {
    if (request.method != "GET" && request.method != "HEAD")
      return Refusal{405, "Only GET and HEAD are understood."};
    const auto named = request.get_header_value_count("Host");
    if (named > 1 || (named == 0 && request.version != "HTTP/1.0"))
      return Refusal{400, "A request has one line that names its host."};
    // A server that listens everywhere is reached by loopback too. Without a name the request was not sent by
    // a browser, so no page is behind it.
    const bool from_here = is_loopback_ || Is_Loopback_Address(request.local_addr);
    if (from_here && named == 1 && !Is_Host_Answered(request.get_header_value("Host"), hosts_)) {
      return Refusal{403,
                     "This host is none of this computer's own names. Hosts= in the section [Server] of "
                     "server.ini lists further ones."};
    }
    if (request.path == quotes_path && Is_Of_Another_Site(request))
      return Refusal{403, "Pages of other sites get no quotes."};
    return std::nullopt;
  }

  static void Set_Page(httplib::Response& response, const std::string& page) {
    response.set_header("Content-Security-Policy",
                        "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; base-uri 'none'");
    response.set_content(page, "text/html; charset=utf-8");
  }

  void Remember(const httplib::Request& request, httplib::Response& response, const std::string& source) {
    if (response.status == -1) response.status = 200;
    ServedRequest served{std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()),
                         Request_Line(request, response), One_Line(source)};
    served.Source.pop_back();
    const std::lock_guard lock{mutex_};
    last_requests_.push_back(std::move(served));
    if (last_requests_.size() > most_requests_shown) last_requests_.pop_front();
  }

  std::vector<ServedRequest> Last_Requests() {
    const std::lock_guard lock{mutex_};
    return {last_requests_.begin(), last_requests_.end()};
  }

  bool process_and_close_socket(socket_t socket) override {
    try {
      // There was no other thread to do it, and this one has the next connections to take.
      if (std::this_thread::get_id() == accepting_) {
        Answer_Busy(socket);
      } else {
        Answer_Requests(socket);
      }
    } catch (const std::exception&) {
      // Out of memory. The client sees the connection end.
    }
    {
      const std::lock_guard lock{mutex_};
      connections_.erase(socket);
    }
    Close_Connection(Number(socket));
    return true;
  }

  void Answer_Requests(socket_t socket) {
    {
      const std::lock_guard lock{mutex_};
      connections_.insert(socket);
      if (stopping_) Stop_Receiving(Number(socket));
    }
    ConnectionStream stream{socket, stopping_};
    for (int left = requests_a_connection; left > 0 && stream.Begin_Request(idle_limit, read_limit); --left) {
      const bool is_last = left == 1 || stopping_ || stream.Is_Last_Request();
      bool closed = false;
      const bool written = process_request(stream, is_last, closed, nullptr);
      if (written && stream.Is_Last_Request()) stream.Finish();
      if (!written || closed || is_last) break;
    }
  }

  void Answer_Busy(socket_t socket) {
    ConnectionStream stream{socket, stopping_};
    if (!stream.Begin_Request(busy_limit, busy_limit)) return;
    const std::string answer =
        "HTTP/1.1 503 Service Unavailable\r\nContent-Type: text/plain; charset=utf-8\r\n"
        "Retry-After: 1\r\nCache-Control: no-store\r\nConnection: close\r\n"
        "Content-Length: " +
        std::to_string(busy_text.size()) + "\r\n\r\n";
    if (stream.write(answer + std::string{busy_text}) > 0) stream.Finish();
  }

  const std::shared_ptr<QuoteSource> source_;
  // Those that are answered beside the loopback names, with the address to listen at.
  std::vector<std::string> hosts_;
  const ThreadStart start_thread_;
  socket_t listening_ = INVALID_SOCKET;
  std::string bound_address_;
  bool is_loopback_ = true;
  std::string request_template_;
  std::thread thread_;
  // That of thread_, as it itself knows it.
  std::thread::id accepting_;
  std::atomic<bool> ended_ = false;
  std::atomic<bool> stopping_ = false;
  std::mutex mutex_;
  std::set<socket_t> connections_;
  std::deque<ServedRequest> last_requests_;
};

QuoteServer::QuoteServer(std::shared_ptr<QuoteSource> source, ServerOptions options)
    : source_(std::move(source)), options_(std::move(options)) {}

QuoteServer::~QuoteServer() = default;

int QuoteServer::Start(const std::string& address, int port) {
  if (listener_) throw std::logic_error("the quote server runs already");
  if (port < 0 || port > 65535) throw std::invalid_argument("a port is a number from 0 to 65535");
  auto listener = std::make_unique<Listener>(source_, options_);
  const int bound = listener->Start(address, port);
  listener_ = std::move(listener);
  return bound;
}

void QuoteServer::Stop() {
  listener_.reset();
}

std::string QuoteServer::Request_Template() const {
  return listener_ ? listener_->Request_Template() : std::string{};
}

std::string QuoteServer::Reach_Note() const {
  return listener_ ? listener_->Reach_Note() : std::string{};
}

std::string QuoteServer::Symbol_Search_Address() const {
  const std::string request_template = Request_Template();
  const auto path = request_template.find(quotes_path);
  return path == std::string::npos ? std::string{} : request_template.substr(0, path) + search_path;
}

}  // namespace hq::server
