#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace hq::server {

// A moment in UTC, to the millisecond.
using PacingTime = std::chrono::sys_time<std::chrono::milliseconds>;

// What a service was asked, and until when it must not be asked.
struct PacingState {
  // When tokens were taken, and how many; oldest first.
  std::vector<std::pair<PacingTime, int>> Taken;
  // Before this moment the service must not be asked.
  PacingTime Closed_Until{};
  // Why, in plain words.
  std::string Closed_Reason;
  // How many times in a row the service was closed without saying for how long.
  int Closings = 0;
};

// Where the states are kept, so that they outlive the program.
class PacingStore {
 public:
  virtual ~PacingStore() = default;

  // Hands the state of a service to `change` and keeps what that makes of it, with no other change in
  // between. What `change` raises leaves the state as it was.
  virtual void Change_Pacing(const std::string& service,
                             const std::function<void(PacingState& state)>& change) = 0;

 protected:
  PacingStore() = default;
  PacingStore(const PacingStore&) = default;
  PacingStore& operator=(const PacingStore&) = default;
};

}  // namespace hq::server
