#include "server/http/connection_threads.h"

#include <new>
#include <system_error>
#include <utility>

#include "platform/thread_name.h"

namespace hq::server {
namespace {

// Many, because a thread also waits for the services that a source asks, and for clients that send half a
// request.
constexpr std::size_t most_threads = 64;

}  // namespace

void ConnectionThreads::enqueue(std::function<void()> task) {
  if (!Take(task)) task();
}

bool ConnectionThreads::Take(const std::function<void()>& task) {
  const std::lock_guard lock{mutex_};
  // Threads first: a task that waits where no thread is would wait for ever.
  if (idle_ <= tasks_.size() && threads_.size() < most_threads && !Start_One() && threads_.empty())
    return false;
  try {
    tasks_.push_back(task);
  } catch (const std::bad_alloc&) {
    return false;
  }
  changed_.notify_one();
  return true;
}

bool ConnectionThreads::Start_One() {
  try {
    threads_.reserve(most_threads);
    threads_.push_back(start_([this] { Work(); }));
    return true;
  } catch (const std::system_error&) {
    return false;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void ConnectionThreads::shutdown() {
  {
    const std::lock_guard lock{mutex_};
    ending_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void ConnectionThreads::Work() {
  Name_This_Thread("quote answers");
  std::unique_lock lock{mutex_};
  for (;;) {
    ++idle_;
    changed_.wait(lock, [this] { return !tasks_.empty() || ending_; });
    --idle_;
    if (tasks_.empty()) return;
    const std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace hq::server
