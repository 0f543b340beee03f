#include "market/zone_time.h"

#include <algorithm>

#include "market/zone_table.h"

namespace hq::server {
namespace {

using namespace std::chrono;

// The moment of a yearly change, when `offset` is in force before it.
sys_seconds Moment_Of(const YearlyChange& change, year of, std::int16_t offset) {
  const month in{static_cast<unsigned>(change.Month)};
  const weekday on{static_cast<unsigned>(change.Weekday)};
  const Day date =
      change.Week == 5 ? Day{of / in / on[last]} : Day{of / in / on[static_cast<unsigned>(change.Week)]};
  return date + minutes{change.Minute} - minutes{offset};
}

std::int16_t Offset_By_Rule(const ZoneRule& rule, sys_seconds moment) {
  if (rule.Standard_Offset == rule.Summer_Offset) return rule.Standard_Offset;
  const year of = year_month_day{floor<days>(moment + minutes{rule.Standard_Offset})}.year();
  const auto begin = Moment_Of(rule.Summer_Begin, of, rule.Standard_Offset);
  const auto end = Moment_Of(rule.Summer_End, of, rule.Summer_Offset);
  // South of the equator summer time spans the new year.
  const bool is_summer = begin < end ? moment >= begin && moment < end : moment >= begin || moment < end;
  return is_summer ? rule.Summer_Offset : rule.Standard_Offset;
}

minutes Offset_At(const ZoneRecord& record, sys_seconds moment) {
  const auto changes = record.Changes;
  const auto minute = floor<minutes>(moment.time_since_epoch()).count();
  const auto next = std::ranges::upper_bound(changes, minute, {}, &ZoneChange::Minute);
  if (next == changes.end()) return minutes{Offset_By_Rule(record.Rule, moment)};
  return minutes{next == changes.begin() ? record.First_Offset : std::prev(next)->Offset};
}

const ZoneName* Find_Name(std::string_view name) {
  const auto names = Zone_Table();
  const auto found = std::ranges::lower_bound(names, name, {}, &ZoneName::Name);
  return found != names.end() && found->Name == name ? &*found : nullptr;
}

}  // namespace

Zone::Zone() : Zone(*Find_Name("UTC")->Record, "UTC") {}

Zone::Zone(const ZoneRecord& record, std::string_view name) : record_(&record), name_(name) {}

ExchangeTime Zone::Local(sys_seconds moment) const {
  const sys_seconds local = moment + Offset_At(*record_, moment);
  const auto date = floor<days>(local);
  return {date, local - date};
}

sys_seconds Zone::Moment(const ExchangeTime& time) const {
  const sys_seconds local = time.Date + time.Time;
  const auto before = Offset_At(*record_, local - days{1});
  const auto after = Offset_At(*record_, local + days{1});
  if (Offset_At(*record_, local - before) == before) return local - before;
  if (Offset_At(*record_, local - after) == after) return local - after;
  return local - before;
}

std::optional<Zone> Find_Zone(std::string_view name) {
  const ZoneName* const found = Find_Name(name);
  if (found == nullptr) return std::nullopt;
  return Zone{*found->Record, found->Name};
}

}  // namespace hq::server
