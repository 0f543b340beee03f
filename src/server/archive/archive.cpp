#include "server/archive/archive.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <system_error>
#include <thread>
#include <utility>

#include "base/strings.h"
#include "platform/paths.h"
#include "server/archive/sqlite_database.h"

namespace hq::server {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;

// "HQqa", by which a database is known as an archive.
constexpr int application_id = 0x48517161;
constexpr int schema_version = 1;
constexpr std::int64_t seconds_a_day = 86400;
// How long to wait before a busy file is tried again.
constexpr milliseconds busy_pause{5};
// Up to this size a file is looked through when it is opened; damage of larger ones shows when it is met.
constexpr std::uintmax_t checked_at_opening = std::uintmax_t{4} << 20U;

constexpr const char* schema = R"(
CREATE TABLE series(
  id INTEGER PRIMARY KEY,
  source TEXT NOT NULL,
  symbol TEXT NOT NULL,
  interval INTEGER NOT NULL,
  adjustment TEXT NOT NULL,
  fetched INTEGER NOT NULL,
  known_until INTEGER NOT NULL,
  zone TEXT NOT NULL,
  us_sessions INTEGER NOT NULL,
  UNIQUE(source, symbol, interval, adjustment));
CREATE TABLE bars(
  series INTEGER NOT NULL,
  at INTEGER NOT NULL,
  open REAL NOT NULL,
  high REAL NOT NULL,
  low REAL NOT NULL,
  close REAL NOT NULL,
  volume INTEGER NOT NULL,
  fetched INTEGER NOT NULL,
  final INTEGER NOT NULL,
  PRIMARY KEY(series, at)) WITHOUT ROWID;
CREATE TABLE answered(
  series INTEGER NOT NULL,
  first INTEGER NOT NULL,
  last INTEGER NOT NULL,
  PRIMARY KEY(series, first)) WITHOUT ROWID;
CREATE TABLE refusals(
  source TEXT NOT NULL,
  symbol TEXT NOT NULL,
  interval INTEGER NOT NULL,
  reason TEXT NOT NULL,
  until INTEGER NOT NULL,
  PRIMARY KEY(source, symbol, interval)) WITHOUT ROWID;
CREATE TABLE pacing(
  service TEXT PRIMARY KEY,
  closed_until INTEGER NOT NULL,
  reason TEXT NOT NULL,
  closings INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE taken(
  service TEXT NOT NULL,
  at INTEGER NOT NULL,
  tokens INTEGER NOT NULL);
CREATE INDEX taken_by_service ON taken(service, at);
)";

std::int64_t Day_Number(Day day) {
  return day.time_since_epoch().count();
}

Day Day_Of(std::int64_t number) {
  return Day{days{number}};
}

std::int64_t Stamp(Day day, seconds time) {
  return Day_Number(day) * seconds_a_day + time.count();
}

ExchangeTime Time_Of(std::int64_t stamp) {
  const auto day = floor<days>(sys_seconds{seconds{stamp}});
  return {day, sys_seconds{seconds{stamp}} - day};
}

fs::path With_Ending(const fs::path& file, const std::string& ending) {
  fs::path longer = file;
  longer += ending;
  return longer;
}

void Append_Number(std::string& text, double number) {
  std::array<char, 1100> digits{};
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::fixed);
  text.append(digits.data(), end.ptr);
}

void Append_Two_Digits(std::string& text, unsigned number) {
  text += static_cast<char>('0' + number / 10 % 10);
  text += static_cast<char>('0' + number % 10);
}

void Append_Date(std::string& text, Day day) {
  const year_month_day date{day};
  text += std::to_string(static_cast<int>(date.year()));
  text += '-';
  Append_Two_Digits(text, static_cast<unsigned>(date.month()));
  text += '-';
  Append_Two_Digits(text, static_cast<unsigned>(date.day()));
}

