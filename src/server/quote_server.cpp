#include "server/quote_server.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
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
#include "server/quote_request.h"
#include "server/quote_text.h"
#include "server/server_pages.h"

namespace hq::server {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* quotes_path = "/quotes";
constexpr const char* search_path = "/home/misc/symbol_search.asp";

// A whole request with its headers. The longest sensible one has a few hundred bytes; browsers add cookies of
// other servers.
constexpr std::size_t longest_request = 16384;
constexpr int requests_a_connection = 100;
constexpr std::size_t most_requests_shown = 30;
// Many, because a thread also waits for the services that a source asks, and for clients that send half a
// request.
constexpr std::size_t most_threads = 64;
constexpr auto idle_limit = 2s;
constexpr auto read_limit = 5s;
constexpr auto write_limit = 30s;
// How long a client that has stopped reading can hold up the end of the server.
constexpr auto write_limit_at_end = 200ms;

// How long to wait at once where a wait does not end when the receiving side is shut.
constexpr auto longest_deaf_wait = 100ms;

SocketNumber Number(socket_t socket) {
  return static_cast<SocketNumber>(socket);
}

// The buffered bytes of one connection, with the limits on the request now being read and the answer being
// written.
class ConnectionStream final : public httplib::Stream {
 public:
  ConnectionStream(socket_t socket, const std::atomic<bool>& stopping)
      : socket_(socket), stopping_(stopping) {}

  // Waits for the first byte of a request; false when none comes, or the server stops.
  bool Begin_Request() {
    room_ = longest_request;
    read_end_ = steady_clock::now() + idle_limit;
    if (stopping_ || (next_ == filled_ && !Fill())) return false;
    read_end_ = steady_clock::now() + read_limit;
    write_end_.reset();
    return true;
  }

  // Whether a request could not be read to its end, so that what follows on the connection is no new request.
  [[nodiscard]] bool Is_Cut_Off() const { return cut_off_; }

  bool is_readable() const override {
    return next_ < filled_ || Wait_For_Socket(Number(socket_), SocketReadiness::Reading, 0);
  }
  bool is_writable() const override { return Wait_For_Socket(Number(socket_), SocketReadiness::Writing, 0); }

  ssize_t read(char* to, std::size_t size) override {
    const bool has_bytes = next_ < filled_ || Fill();
    const std::size_t count = has_bytes ? std::min({size, filled_ - next_, room_}) : 0;
    if (count == 0) {
      cut_off_ = true;
      return -1;
    }
    std::copy_n(buffer_.data() + next_, count, to);
    next_ += count;
    room_ -= count;
    return static_cast<ssize_t>(count);
  }

  ssize_t write(const char* from, std::size_t size) override {
    if (!Wait_Writable()) return -1;
    return Send(Number(socket_), {from, size});
  }

  // Clients are of no interest here, and the library only copies their addresses into headers.
  void get_remote_ip_and_port(std::string& ip, int& port) const override { ip.clear(), port = 0; }
  void get_local_ip_and_port(std::string& ip, int& port) const override { ip.clear(), port = 0; }
  socket_t socket() const override { return socket_; }

 private:
  static int Milliseconds_Until(steady_clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
  }

  bool Fill() {
    if (!Wait_Readable()) return false;
    const auto count = Receive(Number(socket_), buffer_.data(), buffer_size);
    if (count <= 0) return false;
    next_ = 0;
    filled_ = static_cast<std::size_t>(count);
    return true;
  }

  // The end of the server shuts the socket's reading side, which ends this wait where it can.
  bool Wait_Readable() const {
    for (;;) {
      const int left = Milliseconds_Until(read_end_);
      const int at_once =
          Stop_Ends_Wait() ? left : std::min(left, static_cast<int>(longest_deaf_wait.count()));
      if (Wait_For_Socket(Number(socket_), SocketReadiness::Reading, at_once)) return true;
      if (left == 0 || stopping_) return false;
    }
  }

  bool Wait_Writable() {
    if (!write_end_) write_end_ = steady_clock::now() + write_limit;
    for (;;) {
      if (stopping_) write_end_ = std::min(*write_end_, steady_clock::now() + write_limit_at_end);
      const int left = Milliseconds_Until(*write_end_);
      if (Wait_For_Socket(Number(socket_), SocketReadiness::Writing, std::min(left, 100))) return true;
      if (left == 0) return false;
    }
  }

