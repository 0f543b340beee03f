#pragma once

#include <chrono>
#include <optional>
#include <string_view>

#include "market/exchange_time.h"

namespace hq::server {

struct ZoneRecord;

// The zone of an exchange: how its wall clock stands to universal time. A small value that is free to copy;
// what it tells comes from a table inside the program, so it is the same on every system.
class Zone {
 public:
  // Universal time.
  Zone();

  // The name of the zone, "Continent/City" or "UTC"; of two names for one zone the one that it was asked by.
  [[nodiscard]] std::string_view Name() const { return name_; }

  // What the wall clock of the zone shows at a moment of the years 1962 to 2099. Earlier moments have the
  // offset that was in force when 1962 began.
  [[nodiscard]] ExchangeTime Local(std::chrono::sys_seconds moment) const;

  // The moment at which the wall clock shows `time`: the earlier one of two, when the clock is set back. A
  // time that is left out, when the clock is set on, stands for as long after the change.
  [[nodiscard]] std::chrono::sys_seconds Moment(const ExchangeTime& time) const;

 private:
  friend std::optional<Zone> Find_Zone(std::string_view name);
  Zone(const ZoneRecord& record, std::string_view name);

  const ZoneRecord* record_;
  std::string_view name_;
};

// The zone of a name of the time-zone database, such as "America/New_York", in exactly this spelling; none
// for a name that the table doesn't have, which holds the zones of the stock exchanges of the world and UTC.
[[nodiscard]] std::optional<Zone> Find_Zone(std::string_view name);

}  // namespace hq::server
