#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "market/quote_source.h"
#include "server/archive/archive.h"
#include "server/live/http_fetch.h"
#include "server/live/pacing.h"
#include "server/live/service_failure.h"
#include "server/services/feed_choice.h"
#include "server/services/source_profile.h"
#include "server/services/upstream_answer.h"
#include "server/services/upstream_request.h"

namespace hq::server {

// A service in a chain of sources, with the user's keys for it.
struct LiveService {
  std::shared_ptr<const SourceProfile> Profile;
  KeyTexts Keys;
};

// What a live source works with.
struct LiveOptions {
  // How the program calls itself to services, "history-quotes/1.0.0".
  std::string Program = "history-quotes";
  // Which prices are wanted of services that have several.
  Adjustment Adjusted = Adjustment::Splits;
  // How long a client waits for an answer.
  std::chrono::milliseconds Time_Limit = std::chrono::seconds{25};
  // The longest time one request to a service may take.
  std::chrono::milliseconds Try_Limit = std::chrono::seconds{12};
  // Tells the time; empty for the system clock.
  PacingClock Clock;
  // Waits for a time; empty for waits that Give_Up ends.
  std::function<void(std::chrono::milliseconds)> Wait;

  [[nodiscard]] PacingTime Now() const;
};

// What one request asks of one service.
struct ServiceJob {
  const LiveService* Service = nullptr;
  QuoteRequest Request;
  ChosenFeed Chosen;
  SeriesKey Key;
  DayRange Wanted;

  [[nodiscard]] const SourceProfile& Profile() const { return *Service->Profile; }
  [[nodiscard]] const SourceFeed& Feed() const { return Profile().Feeds[Chosen.Feed]; }
};

// What a fetch brought.
struct ServiceBars {
  std::vector<NativeBar> Bars;
  Moment Time;
  ExchangeTime Known_Until;
  Zone Market_Zone;
  bool Us_Sessions = true;
  // The days that were answered, as far as the fetch came.
  std::optional<DayRange> Answered;
  // Why the fetch ended before it had all days.
  std::optional<ServiceFailure> Ended_By;
  // How many rows the service sent that make no sense.
  std::size_t Bad_Rows = 0;
  // What the service wrote for its user beside the bars; without keys.
  std::string Remark;
};

// What a service has not sent of a day by then, it will not send.
inline constexpr std::chrono::days settling{4};

// The limits that a service's profile tells of.
[[nodiscard]] std::vector<RateLimit> Limits_Of(const SourcePacing& pacing);

// Asks services, within their limits: page by page, each at most three times with growing pauses, and never
// beyond a deadline. All methods may be called from several threads at once.
class ServiceCaller {
 public:
  // All of it must outlive the object.
  ServiceCaller(const LiveOptions& options, HttpFetcher& fetcher, Pacing& pacing);

  // The bars of the days asked for, or of the first of them when it ended early. Nothing is stored. Raises
  // ArchiveError when the limits can't be kept.
  [[nodiscard]] std::variant<ServiceBars, ServiceFailure> Fetch(const ServiceJob& job, DayRange days,
                                                                PacingTime deadline);

  // Ends what is under way, and lets nothing begin, until it is called with false.
  void Give_Up(bool on);

 private:
  // Whether the time passed without being given up.
  [[nodiscard]] bool Wait(std::chrono::milliseconds time);
  [[nodiscard]] std::variant<UpstreamBars, ServiceFailure> Get_Page(const ServiceJob& job,
                                                                    const UpstreamRequest& page,
                                                                    PacingTime deadline);

  const LiveOptions& options_;
  HttpFetcher& fetcher_;
  Pacing& pacing_;
  std::mutex mutex_;
  std::condition_variable given_up_;
  bool give_up_ = false;
};

}  // namespace hq::server
