#include <algorithm>
#include <array>
#include <winsock2.h>
#include <ws2tcpip.h>

#include "platform/sockets.h"

namespace hq {

namespace {

SOCKET Number(SocketNumber socket) {
  return static_cast<SOCKET>(socket);
}

int Length(std::size_t size) {
  return static_cast<int>(std::min<std::size_t>(size, 1U << 20U));
}

}  // namespace

bool Wait_For_Socket(SocketNumber socket, SocketReadiness readiness, int milliseconds) {
  WSAPOLLFD polled{Number(socket),
                   static_cast<SHORT>(readiness == SocketReadiness::Reading ? POLLIN : POLLOUT), 0};
  return WSAPoll(&polled, 1, milliseconds) > 0;
}

bool Stop_Ends_Wait() {
  return false;
}

std::ptrdiff_t Receive(SocketNumber socket, char* bytes, std::size_t size) {
  return recv(Number(socket), bytes, Length(size), 0);
}

std::ptrdiff_t Send(SocketNumber socket, std::string_view bytes) {
  return send(Number(socket), bytes.data(), Length(bytes.size()), 0);
}

void Stop_Receiving(SocketNumber socket) {
  shutdown(Number(socket), SD_RECEIVE);
}

void Stop_Sending(SocketNumber socket) {
  shutdown(Number(socket), SD_SEND);
}

void Close_Connection(SocketNumber socket) {
  shutdown(Number(socket), SD_BOTH);
  closesocket(Number(socket));
}

void Take_Port_Alone(SocketNumber socket) {
  const int yes = 1;
  setsockopt(Number(socket), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&yes),
             sizeof yes);
}

std::string Local_Address(SocketNumber socket) {
  sockaddr_storage address{};
  int size = sizeof address;
  std::array<char, NI_MAXHOST> text{};
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (getsockname(Number(socket), generic, &size) != 0) return {};
  if (getnameinfo(generic, size, text.data(), static_cast<DWORD>(text.size()), nullptr, 0, NI_NUMERICHOST) !=
      0)
    return {};
  return text.data();
}

std::string Computer_Name() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), static_cast<int>(name.size()) - 1) != 0 || name[0] == '\0') return "localhost";
  return name.data();
}

std::error_code Last_Socket_Error() {
  const int reason = WSAGetLastError();
  // The standard library knows the number, but not what it means.
  if (reason == WSAEADDRINUSE) return std::make_error_code(std::errc::address_in_use);
  if (reason == WSAEACCES) return std::make_error_code(std::errc::permission_denied);
  return {reason, std::system_category()};
}

void Forget_Last_Socket_Error() {
  WSASetLastError(0);
}

}  // namespace hq