// Whether the database is an archive; false when it is empty. Raises ArchiveError when it is none of ours.
bool Is_Archive(SqliteDatabase& database) {
  const auto id = database.Number("PRAGMA application_id");
  const auto version = database.Number("PRAGMA user_version");
  if (id == 0 && version == 0 && database.Number("SELECT count(*) FROM sqlite_master") == 0) return false;
  if (id != application_id) throw SqliteError::Damage("it is the database of another program");
  if (version != schema_version) throw ArchiveError("it was made by another version of the program");
  return true;
}

// Makes a connection ready for use. Raises SqliteError, and ArchiveError when the file is none of ours.
void Prepare(SqliteDatabase& database, bool look_through, milliseconds busy_time) {
  database.Keep_Safe(busy_time);
  if (look_through) {
    auto check = database.Use("PRAGMA quick_check(1)");
    if (check.Step() && check.String(0) != "ok") throw SqliteError::Damage(check.String(0));
  }
  // Without a change: another process may be in the middle of a long one.
  if (Is_Archive(database)) return;
  SqliteDatabase::Change change{database};
  if (!Is_Archive(database)) {
    database.Run(schema);
    database.Run(("PRAGMA application_id=" + std::to_string(application_id)).c_str());
    database.Run(("PRAGMA user_version=" + std::to_string(schema_version)).c_str());
  }
  change.Commit();
}

std::optional<std::int64_t> Find_Series(SqliteDatabase& database, const SeriesKey& key) {
  auto query = database.Use(
      "SELECT id FROM series WHERE source = ? AND symbol = ? AND interval = ? AND adjustment = ?");
  query.Bind(key.Source).Bind(Upper_Case(key.Symbol)).Bind(std::int64_t{key.Interval}).Bind(key.Adjustment);
  return query.Step() ? std::optional{query.Integer(0)} : std::nullopt;
}

std::int64_t Make_Series(SqliteDatabase& database, const SeriesKey& key) {
  if (const auto found = Find_Series(database, key)) return *found;
  database
      .Use(
          "INSERT INTO series(source, symbol, interval, adjustment, fetched, known_until, zone, us_sessions) "
          "VALUES(?, ?, ?, ?, 0, -9223372036854775807, 'UTC', 1)")
      .Bind(key.Source)
      .Bind(Upper_Case(key.Symbol))
      .Bind(std::int64_t{key.Interval})
      .Bind(key.Adjustment)
      .Run();
  return database.Last_Id();
}

void Forget_Series(SqliteDatabase& database, std::int64_t series) {
  database.Use("DELETE FROM bars WHERE series = ?").Bind(series).Run();
  database.Use("DELETE FROM answered WHERE series = ?").Bind(series).Run();
  database.Use("DELETE FROM series WHERE id = ?").Bind(series).Run();
}

// Adds a range of answered days, joined with those it meets.
void Add_Answered(SqliteDatabase& database, std::int64_t series, DayRange days) {
  auto first = Day_Number(days.First);
  auto last = Day_Number(days.Last);
  {
    auto met = database.Use(
        "SELECT min(first), max(last), count(*) FROM answered WHERE series = ? AND first <= ? "
        "AND last >= ?");
    met.Bind(series).Bind(last + 1).Bind(first - 1);
    if (met.Step() && met.Integer(2) > 0) {
      first = std::min(first, met.Integer(0));
      last = std::max(last, met.Integer(1));
    }
  }
  database.Use("DELETE FROM answered WHERE series = ? AND first >= ? AND last <= ?")
      .Bind(series)
      .Bind(first)
      .Bind(last)
      .Run();
  database.Use("INSERT INTO answered(series, first, last) VALUES(?, ?, ?)")
      .Bind(series)
      .Bind(first)
      .Bind(last)
      .Run();
}

// The bar in the columns at, open, high, low, close, volume. Raises SqliteError for what no bar can be.
Bar Bar_In(const SqliteDatabase::Query& row) {
  const ExchangeTime at = Time_Of(row.Integer(0));
  const Bar bar{at.Date, at.Time, row.Real(1), row.Real(2), row.Real(3), row.Real(4), row.Integer(5)};
  for (const double price : {bar.Open, bar.High, bar.Low, bar.Close}) {
    if (!std::isfinite(price)) throw SqliteError::Damage("a price in it is no number");
  }
  if (bar.Volume < 0) throw SqliteError::Damage("a volume in it is negative");
  return bar;
}

}  // namespace

