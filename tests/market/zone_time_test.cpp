#include "market/zone_time.h"

#include <algorithm>
#include <gmock/gmock.h>

#include "market/market_support.h"
#include "market/zone_table.h"

namespace hq::server {
namespace {

using namespace std::chrono;

Zone Named(std::string_view name) {
  const auto zone = Find_Zone(name);
  if (!zone) ADD_FAILURE() << "no zone " << name;
  return zone.value_or(Zone{});
}

ExchangeTime Local(std::string_view zone, Day date, seconds universal) {
  return Named(zone).Local(date + universal);
}

TEST(ZoneTime, NamesAreThoseOfTheTimeZoneDatabaseInTheirOwnSpelling) {
  EXPECT_EQ(Named("America/New_York").Name(), "America/New_York");
  EXPECT_EQ(Named("US/Eastern").Name(), "US/Eastern");
  EXPECT_EQ(Zone{}.Name(), "UTC");
  for (const auto* name : {"", "america/new_york", "America/New_York ", "EST", "GMT+1", "Mars/Olympus"}) {
    EXPECT_FALSE(Find_Zone(name)) << name;
  }
}

TEST(ZoneTime, AllNamesAreSortedAndCanBeFound) {
  const auto names = Zone_Table();
  EXPECT_TRUE(std::ranges::is_sorted(names, {}, &ZoneName::Name));
  EXPECT_EQ(std::ranges::count(names, "Asia/Tokyo", &ZoneName::Name), 1);
  for (const ZoneName& zone : names) EXPECT_TRUE(Find_Zone(zone.Name)) << zone.Name;
}

TEST(ZoneTime, AmericaKeptSummerTimeThroughTheWinterOf1974) {
  EXPECT_EQ(Local("America/New_York", Date(1974, 1, 10), At(14, 0)),
            (ExchangeTime{Date(1974, 1, 10), At(10, 0)}));
  EXPECT_EQ(Local("America/New_York", Date(1975, 2, 24), At(14, 0)),
            (ExchangeTime{Date(1975, 2, 24), At(10, 0)}));
  EXPECT_EQ(Local("America/New_York", Date(1973, 1, 10), At(14, 0)),
            (ExchangeTime{Date(1973, 1, 10), At(9, 0)}));
}

TEST(ZoneTime, TheYearsFrom1962AreTrue) {
  EXPECT_EQ(Local("America/New_York", Date(1962, 1, 2), At(15, 0)),
            (ExchangeTime{Date(1962, 1, 2), At(10, 0)}));
  EXPECT_EQ(Local("America/New_York", Date(1962, 7, 2), At(14, 0)),
            (ExchangeTime{Date(1962, 7, 2), At(10, 0)}));
}

// A change of the database's version 2026f; it was a day later before.
TEST(ZoneTime, BogotaBeganItsSummerOf1992OnTheSecondOfMay) {
  EXPECT_EQ(Local("America/Bogota", Date(1992, 5, 2), At(4, 59)),
            (ExchangeTime{Date(1992, 5, 1), At(23, 59)}));
  EXPECT_EQ(Local("America/Bogota", Date(1992, 5, 2), At(5, 0)), (ExchangeTime{Date(1992, 5, 2), At(1, 0)}));
}

TEST(ZoneTime, AChangeHappensInItsSecond) {
  EXPECT_EQ(Local("America/New_York", Date(2026, 3, 8), At(6, 59, 59)),
            (ExchangeTime{Date(2026, 3, 8), At(1, 59, 59)}));
  EXPECT_EQ(Local("America/New_York", Date(2026, 3, 8), At(7, 0)),
            (ExchangeTime{Date(2026, 3, 8), At(3, 0)}));
  EXPECT_EQ(Local("America/New_York", Date(2026, 11, 1), At(5, 59, 59)),
            (ExchangeTime{Date(2026, 11, 1), At(1, 59, 59)}));
  EXPECT_EQ(Local("America/New_York", Date(2026, 11, 1), At(6, 0)),
            (ExchangeTime{Date(2026, 11, 1), At(1, 0)}));
}

TEST(ZoneTime, EuropeChangesItsClocksAtOneMoment) {
  for (const auto* name : {"Europe/Berlin", "Europe/Warsaw", "Europe/Paris", "Europe/Zurich"}) {
    EXPECT_EQ(Local(name, Date(2026, 3, 29), At(0, 59)), (ExchangeTime{Date(2026, 3, 29), At(1, 59)}))
        << name;
    EXPECT_EQ(Local(name, Date(2026, 3, 29), At(1, 0)), (ExchangeTime{Date(2026, 3, 29), At(3, 0)})) << name;
    EXPECT_EQ(Local(name, Date(2026, 10, 25), At(1, 0)), (ExchangeTime{Date(2026, 10, 25), At(2, 0)}))
        << name;
  }
  EXPECT_EQ(Local("Europe/London", Date(2026, 3, 29), At(1, 0)), (ExchangeTime{Date(2026, 3, 29), At(2, 0)}));
  EXPECT_EQ(Local("Europe/Dublin", Date(2026, 7, 1), At(8, 0)), (ExchangeTime{Date(2026, 7, 1), At(9, 0)}));
  EXPECT_EQ(Local("Europe/Dublin", Date(2026, 12, 1), At(8, 0)), (ExchangeTime{Date(2026, 12, 1), At(8, 0)}));
}

TEST(ZoneTime, SummerSouthOfTheEquatorSpansTheNewYear) {
  EXPECT_EQ(Local("Australia/Sydney", Date(2026, 1, 1), At(0, 0)),
            (ExchangeTime{Date(2026, 1, 1), At(11, 0)}));
  EXPECT_EQ(Local("Australia/Sydney", Date(2026, 4, 4), At(15, 59)),
            (ExchangeTime{Date(2026, 4, 5), At(2, 59)}));
  EXPECT_EQ(Local("Australia/Sydney", Date(2026, 4, 4), At(16, 0)),
            (ExchangeTime{Date(2026, 4, 5), At(2, 0)}));
  EXPECT_EQ(Local("Australia/Sydney", Date(2026, 10, 3), At(16, 0)),
            (ExchangeTime{Date(2026, 10, 4), At(3, 0)}));
}

TEST(ZoneTime, ZonesWithoutSummerTimeAndWithHalfHoursAreTrue) {
  EXPECT_EQ(Local("Asia/Tokyo", Date(2026, 7, 1), At(0, 0)), (ExchangeTime{Date(2026, 7, 1), At(9, 0)}));
  EXPECT_EQ(Local("Asia/Kolkata", Date(2026, 7, 1), At(3, 45)), (ExchangeTime{Date(2026, 7, 1), At(9, 15)}));
  EXPECT_EQ(Local("Asia/Hong_Kong", Date(2026, 7, 1), At(20, 0)), (ExchangeTime{Date(2026, 7, 2), At(4, 0)}));
  EXPECT_EQ(Local("UTC", Date(2026, 7, 1), At(20, 0)), (ExchangeTime{Date(2026, 7, 1), At(20, 0)}));
}

TEST(ZoneTime, ZonesThatGaveUpSummerTimeKeepItInThePast) {
  EXPECT_EQ(Local("America/Sao_Paulo", Date(2018, 12, 3), At(12, 0)),
            (ExchangeTime{Date(2018, 12, 3), At(10, 0)}));
  EXPECT_EQ(Local("America/Sao_Paulo", Date(2025, 12, 3), At(12, 0)),
            (ExchangeTime{Date(2025, 12, 3), At(9, 0)}));
  EXPECT_EQ(Local("Europe/Istanbul", Date(2015, 1, 5), At(12, 0)),
            (ExchangeTime{Date(2015, 1, 5), At(14, 0)}));
  EXPECT_EQ(Local("Europe/Istanbul", Date(2020, 1, 5), At(12, 0)),
            (ExchangeTime{Date(2020, 1, 5), At(15, 0)}));
}

TEST(ZoneTime, LocalTimesBecomeTheMomentsThatShowThem) {
  for (const ZoneName& named : Zone_Table()) {
    const std::string_view name = named.Name;
    const Zone zone = Named(name);
    for (auto moment = sys_seconds{Date(2000, 1, 1)} + hours{12}; moment < Date(2040, 1, 1);
         moment += days{7}) {
      const ExchangeTime local = zone.Local(moment);
      const auto back = zone.Moment(local);
      ASSERT_EQ(zone.Local(back), local) << name << ' ' << moment.time_since_epoch().count();
      ASSERT_TRUE(back == moment || back == moment - hours{1}) << name;
    }
  }
}

TEST(ZoneTime, ATimeThatOccursTwiceIsTheEarlierOne) {
  const Zone zone = Named("America/New_York");
  EXPECT_EQ(zone.Moment({Date(2026, 11, 1), At(1, 30)}), Date(2026, 11, 1) + At(5, 30));
  EXPECT_EQ(zone.Moment({Date(2026, 11, 1), At(2, 0)}), Date(2026, 11, 1) + At(7, 0));
}

TEST(ZoneTime, ATimeThatIsLeftOutStandsAsLongAfterTheChange) {
  const Zone zone = Named("America/New_York");
  EXPECT_EQ(zone.Moment({Date(2026, 3, 8), At(2, 30)}), Date(2026, 3, 8) + At(7, 30));
}

}  // namespace
}  // namespace hq::server
