#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <httplib.h>
#include <mutex>
#include <thread>
#include <vector>

#include "server/http/quote_server.h"

namespace hq::server {

// Runs each connection on a thread of its own, as long as there are not too many; idle threads are used first
// and stay until the end. Connections beyond these wait for a thread to be free. Where the system gives no
// thread at all, the task runs on the thread that brings it.
class ConnectionThreads final : public httplib::TaskQueue {
 public:
  explicit ConnectionThreads(const ThreadStart& start) : start_(start) {}

  void enqueue(std::function<void()> task) override;
  void shutdown() override;

 private:
  // False when the task can't be taken.
  bool Take(const std::function<void()>& task);
  bool Start_One();
  void Work();

  const ThreadStart& start_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  bool ending_ = false;
};

}  // namespace hq::server
