#include <algorithm>
#include <array>
#include <system_error>
#include <winsock2.h>

#include "support/sockets.h"

namespace hq::test {

namespace {

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(WSAGetLastError(), std::system_category(), what);
}

SOCKET Number(Socket socket) {
  return static_cast<SOCKET>(socket);
}

void Start_Sockets() {
  static const int failure = [] {
    WSADATA ignored;
    return WSAStartup(MAKEWORD(2, 2), &ignored);
  }();
  if (failure != 0) throw std::system_error(failure, std::system_category(), "WSAStartup");
}

sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<u_short>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

SOCKET New_Socket() {
  Start_Sockets();
  const SOCKET made = socket(AF_INET, SOCK_STREAM, 0);
  if (made == INVALID_SOCKET) Fail("socket");
  return made;
}

void Never_Wait(SOCKET socket) {
  u_long yes = 1;
  if (ioctlsocket(socket, static_cast<long>(FIONBIO), &yes) != 0) Fail("ioctlsocket");
}

long Result_Of(int count) {
  if (count >= 0) return count;
  return WSAGetLastError() == WSAEWOULDBLOCK ? NothingNow : Broken;
}

int Length(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, 1U << 30U));
}

}  // namespace

Socket Bound_Socket(int& port) {
  const SOCKET bound = New_Socket();
  Never_Wait(bound);
  sockaddr_in address = Loopback(0);
  int size = sizeof address;
  if (bind(bound, reinterpret_cast<const sockaddr*>(&address), size) != 0) Fail("bind");
  if (getsockname(bound, reinterpret_cast<sockaddr*>(&address), &size) != 0) Fail("getsockname");
  port = ntohs(address.sin_port);
  return static_cast<Socket>(bound);
}

void Listen(Socket listener) {
  if (listen(Number(listener), SOMAXCONN) != 0) Fail("listen");
}

Socket Accept_Now(Socket listener) {
  const SOCKET client = accept(Number(listener), nullptr, nullptr);
  if (client == INVALID_SOCKET) return NoSocket;
  Never_Wait(client);
  return static_cast<Socket>(client);
}

Socket Connected_Socket(int port) {
  const SOCKET connected = New_Socket();
  const sockaddr_in address = Loopback(port);
  if (connect(connected, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) Fail("connect");
  return static_cast<Socket>(connected);
}

SocketPair Connected_Sockets() {
  int port = 0;
  const Socket listener = Bound_Socket(port);
  Listen(listener);
  SocketPair pair;
  pair.Far = Connected_Socket(port);
  if (Wait_For_Socket(listener, Readiness::Reading, 10'000)) pair.Near = Accept_Now(listener);
  Close_Socket(listener);
  if (pair.Near == NoSocket) Fail("accept");
  return pair;
}

long Receive_Now(Socket socket, char* bytes, std::size_t size) {
  return Result_Of(recv(Number(socket), bytes, Length(size), 0));
}

long Send_Now(Socket socket, std::string_view bytes) {
  return Result_Of(send(Number(socket), bytes.data(), Length(bytes.size()), 0));
}

bool Wait_For_Socket(Socket socket, Readiness readiness, int milliseconds, Socket wake) {
  const short events = readiness == Readiness::Reading ? POLLRDNORM : POLLWRNORM;
  std::array<WSAPOLLFD, 2> waits{{{Number(socket), events, 0}, {Number(wake), POLLRDNORM, 0}}};
  const ULONG count = wake == NoSocket ? 1 : 2;
  return WSAPoll(waits.data(), count, milliseconds) > 0 && waits[1].revents == 0;
}

void End_Sending(Socket socket) {
  shutdown(Number(socket), SD_SEND);
}

void Close_Socket(Socket socket) {
  closesocket(Number(socket));
}

void Break_Socket(Socket socket) {
  const linger at_once{1, 0};
  setsockopt(Number(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&at_once), sizeof at_once);
  closesocket(Number(socket));
}

// Here such a write only fails.
void Ignore_Broken_Connections() {}

}  // namespace hq::test
