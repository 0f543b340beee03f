#include "server/archive/service_limits.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/strings.h"
#include "server/archive/archive_file.h"

namespace hq::server {

using namespace std::chrono;

void ServiceLimits::Remember_Refusal(const SeriesKey& key, const std::string& reason, Moment until) {
  file_.With_Database([&](SqliteDatabase& database) {
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

std::optional<std::string> ServiceLimits::Refusal(const SeriesKey& key, Moment now) {
  return file_.With_Database([&](SqliteDatabase& database) {
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

void ServiceLimits::Change_Pacing(const std::string& service,
                                  const std::function<void(PacingState& state)>& change) {
  file_.With_Database([&](SqliteDatabase& database) {
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