Archive::Archive(fs::path file, Reporter report, milliseconds busy_time)
    : file_(std::move(file)), report_(std::move(report)), busy_time_(busy_time) {
  const std::lock_guard lock{mutex_};
  try {
    Open();
  } catch (const SqliteError& error) {
    Report(Not_Usable_Now(error.what()));
  }
}

Archive::~Archive() = default;

void Archive::Report(std::string line) const {
  // What the database says of damage has several lines.
  std::ranges::replace(line, '\n', ' ');
  if (report_) report_(line);
}

void Archive::Open() {
  database_.reset();
  is_kept_ = false;
  if (file_.empty()) {
    database_ = std::make_unique<SqliteDatabase>(fs::path{});
    Prepare(*database_, false, busy_time_);
    return;
  }
  const auto begin = steady_clock::now();
  for (bool was_set_aside = false;;) {
    try {
      std::error_code unknown;
      if (fs::is_directory(file_, unknown)) return Open_In_Memory("a folder has its name");
      if (fs::is_other(file_, unknown)) return Open_In_Memory("what has its name is no file");
      // Made before the first byte goes in, so that nobody else ever reads one.
      if (!fs::exists(file_, unknown)) std::ofstream{file_, std::ios::app};
      fs::permissions(file_, fs::perms::owner_read | fs::perms::owner_write, unknown);
      auto database = std::make_unique<SqliteDatabase>(file_);
      const auto size = fs::file_size(file_, unknown);
      Prepare(*database, !unknown && size <= checked_at_opening, busy_time_);
      database_ = std::move(database);
      is_kept_ = true;
      return;
    } catch (const SqliteError& error) {
      if (error.Is_Busy()) {
        // Where two begin one file the library does not wait by itself.
        if (steady_clock::now() - begin >= busy_time_) throw;
        std::this_thread::sleep_for(busy_pause);
        continue;
      }
      if (!error.Is_Damage() || was_set_aside) return Open_In_Memory(error.what());
      Set_File_Aside(error.what());
      was_set_aside = true;
    } catch (const ArchiveError& error) {
      return Open_In_Memory(error.what());
    }
  }
}

void Archive::Open_In_Memory(const std::string& reason) {
  Report("The archive " + Utf8_Text(file_) + " can't be used (" + reason +
         "): quotes are kept in memory until the program ends.");
  database_ = std::make_unique<SqliteDatabase>(fs::path{});
  Prepare(*database_, false, busy_time_);
}

std::string Archive::Not_Usable_Now(const std::string& reason) const {
  return "The archive " + Utf8_Text(file_) + " can't be used now: " + reason + ".";
}

void Archive::Set_File_Aside(const std::string& reason) {
  std::error_code failed;
  for (int number = 1; number < 10000; ++number) {
    const fs::path aside = With_Ending(file_, ".damaged-" + std::to_string(number));
    if (fs::exists(aside, failed)) continue;
    fs::rename(file_, aside, failed);
    if (failed) break;
    // They belong to the old file, and would spoil a new one of its name.
    for (const char* ending : {"-wal", "-shm"}) {
      std::error_code ignored;
      fs::rename(With_Ending(file_, ending), With_Ending(aside, ending), ignored);
    }
    return Report("The archive " + Utf8_Text(file_) + " is damaged (" + reason + "). It was set aside as " +
                  Utf8_Text(aside.filename()) + " and begun anew.");
  }
  Report("The archive " + Utf8_Text(file_) + " is damaged (" + reason +
         ") and can't be set aside: " + (failed ? failed.message() : "too many damaged ones are kept") + ".");
}

