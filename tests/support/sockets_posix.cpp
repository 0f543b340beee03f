#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "support/sockets.h"

namespace hq::test {

namespace {

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int Number(Socket socket) {
  return static_cast<int>(socket);
}

sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

long Result_Of(ssize_t count) {
  if (count >= 0) return count;
  return errno == EAGAIN || errno == EINTR ? NothingNow : Broken;
}

}  // namespace

Socket Bound_Socket(int& port) {
  const int bound = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (bound < 0) Fail("socket");
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  if (bind(bound, reinterpret_cast<const sockaddr*>(&address), size) != 0) Fail("bind");
  if (getsockname(bound, reinterpret_cast<sockaddr*>(&address), &size) != 0) Fail("getsockname");
  port = ntohs(address.sin_port);
  return bound;
}

void Listen(Socket listener) {
  if (listen(Number(listener), SOMAXCONN) != 0) Fail("listen");
}

Socket Accept_Now(Socket listener) {
  return accept4(Number(listener), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
}

Socket Connected_Socket(int port) {
  const int connected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connected < 0) Fail("socket");
  const sockaddr_in address = Loopback(port);
  if (connect(connected, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) Fail("connect");
  return connected;
}

SocketPair Connected_Sockets() {
  std::array<int, 2> pair{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair.data()) != 0) Fail("socketpair");
  return {pair[0], pair[1]};
}

long Receive_Now(Socket socket, char* bytes, std::size_t size) {
  return Result_Of(recv(Number(socket), bytes, size, 0));
}

long Send_Now(Socket socket, std::string_view bytes) {
  return Result_Of(send(Number(socket), bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

bool Wait_For_Socket(Socket socket, Readiness readiness, int milliseconds, Socket wake) {
  const short events = readiness == Readiness::Reading ? POLLIN : POLLOUT;
  std::array<pollfd, 2> waits{{{Number(socket), events, 0}, {Number(wake), POLLIN, 0}}};
  int ready = 0;
  do {
    ready = poll(waits.data(), waits.size(), milliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0 && waits[1].revents == 0;
}

void End_Sending(Socket socket) {
  shutdown(Number(socket), SHUT_WR);
}

void Close_Socket(Socket socket) {
  close(Number(socket));
}

void Break_Socket(Socket socket) {
  const linger at_once{1, 0};
  setsockopt(Number(socket), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  close(Number(socket));
}

void Ignore_Broken_Connections() {
  // OpenSSL writes without MSG_NOSIGNAL.
  sigset_t broken_pipe;
  sigemptyset(&broken_pipe);
  sigaddset(&broken_pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
}

}  // namespace hq::test
