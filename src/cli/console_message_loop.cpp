#include "cli/console_message_loop.h"

#include <algorithm>
#include <utility>

namespace hq {

void ConsoleMessageLoop::DoEvents() {
  std::unique_lock lock(mutex_);
  // Serial numbers and not a count: an event that calls DoEvents itself takes events that this call would
  // count again.
  const uint64_t last = posted_;
  for (;;) {
    if (interrupted_) throw Interrupted();
    if (events_.empty() || events_.front().Serial > last) return;
    {
      const std::function<void()> run = std::move(events_.front().Run);
      events_.pop_front();
      lock.unlock();
      run();
      // What the event owns is destroyed here, before the lock is taken again: its destructors may post.
    }
    lock.lock();
  }
}

void ConsoleMessageLoop::Sleep(std::chrono::milliseconds time) {
  // An endless time added to the clock would overflow.
  time = std::min<std::chrono::milliseconds>(time, std::chrono::hours(24));
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, time, [this] { return interrupted_ || !events_.empty(); });
  if (interrupted_) throw Interrupted();
}

void ConsoleMessageLoop::Post(std::function<void()> event) {
  {
    const std::lock_guard lock(mutex_);
    events_.push_back({posted_ + 1, std::move(event)});
    ++posted_;
  }
  changed_.notify_all();
}

void ConsoleMessageLoop::Interrupt() {
  {
    const std::lock_guard lock(mutex_);
    interrupted_ = true;
  }
  changed_.notify_all();
}

}  // namespace hq