template <class Work>
auto Archive::Do(const Work& work) {
  const std::lock_guard lock{mutex_};
  try {
    // It was busy for too long when it was to be opened.
    if (database_ == nullptr) Open();
    // Another process may have set the file aside; what went there now would be lost.
    if (is_kept_ && database_->Has_Moved()) {
      database_->Abandon();
      Open();
    }
    try {
      return work(*database_);
    } catch (const SqliteError& error) {
      if (!is_kept_ || !error.Is_Damage()) throw;
      const bool has_moved = database_->Has_Moved();
      database_->Abandon();
      database_.reset();
      if (!has_moved) Set_File_Aside(error.what());
      Open();
      return work(*database_);
    }
  } catch (const SqliteError& error) {
    throw ArchiveError(Not_Usable_Now(error.what()));
  }
}

bool Archive::Is_Kept() const {
  const std::lock_guard lock{mutex_};
  return is_kept_;
}

void Archive::Store(const SeriesKey& key, const FetchedBars& fetched) {
  Do([&](SqliteDatabase& database) {
    SqliteDatabase::Change change{database};
    const auto series = Make_Series(database, key);
    const std::int64_t now = fetched.Fetched.time_since_epoch().count();
    database
        .Use(
            "UPDATE series SET fetched = ?, known_until = max(known_until, ?), zone = ?, us_sessions = ? "
            "WHERE id = ?")
        .Bind(now)
        .Bind(Stamp(fetched.Known_Until.Date, fetched.Known_Until.Time))
        .Bind(std::string{fetched.Market_Zone.Name()})
        .Bind(std::int64_t{fetched.Us_Sessions ? 1 : 0})
        .Bind(series)
        .Run();
    {
      auto put = database.Use(
          "INSERT OR REPLACE INTO bars(series, at, open, high, low, close, volume, "
          "fetched, final) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)");
      for (const NativeBar& native : fetched.Bars) {
        const Bar& bar = native.Quote;
        put.Bind(series).Bind(Stamp(bar.Date, bar.Start)).Bind(bar.Open).Bind(bar.High).Bind(bar.Low);
        put.Bind(bar.Close).Bind(bar.Volume).Bind(now).Bind(std::int64_t{native.Final ? 1 : 0});
        put.Run();
        put.Again();
      }
    }
    if (fetched.Answered && fetched.Answered->First <= fetched.Answered->Last)
      Add_Answered(database, series, *fetched.Answered);
    change.Commit();
  });
}

ArchivedBars Archive::Last_Sessions(const SeriesKey& key, Day last, int sessions) {
  return Do([&](SqliteDatabase& database) {
    ArchivedBars found;
    std::int64_t series = 0;
    {
      auto row = database.Use(
          "SELECT id, fetched, known_until, zone, us_sessions FROM series WHERE source = ? AND symbol = ? "
          "AND interval = ? AND adjustment = ?");
      row.Bind(key.Source).Bind(Upper_Case(key.Symbol)).Bind(std::int64_t{key.Interval}).Bind(key.Adjustment);
      if (!row.Step()) return found;
      series = row.Integer(0);
      found.Last_Fetch = Moment{seconds{row.Integer(1)}};
      found.Known_Until = Time_Of(row.Integer(2));
      found.Market_Zone = Find_Zone(row.String(3)).value_or(Zone{});
      found.Us_Sessions = row.Integer(4) != 0;
    }
    auto rows = database.Use(
        "SELECT at, open, high, low, close, volume FROM bars WHERE series = ? AND at < ? AND final = 1 "
        "ORDER BY at DESC");
    rows.Bind(series).Bind(Stamp(last + days{1}, seconds{0}));
    for (int left = sessions; rows.Step();) {
      const Bar bar = Bar_In(rows);
      if ((found.Bars.empty() || found.Bars.back().Date != bar.Date) && left-- == 0) break;
      found.Bars.push_back(bar);
    }
    std::ranges::reverse(found.Bars);
    return found;
  });
}

std::vector<Bar> Archive::Bars(const SeriesKey& key, DayRange days) {
  return Do([&](SqliteDatabase& database) {
    std::vector<Bar> bars;
    const auto series = Find_Series(database, key);
    if (!series) return bars;
    auto rows = database.Use(
        "SELECT at, open, high, low, close, volume FROM bars WHERE series = ? AND at >= ? "
        "AND at < ? ORDER BY at");
    rows.Bind(*series).Bind(Stamp(days.First, seconds{0}));
    rows.Bind(Stamp(days.Last + std::chrono::days{1}, seconds{0}));
    while (rows.Step()) bars.push_back(Bar_In(rows));
    return bars;
  });
}

