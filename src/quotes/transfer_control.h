#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace hq {

// The states that a transfer goes through, in the order of the protocol. Error or ResponseCompleted is the
// last one.
enum TransferStateNumber : int {
  ResolvingHost = 1,
  HostResolved = 2,
  Connecting = 3,
  Connected = 4,
  Requesting = 5,
  RequestSent = 6,
  ReceivingResponse = 7,
  ResponseReceived = 8,
  Disconnecting = 9,
  Disconnected = 10,
  TransferError = 11,
  ResponseCompleted = 12,
};

// An HTTP client that works beside the program and tells its progress through events. One transfer at a time;
// every method is called on one thread, and the events come on that thread, inside its message loop.
class TransferControl {
 public:
  TransferControl() = default;
  TransferControl(const TransferControl&) = delete;
  TransferControl& operator=(const TransferControl&) = delete;
  virtual ~TransferControl() = default;

  // The event: called with a TransferStateNumber. Set it before Execute.
  std::function<void(int state)> StateChanged;

  // Starts a transfer of address (http or https); operation is "GET". Ends an unfinished one as Cancel does.
  // Raises UnableToCompleteRequest when the address is malformed or the transfer can't be started.
  virtual void Execute(const std::string& address, const std::string& operation) = 0;

  // Takes the next piece of the answer's body, at most size bytes; empty when all has been taken or there is
  // none. data_type is 0 (text). The body is there from ResponseCompleted until the next Execute or Cancel.
  virtual std::string GetChunk(size_t size, int data_type) = 0;

  // Ends the transfer at once. Afterwards the control is idle and nothing of the ended transfer arrives any
  // more, not even an event that was already waiting in the message loop. Does nothing when the control is
  // idle.
  virtual void Cancel() = 0;

  // Why the latest transfer failed, in plain words with the system's reason, or for a completed one what the
  // server said beside its body ("HTTP 404"); empty when there is nothing to tell.
  [[nodiscard]] virtual std::string Reason() const = 0;
};

}  // namespace hq
