#include "server/live/http_fetch.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <curl/curl.h>
#include <mutex>
#include <new>
#include <stdexcept>

#include "base/freed_by.h"
#include "base/memory_left.h"
#include "base/strings.h"

namespace hq::server {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

using EasyHandle = std::unique_ptr<CURL, Freed_By<curl_easy_cleanup>>;
using MultiHandle = std::unique_ptr<CURLM, Freed_By<curl_multi_cleanup>>;
using AddressHandle = std::unique_ptr<CURLU, Freed_By<curl_url_cleanup>>;
using HeaderList = std::unique_ptr<curl_slist, Freed_By<curl_slist_free_all>>;

constexpr std::size_t header_limit = std::size_t{256} << 10U;
constexpr int most_redirects = 3;
// Connections beyond these are closed after their request.
constexpr std::size_t most_idle_handles = 16;
constexpr milliseconds look_for_end = milliseconds{100};

// Telling curl about the loopback hosts keeps it from reading the variable itself.
std::string Hosts_Without_Proxy() {
  const char* others = std::getenv("no_proxy");
  if (others == nullptr) others = std::getenv("NO_PROXY");
  if (others == nullptr) others = "";
  if (std::string_view{others} == "*") return others;
  return std::string{"localhost,127.0.0.0/8,::1,"} + others;
}

// Scheme, host and port of an address: what a request may not leave. All empty when it is no address.
struct Origin {
  std::string Scheme;
  std::string Host;
  std::string Port;

  friend bool operator==(const Origin&, const Origin&) = default;
};

Origin Origin_Of(const std::string& address) {
  const AddressHandle handle{curl_url()};
  if (!handle) throw std::bad_alloc{};
  if (curl_url_set(handle.get(), CURLUPART_URL, address.c_str(), 0) != CURLUE_OK) return {};
  const auto part = [&handle](CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(handle.get(), which, &text, CURLU_DEFAULT_PORT) != CURLUE_OK) return std::string{};
    const std::unique_ptr<char, Freed_By<curl_free>> owner{text};
    return Lower_Case(text);
  };
  return {part(CURLUPART_SCHEME), part(CURLUPART_HOST), part(CURLUPART_PORT)};
}

bool Is_Usable(const std::string& address, const Origin& origin) {
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 33 || c == 127; };
  if (std::ranges::any_of(address, is_control)) return false;
  return (origin.Scheme == "http" || origin.Scheme == "https") && !origin.Host.empty();
}

// One request on its way. curl calls the functions below with it.
struct Exchange {
  std::size_t Body_Limit = 0;
  HttpReply Reply;
  std::size_t Header_Size = 0;
  bool Header_Ended = false;
  bool Too_Large = false;
  bool Out_Of_Memory = false;
  std::array<char, CURL_ERROR_SIZE> Error_Text{};
};

std::size_t Take_Header(char* bytes, std::size_t item, std::size_t count, void* self) {
  auto* const exchange = static_cast<Exchange*>(self);
  const std::size_t size = item * count;
  exchange->Header_Size += size;
  if (exchange->Header_Size > header_limit) {
    exchange->Too_Large = true;
    return 0;
  }
  try {
    const std::string_view line{bytes, size};
    exchange->Header_Ended = Trim_White(line).empty();
    // Also after an interim answer, whose lines don't count.
    if (line.starts_with("HTTP/")) exchange->Reply.Headers.clear();
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) return size;
    exchange->Reply.Headers.emplace_back(Lower_Case(Trim_White(line.substr(0, colon))),
                                         Trim_White(line.substr(colon + 1)));
  } catch (const std::bad_alloc&) {
    exchange->Out_Of_Memory = true;
    return 0;
  }
  return size;
}

std::size_t Take_Body(char* bytes, std::size_t item, std::size_t count, void* self) {
  auto* const exchange = static_cast<Exchange*>(self);
  const std::size_t size = item * count;
  if (size > exchange->Body_Limit - exchange->Reply.Body.size()) {
    exchange->Too_Large = true;
    return 0;
  }
  try {
    exchange->Reply.Body.append(bytes, size);
  } catch (const std::bad_alloc&) {
    exchange->Out_Of_Memory = true;
    return 0;
  }
  return size;
}

