#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

#include "errortrap/message_loop.h"

namespace hq {

// The message loop of a program without windows: a queue of posted events.
class ConsoleMessageLoop final : public MessageLoop {
 public:
  // Runs, on the calling thread, the events that are pending now, each once; those posted meanwhile wait for
  // the next call. An event may post, sleep and call DoEvents. An exception of an event comes out, and the
  // events behind it stay pending. Throws Interrupted.
  void DoEvents() override;

  // Waits for time (nothing when it is not positive, a day at most) or until an event is pending, runs none,
  // and throws Interrupted.
  void Sleep(std::chrono::milliseconds time) override;

  // Adds an event, which must not be empty, behind the pending ones. Any thread.
  void Post(std::function<void()> event) override;

  // Makes every DoEvents and Sleep from now on throw Interrupted, and a Sleep under way at once. Any thread,
  // but not a signal handler: a program hands its signals to a thread that waits for them.
  void Interrupt();

 private:
  struct Event {
    uint64_t Serial;
    std::function<void()> Run;
  };

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Event> events_;
  uint64_t posted_ = 0;
  bool interrupted_ = false;
};

}  // namespace hq
