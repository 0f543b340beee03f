#include "quotes/curl_transfer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <curl/curl.h>
#include <exception>
#include <mutex>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "base/freed_by.h"
#include "base/memory_left.h"
#include "base/run_time_error.h"
#include "base/strings.h"
#include "platform/thread_name.h"

namespace hq {

namespace {

using EasyHandle = std::unique_ptr<CURL, Freed_By<curl_easy_cleanup>>;
using MultiHandle = std::unique_ptr<CURLM, Freed_By<curl_multi_cleanup>>;
using AddressHandle = std::unique_ptr<CURLU, Freed_By<curl_url_cleanup>>;

// No server needs more for its header lines; without a bound it could fill the memory with them.
constexpr size_t Header_Limit = 256 * 1024;

void Start_Curl() {
  // Never cleaned up: a look-up that was left behind may still run when the program ends.
  static const CURLcode code = curl_global_init(CURL_GLOBAL_ALL);
  if (code != CURLE_OK) throw RunTimeError(UnableToCompleteRequest, curl_easy_strerror(code));
}

[[noreturn]] void Refuse(const std::string& why) {
  throw RunTimeError(UnableToCompleteRequest, why);
}

// The part of an address behind the host, with the bytes encoded that can't be sent as they are. curl would
// send a blank of the query as "+" and keep "#" and what follows to itself.
std::string Encoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte > 127 || character == ' ' || character == '#') {
      encoded += '%';
      encoded += digits[byte / 16];
      encoded += digits[byte % 16];
    } else {
      encoded += character;
    }
  }
  return encoded;
}

// The address as it is handed to curl. Raises UnableToCompleteRequest when it can't be one.
std::string Checked_Address(const std::string& address) {
  const auto is_control = [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 32 || byte == 127;
  };
  if (std::any_of(address.begin(), address.end(), is_control)) Refuse("the address holds control characters");

  // curl takes "http:host" and "http:///host" for "http://host"; here they are mistakes of a settings file.
  constexpr std::string_view separator = "://";
  const size_t scheme_end = address.find(separator);
  if (scheme_end == std::string::npos) Refuse("the address does not begin with http:// or https://");
  const std::string_view scheme = std::string_view(address).substr(0, scheme_end);
  if (!Equal_Without_Case(scheme, "http") && !Equal_Without_Case(scheme, "https"))
    Refuse("the address does not begin with http:// or https://");
  const size_t host_begin = scheme_end + separator.size();
  const size_t host_end = std::min(address.find_first_of("/?#", host_begin), address.size());
  if (host_end == host_begin) Refuse("the address names no host");

  const AddressHandle handle(curl_url());
  if (!handle) throw std::bad_alloc();
  const std::string whole = address.substr(0, host_end) + Encoded(std::string_view(address).substr(host_end));
  if (const CURLUcode code = curl_url_set(handle.get(), CURLUPART_URL, whole.c_str(), 0); code != CURLUE_OK)
    Refuse(std::string("the address is malformed (") + curl_url_strerror(code) + ")");
  char* text = nullptr;
  if (const CURLUcode code = curl_url_get(handle.get(), CURLUPART_URL, &text, 0); code != CURLUE_OK)
    Refuse(std::string("the address is malformed (") + curl_url_strerror(code) + ")");
  const std::unique_ptr<char, Freed_By<curl_free>> owner(text);
  return text;
}

// The hosts that are reached without a proxy. Telling curl about the loopback ones keeps it from reading the
// variable itself.
std::string Hosts_Without_Proxy() {
  const char* others = std::getenv("no_proxy");
  if (others == nullptr) others = std::getenv("NO_PROXY");
  if (others == nullptr) others = "";
  // The star counts only by itself.
  if (std::string_view(others) == "*") return others;
  return std::string("localhost,127.0.0.0/8,::1,") + others;
}

