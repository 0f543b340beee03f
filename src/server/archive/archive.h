#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "market/bar.h"
#include "market/exchange_time.h"
#include "market/quote_source.h"
#include "market/zone_time.h"
#include "server/archive/archive_file.h"
#include "server/archive/series_key.h"
#include "server/archive/service_limits.h"

namespace hq::server {

// What one fetch brought.
struct FetchedBars {
  // Oldest first, one a stamp, with finite prices.
  std::span<const NativeBar> Bars;
  // Which days were asked for and answered for good. Those count as no longer missing.
  std::optional<DayRange> Answered;
  // Up to which moment, in the exchange's time, all bars there are were sent.
  ExchangeTime Known_Until;
  // When they were fetched.
  Moment Fetched;
  // The zone in which the bars' times are, and whether days end as the regular US sessions do.
  Zone Market_Zone = {};
  bool Us_Sessions = true;
};

// What the archive holds of a series.
struct SeriesInfo {
  SeriesKey Key;
  std::uint64_t Bars = 0;
  // Of the first and the last bar; meaningful with bars only.
  DayRange Days;
  Moment Last_Fetch;
  std::uint64_t Not_Final = 0;
};

// Bars taken out of the archive.
struct ArchivedBars {
  // Oldest first.
  std::vector<Bar> Bars;
  // When the series was fetched last.
  Moment Last_Fetch;
  // Up to which moment, in the exchange's time, all bars there are were sent.
  ExchangeTime Known_Until;
  Zone Market_Zone = {};
  bool Us_Sessions = true;
};

// All bars fetched and what was asked already, in a database file that several processes may use at once.
// Every change is one transaction: a program that is killed loses at most the change under way. All methods
// may be called from several threads at once; they raise ArchiveError when the file can't be used.
class Archive final {
 public:
  // `report` may be empty. The file can be read and written by its owner alone. `busy_time` is how long
  // another program that holds on to it is waited for; it may be packing the file.
  explicit Archive(std::filesystem::path file, Reporter report = {},
                   std::chrono::milliseconds busy_time = std::chrono::seconds{3});
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;
  ~Archive() = default;

  // Whether the archive lives in its file: not in the memory, and not still waiting for a busy one.
  [[nodiscard]] bool Is_Kept() const { return file_.Is_Kept(); }

  // What the services allow, in the same file.
  [[nodiscard]] ServiceLimits& Limits() { return limits_; }

  // Stores what a fetch brought, over what was there with the same stamps.
  void Store(const SeriesKey& key, const FetchedBars& fetched);

  // The final bars of the last `sessions` days that have such bars and are not after `last`.
  [[nodiscard]] ArchivedBars Last_Sessions(const SeriesKey& key, Day last, int sessions);

  // The bars of all days of a range, final or not.
  [[nodiscard]] std::vector<Bar> Bars(const SeriesKey& key, DayRange days);

  // The parts of `wanted` that were not answered yet, oldest first.
  [[nodiscard]] std::vector<DayRange> Missing(const SeriesKey& key, DayRange wanted);

  // When the series was fetched last, whatever that brought.
  [[nodiscard]] std::optional<Moment> Last_Fetch(const SeriesKey& key);

  // Puts a series under another adjustment, because prices fetched now don't go with it any more. What was
  // answered of it is forgotten. A series that has that name already is given up for it.
  void Set_Aside(const SeriesKey& key, const std::string& new_adjustment);

  // The symbols of which there are bars and that hold `text` in any letter case, by name, at most `limit`.
  [[nodiscard]] std::vector<std::string> Find_Symbols(std::string_view text, std::size_t limit);

  // All series by source, symbol, interval and adjustment. It looks at all bars.
  [[nodiscard]] std::vector<SeriesInfo> List();

  // The size of the file with what goes with it, in bytes; 0 in the memory.
  [[nodiscard]] std::uintmax_t File_Size() const { return file_.Size(); }

  // Writes bars as lines of comma-separated values with a header, as the source of files reads them, and
  // gives their number.
  std::size_t Export_Csv(const SeriesKey& key, DayRange days, std::ostream& to);

  // Deletes the bars of days before `before`, and gives the room of all that was deleted back to the system.
  // Gives the number of bars.
  std::uint64_t Shrink(Day before);

  // What is wrong with the file, a line each; nothing when it is sound. Looks at all of it.
  [[nodiscard]] std::vector<std::string> Check();

 private:
  ArchiveFile file_;
  ServiceLimits limits_;
};

}  // namespace hq::server
