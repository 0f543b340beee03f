#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "errortrap/message_loop.h"
#include "quotes/transfer_control.h"

namespace hq {

struct CurlTransferOptions {
  // The largest body in bytes, counted after decompression; a larger one ends the transfer as an error.
  size_t BodyLimit = size_t{64} * 1024 * 1024;
  // A file of the certificates (PEM) to trust for https; empty for the system's own.
  std::string CaFile;
  // The program's version, told to the server as "history-quotes/VERSION"; empty tells the name alone.
  std::string Version;
};

// The transfer control that uses libcurl, on a thread of its own for each transfer. It speaks http and https,
// checks certificates and host names, follows at most 10 redirects, keeps nothing from one transfer for the
// next (no connection, cookie or password file), and never gives up a slow server by itself within half a
// minute. Proxies come from the environment variables that curl reads; loopback hosts are always reached
// directly.
//
// Each state is reported once at most, when it happens, and never after a later one, however many servers a
// transfer goes through. Disconnecting and Disconnected are reported when a connection was there and come in
// front of the last state. An answer with an HTTP error status is a completed transfer. A body that breaks
// off is an error and is not given out.
class CurlTransfer final : public TransferControl {
 public:
  // The loop outlives the control. The thread that makes the control is the one that uses it and runs the
  // loop's events.
  explicit CurlTransfer(MessageLoop& loop, CurlTransferOptions options = {});
  // Cancels. The control may be destroyed inside its own event.
  ~CurlTransfer() override;

  // Blanks, bytes above 127 and "#" behind the host are sent percent-encoded; the rest of the address is sent
  // as it is. Raises UnableToCompleteRequest, with a detail in plain words that does not repeat the address,
  // for an address that holds control characters, is not http or https, has no host or is malformed
  // otherwise, for another operation than "GET" and when no thread can be started.
  void Execute(const std::string& address, const std::string& operation) override;

  // Costs time in proportion to the piece it returns. data_type is not looked at: the bytes are the server's
  // own.
  std::string GetChunk(size_t size, int data_type) override;

  // Returns within milliseconds, also in the middle of a name look-up. Drops the body.
  void Cancel() override;

  // Kept until the next Execute. It never holds the query of the address.
  [[nodiscard]] std::string Reason() const override;

 private:
  class Transfer;
  struct Link;

  static void Deliver(const std::shared_ptr<Link>& link, int state);
  void Finish(int state);

  MessageLoop& loop_;
  const CurlTransferOptions options_;
  std::unique_ptr<Transfer> transfer_;
  std::shared_ptr<Link> link_;
  std::string body_;
  size_t taken_ = 0;
  std::string reason_;
};

}  // namespace hq
