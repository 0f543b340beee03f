#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "server/archive/pacing_store.h"

namespace hq::server {

// Tells the time. It may be called from several threads at once.
using PacingClock = std::function<PacingTime()>;

// A bucket of tokens: each request takes one, or several. A token is back one period later, so that no
// stretch of that length ever sees more requests wherever the service's own clock begins to count; or, where
// the service says when it begins to count anew, at that moment.
struct RateLimit {
  // At least 1.
  int Tokens = 1;
  // At most 31 days.
  std::chrono::milliseconds Period{};
  // When a token taken at a moment is back, at most 31 days later; empty when a period later.
  std::function<PacingTime(PacingTime taken)> Back_At;

  [[nodiscard]] PacingTime Back(PacingTime taken) const { return Back_At ? Back_At(taken) : taken + Period; }
};

// What a service says to a request for tokens.
struct PacingAnswer {
  // How long to wait before the tokens can be taken; 0 when they were taken now.
  std::chrono::milliseconds Wait{};
  // Why one has to wait; empty when one has not to.
  std::string Reason;
};

// Keeps to the limits of services. All methods may be called from several threads at once; they raise what
// the store raises.
class Pacing {
 public:
  // `store` must outlive the object, and `clock` not be empty.
  Pacing(PacingStore& store, PacingClock clock);

  // Takes `tokens` of each limit of a service now, or none of them.
  PacingAnswer Take(const std::string& service, const std::vector<RateLimit>& limits, int tokens = 1);

  // What Take would answer for one token, without taking it.
  [[nodiscard]] PacingAnswer Look(const std::string& service, const std::vector<RateLimit>& limits);

  // Closes a service until a moment, unless it is closed for longer. `reason` goes into answers.
  void Close(const std::string& service, PacingTime until, const std::string& reason);

  // Closes a service for `first`, and for twice as long each further time in a row, up to `longest`.
  void Close_Growing(const std::string& service, std::chrono::seconds first, std::chrono::seconds longest,
                     const std::string& reason);

  // The service has answered as it should: unless it was closed while the answer was on its way, the next
  // closing counts as the first one.
  void Answered(const std::string& service);

  // Until when a service is closed and why; none when it may be asked.
  [[nodiscard]] std::optional<std::pair<PacingTime, std::string>> Closed(const std::string& service);

 private:
  PacingStore& store_;
  PacingClock clock_;
};

}  // namespace hq::server
