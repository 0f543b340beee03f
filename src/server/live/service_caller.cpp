#include "server/live/service_caller.h"

#include <algorithm>
#include <array>
#include <utility>

#include "market/source_status.h"
#include "market/trading_calendar.h"

namespace hq::server {

using namespace std::chrono;

namespace {

constexpr int most_tries = 3;
constexpr auto pauses = std::to_array<milliseconds>({1s, 3s});
// A request that has less time than this is not worth beginning.
constexpr milliseconds shortest_try = 1s;
// For services that say "too many" without saying for how long.
constexpr seconds first_closing = 15min;
constexpr seconds longest_closing = 4h;

}  // namespace

std::vector<RateLimit> Limits_Of(const SourcePacing& pacing) {
  std::vector<RateLimit> limits;
  if (pacing.Pause > 0ms) limits.push_back({1, pacing.Pause, {}});
  if (pacing.Calls_A_Minute > 0) limits.push_back({pacing.Calls_A_Minute, 1min, {}});
  if (pacing.Calls_An_Hour > 0) limits.push_back({pacing.Calls_An_Hour, 1h, {}});
  if (pacing.Calls_A_Day > 0) {
    const auto midnight = [zone = pacing.Day_Zone](PacingTime taken) {
      const ExchangeTime local = zone.Local(floor<seconds>(taken));
      return PacingTime{zone.Moment({local.Date + days{1}, 0s})};
    };
    limits.push_back({pacing.Calls_A_Day, 24h, midnight});
  }
  return limits;
}

PacingTime LiveOptions::Now() const {
  return Clock ? Clock() : floor<milliseconds>(system_clock::now());
}

ServiceCaller::ServiceCaller(const LiveOptions& options, HttpFetcher& fetcher, Pacing& pacing)
    : options_(options), fetcher_(fetcher), pacing_(pacing) {}

void ServiceCaller::Give_Up(bool on) {
  fetcher_.Give_Up(on);
  {
    const std::lock_guard lock{mutex_};
    give_up_ = on;
  }
  given_up_.notify_all();
}

bool ServiceCaller::Wait(milliseconds time) {
  if (options_.Wait) options_.Wait(time);
  std::unique_lock lock{mutex_};
  const milliseconds left = options_.Wait ? 0ms : time;
  return !given_up_.wait_for(lock, left, [this] { return give_up_; });
}

std::variant<ServiceBars, ServiceFailure> ServiceCaller::Fetch(const ServiceJob& job, DayRange days,
                                                               PacingTime deadline) {
  const SourceProfile& profile = job.Profile();
  const UpstreamWish wish{job.Request.Symbol, job.Request.Interval, job.Chosen.Adjusted, days};
  const auto made =
      Make_Requests(profile, wish, job.Service->Keys, options_.Program, floor<seconds>(options_.Now()));
  if (const auto* trouble = std::get_if<Trouble>(&made))
    return ServiceFailure{trouble->Reason, trouble->Kind, {}, true};

  ServiceBars fetched;
  fetched.Market_Zone = profile.Market_Zone;
  fetched.Us_Sessions = profile.Us_Sessions;
  fetched.Time = floor<seconds>(options_.Now());
  Day answered_last = days.First - std::chrono::days{1};
  std::optional<ServiceFailure> nothing;
  bool has_answer = false;
  for (const UpstreamRequest& request : std::get<std::vector<UpstreamRequest>>(made)) {
    std::vector<NativeBar> bars;
    for (std::optional<UpstreamRequest> page = request; page && !fetched.Ended_By;) {
      auto got = Get_Page(job, *page, deadline);
      if (auto* failed = std::get_if<ServiceFailure>(&got)) {
        if (failed->Is(TroubleKind::NothingThere)) {
          nothing = std::move(*failed);
        } else {
          fetched.Ended_By = std::move(*failed);
        }
        break;
      }
      UpstreamBars& answer = std::get<UpstreamBars>(got);
      fetched.Bad_Rows += answer.Bad_Rows;
      if (fetched.Remark.empty()) fetched.Remark = answer.Remark;
      has_answer = true;
      fetched.Market_Zone = answer.Market_Zone;
      fetched.Us_Sessions = answer.Us_Sessions;
      bars.insert(bars.end(), answer.Bars.begin(), answer.Bars.end());
      page = std::move(answer.Next);
    }
    if (fetched.Ended_By && !bars.empty() && !job.Feed().Layout.Newest_First) {
      // The pages that came are whole days but for the last one.
      const Day cut = bars.back().Quote.Date;
      std::erase_if(bars, [cut](const NativeBar& bar) { return bar.Quote.Date >= cut; });
      fetched.Bars.insert(fetched.Bars.end(), bars.begin(), bars.end());
      answered_last = std::max(cut - std::chrono::days{1}, answered_last);
    }
    if (fetched.Ended_By) break;
    fetched.Bars.insert(fetched.Bars.end(), bars.begin(), bars.end());
    answered_last = std::max(request.Days.Last, answered_last);
  }
  if (fetched.Ended_By && answered_last < days.First) return *fetched.Ended_By;
  if (!has_answer && nothing && !fetched.Ended_By) return *nothing;

  // Pages and requests may meet in one bar, and the later one counts.
  const auto earlier = [](const NativeBar& left, const NativeBar& right) {
    return Earlier(left.Quote, right.Quote);
  };
  std::ranges::stable_sort(fetched.Bars, earlier);
  std::vector<NativeBar> once;
  for (const NativeBar& bar : fetched.Bars) {
    if (!once.empty() && !earlier(once.back(), bar)) {
      once.back() = bar;
    } else {
      once.push_back(bar);
    }
  }
  fetched.Bars = std::move(once);

  const ExchangeTime now = fetched.Market_Zone.Local(fetched.Time - duration_cast<seconds>(job.Feed().Delay));
  fetched.Known_Until = std::min(now, ExchangeTime{answered_last + std::chrono::days{1}, 0s});
  // A day is answered for good when its bars are there up to its end, or when it lies back far enough.
  Day settled = now.Date - settling;
  for (auto bar = fetched.Bars.rbegin(); bar != fetched.Bars.rend(); ++bar) {
    if (!bar->Final) continue;
    const Day day = bar->Quote.Date;
    const bool is_over = day < now.Date || job.Feed().Minutes == daily_interval ||
                         (fetched.Us_Sessions && now.Time >= Session_Close(day));
    settled = std::max(settled, is_over ? day : day - std::chrono::days{1});
    break;
  }
  fetched.Answered = DayRange{days.First, std::min({answered_last, settled, now.Date})};
  return fetched;
}

std::variant<UpstreamBars, ServiceFailure> ServiceCaller::Get_Page(const ServiceJob& job,
                                                                   const UpstreamRequest& page,
                                                                   PacingTime deadline) {
  const SourceProfile& profile = job.Profile();
  const std::string& title = profile.Title;
  const std::vector<RateLimit> limits = Limits_Of(profile.Pacing);
  HttpRequest http{page.Url, {}, page.Secrets};
  for (const UpstreamHeader& header : page.Headers) http.Headers.emplace_back(header.Name, header.Value);

  ServiceFailure failed;
  for (int tries = 1; tries <= most_tries; ++tries) {
    for (;;) {
      if (options_.Now() + shortest_try > deadline) {
        if (tries > 1) return failed;
        return ServiceFailure{title + " was not asked: no time was left.", FetchHop::TimeOut, {}, true};
      }
      const PacingAnswer pace = pacing_.Take(profile.Name, limits, job.Feed().Cost);
      if (pace.Wait == 0ms) break;
      const PacingTime until = options_.Now() + pace.Wait;
      if (until + shortest_try > deadline) {
        return ServiceFailure{title + " is out of quota until " + New_York_Text(ceil<seconds>(until)) +
                                  " New York time: " + Without_Stop(pace.Reason) + ".",
                              TroubleKind::Quota, until, true};
      }
      if (!Wait(pace.Wait)) return ServiceFailure{"The request was given up.", FetchHop::GivenUp, {}, true};
    }
    FetchResult result = fetcher_.Get(http, std::min(deadline - options_.Now(), options_.Try_Limit));

    milliseconds pause =
        pauses[std::min<std::size_t>(static_cast<std::size_t>(tries - 1), pauses.size() - 1)];
    if (auto* hop = std::get_if<FetchFailure>(&result)) {
      failed = ServiceFailure{title + ": " + page.Without_Keys(hop->Reason), hop->Hop, {}, false};
      // A name that isn't known or a bad certificate will be the same in three seconds, and a service that
      // hangs has had its time.
      if (hop->Hop != FetchHop::Connection && hop->Hop != FetchHop::BrokenOff) return failed;
    } else {
      const HttpReply& reply = std::get<HttpReply>(result);
      UpstreamAnswer answer = Read_Answer(profile, page, {reply.Status, reply.Headers, reply.Body},
                                          floor<seconds>(options_.Now()));
      if (auto* bars = std::get_if<UpstreamBars>(&answer)) {
        pacing_.Answered(profile.Name);
        return std::move(*bars);
      }
      const Trouble& trouble = std::get<Trouble>(answer);
      failed = ServiceFailure{page.Without_Keys(trouble.Reason), trouble.Kind, {}, false};
      const bool is_closing = failed.Is(TroubleKind::Quota) || failed.Is(TroubleKind::Throttled);
      if (!is_closing && !failed.Is(TroubleKind::ServerDown)) return failed;
      const std::string reason = Without_Stop(failed.Reason);
      if (trouble.Wait) {
        // For everybody: others that went on asking would be told the same, or worse.
        pacing_.Close(profile.Name, options_.Now() + *trouble.Wait, reason);
        pause = std::max<milliseconds>(*trouble.Wait, is_closing ? 0ms : pause);
      } else if (is_closing) {
        pacing_.Close_Growing(profile.Name, first_closing, longest_closing, reason);
      }
      const bool fits = options_.Now() + pause + shortest_try <= deadline;
      if ((is_closing && !trouble.Wait) || !fits || tries == most_tries) {
        if (const auto closed = pacing_.Closed(profile.Name)) failed.Until = closed->first;
        return failed;
      }
    }
    if (tries == most_tries || options_.Now() + pause + shortest_try > deadline) return failed;
    if (!Wait(pause)) return ServiceFailure{"The request was given up.", FetchHop::GivenUp, {}, true};
  }
  return failed;
}

}  // namespace hq::server
