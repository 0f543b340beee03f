#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace hq::server {

// A change of a zone's offset.
struct ZoneChange {
  // Minutes since 1970 in universal time; negative before.
  std::int32_t Minute = 0;
  // What is added to universal time from then on, in minutes.
  std::int16_t Offset = 0;
};

// A day of the year and a time on it, at which an offset changes.
struct YearlyChange {
  // 1 to 12.
  std::int8_t Month = 0;
  // 1 to 4, or 5 for the last one.
  std::int8_t Week = 0;
  // 0 for Sunday to 6.
  std::int8_t Weekday = 0;
  // From midnight, by the clock before the change; it may be negative or more than a day.
  std::int16_t Minute = 0;
};

// How a zone goes on after its last change.
struct ZoneRule {
  // In minutes; equal when there is no summer time.
  std::int16_t Standard_Offset = 0;
  std::int16_t Summer_Offset = 0;
  YearlyChange Summer_Begin;
  YearlyChange Summer_End;
};

// A zone since 1962.
struct ZoneRecord {
  // The offset at the beginning of 1962, in minutes.
  std::int16_t First_Offset = 0;
  // Oldest first.
  std::span<const ZoneChange> Changes;
  ZoneRule Rule;
};

// A name of a zone.
struct ZoneName {
  std::string_view Name;
  const ZoneRecord* Record;
};

// All names that the table has, sorted.
[[nodiscard]] std::span<const ZoneName> Zone_Table();

}  // namespace hq::server
