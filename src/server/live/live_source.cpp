#include "server/live/live_source.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>

#include "base/strings.h"
#include "market/bar_maker.h"
#include "market/exchange_clock.h"
#include "market/trading_calendar.h"
#include "server/live/rebased_prices.h"

namespace hq::server {
namespace {

using namespace std::chrono;

// A service that is down is left alone for so long.
constexpr milliseconds down_time = 60s;
constexpr milliseconds changed_time = 15min;
constexpr int most_changed_answers = 3;
constexpr days overlap{7};
constexpr seconds unknown_symbol_time = 24h;
constexpr seconds refused_time = 1h;

std::string_view Code_Of(Adjustment adjustment) {
  switch (adjustment) {
    case Adjustment::Raw:
      return "raw";
    case Adjustment::Full:
      return "full";
    case Adjustment::Splits:
      break;
  }
  return "splits";
}

std::string Date_Text(Day day) {
  return New_York_Text(sys_days{day} + 12h).substr(0, 10);
}

std::string Needs_Key(const SourceProfile& profile, const SourceKey& key) {
  return profile.Title + " needs a key (" + key.Label + ").";
}

bool Has_Session(DayRange range) {
  for (Day day = range.First; day <= range.Last; day += days{1}) {
    if (Is_Session(day)) return true;
  }
  return false;
}

// Tells the series of a job from all others.
std::string Series_Name(const ServiceJob& job) {
  return job.Key.Source + '\n' + job.Key.Symbol + '\n' + std::to_string(job.Key.Interval) + '\n' +
         job.Key.Adjustment;
}

}  // namespace

LiveSource::LiveSource(std::vector<ChainLink> chain, std::shared_ptr<Archive> archive,
                       std::shared_ptr<HttpFetcher> fetcher, LiveOptions options, Reporter report)
    : chain_(std::move(chain)),
      archive_(std::move(archive)),
      fetcher_(std::move(fetcher)),
      options_(std::move(options)),
      report_(std::move(report)),
      pacing_(archive_->Limits(), [this] { return options_.Now(); }),
      caller_(options_, *fetcher_, pacing_),
      fetches_([this] { return options_.Now(); }) {}

LiveSource::~LiveSource() = default;

void LiveSource::Give_Up(bool on) {
  caller_.Give_Up(on);
  fetches_.Give_Up(on);
  for (const ChainLink& link : chain_) {
    if (const auto* other = std::get_if<OtherSource>(&link)) other->Source->Give_Up(on);
  }
}

void LiveSource::Report_Once(const std::string& service, const std::string& line) {
  if (!report_) return;
  {
    const std::lock_guard lock{mutex_};
    std::string& last = reported_[service];
    if (last == line) return;
    last = line;
  }
  report_(line);
}

std::variant<ServiceJob, ServiceFailure> LiveSource::Make_Job(const LiveService& service,
                                                              const QuoteRequest& request) {
  const SourceProfile& profile = *service.Profile;
  const auto chosen = Choose_Feed(profile, request.Interval, options_.Adjusted);
  if (!chosen) {
    return ServiceFailure{
        profile.Title + " has no bars of this interval and adjustment.", TroubleKind::NotServed, {}, true};
  }
  if (!Spell_Symbol(profile, request.Symbol))
    return ServiceFailure{profile.Title + " has no symbols of this kind.", TroubleKind::NotServed, {}, true};
  ServiceJob job{&service, request, *chosen, {}, {}};
  job.Key = {profile.Name, Upper_Case(request.Symbol), job.Feed().Minutes,
             std::string{Code_Of(chosen->Adjusted)}};
  job.Wanted = Days_Wanted(request, profile.Market_Zone.Local(floor<seconds>(options_.Now())).Date);
  return job;
}

Answer LiveSource::Bars(const QuoteRequest& request) {
  const PacingTime deadline = options_.Now() + options_.Time_Limit;
  std::vector<std::string> reasons;
  bool is_known = false;
  bool may_come = false;
  std::optional<Failure> unsuitable;
  bool archive_was_asked = false;
  for (const ChainLink& link : chain_) {
    if (const auto* service = std::get_if<LiveService>(&link)) {
      auto asked = Ask_Service(*service, request, deadline);
      if (auto* table = std::get_if<BarTable>(&asked)) {
        if (!table->Bars.empty()) return std::move(*table);
        is_known = true;
        continue;
      }
      const ServiceFailure& failed = std::get<ServiceFailure>(asked);
      reasons.push_back(failed.Reason);
      may_come = may_come || !(failed.Is(TroubleKind::UnknownSymbol) ||
                               failed.Is(TroubleKind::NothingThere) || failed.Is(TroubleKind::NotServed));
      continue;
    }
    QuoteSource& other = *std::get<OtherSource>(link).Source;
    if (!other.Real_Quotes() && !archive_was_asked) {
      archive_was_asked = true;
      if (auto kept = From_Archive_Alone(request, reasons)) return std::move(*kept);
    }
    Answer answer = other.Bars(request);
    if (auto* table = std::get_if<BarTable>(&answer)) {
      if (table->Bars.empty()) {
        is_known = true;
        continue;
      }
      if (table->Source.empty()) table->Source = Without_Stop(other.Description());
      return answer;
    }
    const Failure& failure = std::get<Failure>(answer);
    reasons.push_back(failure.Reason);
    if (failure.Kind == FailureKind::Unsuitable) unsuitable = failure;
    may_come =
        may_come || failure.Kind == FailureKind::Unreadable || failure.Kind == FailureKind::Unavailable;
  }
  if (!archive_was_asked) {
    if (auto kept = From_Archive_Alone(request, reasons)) return std::move(*kept);
  }

  std::string all;
  for (const std::string& reason : reasons) all += (all.empty() ? "" : " ") + reason;
  if (may_come) return Failure{FailureKind::Unavailable, all};
  if (is_known) return BarTable{};
  if (unsuitable) return Failure{FailureKind::Unsuitable, all};
  return Failure{FailureKind::UnknownSymbol, all.empty() ? "No source is set up." : all};
}

std::variant<BarTable, ServiceFailure> LiveSource::Ask_Service(const LiveService& service,
                                                               const QuoteRequest& request,
                                                               PacingTime deadline) {
  auto made = Make_Job(service, request);
  if (auto* failed = std::get_if<ServiceFailure>(&made)) return std::move(*failed);
  const ServiceJob& job = std::get<ServiceJob>(made);
  const std::string title = job.Profile().Title;
  try {
    const auto days = Days_To_Fetch(job);
    if (!days) return From_Archive(job, {}, false);
    if (auto closed = Why_Not_Ask(job)) return std::move(*closed);
    auto result = fetches_.Fetch(
        {Series_Name(job), title, *days, deadline, [this, &job] { return Days_To_Fetch(job); },
         [this, &job, deadline](DayRange left) { return Fetch_And_Store(job, left, deadline); }});
    if (auto* failed = std::get_if<ServiceFailure>(&result)) return std::move(*failed);
    const auto& [fetched, is_stored] = *std::get<std::shared_ptr<const Fetched>>(result);
    // Half of what was wanted is worse than the next source's whole; the archive keeps it for later.
    if (fetched.Ended_By) return *fetched.Ended_By;
    if (is_stored) return From_Archive(job, {}, true);

    std::vector<Bar> bars;
    for (const NativeBar& native : fetched.Bars) {
      if (native.Final) bars.push_back(native.Quote);
    }
    const FeedBars feed{bars, job.Feed().Minutes, fetched.Known_Until, fetched.Us_Sessions, title};
    Answer answer = Answer_From_Feed(feed, request);
    if (const auto* failure = std::get_if<Failure>(&answer))
      return ServiceFailure{failure->Reason, TroubleKind::NotServed, {}, false};
    BarTable& table = std::get<BarTable>(answer);
    table.Source = title + " (fetched " + New_York_Text(fetched.Time) + ")";
    return std::move(table);
  } catch (const ArchiveError& error) {
    Report_Once("archive", error.what());
    return ServiceFailure{error.what(), TroubleKind::ServerDown, {}, true};
  }
}

std::optional<DayRange> LiveSource::Days_To_Fetch(const ServiceJob& job) {
  std::vector<DayRange> missing = archive_->Missing(job.Key, job.Wanted);
  if (missing.empty()) return std::nullopt;
  const SourceFeed& feed = job.Feed();
  const ExchangeTime now = job.Profile().Market_Zone.Local(floor<seconds>(options_.Now()));
  const ArchivedBars newest = archive_->Last_Sessions(job.Key, job.Wanted.Last, 1);
  const auto last_fetch = archive_->Last_Fetch(job.Key);
  const bool is_us = newest.Bars.empty() ? job.Profile().Us_Sessions : newest.Us_Sessions;

  // The day up to which there can be something.
  Day last = now.Date;
  if (feed.Not_Today) last -= days{1};
  if (is_us && last == now.Date) {
    const seconds first_bar =
        feed.Minutes == daily_interval ? Session_Close(now.Date) : session_open + minutes{feed.Minutes};
    if (!Is_Session(now.Date) || now.Time < first_bar + feed.Delay) last -= days{1};
  }
  for (DayRange& range : missing) range.Last = std::min(range.Last, last);
  std::erase_if(missing, [is_us](const DayRange& range) {
    return range.First > range.Last || (is_us && !Has_Session(range));
  });
  if (missing.empty()) return std::nullopt;

  // What was asked a moment ago is not asked again for the little that may be new.
  const minutes fresh{feed.Minutes == daily_interval ? 15 : std::clamp(feed.Minutes, 1, 15)};
  const bool only_new = missing.size() == 1 && missing.front().First > now.Date - settling - days{1};
  if (only_new && last_fetch && floor<seconds>(options_.Now()) - *last_fetch < fresh &&
      floor<seconds>(options_.Now()) >= *last_fetch) {
    const std::lock_guard lock{mutex_};
    if (!unfinished_.contains(Series_Name(job))) return std::nullopt;
  }

  DayRange days{missing.front().First, missing.back().Last};
  if (last_fetch) days = {days.First - overlap, std::min(days.Last + overlap, last)};
  return days;
}

std::optional<ServiceFailure> LiveSource::Why_Not_Ask(const ServiceJob& job) {
  const SourceProfile& profile = job.Profile();
  const PacingTime now = options_.Now();
  if (const auto missing = Missing_Keys(profile, job.Service->Keys); !missing.empty()) {
    return ServiceFailure{Needs_Key(profile, missing.front()), TroubleKind::KeyRefused, {}, true};
  }
  const ServiceHealth::State health = health_.Of(profile.Name);
  if (!health.Key_Reason.empty()) return ServiceFailure{health.Key_Reason, TroubleKind::KeyRefused, {}, true};
  if (health.Down_Until > now)
    return ServiceFailure{health.Down_Reason, TroubleKind::ServerDown, health.Down_Until, true};
  for (const int interval : {0, job.Key.Interval}) {
    const auto refusal =
        archive_->Limits().Refusal({job.Key.Source, job.Key.Symbol, interval, {}}, floor<seconds>(now));
    if (refusal)
      return ServiceFailure{
          *refusal, interval == 0 ? TroubleKind::UnknownSymbol : TroubleKind::NothingThere, {}, true};
  }
  return std::nullopt;
}

SharedFetch LiveSource::Fetch_And_Store(const ServiceJob& job, DayRange days, PacingTime deadline) {
  for (bool is_again = false;; is_again = true) {
    auto asked = caller_.Fetch(job, days, deadline);
    Fetched fetched;
    if (const auto* failed = std::get_if<ServiceFailure>(&asked)) {
      Take_Note(job, days, *failed);
      if (!failed->Is(TroubleKind::NothingThere)) return *failed;
      if (!archive_->Last_Fetch(job.Key) && days.Last + overlap >= job.Wanted.Last) return *failed;
      // Nothing in these days, of a symbol that may have others.
      fetched.Answer = No_Bars(job, days);
    } else {
      fetched.Answer = std::get<ServiceBars>(std::move(asked));
      health_.Reset_Changed_Answers(job.Profile().Name);
    }
    const ServiceBars& answer = fetched.Answer;
    if (answer.Bad_Rows > 0) {
      Report_Once("rows " + job.Profile().Name, job.Profile().Title + " sent " +
                                                    std::to_string(answer.Bad_Rows) + " rows of " +
                                                    job.Key.Symbol + " that make no sense.");
    }
    if (!answer.Remark.empty()) {
      Report_Once("remark " + job.Profile().Name,
                  job.Profile().Title + " says with the bars: \"" + answer.Remark + "\"");
    }
    if (answer.Ended_By) Take_Note(job, days, *answer.Ended_By);
    {
      const std::lock_guard lock{mutex_};
      if (answer.Ended_By) {
        unfinished_.insert(Series_Name(job));
      } else {
        unfinished_.erase(Series_Name(job));
      }
    }
    try {
      if (!is_again && Is_Rebased(archive_->Bars(job.Key, days), answer.Bars, job.Chosen.Adjusted)) {
        archive_->Set_Aside(job.Key,
                            job.Key.Adjustment + " until " + Date_Text(New_York_Time(answer.Time).Date));
        Report_Once("split " + job.Key.Source + job.Key.Symbol,
                    job.Profile().Title + " has changed the past prices of " + job.Key.Symbol +
                        ", as after a split: they are fetched anew.");
        days = {std::min(job.Wanted.First, days.First), days.Last};
        continue;
      }
      archive_->Store(job.Key, {answer.Bars, answer.Answered, answer.Known_Until, answer.Time,
                                answer.Market_Zone, answer.Us_Sessions});
    } catch (const ArchiveError& error) {
      Report_Once("archive", error.what());
      fetched.Is_Stored = false;
    }
    return std::make_shared<const Fetched>(std::move(fetched));
  }
}

ServiceBars LiveSource::No_Bars(const ServiceJob& job, DayRange days) const {
  ServiceBars none;
  none.Time = floor<seconds>(options_.Now());
  none.Known_Until = {days.First - std::chrono::days{1}, 0s};
  none.Market_Zone = job.Profile().Market_Zone;
  none.Us_Sessions = job.Profile().Us_Sessions;
  const Day today = none.Market_Zone.Local(none.Time).Date;
  none.Answered = DayRange{days.First, std::min(days.Last, today - settling)};
  return none;
}

void LiveSource::Take_Note(const ServiceJob& job, DayRange days, const ServiceFailure& failed) {
  const std::string& name = job.Profile().Name;
  const PacingTime now = options_.Now();
  if (failed.Is(FetchHop::GivenUp) || (failed.Is(FetchHop::TimeOut) && failed.Not_Asked)) return;
  const auto close = [&](milliseconds time) { health_.Close(name, now + time, failed.Reason); };
  if (const auto* hop = std::get_if<FetchHop>(&failed.Why)) {
    // Too large an answer or one that broke off may be one symbol's own fault.
    if (*hop != FetchHop::TooLarge && *hop != FetchHop::BrokenOff) close(down_time);
    return Report_Once(name, failed.Reason);
  }
  const auto remember = [&](int interval, seconds time) {
    try {
      archive_->Limits().Remember_Refusal({job.Key.Source, job.Key.Symbol, interval, {}}, failed.Reason,
                                          floor<seconds>(now) + time);
    } catch (const ArchiveError& error) {
      Report_Once("archive", error.what());
    }
  };
  switch (std::get<TroubleKind>(failed.Why)) {
    case TroubleKind::UnknownSymbol:
      return remember(0, unknown_symbol_time);
    case TroubleKind::NothingThere:
      // Of a symbol that never had anything, up to now.
      if (!failed.Not_Asked && !archive_->Last_Fetch(job.Key) &&
          days.Last + overlap >= job.Profile().Market_Zone.Local(floor<seconds>(now)).Date)
        remember(job.Key.Interval, unknown_symbol_time);
      return;
    case TroubleKind::NotServed:
    case TroubleKind::NotAllowed:
    case TroubleKind::BadRequest:
      if (!failed.Not_Asked) remember(job.Key.Interval, refused_time);
      return Report_Once(name, failed.Reason);
    case TroubleKind::KeyRefused:
      health_.Refuse_Key(name, failed.Reason);
      return Report_Once(name, failed.Reason);
    case TroubleKind::ServerDown:
      close(down_time);
      return Report_Once(name, failed.Reason);
    case TroubleKind::FormatChanged:
      if (health_.Count_Changed_Answer(name) >= most_changed_answers) close(changed_time);
      return Report_Once(name, failed.Reason);
    case TroubleKind::Quota:
    case TroubleKind::Throttled:
      return Report_Once(name, failed.Reason);
  }
}

std::variant<BarTable, ServiceFailure> LiveSource::From_Archive(const ServiceJob& job,
                                                                std::string_view remark, bool is_new) {
  const Day last = job.Request.Before ? *job.Request.Before - days{1} : job.Wanted.Last + days{1};
  // Two more sessions, of which the opening price of the first one wanted may be made.
  const ArchivedBars kept = archive_->Last_Sessions(job.Key, last, job.Request.Sessions + 2);
  if (kept.Bars.empty()) return BarTable{};
  const SourceProfile& profile = job.Profile();
  Answer answer = Answer_From_Feed(
      {kept.Bars, job.Feed().Minutes, kept.Known_Until, kept.Us_Sessions, profile.Title}, job.Request);
  auto* table = std::get_if<BarTable>(&answer);
  if (table == nullptr)
    return ServiceFailure{std::get<Failure>(answer).Reason, TroubleKind::NotServed, {}, true};
  table->Source = profile.Title;
  if (job.Chosen.Adjusted != options_.Adjusted)
    table->Source.append(", ").append(Adjustment_Name(job.Chosen.Adjusted));
  table->Source.append(is_new ? " (fetched " : " (archive, fetched ").append(New_York_Text(kept.Last_Fetch));
  if (!remark.empty()) table->Source.append("; ").append(remark);
  table->Source += ')';
  return std::move(*table);
}

std::optional<BarTable> LiveSource::From_Archive_Alone(const QuoteRequest& request,
                                                       const std::vector<std::string>& reasons) {
  for (const ChainLink& link : chain_) {
    const auto* service = std::get_if<LiveService>(&link);
    if (service == nullptr) continue;
    const auto made = Make_Job(*service, request);
    const auto* job = std::get_if<ServiceJob>(&made);
    if (job == nullptr) continue;
    try {
      const std::string remark = reasons.empty() ? std::string{} : Without_Stop(reasons.front());
      auto kept = From_Archive(*job, remark, false);
      if (auto* table = std::get_if<BarTable>(&kept); table != nullptr && !table->Bars.empty())
        return std::move(*table);
    } catch (const ArchiveError& error) {
      Report_Once("archive", error.what());
    }
  }
  return std::nullopt;
}

std::vector<SymbolEntry> LiveSource::Find_Symbols(std::string_view text, std::size_t limit) {
  std::map<std::string, std::string> symbols;
  try {
    for (std::string& symbol : archive_->Find_Symbols(text, limit))
      symbols.emplace(std::move(symbol), "in the archive");
  } catch (const ArchiveError& error) {
    Report_Once("archive", error.what());
  }
  for (const ChainLink& link : chain_) {
    if (const auto* other = std::get_if<OtherSource>(&link)) {
      for (SymbolEntry& entry : other->Source->Find_Symbols(text, limit))
        symbols.emplace(std::move(entry.Symbol), std::move(entry.Description));
    }
  }
  std::vector<SymbolEntry> found;
  for (auto& [symbol, description] : symbols) {
    if (found.size() == limit) break;
    found.push_back({symbol, description});
  }
  return found;
}

std::string LiveSource::Description() const {
  std::string text;
  for (const ChainLink& link : chain_) {
    if (!text.empty()) text += ", then ";
    if (const auto* service = std::get_if<LiveService>(&link)) {
      text += service->Profile->Title;
    } else {
      text += Without_Stop(std::get<OtherSource>(link).Source->Description());
    }
  }
  return text + ".";
}

bool LiveSource::Real_Quotes() const {
  return std::ranges::all_of(chain_, [](const ChainLink& link) {
    const auto* other = std::get_if<OtherSource>(&link);
    return other == nullptr || other->Source->Real_Quotes();
  });
}

std::vector<SourceStatus> LiveSource::Sources() {
  std::vector<SourceStatus> list;
  for (const ChainLink& link : chain_) {
    if (const auto* other = std::get_if<OtherSource>(&link)) {
      list.push_back({other->Name, Without_Stop(other->Source->Description()), SourceState::Ready, {}, {}});
    } else {
      list.push_back(Status_Of(std::get<LiveService>(link)));
    }
  }
  return list;
}

std::optional<std::uintmax_t> LiveSource::Archive_Size() const {
  return archive_->Is_Kept() ? std::optional{archive_->File_Size()} : std::nullopt;
}

SourceStatus LiveSource::Status_Of(const LiveService& service) {
  const SourceProfile& profile = *service.Profile;
  SourceStatus status{profile.Name, profile.Title, SourceState::Ready, {}, {}};
  if (const auto missing = Missing_Keys(profile, service.Keys); !missing.empty()) {
    status.State = SourceState::NeedsKey;
    status.Reason = Needs_Key(profile, missing.front());
    return status;
  }
  const ServiceHealth::State health = health_.Of(profile.Name);
  if (!health.Key_Reason.empty()) {
    status.State = SourceState::KeyRefused;
    status.Reason = health.Key_Reason;
    return status;
  }
  if (health.Down_Until > options_.Now()) {
    status.State = SourceState::Down;
    status.Until = ceil<seconds>(health.Down_Until);
    status.Reason = health.Down_Reason;
    return status;
  }
  try {
    const auto wait = pacing_.Look(profile.Name, Limits_Of(profile.Pacing));
    if (wait.Wait > options_.Time_Limit) {
      status.State = SourceState::OutOfQuota;
      status.Until = ceil<seconds>(options_.Now() + wait.Wait);
      status.Reason = Without_Stop(wait.Reason) + ".";
    }
  } catch (const ArchiveError& error) {
    Report_Once("archive", error.what());
  }
  return status;
}

SourceTrial LiveSource::Try_Out(std::string_view name, const std::string& symbol) {
  if (Trim_White(symbol).empty())
    return {false, "unknown symbol", "No symbol is given.", "Name one, such as MSFT.", 0};
  for (const ChainLink& link : chain_) {
    if (const auto* other = std::get_if<OtherSource>(&link)) {
      if (other->Name == name) return Try_Out_Other(*other->Source, symbol);
    } else if (const auto& service = std::get<LiveService>(link); service.Profile->Name == name) {
      return Try_Out_Service(service, symbol);
    }
  }
  return {false, "source", "There is no source " + std::string{name} + " in use.",
          "Choose one of the sources in the list.", 0};
}

SourceTrial LiveSource::Try_Out_Other(QuoteSource& other, const std::string& symbol) {
  const Answer answer = other.Bars({symbol, daily_interval, {}, 5});
  if (const auto* failure = std::get_if<Failure>(&answer)) {
    return {false, failure->Kind == FailureKind::UnknownSymbol ? "unknown symbol" : "file", failure->Reason,
            "Look whether there is a file of that symbol's name with daily bars.", 0};
  }
  const std::size_t count = std::get<BarTable>(answer).Bars.size();
  return {true,
          {},
          other.Description() + " There are " + std::to_string(count) + " daily bars of " + symbol + ".",
          {},
          count};
}

SourceTrial LiveSource::Try_Out_Service(const LiveService& service, const std::string& symbol) {
  const SourceProfile& profile = *service.Profile;
  if (const auto missing = Missing_Keys(profile, service.Keys); !missing.empty()) {
    return {false, "missing key", Needs_Key(profile, missing.front()),
            "Get a key from the service" + (profile.Site.empty() ? "" : " (" + profile.Site + ")") +
                " and enter it in the settings.",
            0};
  }
  const auto fail = [&](const ServiceFailure& failed) {
    return SourceTrial{false, Failed_Hop(failed), failed.Reason, Next_Step(failed, profile), 0};
  };
  try {
    if (!Spell_Symbol(profile, symbol))
      return fail({profile.Title + " has no symbols of this kind.", TroubleKind::NotServed, {}, true});
    ServiceFailure not_served{profile.Title + " has no bars.", TroubleKind::NotServed, {}, true};
    for (const int interval : {daily_interval, 5, 1}) {
      auto made = Make_Job(service, {symbol, interval, {}, 5});
      if (auto* failed = std::get_if<ServiceFailure>(&made)) {
        not_served = std::move(*failed);
        continue;
      }
      const ServiceJob& job = std::get<ServiceJob>(made);
      const auto result = caller_.Fetch(job, job.Wanted, options_.Now() + options_.Time_Limit);
      if (const auto* failed = std::get_if<ServiceFailure>(&result)) return fail(*failed);
      const auto& fetched = std::get<ServiceBars>(result);
      if (fetched.Ended_By) return fail(*fetched.Ended_By);
      const std::size_t count = fetched.Bars.size();
      if (count == 0)
        return fail(
            {profile.Title + " has sent no bars of " + symbol + ".", TroubleKind::NothingThere, {}, false});
      std::string text = profile.Title;
      text.append(" works: it has sent ").append(std::to_string(count)).append(" bars of ").append(symbol);
      text += '.';
      if (!fetched.Remark.empty()) text.append(" It says: \"").append(fetched.Remark).append("\"");
      // It has the right key and is there, whatever was thought of it before.
      health_.Reset(profile.Name);
      return {true, {}, text, {}, count};
    }
    return fail(not_served);
  } catch (const ArchiveError& error) {
    return {false, "archive", error.what(),
            "Look whether the program may write into its folder and whether the disk is full.", 0};
  }
}

}  // namespace hq::server
