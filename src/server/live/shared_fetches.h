#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

#include "market/bar.h"
#include "server/live/service_caller.h"

namespace hq::server {

// What a fetch brought, kept for those who wait for it.
struct Fetched {
  ServiceBars Answer;
  // Whether the archive has it.
  bool Is_Stored = true;
};

using SharedFetch = std::variant<std::shared_ptr<const Fetched>, ServiceFailure>;

// Lets those who want the same bars at one time wait for one fetch. All methods may be called from several
// threads at once.
class SharedFetches {
 public:
  // What one who wants bars brings along.
  struct Wish {
    // Tells the bars wanted from all others.
    std::string Series;
    // What a reason calls the service.
    std::string Title;
    DayRange Days;
    PacingTime Deadline;
    // The days that are still to be fetched; none when there is nothing left.
    std::function<std::optional<DayRange>()> Days_Left;
    std::function<SharedFetch(DayRange days)> Fetch;
  };

  // `now` tells the time.
  explicit SharedFetches(PacingClock now) : now_(std::move(now)) {}

  // Fetches, or waits for the fetch of the same series that is under way. Raises what the wish's functions
  // raise.
  [[nodiscard]] SharedFetch Fetch(const Wish& wish);

  // Ends the waits until it is called with false.
  void Give_Up(bool on);

 private:
  // A fetch under way.
  struct Flight {
    DayRange Days;
    std::optional<SharedFetch> Result;
  };

  const PacingClock now_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool give_up_ = false;
  std::map<std::string, std::shared_ptr<Flight>> flights_;
};

}  // namespace hq::server
