#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "market/quote_source.h"
#include "market/source_status.h"
#include "server/archive/archive.h"
#include "server/live/http_fetch.h"
#include "server/live/pacing.h"
#include "server/live/service_caller.h"
#include "server/live/service_health.h"
#include "server/live/shared_fetches.h"
#include "server/services/source_profile.h"
#include "server/services/upstream_answer.h"
#include "server/services/upstream_request.h"

namespace hq::server {

// Any other source in a chain, with what it is called in lists.
struct OtherSource {
  std::string Name;
  // Must not be null.
  std::shared_ptr<QuoteSource> Source;
};

// One place in a chain.
using ChainLink = std::variant<LiveService, OtherSource>;

// A source of real quotes: a chain of services and other sources, in the order in which they are asked, with
// an archive in front of the services.
//
// Of a service only those days are asked for that the archive doesn't hold, with a week around them that is
// taken again for corrections. Bars that no longer go with the archived ones, because a split has changed all
// of the past, are fetched anew, and the old ones stay in the archive under another adjustment's name. A
// service is asked at most three times for one thing, with growing pauses, and never beyond the time limit;
// concurrent requests for the same bars wait for one fetch. A symbol that a service doesn't know is asked
// again a day later.
//
// The next source is asked when one is closed, down, or has nothing. When none has an answer, what the
// archive holds is the answer, and it says so; quotes that aren't real are served only after that. All bars
// of an answer are from one source, and BarTable::Source tells which.
class LiveSource final : public QuoteSource {
 public:
  // `report` is told once about each new kind of trouble with a service or the archive, without keys; it may
  // be empty.
  LiveSource(std::vector<ChainLink> chain, std::shared_ptr<Archive> archive,
             std::shared_ptr<HttpFetcher> fetcher, LiveOptions options = {}, Reporter report = {});
  ~LiveSource() override;

  [[nodiscard]] Answer Bars(const QuoteRequest& request) override;
  // The symbols in the archive and those of the other sources.
  [[nodiscard]] std::vector<SymbolEntry> Find_Symbols(std::string_view text, std::size_t limit) override;
  [[nodiscard]] std::string Description() const override;
  // Whether all sources of the chain serve real quotes.
  [[nodiscard]] bool Real_Quotes() const override;
  void Give_Up(bool on) override;

  [[nodiscard]] std::vector<SourceStatus> Sources() override;
  [[nodiscard]] std::optional<std::uintmax_t> Archive_Size() const override;

  // Asks a service of the chain for the last days of a symbol, whatever the archive holds, and keeps nothing.
  // Other sources are asked as always.
  [[nodiscard]] SourceTrial Try_Out(std::string_view service, const std::string& symbol);

 private:
  void Report_Once(const std::string& service, const std::string& line);

  [[nodiscard]] std::variant<ServiceJob, ServiceFailure> Make_Job(const LiveService& service,
                                                                  const QuoteRequest& request);
  [[nodiscard]] std::variant<BarTable, ServiceFailure> Ask_Service(const LiveService& service,
                                                                   const QuoteRequest& request,
                                                                   PacingTime deadline);
  [[nodiscard]] std::optional<DayRange> Days_To_Fetch(const ServiceJob& job);
  [[nodiscard]] std::optional<ServiceFailure> Why_Not_Ask(const ServiceJob& job);
  [[nodiscard]] SharedFetch Fetch_And_Store(const ServiceJob& job, DayRange days, PacingTime deadline);
  [[nodiscard]] ServiceBars No_Bars(const ServiceJob& job, DayRange days) const;
  void Take_Note(const ServiceJob& job, DayRange days, const ServiceFailure& failed);
  [[nodiscard]] std::variant<BarTable, ServiceFailure> From_Archive(const ServiceJob& job,
                                                                    std::string_view remark, bool is_new);
  [[nodiscard]] SourceStatus Status_Of(const LiveService& service);
  [[nodiscard]] SourceTrial Try_Out_Service(const LiveService& service, const std::string& symbol);
  [[nodiscard]] static SourceTrial Try_Out_Other(QuoteSource& other, const std::string& symbol);
  [[nodiscard]] std::optional<BarTable> From_Archive_Alone(const QuoteRequest& request,
                                                           const std::vector<std::string>& reasons);

  const std::vector<ChainLink> chain_;
  const std::shared_ptr<Archive> archive_;
  const std::shared_ptr<HttpFetcher> fetcher_;
  const LiveOptions options_;
  const Reporter report_;
  Pacing pacing_;
  ServiceCaller caller_;
  SharedFetches fetches_;
  ServiceHealth health_;

  std::mutex mutex_;
  std::map<std::string, std::string> reported_;
  // Series of which the last fetch ended before it had all days.
  std::set<std::string> unfinished_;
};

}  // namespace hq::server