// `host` is in lower case, and in brackets when it is a numeric address of the newer kind.
bool Begins_With_Host(std::string_view text, std::string_view host) {
  if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
  return text.size() > host.size() && text[host.size()] == ' ' &&
         Equal_Without_Case(text.substr(0, host.size()), host);
}

// A header line has a limit of its own, which curl reports as a lack of memory.
bool Is_Header_Too_Large(CURLcode code, const Exchange& exchange, CURL* easy) {
#if LIBCURL_VERSION_NUM >= 0x080600
  if (code == CURLE_TOO_LARGE) return true;
#endif
  long sent = 0;
  curl_easy_getinfo(easy, CURLINFO_REQUEST_SIZE, &sent);
  return code == CURLE_OUT_OF_MEMORY && sent > 0 && !exchange.Header_Ended && Memory_Left_For(header_limit);
}

FetchFailure Failure_Of(CURLcode code, const Exchange& exchange, CURL* easy, const std::string& host) {
  if (exchange.Too_Large || Is_Header_Too_Large(code, exchange, easy))
    return {FetchHop::TooLarge, "The service's answer is too large."};
  if (code == CURLE_OUT_OF_MEMORY) throw std::bad_alloc{};
  long tunnel_status = 0;
  curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &tunnel_status);
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return {FetchHop::NameLookUp, "The name " + host + " was not found."};
    case CURLE_COULDNT_RESOLVE_PROXY:
      return {FetchHop::Proxy, "The proxy's name was not found."};
    case CURLE_PROXY:
      return {FetchHop::Proxy, "The proxy let nothing through."};
    case CURLE_COULDNT_CONNECT: {
      // The text names the host that was tried, which is the proxy's when there is one.
      constexpr std::string_view marker = "Failed to connect to ";
      const std::string_view text{exchange.Error_Text.data()};
      if (text.starts_with(marker) && !Begins_With_Host(text.substr(marker.size()), host))
        return {FetchHop::Proxy, "No connection to the proxy."};
      if (text.starts_with("Unsupported proxy"))
        return {FetchHop::Proxy, "The proxy's address is of a kind that can't be used."};
      return {FetchHop::Connection, "No connection to " + host + "."};
    }
    case CURLE_OPERATION_TIMEDOUT:
      return {FetchHop::TimeOut, host + " did not answer in time."};
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
      return {FetchHop::Certificate, "The certificate of " + host + " is not trusted."};
    case CURLE_SSL_CONNECT_ERROR:
      return {FetchHop::Certificate, "No secure connection to " + host + "."};
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
      return {FetchHop::BrokenOff, "The answer of " + host + " is not HTTP."};
    case CURLE_URL_MALFORMAT:
      return {FetchHop::Address, "The service's address can't be used."};
    case CURLE_BAD_CONTENT_ENCODING:
      return {FetchHop::BrokenOff, "The answer of " + host + " can't be decompressed."};
    case CURLE_GOT_NOTHING:
      return {FetchHop::BrokenOff, host + " closed the connection without an answer."};
    default:
      break;
  }
  if (tunnel_status >= 300) {
    return {FetchHop::Proxy,
            "The proxy refused the connection with status " + std::to_string(tunnel_status) + "."};
  }
  return {FetchHop::BrokenOff, "The answer of " + host + " broke off."};
}

}  // namespace

std::optional<std::string> HttpReply::Header(std::string_view name) const {
  for (const auto& [header, value] : Headers) {
    if (header == name) return value;
  }
  return std::nullopt;
}