  socket_t socket_;
  const std::atomic<bool>& stopping_;
  static constexpr int buffer_size = 4096;
  std::array<char, buffer_size> buffer_{};
  std::size_t next_ = 0;
  std::size_t filled_ = 0;
  std::size_t room_ = longest_request;
  bool cut_off_ = false;
  steady_clock::time_point read_end_;
  std::optional<steady_clock::time_point> write_end_;
};

// Runs each connection on a thread of its own, as long as there are not too many; idle threads are used first
// and stay until the end.
class Threads final : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> task) override {
    const std::lock_guard lock{mutex_};
    tasks_.push_back(std::move(task));
    if (idle_ < tasks_.size() && threads_.size() < most_threads) {
      try {
        threads_.emplace_back([this] { Work(); });
      } catch (const std::system_error&) {
        // The system has no more threads; those that are there take the task in their turn.
        if (threads_.empty()) throw;
      }
    }
    changed_.notify_one();
  }

  void shutdown() override {
    {
      const std::lock_guard lock{mutex_};
      ending_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  void Work() {
    Name_This_Thread("quote answers");
    std::unique_lock lock{mutex_};
    for (;;) {
      ++idle_;
      changed_.wait(lock, [this] { return !tasks_.empty() || ending_; });
      --idle_;
      if (tasks_.empty()) return;
      const std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      task();
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  bool ending_ = false;
};

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

// How clients reach a server that listens at `address`.
std::string Host_For_Clients(const std::string& address) {
  if (address == "0.0.0.0" || address.empty()) return "127.0.0.1";
  if (address == "::") return "[::1]";
  return address.find(':') != std::string::npos ? std::string{"["}.append(address).append("]") : address;
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
  Listener(const std::shared_ptr<QuoteSource>& source, const RequestLog& request_log) : source_(source) {
    new_task_queue = [] { return new Threads; };
    set_payload_max_length(longest_request);
    // Head and body of an answer are written one after the other; the second must not wait for the client to
    // confirm the first.
    set_tcp_nodelay(true);
    // The library would let several processes share one port, and a request would reach any of them.
    set_socket_options([](socket_t socket) { Take_Port_Alone(Number(socket)); });
    set_default_headers({{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}});

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
      if (response.body.empty()) Set_Text(response, response.status, "There is nothing here.");
    });
    set_exception_handler(
        [](const httplib::Request&, httplib::Response& response, const std::exception_ptr&) {
          Set_Text(response, 500, "The server can't answer now.");
        });
    if (request_log) {
      set_logger([request_log](const httplib::Request& request, const httplib::Response& response) {
        request_log(Request_Line(request, response));
      });
    }
  }

  ~Listener() override { Stop(); }

  int Start(const std::string& address, int port) {
    Forget_Last_Socket_Error();
    const int bound = port == 0 ? bind_to_any_port(address) : (bind_to_port(address, port) ? port : -1);
    if (bound < 0) Raise_Place_Taken(address, port, Last_Socket_Error());
    request_template_ = "http://" + Host_For_Clients(address) + ":" + std::to_string(bound) + quotes_path +
                        "?Interval=XXX&Symbol=SSS&Date=DDD";
    thread_ = std::thread{[this] {
      Name_This_Thread("quote server");
      listen_after_bind();
      ended_ = true;
    }};
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

 private:
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
    {
      const std::lock_guard lock{mutex_};
      connections_.insert(socket);
      if (stopping_) Stop_Receiving(Number(socket));
    }
    ConnectionStream stream{socket, stopping_};
    for (int left = requests_a_connection; left > 0 && stream.Begin_Request(); --left) {
      bool closed = false;
      if (!process_request(stream, left == 1 || stopping_, closed, nullptr) || closed || stream.Is_Cut_Off())
        break;
    }
    {
      const std::lock_guard lock{mutex_};
      connections_.erase(socket);
    }
    Close_Connection(Number(socket));
    return true;
  }

  const std::shared_ptr<QuoteSource> source_;
  std::string request_template_;
  std::thread thread_;
  std::atomic<bool> ended_ = false;
  std::atomic<bool> stopping_ = false;
  std::mutex mutex_;
  std::set<socket_t> connections_;
  std::deque<ServedRequest> last_requests_;
};

QuoteServer::QuoteServer(std::shared_ptr<QuoteSource> source, RequestLog request_log)
    : source_(std::move(source)), request_log_(std::move(request_log)) {}

QuoteServer::~QuoteServer() = default;

int QuoteServer::Start(const std::string& address, int port) {
  if (listener_) throw std::logic_error("the quote server runs already");
  if (port < 0 || port > 65535) throw std::invalid_argument("a port is a number from 0 to 65535");
  auto listener = std::make_unique<Listener>(source_, request_log_);
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

std::string QuoteServer::Symbol_Search_Address() const {
  const std::string request_template = Request_Template();
  const auto path = request_template.find(quotes_path);
  return path == std::string::npos ? std::string{} : request_template.substr(0, path) + search_path;
}

}  // namespace hq::server