constexpr const char* NotHttp = "The server's answer is not HTTP";
constexpr const char* UnusableRedirect = "The server redirects to an address that can't be used";
constexpr const char* HeaderTooLarge = "The answer's header is too large";

const char* Plain_Words(CURLcode code) {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return "The server's name was not found";
    case CURLE_COULDNT_RESOLVE_PROXY:
      return "The proxy's name was not found";
    case CURLE_COULDNT_CONNECT:
      return "No connection to the server";
    case CURLE_OPERATION_TIMEDOUT:
      return "The server did not answer in time";
    case CURLE_SSL_CONNECT_ERROR:
      return "No secure connection to the server";
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return "The server's certificate is not trusted";
    case CURLE_SSL_CACERT_BADFILE:
      return "The file of trusted certificates can't be read";
    case CURLE_GOT_NOTHING:
      return "The server closed the connection without an answer";
    case CURLE_PARTIAL_FILE:
      return "The answer broke off";
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return "The connection broke off";
    case CURLE_BAD_CONTENT_ENCODING:
      return "The answer can't be decompressed";
    case CURLE_TOO_MANY_REDIRECTS:
      return "The server redirects in a circle or too often";
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
      return UnusableRedirect;
    case CURLE_WEIRD_SERVER_REPLY:
      return NotHttp;
#if LIBCURL_VERSION_NUM >= 0x080600
    case CURLE_TOO_LARGE:
      return HeaderTooLarge;
#endif
    case CURLE_OUT_OF_MEMORY:
      return "Not enough memory for the answer";
    default:
      return "The transfer failed";
  }
}

}  // namespace

// What a transfer's events know of their control. Used on the control's thread alone, so it needs no lock:
// cutting it there silences the events that already wait in the loop.
struct CurlTransfer::Link {
  CurlTransfer* Control;
};

// One transfer and its thread. report is called on that thread, the last time with TransferError or
// ResponseCompleted; after it the thread touches nothing.
class CurlTransfer::Transfer {
 public:
  Transfer(const CurlTransferOptions& options, const std::string& address, std::function<void(int)> report);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  // Ends the transfer and its thread.
  ~Transfer();

  void Start();

  // For the time after the last report.
  std::string TakeBody() { return std::move(body_); }
  std::string TakeReason() { return std::move(reason_); }

 private:
  template <class Value>
  void Set(CURLoption option, Value value);
  void Set_Options(const CurlTransferOptions& options, const std::string& address);

  void Run();
  std::optional<CURLcode> Perform();
  void Disconnect();
  const char* Words_For(CURLcode code) const;
  std::string Failure(CURLcode code) const;
  void Report(int state);

  static int Look_Up_Starts(void* resolver, void* reserved, void* self);
  static int Socket_Made(void* self, curl_socket_t socket, curlsocktype purpose);
  static int Request_Begins(void* self, char* remote_ip, char* local_ip, int remote_port, int local_port);
  static int Traffic(CURL* easy, curl_infotype kind, char* bytes, size_t size, void* self);
  static size_t Header_Line(char* bytes, size_t item, size_t count, void* self);
  static size_t Body_Bytes(char* bytes, size_t item, size_t count, void* self);

  const std::function<void(int)> report_;
  const size_t limit_;
  const std::string query_;
  // Written to by curl until both handles are gone.
  std::array<char, CURL_ERROR_SIZE> error_text_{};
  // In this order, so that the easy handle goes first.
  MultiHandle multi_;
  EasyHandle easy_;

  std::mutex wake_mutex_;
  CURLM* wakeable_ = nullptr;
  std::atomic<bool> stopped_ = false;

  int reported_ = 0;
  // Whether a request was sent and the header of its answer has not come to its end.
  bool awaits_header_ = false;
  size_t header_size_ = 0;
  std::string body_;
  std::string reason_;
  // The reason of a transfer that was ended here and not by curl.
  const char* own_failure_ = nullptr;

  std::thread thread_;
};

