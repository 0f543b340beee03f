#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

// What the system's sockets differ in from one system to the other.

namespace hq {

// A socket as the system numbers it.
using SocketNumber = std::intptr_t;

enum class SocketReadiness { Reading, Writing };

// Waits until a socket is ready or broken; 0 milliseconds only looks. False when time is up.
[[nodiscard]] bool Wait_For_Socket(SocketNumber socket, SocketReadiness readiness, int milliseconds);

// Whether Stop_Receiving of another thread ends a wait for reading.
[[nodiscard]] bool Stop_Ends_Wait();

// How many bytes were received, 0 at their end, below 0 when the connection is broken.
[[nodiscard]] std::ptrdiff_t Receive(SocketNumber socket, char* bytes, std::size_t size);
// How many of the bytes were sent, below 0 when the connection is broken; that never ends the program.
[[nodiscard]] std::ptrdiff_t Send(SocketNumber socket, std::string_view bytes);

// Nothing more is received.
void Stop_Receiving(SocketNumber socket);
// The other side reads to the end of what was sent.
void Stop_Sending(SocketNumber socket);
// Ends the connection in order, and the socket.
void Close_Connection(SocketNumber socket);

// Before the socket is bound: its port is its own, though one that an ended program had may be taken at once.
void Take_Port_Alone(SocketNumber socket);

// The numeric address that the socket is bound to, without port; empty when the system does not tell.
[[nodiscard]] std::string Local_Address(SocketNumber socket);

// The name that this computer has for others; "localhost" when it has none.
[[nodiscard]] std::string Computer_Name();

// Why the last call on a socket of this thread failed.
[[nodiscard]] std::error_code Last_Socket_Error();
void Forget_Last_Socket_Error();

}  // namespace hq