std::string_view Hop_Name(FetchHop hop) {
  switch (hop) {
    case FetchHop::Address:
      return "address";
    case FetchHop::NameLookUp:
      return "name look-up";
    case FetchHop::Connection:
      return "connection";
    case FetchHop::Proxy:
      return "proxy";
    case FetchHop::Certificate:
      return "certificate";
    case FetchHop::TimeOut:
      return "time-out";
    case FetchHop::TooLarge:
      return "too large an answer";
    case FetchHop::BrokenOff:
      return "broken-off answer";
    case FetchHop::Redirect:
      return "redirect";
    case FetchHop::GivenUp:
      break;
  }
  return "given up";
}

std::string Without_Secrets(std::string text, const std::vector<std::string>& secrets) {
  constexpr std::size_t shortest = 4;
  constexpr std::string_view mask = "****";
  for (const std::string& secret : secrets) {
    if (secret.size() < shortest) continue;
    text = Replace_All(text, secret, mask);
    if (const std::string encoded = Percent_Encoded(secret); encoded != secret)
      text = Replace_All(text, encoded, mask);
  }
  return text;
}

// The handles that keep connections open. Each serves one request at a time.
class CurlFetcher::Connections {
 public:
  MultiHandle Take() {
    {
      const std::lock_guard lock{mutex_};
      if (!idle_.empty()) {
        MultiHandle handle = std::move(idle_.back());
        idle_.pop_back();
        return handle;
      }
    }
    MultiHandle handle{curl_multi_init()};
    if (!handle) throw std::bad_alloc{};
    curl_multi_setopt(handle.get(), CURLMOPT_MAXCONNECTS, 4L);
    return handle;
  }

  void Give_Back(MultiHandle handle) {
    const std::lock_guard lock{mutex_};
    if (idle_.size() < most_idle_handles) idle_.push_back(std::move(handle));
  }

 private:
  std::mutex mutex_;
  std::vector<MultiHandle> idle_;
};

namespace {

class Transfer {
 public:
  Transfer(const CurlFetcherOptions& options, const HttpRequest& request, const std::string& address)
      : easy_(curl_easy_init()) {
    if (!easy_) throw std::bad_alloc{};
    exchange_.Body_Limit = options.Body_Limit;
    for (const auto& [name, value] : request.Headers) {
      std::string line = name;
      line.append(": ").append(value);
      curl_slist* const longer = curl_slist_append(headers_.get(), line.c_str());
      if (longer == nullptr) throw std::bad_alloc{};
      (void)headers_.release();
      headers_.reset(longer);
    }
    Set(CURLOPT_URL, address.c_str());
    Set(CURLOPT_HTTPGET, 1L);
    Set(CURLOPT_HTTPHEADER, headers_.get());
    Set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    Set(CURLOPT_PROTOCOLS_STR, "http,https");
    Set(CURLOPT_FOLLOWLOCATION, 0L);
    Set(CURLOPT_ACCEPT_ENCODING, "");
    Set(CURLOPT_USERAGENT, options.User_Agent.c_str());
    Set(CURLOPT_NETRC, long{CURL_NETRC_IGNORED});
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (!options.Ca_File.empty()) Set(CURLOPT_CAINFO, options.Ca_File.c_str());
    const std::string direct = Hosts_Without_Proxy();
    Set(CURLOPT_NOPROXY, direct.c_str());
    Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    Set(CURLOPT_NOSIGNAL, 1L);
    Set(CURLOPT_QUICK_EXIT, 1L);
    Set(CURLOPT_ERRORBUFFER, exchange_.Error_Text.data());
    Set(CURLOPT_HEADERFUNCTION, &Take_Header);
    Set(CURLOPT_HEADERDATA, static_cast<void*>(&exchange_));
    Set(CURLOPT_WRITEFUNCTION, &Take_Body);
    Set(CURLOPT_WRITEDATA, static_cast<void*>(&exchange_));
  }

  // None when the fetcher gave up.
  std::optional<CURLcode> Perform(CURLM* multi, milliseconds limit, const std::atomic<bool>& give_up) {
    if (limit.count() <= 0) return CURLE_OPERATION_TIMEDOUT;
    Set(CURLOPT_TIMEOUT_MS, static_cast<long>(limit.count()));
    if (curl_multi_add_handle(multi, easy_.get()) != CURLM_OK) throw std::bad_alloc{};
    const std::optional<CURLcode> code = Drive(multi, give_up);
    curl_multi_remove_handle(multi, easy_.get());
    if (exchange_.Out_Of_Memory) throw std::bad_alloc{};
    return code;
  }

