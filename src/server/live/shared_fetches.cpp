#include "server/live/shared_fetches.h"

#include <algorithm>
#include <chrono>

namespace hq::server {

using namespace std::chrono_literals;

namespace {

bool Contains(DayRange outer, DayRange inner) {
  return outer.First <= inner.First && outer.Last >= inner.Last;
}

}  // namespace

SharedFetch SharedFetches::Fetch(const Wish& wish) {
  DayRange days = wish.Days;
  std::shared_ptr<Flight> own;
  std::unique_lock lock{mutex_};
  while (!own) {
    const auto found = flights_.find(wish.Series);
    if (found == flights_.end()) {
      own = std::make_shared<Flight>();
      own->Days = days;
      flights_[wish.Series] = own;
      break;
    }
    const std::shared_ptr<Flight> other = found->second;
    const auto has_ended = [&] { return other->Result.has_value() || give_up_; };
    const bool in_time = changed_.wait_for(lock, std::max(wish.Deadline - now_(), 0ms), has_ended);
    if (!in_time || !other->Result) {
      return ServiceFailure{wish.Title + " did not answer in time.", FetchHop::TimeOut, {}, false};
    }
    const auto* const failed = std::get_if<ServiceFailure>(&*other->Result);
    const bool is_of_its_days = failed == nullptr || failed->Is(TroubleKind::NothingThere);
    if (!is_of_its_days || Contains(other->Days, days)) return *other->Result;
    // It brought other days; what is left to fetch may be less.
    lock.unlock();
    const auto left = wish.Days_Left();
    lock.lock();
    if (!left) return *other->Result;
    days = *left;
  }
  lock.unlock();

  std::optional<SharedFetch> result;
  const auto land = [&] {
    lock.lock();
    own->Result =
        result ? *result : ServiceFailure{"The fetch came to nothing.", TroubleKind::ServerDown, {}, false};
    flights_.erase(wish.Series);
    lock.unlock();
    changed_.notify_all();
  };
  try {
    // Another thread may have fetched these days since the archive was looked at.
    if (const auto left = wish.Days_Left()) {
      result = wish.Fetch(*left);
    } else {
      result = std::make_shared<const Fetched>();
    }
  } catch (...) {
    land();
    throw;
  }
  land();
  return *result;
}

void SharedFetches::Give_Up(bool on) {
  {
    const std::lock_guard lock{mutex_};
    give_up_ = on;
  }
  changed_.notify_all();
}

}  // namespace hq::server
