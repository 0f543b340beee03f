#pragma once

#include <condition_variable>
#include <mutex>

namespace hq {

// Lets threads wait until something has happened a number of times. std::latch, semaphores and waits on
// atomics are no choice: where the system has no futex, the library of GCC 12 loses a call that comes just
// before the wait.
class Latch {
 public:
  explicit Latch(int count = 1) : left_(count) {}

  // It happened once more; what is beyond the count does nothing.
  void Count_Down() {
    const std::lock_guard lock(mutex_);
    if (left_ > 0) --left_;
    // Before the lock goes: who waits may take the object away behind it.
    changed_.notify_all();
  }

  void Wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return left_ == 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int left_;
};

}  // namespace hq
