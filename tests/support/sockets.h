#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// The system's sockets on the loopback address, as the scripted servers use them. What can't be made raises
// std::system_error.

namespace hq::test {

using Socket = std::intptr_t;
inline constexpr Socket NoSocket = -1;
inline constexpr long NothingNow = -1;
inline constexpr long Broken = -2;

enum class Readiness { Reading, Writing };

struct SocketPair {
  Socket Near = NoSocket;
  Socket Far = NoSocket;
};

// A new socket bound to a free port, which is put into port. No call on it waits.
[[nodiscard]] Socket Bound_Socket(int& port);
void Listen(Socket listener);
// The next client, or NoSocket when none waits. No call on it waits.
[[nodiscard]] Socket Accept_Now(Socket listener);
// Connected to a port. Calls on it wait.
[[nodiscard]] Socket Connected_Socket(int port);
// Two sockets that are connected with each other.
[[nodiscard]] SocketPair Connected_Sockets();

// The number of bytes; 0 at the end (of Receive_Now), NothingNow, Broken.
[[nodiscard]] long Receive_Now(Socket socket, char* bytes, std::size_t size);
[[nodiscard]] long Send_Now(Socket socket, std::string_view bytes);

// Waits until the socket is ready or broken. False when time is up (-1 is never) or wake has become readable.
[[nodiscard]] bool Wait_For_Socket(Socket socket, Readiness readiness, int milliseconds,
                                   Socket wake = NoSocket);

// The other side reads to the end of what was sent.
void End_Sending(Socket socket);
void Close_Socket(Socket socket);
// Closes it so that the other side sees a reset.
void Break_Socket(Socket socket);

// Keeps a write to a connection that the other side has closed from ending the program. For the calling
// thread and those that it starts.
void Ignore_Broken_Connections();

}  // namespace hq::test
