#pragma once

#include <chrono>
#include <functional>

namespace hq {

// Thrown by DoEvents and Sleep when the program is to end. It is no std::exception, so that code which passes
// over failing statements lets it through and whatever waits is unwound.
struct Interrupted {};

// The loop that window and transfer events go through. Events run only inside DoEvents, on the thread that
// calls it.
class MessageLoop {
 public:
  MessageLoop() = default;
  MessageLoop(const MessageLoop&) = delete;
  MessageLoop& operator=(const MessageLoop&) = delete;
  virtual ~MessageLoop() = default;

  // Runs what is pending once. Throws Interrupted.
  virtual void DoEvents() = 0;

  // Waits. Ends early when an event is posted or already waits, so that nobody sleeps over an answer. Throws
  // Interrupted.
  virtual void Sleep(std::chrono::milliseconds time) = 0;

  // Puts an event at the end of the loop. May be called from any thread; the loop outlives every caller.
  virtual void Post(std::function<void()> event) = 0;
};

}  // namespace hq
