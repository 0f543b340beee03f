#include "server/archive/archive.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <system_error>
#include <utility>

#include "base/strings.h"
#include "server/archive/sqlite_database.h"

namespace hq::server {
namespace {

using namespace std::chrono;

constexpr std::int64_t seconds_a_day = 86400;

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

Archive::Archive(std::filesystem::path file, Reporter report, milliseconds busy_time)
    : file_(std::move(file), std::move(report), busy_time), limits_(file_) {}

void Archive::Store(const SeriesKey& key, const FetchedBars& fetched) {
  file_.With_Database([&](SqliteDatabase& database) {
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
  return file_.With_Database([&](SqliteDatabase& database) {
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
  return file_.With_Database([&](SqliteDatabase& database) {
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
  return file_.With_Database([&](SqliteDatabase& database) {
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
  return file_.With_Database([&](SqliteDatabase& database) {
    const auto series = Find_Series(database, key);
    if (!series) return std::optional<Moment>{};
    auto row = database.Use("SELECT fetched FROM series WHERE id = ?");
    row.Bind(*series);
    return row.Step() ? std::optional{Moment{seconds{row.Integer(0)}}} : std::nullopt;
  });
}

void Archive::Set_Aside(const SeriesKey& key, const std::string& new_adjustment) {
  file_.With_Database([&](SqliteDatabase& database) {
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

std::vector<std::string> Archive::Find_Symbols(std::string_view text, std::size_t limit) {
  return file_.With_Database([&](SqliteDatabase& database) {
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
  return file_.With_Database([](SqliteDatabase& database) {
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
  return file_.With_Database([before](SqliteDatabase& database) {
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
  std::vector<std::string> findings;
  try {
    file_.With_Damaged_Database([&findings](SqliteDatabase& database) {
      {
        auto rows = database.Use("PRAGMA integrity_check");
        while (rows.Step()) {
          if (std::string line = rows.String(0); line != "ok") findings.push_back(std::move(line));
        }
      }
      const auto count = [&](const char* sql, const char* what) {
        if (const auto number = database.Number(sql); number > 0)
          findings.push_back(std::to_string(number) + " " + what);
      };
      count("SELECT count(*) FROM bars WHERE series NOT IN (SELECT id FROM series)", "bars without a series");
      count(
          "SELECT count(*) FROM bars WHERE high < low OR open NOT BETWEEN low AND high OR close NOT BETWEEN "
          "low "
          "AND high",
          "bars whose prices lie outside of their range");
      count(
          "SELECT count(*) FROM bars WHERE typeof(open) <> 'real' OR typeof(high) <> 'real' OR typeof(low) "
          "<> "
          "'real' OR typeof(close) <> 'real' OR typeof(volume) <> 'integer' OR typeof(at) <> 'integer'",
          "bars that hold something else than numbers");
      count("SELECT count(*) FROM bars WHERE volume < 0", "bars with a negative volume");
      count("SELECT count(*) FROM answered WHERE first > last OR series NOT IN (SELECT id FROM series)",
            "ranges of answered days that make no sense");
      count(
          "SELECT count(*) FROM answered a JOIN answered b ON a.series = b.series AND a.first < b.first AND "
          "a.last >= b.first",
          "ranges of answered days that overlap");
    });
  } catch (const SqliteError& error) {
    findings.emplace_back(error.what());
  }
  return findings;
}

}  // namespace hq::server