CurlTransfer::Transfer::Transfer(const CurlTransferOptions& options, const std::string& address,
                                 std::function<void(int)> report)
    : report_(std::move(report)),
      limit_(options.BodyLimit),
      query_(address.substr(std::min(address.find('?'), address.size()))),
      multi_(curl_multi_init()),
      easy_(curl_easy_init()) {
  if (!multi_ || !easy_) throw std::bad_alloc();
  Set_Options(options, address);
  if (const CURLMcode code = curl_multi_add_handle(multi_.get(), easy_.get()); code != CURLM_OK)
    Refuse(curl_multi_strerror(code));
}

CurlTransfer::Transfer::~Transfer() {
  stopped_ = true;
  {
    const std::lock_guard lock(wake_mutex_);
    if (wakeable_ != nullptr) curl_multi_wakeup(wakeable_);
  }
  if (thread_.joinable()) thread_.join();
  if (easy_ && multi_) curl_multi_remove_handle(multi_.get(), easy_.get());
}

void CurlTransfer::Transfer::Start() {
  wakeable_ = multi_.get();
  try {
    thread_ = std::thread([this] {
      Name_This_Thread("transfer");
      Run();
    });
  } catch (const std::system_error& error) {
    Refuse(std::string("no thread for the transfer: ") + error.what());
  }
}

template <class Value>
void CurlTransfer::Transfer::Set(CURLoption option, Value value) {
  if (const CURLcode code = curl_easy_setopt(easy_.get(), option, value); code != CURLE_OK)
    Refuse(curl_easy_strerror(code));
}

void CurlTransfer::Transfer::Set_Options(const CurlTransferOptions& options, const std::string& address) {
  void* const self = this;
  Set(CURLOPT_URL, address.c_str());
  Set(CURLOPT_HTTPGET, 1L);
  // One request a connection gains nothing from a later version, and its steps are those of the states.
  Set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
  Set(CURLOPT_PROTOCOLS_STR, "http,https");
  Set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  Set(CURLOPT_FOLLOWLOCATION, 1L);
  Set(CURLOPT_MAXREDIRS, 10L);
  Set(CURLOPT_ACCEPT_ENCODING, "");
  const std::string agent = options.Version.empty() ? "history-quotes" : "history-quotes/" + options.Version;
  Set(CURLOPT_USERAGENT, agent.c_str());
  Set(CURLOPT_NETRC, long{CURL_NETRC_IGNORED});
  Set(CURLOPT_SSL_VERIFYPEER, 1L);
  Set(CURLOPT_SSL_VERIFYHOST, 2L);
  if (!options.CaFile.empty()) Set(CURLOPT_CAINFO, options.CaFile.c_str());
  const std::string direct = Hosts_Without_Proxy();
  Set(CURLOPT_NOPROXY, direct.c_str());
  // A proxy's own answer is no part of the server's.
  Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  // The caller decides how long it waits and cancels. These bound nothing shorter than its half minute.
  Set(CURLOPT_TIMEOUT_MS, 0L);
  Set(CURLOPT_CONNECTTIMEOUT_MS, 300'000L);
  Set(CURLOPT_LOW_SPEED_TIME, 0L);
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_QUICK_EXIT, 1L);
  Set(CURLOPT_ERRORBUFFER, error_text_.data());

  Set(CURLOPT_RESOLVER_START_FUNCTION, &Look_Up_Starts);
  Set(CURLOPT_RESOLVER_START_DATA, self);
  Set(CURLOPT_SOCKOPTFUNCTION, &Socket_Made);
  Set(CURLOPT_SOCKOPTDATA, self);
  Set(CURLOPT_PREREQFUNCTION, &Request_Begins);
  Set(CURLOPT_PREREQDATA, self);
  Set(CURLOPT_VERBOSE, 1L);
  Set(CURLOPT_DEBUGFUNCTION, &Traffic);
  Set(CURLOPT_DEBUGDATA, self);
  Set(CURLOPT_HEADERFUNCTION, &Header_Line);
  Set(CURLOPT_HEADERDATA, self);
  Set(CURLOPT_WRITEFUNCTION, &Body_Bytes);
  Set(CURLOPT_WRITEDATA, self);
}

