#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace hq::server {

// What is asked of a service.
struct HttpRequest {
  // http or https, ready to be sent: everything behind the host is percent-encoded.
  std::string Address;
  // Names and values of further header lines.
  std::vector<std::pair<std::string, std::string>> Headers;
  // Texts, such as keys, that no text made of this request may show.
  std::vector<std::string> Secrets;
};

// An answer that arrived whole, whatever its status.
struct HttpReply {
  int Status = 0;
  // Names in lower case, values without blanks around them, in the order of their arrival.
  std::vector<std::pair<std::string, std::string>> Headers;
  // Decompressed.
  std::string Body;

  // The value of the first header line of a name given in lower case.
  [[nodiscard]] std::optional<std::string> Header(std::string_view name) const;
};

// Where on its way a request failed.
enum class FetchHop {
  // The address can't be asked at all.
  Address,
  NameLookUp,
  Connection,
  Proxy,
  Certificate,
  // No whole answer before the limit.
  TimeOut,
  TooLarge,
  // The connection or the answer broke off.
  BrokenOff,
  // The service sends to another host, where the key must not follow.
  Redirect,
  // The fetcher was told to give up.
  GivenUp,
};

// A request that brought no answer.
struct FetchFailure {
  FetchHop Hop = FetchHop::Connection;
  // One sentence for the trader, without address, query, header lines and secrets.
  std::string Reason;
};

using FetchResult = std::variant<HttpReply, FetchFailure>;

// The name of a hop in plain words, such as "name look-up".
[[nodiscard]] std::string_view Hop_Name(FetchHop hop);

// `text` with each secret of four characters or more, as it stands or percent-encoded, written as "****".
[[nodiscard]] std::string Without_Secrets(std::string text, const std::vector<std::string>& secrets);

// Gets things by HTTP. All methods may be called from several threads at once.
class HttpFetcher {
 public:
  virtual ~HttpFetcher() = default;

  // Sends a GET request and waits for its answer, at most for `limit`. Raises std::bad_alloc only.
  [[nodiscard]] virtual FetchResult Get(const HttpRequest& request, std::chrono::milliseconds limit) = 0;

  // While it is on, requests under way and new ones end with FetchHop::GivenUp within a tenth of a second.
  virtual void Give_Up(bool on) = 0;

 protected:
  HttpFetcher() = default;
  HttpFetcher(const HttpFetcher&) = default;
  HttpFetcher& operator=(const HttpFetcher&) = default;
};

struct CurlFetcherOptions {
  // The largest body in bytes, counted after decompression.
  std::size_t Body_Limit = std::size_t{32} << 20U;
  // A file of further certificates (PEM) that are trusted for https; empty for the system's own alone.
  std::string Ca_File;
  // What the program calls itself to services.
  std::string User_Agent = "history-quotes";
};

// The fetcher that uses libcurl. It checks certificates and host names, takes proxies from the environment
// variables that curl reads (loopback hosts are reached directly), reads no password file, keeps no cookies,
// keeps connections open for the next request, and follows at most three redirects, each only within the
// scheme, host and port that was asked.
class CurlFetcher final : public HttpFetcher {
 public:
  // Raises std::runtime_error when libcurl can't be started.
  explicit CurlFetcher(CurlFetcherOptions options = {});
  ~CurlFetcher() override;
  CurlFetcher(const CurlFetcher&) = delete;
  CurlFetcher& operator=(const CurlFetcher&) = delete;

  [[nodiscard]] FetchResult Get(const HttpRequest& request, std::chrono::milliseconds limit) override;
  void Give_Up(bool on) override;

 private:
  class Connections;

  CurlFetcherOptions options_;
  std::unique_ptr<Connections> connections_;
  std::atomic<bool> give_up_ = false;
};

}  // namespace hq::server
