#include "server/http/connection_stream.h"

#include <algorithm>

#include "platform/sockets.h"
#include "server/http/request_head.h"

namespace hq::server {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// The longest sensible head has a few hundred bytes; browsers add cookies of other servers.
constexpr std::size_t longest_head = 16384;
constexpr auto write_limit = 30s;
// How long a client that has stopped reading can hold up the end of the server.
constexpr auto write_limit_at_end = 200ms;
constexpr auto finish_limit = 200ms;
// How long to wait at once where a wait does not end when the receiving side is shut.
constexpr int longest_deaf_wait = 100;

SocketNumber Number(socket_t socket) {
  return static_cast<SocketNumber>(socket);
}

int Milliseconds_Until(steady_clock::time_point end) {
  const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
  return static_cast<int>(std::max<milliseconds::rep>(left.count(), 0));
}

}  // namespace

bool ConnectionStream::Begin_Request(milliseconds idle, milliseconds reading) {
  read_end_ = steady_clock::now() + idle;
  if (stopping_ || (next_ == filled_ && !Fill())) return false;
  read_end_ = steady_clock::now() + reading;
  write_end_.reset();
  RequestHead head = Read_Head(Take_Head_Bytes());
  head_ = std::move(head.Text);
  taken_ = 0;
  is_last_ = is_last_ || head.Has_Body;
  return true;
}

std::string ConnectionStream::Take_Head_Bytes() {
  std::string bytes;
  bool is_line_empty = true;
  while (bytes.size() < longest_head && (next_ < filled_ || Fill())) {
    const char c = buffer_[next_++];
    bytes += c;
    if (c == '\n' && is_line_empty) return bytes;
    is_line_empty = c == '\n' || (is_line_empty && c == '\r');
  }
  is_last_ = true;
  return bytes;
}

void ConnectionStream::Finish() {
  Stop_Sending(Number(socket_));
  read_end_ = steady_clock::now() + finish_limit;
  while (!stopping_ && Fill()) {
  }
}

void ConnectionStream::get_local_ip_and_port(std::string& ip, int& port) const {
  ip = Local_Address(static_cast<SocketNumber>(socket_));
  port = 0;
}

bool ConnectionStream::is_writable() const {
  return Wait_For_Socket(Number(socket_), SocketReadiness::Writing, 0);
}

ssize_t ConnectionStream::read(char* to, std::size_t size) {
  const std::size_t count = std::min(size, head_.size() - taken_);
  if (count == 0) return -1;
  std::copy_n(head_.data() + taken_, count, to);
  taken_ += count;
  return static_cast<ssize_t>(count);
}

ssize_t ConnectionStream::write(const char* from, std::size_t size) {
  if (!Wait_Writable()) return -1;
  return Send(Number(socket_), {from, size});
}

bool ConnectionStream::Fill() {
  if (!Wait_Readable()) return false;
  const auto count = Receive(Number(socket_), buffer_.data(), buffer_size);
  if (count <= 0) return false;
  next_ = 0;
  filled_ = static_cast<std::size_t>(count);
  return true;
}

// The end of the server shuts the socket's reading side, which ends this wait where it can.
bool ConnectionStream::Wait_Readable() const {
  for (;;) {
    const int left = Milliseconds_Until(read_end_);
    const int at_once = Stop_Ends_Wait() ? left : std::min(left, longest_deaf_wait);
    if (Wait_For_Socket(Number(socket_), SocketReadiness::Reading, at_once)) return true;
    if (left == 0 || stopping_) return false;
  }
}

bool ConnectionStream::Wait_Writable() {
  if (!write_end_) write_end_ = steady_clock::now() + write_limit;
  for (;;) {
    if (stopping_) write_end_ = std::min(*write_end_, steady_clock::now() + write_limit_at_end);
    const int left = Milliseconds_Until(*write_end_);
    if (Wait_For_Socket(Number(socket_), SocketReadiness::Writing, std::min(left, 100))) return true;
    if (left == 0) return false;
  }
}

}  // namespace hq::server
