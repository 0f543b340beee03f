#include "support/socket_server.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <stdexcept>
#include <utility>

#include "base/freed_by.h"

namespace hq::test {

namespace {

using Key = std::unique_ptr<EVP_PKEY, Freed_By<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed_By<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Freed_By<X509_EXTENSION_free>>;
using Bio = std::unique_ptr<BIO, Freed_By<BIO_free>>;

void Require(bool success, const char* what) {
  if (!success) throw std::runtime_error(std::string("OpenSSL: ") + what);
}

std::string Text_Of(const Bio& bio) {
  char* text = nullptr;
  const long length = BIO_get_mem_data(bio.get(), &text);
  return std::string(text, static_cast<size_t>(length));
}

Bio Bio_Of(const std::string& text) {
  return Bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

void Add_Extension(X509* certificate, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  Require(extension != nullptr, "certificate extension");
  Require(X509_add_ext(certificate, extension.get(), -1) == 1, "certificate extension");
}

}  // namespace

class TlsContext {
 public:
  explicit TlsContext(const TlsCertificate& certificate) : context_(SSL_CTX_new(TLS_server_method())) {
    Require(context_ != nullptr, "context");
    const Key key(PEM_read_bio_PrivateKey(Bio_Of(certificate.Key).get(), nullptr, nullptr, nullptr));
    const Certificate own(
        PEM_read_bio_X509(Bio_Of(certificate.Certificate).get(), nullptr, nullptr, nullptr));
    Require(SSL_CTX_use_certificate(context_.get(), own.get()) == 1, "certificate");
    Require(SSL_CTX_use_PrivateKey(context_.get(), key.get()) == 1, "key");
  }

  SSL_CTX* Get() { return context_.get(); }

 private:
  std::unique_ptr<SSL_CTX, Freed_By<SSL_CTX_free>> context_;
};

TlsCertificate Make_Certificate(const std::string& host) {
  const Key key(EVP_EC_gen("P-256"));
  const Certificate certificate(X509_new());
  Require(key != nullptr && certificate != nullptr, "key");
  constexpr long day = 24L * 60 * 60;
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -day);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), day);
  X509_NAME* name = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(host.c_str()),
                             -1, -1, 0);
  X509_set_issuer_name(certificate.get(), name);
  X509_set_pubkey(certificate.get(), key.get());
  const bool is_number = host.find_first_not_of("0123456789.") == std::string::npos;
  Add_Extension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
  Add_Extension(certificate.get(), NID_subject_alt_name, (is_number ? "IP:" : "DNS:") + host);
  Require(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0, "signature");

  const Bio key_text(BIO_new(BIO_s_mem()));
  const Bio certificate_text(BIO_new(BIO_s_mem()));
  Require(PEM_write_bio_PrivateKey(key_text.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
          "key");
  Require(PEM_write_bio_X509(certificate_text.get(), certificate.get()) == 1, "certificate");
  return {Text_Of(key_text), Text_Of(certificate_text)};
}

SocketConnection::SocketConnection(Socket socket, Socket wake, TlsContext* tls)
    : socket_(socket), wake_(wake), context_(tls) {}

SocketConnection::~SocketConnection() {
  Close();
}

bool SocketConnection::Stopping() const {
  return Wait_For_Socket(wake_, Readiness::Reading, 0);
}

// The handshake belongs to the first read or write, so that a script can also stay silent in front of it.
bool SocketConnection::Start_Tls() {
  if (context_ == nullptr || tls_ != nullptr) return true;
  SSL* tls = SSL_new(context_->Get());
  tls_ = tls;
  SSL_set_fd(tls, static_cast<int>(socket_));
  for (;;) {
    const int result = SSL_accept(tls);
    if (result == 1) return true;
    if (!Wait_For_Tls(result)) return false;
  }
}

// False when time is up, the server stops or the connection is closed.
bool SocketConnection::Wait(Readiness readiness, int milliseconds) {
  if (socket_ == NoSocket) return false;
  return Wait_For_Socket(socket_, readiness, milliseconds, wake_);
}

bool SocketConnection::Wait_For_Tls(int result) {
  const int error = SSL_get_error(static_cast<SSL*>(tls_), result);
  ERR_clear_error();
  if (error == SSL_ERROR_WANT_READ) return Wait(Readiness::Reading, -1);
  if (error == SSL_ERROR_WANT_WRITE) return Wait(Readiness::Writing, -1);
  return false;
}

// Some bytes, or none when the client has gone or the server stops.
long SocketConnection::Receive(char* bytes, size_t size) {
  if (socket_ == NoSocket || Stopping() || !Start_Tls()) return 0;
  for (;;) {
    if (tls_ != nullptr) {
      const int count = SSL_read(static_cast<SSL*>(tls_), bytes, static_cast<int>(size));
      if (count > 0) return count;
      if (!Wait_For_Tls(count)) return 0;
    } else {
      const long count = Receive_Now(socket_, bytes, size);
      if (count >= 0) return count;
      if (count != NothingNow || !Wait(Readiness::Reading, -1)) return 0;
    }
  }
}