void CurlTransfer::Transfer::Run() {
  const std::optional<CURLcode> code = Perform();
  if (!code) return;
  int last = TransferError;
  try {
    if (*code == CURLE_OK) {
      long status = 0;
      curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
      if (status < 200 || status >= 300) reason_ = "HTTP " + std::to_string(status);
      last = ResponseCompleted;
    } else {
      reason_ = Failure(*code);
    }
  } catch (const std::bad_alloc&) {
    last = TransferError;
    reason_ = "Out of memory";  // short enough to need none
  }
  if (last == TransferError) body_ = std::string();
  Disconnect();
  Report(last);
}

// Nothing when it was stopped.
std::optional<CURLcode> CurlTransfer::Transfer::Perform() {
  while (!stopped_) {
    int running = 0;
    CURLMcode code = curl_multi_perform(multi_.get(), &running);
    int waiting = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &waiting))
      if (message->msg == CURLMSG_DONE) return stopped_ ? std::nullopt : std::optional(message->data.result);
    if (code == CURLM_OK) code = curl_multi_poll(multi_.get(), nullptr, 0, 60'000, nullptr);
    if (code != CURLM_OK) {
      own_failure_ = curl_multi_strerror(code);
      return code == CURLM_OUT_OF_MEMORY ? CURLE_OUT_OF_MEMORY : CURLE_FAILED_INIT;
    }
  }
  return std::nullopt;
}

void CurlTransfer::Transfer::Disconnect() {
  const bool connected = reported_ >= Connected;
  if (connected) Report(Disconnecting);
  {
    const std::lock_guard lock(wake_mutex_);
    wakeable_ = nullptr;
  }
  curl_multi_remove_handle(multi_.get(), easy_.get());
  easy_.reset();
  multi_.reset();
  if (connected) Report(Disconnected);
}

// curl has one code for several causes.
const char* CurlTransfer::Transfer::Words_For(CURLcode code) const {
  // A redirect is the end of a whole header.
  if (code == CURLE_UNSUPPORTED_PROTOCOL && awaits_header_) return NotHttp;
  // A line has a limit of its own.
  if (code == CURLE_OUT_OF_MEMORY && awaits_header_ && Memory_Left_For(Header_Limit)) return HeaderTooLarge;
  return Plain_Words(code);
}

std::string CurlTransfer::Transfer::Failure(CURLcode code) const {
  std::string text;
  if (own_failure_ != nullptr) {
    text = own_failure_;
  } else {
    const char* const detail = error_text_[0] != '\0' ? error_text_.data() : curl_easy_strerror(code);
    text = Words_For(code);
    if (text != HeaderTooLarge) text.append(" (").append(detail).append(")");
  }
  return query_.size() < 2 ? text : Replace_All(text, query_, "");
}

// Leaves out what a further server or address repeats.
void CurlTransfer::Transfer::Report(int state) {
  if (state <= reported_) return;
  reported_ = state;
  try {
    report_(state);
  } catch (const std::exception&) {
    // No memory for the event. The caller's wait has an end of its own.
  }
}

int CurlTransfer::Transfer::Look_Up_Starts(void*, void*, void* self) {
  static_cast<Transfer*>(self)->Report(ResolvingHost);
  return 0;
}

// A socket is made when the addresses are known, and connects next.
int CurlTransfer::Transfer::Socket_Made(void* self, curl_socket_t, curlsocktype) {
  static_cast<Transfer*>(self)->Report(HostResolved);
  static_cast<Transfer*>(self)->Report(Connecting);
  return CURL_SOCKOPT_OK;
}