std::vector<DayRange> Archive::Missing(const SeriesKey& key, DayRange wanted) {
  return Do([&](SqliteDatabase& database) {
    std::vector<DayRange> missing;
    Day next = wanted.First;
    if (const auto series = Find_Series(database, key)) {
      auto rows = database.Use(
          "SELECT first, last FROM answered WHERE series = ? AND first <= ? AND last >= ? "
          "ORDER BY first");
      rows.Bind(*series).Bind(Day_Number(wanted.Last)).Bind(Day_Number(wanted.First));
      while (rows.Step()) {
        const Day first = Day_Of(rows.Integer(0));
        if (first > next) missing.push_back({next, first - days{1}});
        next = std::max(next, Day_Of(rows.Integer(1)) + days{1});
      }
    }
    if (next <= wanted.Last) missing.push_back({next, wanted.Last});
    return missing;
  });
}

std::optional<Moment> Archive::Last_Fetch(const SeriesKey& key) {
  return Do([&](SqliteDatabase& database) {
    const auto series = Find_Series(database, key);
    if (!series) return std::optional<Moment>{};
    auto row = database.Use("SELECT fetched FROM series WHERE id = ?");
    row.Bind(*series);
    return row.Step() ? std::optional{Moment{seconds{row.Integer(0)}}} : std::nullopt;
  });
}

void Archive::Set_Aside(const SeriesKey& key, const std::string& new_adjustment) {
  Do([&](SqliteDatabase& database) {
    SqliteDatabase::Change change{database};
    if (const auto series = Find_Series(database, key)) {
      SeriesKey aside = key;
      aside.Adjustment = new_adjustment;
      if (const auto taken = Find_Series(database, aside)) Forget_Series(database, *taken);
      database.Use("UPDATE series SET adjustment = ? WHERE id = ?").Bind(new_adjustment).Bind(*series).Run();
      database.Use("DELETE FROM answered WHERE series = ?").Bind(*series).Run();
    }
    change.Commit();
  });
}

void Archive::Remember_Refusal(const SeriesKey& key, const std::string& reason, Moment until) {
  Do([&](SqliteDatabase& database) {
    SqliteDatabase::Change change{database};
    database
        .Use("INSERT OR REPLACE INTO refusals(source, symbol, interval, reason, until) VALUES(?, ?, ?, ?, ?)")
        .Bind(key.Source)
        .Bind(Upper_Case(key.Symbol))
        .Bind(std::int64_t{key.Interval})
        .Bind(reason)
        .Bind(until.time_since_epoch().count())
        .Run();
    change.Commit();
  });
}

std::optional<std::string> Archive::Refusal(const SeriesKey& key, Moment now) {
  return Do([&](SqliteDatabase& database) {
    auto row = database.Use(
        "SELECT reason FROM refusals WHERE source = ? AND symbol = ? AND interval = ? AND "
        "until > ?");
    row.Bind(key.Source)
        .Bind(Upper_Case(key.Symbol))
        .Bind(std::int64_t{key.Interval})
        .Bind(now.time_since_epoch().count());
    return row.Step() ? std::optional{row.String(0)} : std::nullopt;
  });
}

std::vector<std::string> Archive::Find_Symbols(std::string_view text, std::size_t limit) {
  return Do([&](SqliteDatabase& database) {
    std::vector<std::string> symbols;
    auto rows = database.Use(
        "SELECT DISTINCT symbol FROM series WHERE instr(symbol, ?) > 0 AND EXISTS(SELECT 1 "
        "FROM bars WHERE series = series.id) ORDER BY symbol LIMIT ?");
    rows.Bind(Upper_Case(text)).Bind(static_cast<std::int64_t>(std::min<std::size_t>(limit, 1'000'000)));
    while (rows.Step()) symbols.push_back(rows.String(0));
    return symbols;
  });
}

