#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <httplib.h>
#include <optional>
#include <string>
#include <string_view>

namespace hq::server {

// The bytes of one connection, with the limits on the request now being read and the answer being written.
// The head of a request is read whole before the HTTP library sees it, which gets it as of Read_Head, and
// never a body.
class ConnectionStream final : public httplib::Stream {
 public:
  // `stopping` ends waits soon once it is true.
  ConnectionStream(socket_t socket, const std::atomic<bool>& stopping)
      : socket_(socket), stopping_(stopping) {}

  // Waits for the first byte of a request at most for `idle`, and for the rest of its head at most for
  // `reading`. False when none comes, or the server stops.
  bool Begin_Request(std::chrono::milliseconds idle, std::chrono::milliseconds reading);

  // Whether what follows on the connection is no new request.
  [[nodiscard]] bool Is_Last_Request() const { return is_last_; }

  // Tells the client that nothing more comes, and waits a moment for it to take what was sent: closing a
  // connection with unread bytes would take the answer away from it.
  void Finish();

  bool is_readable() const override { return taken_ < head_.size(); }
  bool is_writable() const override;
  ssize_t read(char* to, std::size_t size) override;
  ssize_t write(const char* from, std::size_t size) override;
  using httplib::Stream::write;

  // Who the client is, is of no interest; which address of this computer it came to is.
  void get_remote_ip_and_port(std::string& ip, int& port) const override { ip.clear(), port = 0; }
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool Fill();
  [[nodiscard]] bool Wait_Readable() const;
  bool Wait_Writable();
  // Gives all bytes up to the empty line, or less when no more come or there are too many.
  std::string Take_Head_Bytes();

  socket_t socket_;
  const std::atomic<bool>& stopping_;
  static constexpr int buffer_size = 4096;
  std::array<char, buffer_size> buffer_{};
  std::size_t next_ = 0;
  std::size_t filled_ = 0;
  std::string head_;
  std::size_t taken_ = 0;
  bool is_last_ = false;
  Clock::time_point read_end_;
  std::optional<Clock::time_point> write_end_;
};

}  // namespace hq::server