int CurlTransfer::Transfer::Request_Begins(void* self, char*, char*, int, int) {
  static_cast<Transfer*>(self)->Report(Connected);
  static_cast<Transfer*>(self)->Report(Requesting);
  static_cast<Transfer*>(self)->awaits_header_ = true;
  return CURL_PREREQFUNC_OK;
}

int CurlTransfer::Transfer::Traffic(CURL*, curl_infotype kind, char*, size_t, void* self) {
  auto* const transfer = static_cast<Transfer*>(self);
  // A proxy is asked for its tunnel before the connection stands.
  if (kind == CURLINFO_HEADER_OUT && transfer->reported_ >= Requesting) {
    transfer->Report(RequestSent);
    transfer->Report(ReceivingResponse);
  }
  return 0;
}

size_t CurlTransfer::Transfer::Header_Line(char* bytes, size_t item, size_t count, void* self) {
  auto* const transfer = static_cast<Transfer*>(self);
  const size_t size = item * count;
  transfer->header_size_ += size;
  if (transfer->header_size_ > Header_Limit) {
    transfer->own_failure_ = HeaderTooLarge;
    return 0;
  }
  if (transfer->reported_ >= ReceivingResponse) transfer->Report(ResponseReceived);
  if (Trim_White({bytes, size}).empty()) {
    // An interim answer is followed by another header.
    long status = 0;
    curl_easy_getinfo(transfer->easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    transfer->awaits_header_ = status < 200;
  }
  return size;
}

size_t CurlTransfer::Transfer::Body_Bytes(char* bytes, size_t item, size_t count, void* self) {
  auto* const transfer = static_cast<Transfer*>(self);
  const size_t size = item * count;
  // Any other number than size ends the transfer, and size is never 0 here.
  if (transfer->stopped_) return 0;
  if (size > transfer->limit_ - transfer->body_.size()) {
    transfer->own_failure_ = "The answer is too large";
    return 0;
  }
  try {
    transfer->body_.append(bytes, size);
  } catch (const std::bad_alloc&) {
    transfer->own_failure_ = "Not enough memory for the answer";
    return 0;
  }
  return size;
}

CurlTransfer::CurlTransfer(MessageLoop& loop, CurlTransferOptions options)
    : loop_(loop), options_(std::move(options)) {}

CurlTransfer::~CurlTransfer() {
  Cancel();
}

void CurlTransfer::Execute(const std::string& address, const std::string& operation) {
  Cancel();
  reason_.clear();
  if (operation != "GET") Refuse("the only operation is GET");
  const std::string checked = Checked_Address(address);
  Start_Curl();
  auto link = std::make_shared<Link>(Link{this});
  auto transfer = std::make_unique<Transfer>(options_, checked, [&loop = loop_, link](int state) {
    loop.Post([link, state] { Deliver(link, state); });
  });
  transfer->Start();
  transfer_ = std::move(transfer);
  link_ = std::move(link);
}

void CurlTransfer::Deliver(const std::shared_ptr<Link>& link, int state) {
  if (link->Control == nullptr) return;
  if (state == TransferError || state == ResponseCompleted) link->Control->Finish(state);
  // A copy, because the control may be destroyed inside of it.
  const std::function<void(int)> handler = link->Control->StateChanged;
  if (handler) handler(state);
}

void CurlTransfer::Finish(int state) {
  reason_ = transfer_->TakeReason();
  if (state == ResponseCompleted) body_ = transfer_->TakeBody();
  taken_ = 0;
  transfer_.reset();
}

std::string CurlTransfer::GetChunk(size_t size, int) {
  std::string piece = body_.substr(taken_, size);
  taken_ += piece.size();
  if (taken_ == body_.size()) {
    body_ = std::string();
    taken_ = 0;
  }
  return piece;
}

void CurlTransfer::Cancel() {
  if (link_) link_->Control = nullptr;
  link_.reset();
  transfer_.reset();
  body_ = std::string();
  taken_ = 0;
}

std::string CurlTransfer::Reason() const {
  return reason_;
}

}  // namespace hq