std::vector<SeriesInfo> Archive::List() {
  return Do([](SqliteDatabase& database) {
    std::vector<SeriesInfo> list;
    auto rows = database.Use(
        "SELECT source, symbol, interval, adjustment, s.fetched, count(at), min(at), max(at), "
        "coalesce(sum(final = 0), 0) FROM series s LEFT JOIN bars ON series = id GROUP BY id "
        "ORDER BY source, symbol, interval, adjustment");
    while (rows.Step()) {
      SeriesInfo info;
      info.Key = {rows.String(0), rows.String(1), static_cast<int>(rows.Integer(2)), rows.String(3)};
      info.Last_Fetch = Moment{seconds{rows.Integer(4)}};
      info.Bars = static_cast<std::uint64_t>(rows.Integer(5));
      if (info.Bars > 0) info.Days = {Time_Of(rows.Integer(6)).Date, Time_Of(rows.Integer(7)).Date};
      info.Not_Final = static_cast<std::uint64_t>(rows.Integer(8));
      list.push_back(std::move(info));
    }
    return list;
  });
}

std::uintmax_t Archive::File_Size() const {
  if (!Is_Kept()) return 0;
  std::uintmax_t sum = 0;
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::error_code missing;
    const auto size = fs::file_size(With_Ending(file_, ending), missing);
    if (!missing) sum += size;
  }
  return sum;
}

std::size_t Archive::Export_Csv(const SeriesKey& key, DayRange days, std::ostream& to) {
  const std::vector<Bar> bars = Bars(key, days);
  const bool is_daily = key.Interval == daily_interval;
  to << (is_daily ? "Date,Open,High,Low,Close,Volume\n" : "Date,Time,Open,High,Low,Close,Volume\n");
  std::string line;
  for (const Bar& bar : bars) {
    line.clear();
    Append_Date(line, bar.Date);
    if (!is_daily) {
      const auto minute = static_cast<unsigned>(bar.Start.count() / 60);
      line += ',';
      Append_Two_Digits(line, minute / 60);
      line += ':';
      Append_Two_Digits(line, minute % 60);
    }
    for (const double price : {bar.Open, bar.High, bar.Low, bar.Close}) {
      line += ',';
      Append_Number(line, price);
    }
    line.append(",").append(std::to_string(bar.Volume)).append("\n");
    to << line;
  }
  return bars.size();
}

std::uint64_t Archive::Shrink(Day before) {
  return Do([before](SqliteDatabase& database) {
    std::uint64_t deleted = 0;
    {
      SqliteDatabase::Change change{database};
      database.Use("DELETE FROM bars WHERE at < ?").Bind(Stamp(before, seconds{0})).Run();
      deleted = static_cast<std::uint64_t>(database.Changed_Rows());
      const auto day = Day_Number(before);
      database.Use("DELETE FROM answered WHERE last < ?").Bind(day).Run();
      database.Use("UPDATE answered SET first = ? WHERE first < ?").Bind(day).Bind(day).Run();
      database.Run(
          "DELETE FROM series WHERE NOT EXISTS(SELECT 1 FROM bars WHERE series = series.id) AND NOT "
          "EXISTS(SELECT 1 FROM answered WHERE series = series.id)");
      change.Commit();
    }
    database.Run("VACUUM");
    database.Run("PRAGMA wal_checkpoint(TRUNCATE)");
    return deleted;
  });
}

