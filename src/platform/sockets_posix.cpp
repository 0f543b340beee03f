#include <array>
#include <cerrno>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/sockets.h"

namespace hq {

namespace {

#ifdef MSG_NOSIGNAL
constexpr int SendFlags = MSG_NOSIGNAL;
#else
constexpr int SendFlags = 0;
#endif

int Number(SocketNumber socket) {
  return static_cast<int>(socket);
}

}  // namespace

bool Wait_For_Socket(SocketNumber socket, SocketReadiness readiness, int milliseconds) {
  pollfd polled{Number(socket), static_cast<short>(readiness == SocketReadiness::Reading ? POLLIN : POLLOUT),
                0};
  return poll(&polled, 1, milliseconds) > 0;
}

bool Stop_Ends_Wait() {
  return true;
}

std::ptrdiff_t Receive(SocketNumber socket, char* bytes, std::size_t size) {
  return recv(Number(socket), bytes, size, 0);
}

std::ptrdiff_t Send(SocketNumber socket, std::string_view bytes) {
  return send(Number(socket), bytes.data(), bytes.size(), SendFlags);
}

void Stop_Receiving(SocketNumber socket) {
  shutdown(Number(socket), SHUT_RD);
}

void Stop_Sending(SocketNumber socket) {
  shutdown(Number(socket), SHUT_WR);
}

void Close_Connection(SocketNumber socket) {
  shutdown(Number(socket), SHUT_RDWR);
  close(Number(socket));
}

void Take_Port_Alone(SocketNumber socket) {
  const int yes = 1;
  setsockopt(Number(socket), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

std::string Local_Address(SocketNumber socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  std::array<char, NI_MAXHOST> text{};
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (getsockname(Number(socket), generic, &size) != 0) return {};
  if (getnameinfo(generic, size, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) != 0) return {};
  return text.data();
}

std::string Computer_Name() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return "localhost";
  return name.data();
}

std::error_code Last_Socket_Error() {
  return {errno, std::system_category()};
}

void Forget_Last_Socket_Error() {
  errno = 0;
}

}  // namespace hq
