#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/sockets.h"

namespace hq::test {

class TlsContext;

// A key and its self-signed certificate, both as PEM text.
struct TlsCertificate {
  std::string Key;
  std::string Certificate;
};

// Makes a new key and a certificate for host, a name or an IPv4 address, that is valid from yesterday until
// tomorrow.
[[nodiscard]] TlsCertificate Make_Certificate(const std::string& host);

// One client's connection as the server's script sees it. Every call ends when the server stops. Used on the
// thread of the script.
class SocketConnection {
 public:
  // Takes over the socket. wake is a socket that becomes readable when the server stops.
  SocketConnection(Socket socket, Socket wake, TlsContext* tls);
  SocketConnection(const SocketConnection&) = delete;
  SocketConnection& operator=(const SocketConnection&) = delete;
  ~SocketConnection();

  // The next request up to and with its empty line; empty when the client has gone or the server stops.
  std::string ReadRequest();

  // Sends all bytes. False when the client has gone or the server stops.
  bool Send(std::string_view bytes);

  // Waits. False, and at once, when the client has gone or the server stops.
  bool Pause(std::chrono::milliseconds time);

  // Waits until the client has gone or the server stops, and drops what the client still sends.
  void WaitForEnd();

  // Ends the connection in order; what was sent arrives. The end of the script does the same.
  void Close();

  // Breaks the connection, so that the client sees a reset.
  void Reset();

 private:
  bool Stopping() const;
  bool Start_Tls();
  bool Wait(Readiness readiness, int milliseconds);
  bool Wait_For_Tls(int result);
  long Receive(char* bytes, size_t size);

  Socket socket_;
  Socket wake_;
  TlsContext* context_;
  void* tls_ = nullptr;
  std::string received_;
};

// A server on a free loopback port that runs a script for each connection, each on a thread of its own.
class SocketServer {
 public:
  using Script = std::function<void(SocketConnection&)>;

  // Listens from now on. With a certificate the connections are secure ones.
  explicit SocketServer(Script script, const TlsCertificate* certificate = nullptr);
  SocketServer(const SocketServer&) = delete;
  SocketServer& operator=(const SocketServer&) = delete;
  // Stops.
  ~SocketServer();

  // Ends every connection and waits for the scripts to return; none starts afterwards.
  void Stop();

  [[nodiscard]] int Port() const { return port_; }

  // "http://127.0.0.1:PORT", or "https://127.0.0.1:PORT" with a certificate.
  [[nodiscard]] std::string Address() const;

  // How many clients have connected. Any thread.
  [[nodiscard]] size_t Connections() const;

 private:
  void Accept();

  Script script_;
  std::unique_ptr<TlsContext> tls_;
  Socket listener_ = NoSocket;
  SocketPair wake_;
  int port_ = 0;
  mutable std::mutex mutex_;
  std::vector<std::thread> connections_;
  std::thread accepter_;
};

// A loopback port at which every connection is refused for as long as the object lives: it is taken, and
// nobody listens.
class RefusingPort {
 public:
  RefusingPort();
  RefusingPort(const RefusingPort&) = delete;
  RefusingPort& operator=(const RefusingPort&) = delete;
  ~RefusingPort();

  [[nodiscard]] int Port() const { return port_; }
  // "http://127.0.0.1:PORT".
  [[nodiscard]] std::string Address() const;

 private:
  int port_ = 0;
  Socket socket_;
};

// A whole HTTP answer with its length. status is such as "200 OK"; headers are further lines, each with CR
// LF.
[[nodiscard]] std::string Http_Answer(std::string_view body, std::string_view status = "200 OK",
                                      std::string_view headers = {});

// A script that reads one request, sends these bytes and closes.
[[nodiscard]] SocketServer::Script Answer_With(std::string bytes);

}  // namespace hq::test