std::string SocketConnection::ReadRequest() {
  constexpr std::string_view end_of_request = "\r\n\r\n";
  std::array<char, 4096> bytes;
  for (;;) {
    if (const size_t end = received_.find(end_of_request); end != std::string::npos) {
      std::string request = received_.substr(0, end + end_of_request.size());
      received_.erase(0, request.size());
      return request;
    }
    const long count = Receive(bytes.data(), bytes.size());
    if (count == 0) return {};
    received_.append(bytes.data(), static_cast<size_t>(count));
  }
}

bool SocketConnection::Send(std::string_view bytes) {
  if (socket_ == NoSocket || !Start_Tls()) return false;
  while (!bytes.empty()) {
    if (tls_ != nullptr) {
      const int count = SSL_write(static_cast<SSL*>(tls_), bytes.data(), static_cast<int>(bytes.size()));
      if (count > 0)
        bytes.remove_prefix(static_cast<size_t>(count));
      else if (!Wait_For_Tls(count))
        return false;
    } else {
      const long count = Send_Now(socket_, bytes);
      if (count >= 0)
        bytes.remove_prefix(static_cast<size_t>(count));
      else if (count != NothingNow || !Wait(Readiness::Writing, -1))
        return false;
    }
  }
  return !Stopping();
}

bool SocketConnection::Pause(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  std::array<char, 4096> bytes;
  for (;;) {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    if (rest.count() <= 0) return true;
    if (!Wait(Readiness::Reading, static_cast<int>(rest.count()))) {
      if (std::chrono::steady_clock::now() < end) return false;
      continue;
    }
    const long count = Receive(bytes.data(), bytes.size());
    if (count == 0) return false;
    received_.append(bytes.data(), static_cast<size_t>(count));
  }
}

void SocketConnection::WaitForEnd() {
  std::array<char, 4096> bytes;
  while (Receive(bytes.data(), bytes.size()) > 0) {
  }
}

void SocketConnection::Close() {
  if (socket_ == NoSocket) return;
  if (tls_ != nullptr) {
    SSL_shutdown(static_cast<SSL*>(tls_));
    SSL_free(static_cast<SSL*>(tls_));
    ERR_clear_error();
    tls_ = nullptr;
  }
  End_Sending(socket_);
  // Bytes that nobody has read would turn the close into a reset, which can take the answer away from the
  // client.
  std::array<char, 4096> bytes;
  while (Receive_Now(socket_, bytes.data(), bytes.size()) > 0) {
  }
  Close_Socket(socket_);
  socket_ = NoSocket;
}

void SocketConnection::Reset() {
  if (socket_ == NoSocket) return;
  SSL_free(static_cast<SSL*>(tls_));
  tls_ = nullptr;
  Break_Socket(socket_);
  socket_ = NoSocket;
}

SocketServer::SocketServer(Script script, const TlsCertificate* certificate) : script_(std::move(script)) {
  if (certificate != nullptr) tls_ = std::make_unique<TlsContext>(*certificate);
  listener_ = Bound_Socket(port_);
  Listen(listener_);
  wake_ = Connected_Sockets();
  accepter_ = std::thread([this] { Accept(); });
}

SocketServer::~SocketServer() {
  Stop();
}

void SocketServer::Stop() {
  if (!accepter_.joinable()) return;
  // The end of one wakes everybody at the other, which stays readable for those who come later.
  Close_Socket(wake_.Far);
  accepter_.join();
  for (std::thread& connection : connections_) connection.join();
  Close_Socket(listener_);
  Close_Socket(wake_.Near);
}

std::string SocketServer::Address() const {
  return (tls_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_);
}

size_t SocketServer::Connections() const {
  const std::lock_guard lock(mutex_);
  return connections_.size();
}

void SocketServer::Accept() {
  // The connections' threads inherit this.
  Ignore_Broken_Connections();
  while (Wait_For_Socket(listener_, Readiness::Reading, -1, wake_.Near)) {
    const Socket client = Accept_Now(listener_);
    if (client == NoSocket) continue;
    const std::lock_guard lock(mutex_);
    connections_.emplace_back([this, client] {
      SocketConnection connection(client, wake_.Near, tls_.get());
      script_(connection);
    });
  }
}

RefusingPort::RefusingPort() : socket_(Bound_Socket(port_)) {}

RefusingPort::~RefusingPort() {
  Close_Socket(socket_);
}

std::string RefusingPort::Address() const {
  return "http://127.0.0.1:" + std::to_string(port_);
}

std::string Http_Answer(std::string_view body, std::string_view status, std::string_view headers) {
  std::string answer = "HTTP/1.1 ";
  answer.append(status).append("\r\nContent-Length: ").append(std::to_string(body.size())).append("\r\n");
  answer.append(headers).append("\r\n").append(body);
  return answer;
}

SocketServer::Script Answer_With(std::string bytes) {
  return [bytes = std::move(bytes)](SocketConnection& connection) {
    if (!connection.ReadRequest().empty()) connection.Send(bytes);
  };
}

}  // namespace hq::test
