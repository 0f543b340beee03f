#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <vector>

#include "server/live/http_fetch.h"

namespace hq::server {

// Answers requests as a test says, and keeps them. It may be used from several threads at once.
class ScriptedFetcher final : public HttpFetcher {
 public:
  FetchResult Get(const HttpRequest& request, std::chrono::milliseconds limit) override {
    {
      const std::lock_guard lock{mutex_};
      requests_.push_back(request);
      limits_.push_back(limit);
    }
    if (!Answer) return FetchFailure{FetchHop::Connection, "No answer is set."};
    return Answer(request);
  }
  void Give_Up(bool /*on*/) override {}

  [[nodiscard]] std::vector<HttpRequest> Requests() const {
    const std::lock_guard lock{mutex_};
    return requests_;
  }
  [[nodiscard]] std::vector<std::chrono::milliseconds> Limits() const {
    const std::lock_guard lock{mutex_};
    return limits_;
  }

  // Called from the threads that ask.
  std::function<FetchResult(const HttpRequest& request)> Answer;

 private:
  mutable std::mutex mutex_;
  std::vector<HttpRequest> requests_;
  std::vector<std::chrono::milliseconds> limits_;
};

}  // namespace hq::server