  [[nodiscard]] CURL* Easy() { return easy_.get(); }
  [[nodiscard]] Exchange& Result() { return exchange_; }

 private:
  template <class Value>
  void Set(CURLoption option, Value value) {
    // Options of a handle fail for lack of memory, and for a libcurl that was built without them.
    if (const CURLcode code = curl_easy_setopt(easy_.get(), option, value); code == CURLE_OUT_OF_MEMORY)
      throw std::bad_alloc{};
  }

  static std::optional<CURLcode> Drive(CURLM* multi, const std::atomic<bool>& give_up) {
    for (;;) {
      int running = 0;
      if (curl_multi_perform(multi, &running) != CURLM_OK) return CURLE_FAILED_INIT;
      int left = 0;
      while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
        if (message->msg == CURLMSG_DONE) return message->data.result;
      }
      if (give_up) return std::nullopt;
      if (running == 0) return CURLE_FAILED_INIT;
      curl_multi_poll(multi, nullptr, 0, static_cast<int>(look_for_end.count()), nullptr);
    }
  }

  Exchange exchange_;
  HeaderList headers_;
  EasyHandle easy_;
};

}  // namespace

CurlFetcher::CurlFetcher(CurlFetcherOptions options) : options_(std::move(options)) {
  // Never cleaned up: a look-up that was left behind may still run when the program ends.
  static const CURLcode code = curl_global_init(CURL_GLOBAL_ALL);
  if (code != CURLE_OK) throw std::runtime_error("The HTTP library can't be started.");
  connections_ = std::make_unique<Connections>();
}

CurlFetcher::~CurlFetcher() = default;

void CurlFetcher::Give_Up(bool on) {
  give_up_ = on;
}

FetchResult CurlFetcher::Get(const HttpRequest& request, milliseconds limit) {
  const auto end = steady_clock::now() + limit;
  const Origin origin = Origin_Of(request.Address);
  if (!Is_Usable(request.Address, origin))
    return FetchFailure{FetchHop::Address, "The service's address can't be used."};
  const auto fail = [&request](FetchFailure failure) {
    failure.Reason = Without_Secrets(std::move(failure.Reason), request.Secrets);
    return failure;
  };

  std::string address = request.Address;
  MultiHandle multi = connections_->Take();
  for (int redirects = 0;; ++redirects) {
    Transfer transfer{options_, request, address};
    const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
    const auto code = transfer.Perform(multi.get(), left, give_up_);
    if (!code) return fail({FetchHop::GivenUp, "The request was given up."});
    if (*code != CURLE_OK) return fail(Failure_Of(*code, transfer.Result(), transfer.Easy(), origin.Host));

    long status = 0;
    curl_easy_getinfo(transfer.Easy(), CURLINFO_RESPONSE_CODE, &status);
    char* target = nullptr;
    curl_easy_getinfo(transfer.Easy(), CURLINFO_REDIRECT_URL, &target);
    if (target == nullptr) {
      if (status == 407) return fail({FetchHop::Proxy, "The proxy wants a name and a password."});
      HttpReply reply = std::move(transfer.Result().Reply);
      reply.Status = static_cast<int>(status);
      connections_->Give_Back(std::move(multi));
      return reply;
    }
    const Origin next = Origin_Of(target);
    if (!(next == origin)) {
      return fail({FetchHop::Redirect, origin.Host + " sends on to another place" +
                                           (next.Host.empty() ? "" : " (" + next.Host + ")") +
                                           ", where the request was not repeated."});
    }
    if (redirects == most_redirects) return fail({FetchHop::Redirect, origin.Host + " sends in a circle."});
    address = target;
  }
}

}  // namespace hq::server