std::vector<std::string> Archive::Check() {
  // Not by way of Do, because a damaged file is to be told of here and not set aside.
  const std::lock_guard lock{mutex_};
  std::vector<std::string> findings;
  try {
    if (database_ == nullptr) Open();
    {
      auto rows = database_->Use("PRAGMA integrity_check");
      while (rows.Step()) {
        if (std::string line = rows.String(0); line != "ok") findings.push_back(std::move(line));
      }
    }
    const auto count = [&](const char* sql, const char* what) {
      if (const auto number = database_->Number(sql); number > 0)
        findings.push_back(std::to_string(number) + " " + what);
    };
    count("SELECT count(*) FROM bars WHERE series NOT IN (SELECT id FROM series)", "bars without a series");
    count(
        "SELECT count(*) FROM bars WHERE high < low OR open NOT BETWEEN low AND high OR close NOT BETWEEN "
        "low "
        "AND high",
        "bars whose prices lie outside of their range");
    count(
        "SELECT count(*) FROM bars WHERE typeof(open) <> 'real' OR typeof(high) <> 'real' OR typeof(low) <> "
        "'real' OR typeof(close) <> 'real' OR typeof(volume) <> 'integer' OR typeof(at) <> 'integer'",
        "bars that hold something else than numbers");
    count("SELECT count(*) FROM bars WHERE volume < 0", "bars with a negative volume");
    count("SELECT count(*) FROM answered WHERE first > last OR series NOT IN (SELECT id FROM series)",
          "ranges of answered days that make no sense");
    count(
        "SELECT count(*) FROM answered a JOIN answered b ON a.series = b.series AND a.first < b.first AND "
        "a.last >= b.first",
        "ranges of answered days that overlap");
  } catch (const SqliteError& error) {
    findings.emplace_back(error.what());
  }
  return findings;
}

void Archive::Change_Pacing(const std::string& service,
                            const std::function<void(PacingState& state)>& change) {
  Do([&](SqliteDatabase& database) {
    SqliteDatabase::Change transaction{database};
    PacingState state;
    {
      auto row = database.Use("SELECT closed_until, reason, closings FROM pacing WHERE service = ?");
      row.Bind(service);
      if (row.Step()) {
        state.Closed_Until = PacingTime{milliseconds{row.Integer(0)}};
        state.Closed_Reason = row.String(1);
        state.Closings = static_cast<int>(row.Integer(2));
      }
    }
    {
      auto rows = database.Use("SELECT at, tokens FROM taken WHERE service = ? ORDER BY at, rowid");
      rows.Bind(service);
      while (rows.Step())
        state.Taken.emplace_back(PacingTime{milliseconds{rows.Integer(0)}},
                                 static_cast<int>(rows.Integer(1)));
    }
    const PacingState before = state;
    change(state);
    if (state.Closed_Until != before.Closed_Until || state.Closed_Reason != before.Closed_Reason ||
        state.Closings != before.Closings) {
      database
          .Use("INSERT OR REPLACE INTO pacing(service, closed_until, reason, closings) VALUES(?, ?, ?, ?)")
          .Bind(service)
          .Bind(std::int64_t{state.Closed_Until.time_since_epoch().count()})
          .Bind(state.Closed_Reason)
          .Bind(std::int64_t{state.Closings})
          .Run();
    }
    if (state.Taken != before.Taken) {
      // Tokens leave at the front and come at the back, so that what stays need not be written.
      std::size_t gone = 0;
      while (gone < before.Taken.size() && (state.Taken.empty() || before.Taken[gone] != state.Taken.front()))
        ++gone;
      const std::size_t kept = before.Taken.size() - gone;
      const bool is_usual =
          kept <= state.Taken.size() && std::equal(before.Taken.begin() + static_cast<std::ptrdiff_t>(gone),
                                                   before.Taken.end(), state.Taken.begin());
      if (!is_usual || gone > 0) {
        database
            .Use(
                "DELETE FROM taken WHERE service = ? AND rowid IN (SELECT rowid FROM taken WHERE service "
                "= ? ORDER BY at, rowid LIMIT ?)")
            .Bind(service)
            .Bind(service)
            .Bind(static_cast<std::int64_t>(is_usual ? gone : before.Taken.size()))
            .Run();
      }
      for (std::size_t i = is_usual ? kept : 0; i < state.Taken.size(); ++i) {
        database.Use("INSERT INTO taken(service, at, tokens) VALUES(?, ?, ?)")
            .Bind(service)
            .Bind(std::int64_t{state.Taken[i].first.time_since_epoch().count()})
            .Bind(std::int64_t{state.Taken[i].second})
            .Run();
      }
    }
    transaction.Commit();
  });
}

}  // namespace hq::server
