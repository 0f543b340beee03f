#include "market/trading_calendar.h"

#include <gmock/gmock.h>

#include "market/market_support.h"

namespace hq::server {
namespace {

using std::chrono::days;
using testing::ElementsAre;

std::vector<Day> Weekdays_Without_Session(int year) {
  std::vector<Day> closed;
  for (Day date = Date(year, 1, 1); date < Date(year + 1, 1, 1); date += days{1}) {
    const std::chrono::weekday day{date};
    if (day != std::chrono::Saturday && day != std::chrono::Sunday && !Is_Session(date))
      closed.push_back(date);
  }
  return closed;
}

std::vector<Day> Short_Sessions(int year) {
  std::vector<Day> found;
  for (Day date = Date(year, 1, 1); date < Date(year + 1, 1, 1); date += days{1}) {
    if (Is_Early_Close(date)) found.push_back(date);
  }
  return found;
}

TEST(Is_Session, IsClosedOnTheHolidaysOf2003) {
  EXPECT_THAT(Weekdays_Without_Session(2003),
              ElementsAre(Date(2003, 1, 1), Date(2003, 1, 20), Date(2003, 2, 17), Date(2003, 4, 18),
                          Date(2003, 5, 26), Date(2003, 7, 4), Date(2003, 9, 1), Date(2003, 11, 27),
                          Date(2003, 12, 25)));
}

TEST(Is_Session, IsClosedOnTheHolidaysOf2022) {
  // New Year's Day was a Saturday; Juneteenth and Christmas were Sundays.
  EXPECT_THAT(Weekdays_Without_Session(2022),
              ElementsAre(Date(2022, 1, 17), Date(2022, 2, 21), Date(2022, 4, 15), Date(2022, 5, 30),
                          Date(2022, 6, 20), Date(2022, 7, 4), Date(2022, 9, 5), Date(2022, 11, 24),
                          Date(2022, 12, 26)));
}

TEST(Is_Session, IsClosedOnTheHolidaysOf2026) {
  // Independence Day is a Saturday.
  EXPECT_THAT(Weekdays_Without_Session(2026),
              ElementsAre(Date(2026, 1, 1), Date(2026, 1, 19), Date(2026, 2, 16), Date(2026, 4, 3),
                          Date(2026, 5, 25), Date(2026, 6, 19), Date(2026, 7, 3), Date(2026, 9, 7),
                          Date(2026, 11, 26), Date(2026, 12, 25)));
}

TEST(Is_Session, KnowsHolidaysOnlySinceTheyAreKept) {
  EXPECT_TRUE(Is_Session(Date(1997, 1, 20)));
  EXPECT_FALSE(Is_Session(Date(1998, 1, 19)));
  EXPECT_TRUE(Is_Session(Date(2020, 6, 19)));
  EXPECT_FALSE(Is_Session(Date(2023, 6, 19)));
  EXPECT_FALSE(Is_Session(Date(1968, 2, 22)));
  EXPECT_TRUE(Is_Session(Date(1968, 2, 19)));
}

TEST(Is_Session, KeepsTheFridayBeforeASaturdayNewYear) {
  EXPECT_TRUE(Is_Session(Date(2010, 12, 31)));
  EXPECT_TRUE(Is_Session(Date(2021, 12, 31)));
  EXPECT_FALSE(Is_Session(Date(2017, 1, 2)));
  EXPECT_FALSE(Is_Session(Date(2023, 1, 2)));
}

TEST(Is_Session, IsNeverOnAWeekend) {
  EXPECT_FALSE(Is_Session(Date(2026, 11, 21)));
  EXPECT_FALSE(Is_Session(Date(2026, 11, 22)));
  EXPECT_TRUE(Is_Session(Date(2026, 11, 23)));
}

TEST(Is_Early_Close, IsOnTheThreeEvesThatAreSessions) {
  EXPECT_THAT(Short_Sessions(2024), ElementsAre(Date(2024, 7, 3), Date(2024, 11, 29), Date(2024, 12, 24)));
  // 3 July 2021 was a Saturday, and 24 December was kept for Christmas.
  EXPECT_THAT(Short_Sessions(2021), ElementsAre(Date(2021, 11, 26)));
  EXPECT_THAT(Short_Sessions(2026), ElementsAre(Date(2026, 11, 27), Date(2026, 12, 24)));
}

TEST(Session_Minutes, AreThoseFromOpenToClose) {
  EXPECT_EQ(Session_Minutes(Date(2024, 7, 2)), 390);
  EXPECT_EQ(Session_Minutes(Date(2024, 7, 3)), 210);
  EXPECT_EQ(Session_Minutes(Date(2024, 7, 4)), 0);
  EXPECT_EQ(Session_Close(Date(2024, 7, 2)), At(16, 0));
  EXPECT_EQ(Session_Close(Date(2024, 7, 3)), At(13, 0));
}

TEST(Session_Before, SkipsWeekendsAndHolidays) {
  EXPECT_EQ(Session_Before(Date(2024, 7, 5)), Date(2024, 7, 3));
  EXPECT_EQ(Session_Before(Date(2024, 4, 1)), Date(2024, 3, 28));
  EXPECT_EQ(Session_Before(Date(2023, 1, 3)), Date(2022, 12, 30));
  EXPECT_EQ(Session_Before(Date(2024, 5, 8)), Date(2024, 5, 7));
}

TEST(Easter_Sunday, IsRightInCommonAndExtremeYears) {
  EXPECT_EQ(Easter_Sunday(std::chrono::year{1954}), Date(1954, 4, 18));
  EXPECT_EQ(Easter_Sunday(std::chrono::year{1981}), Date(1981, 4, 19));
  EXPECT_EQ(Easter_Sunday(std::chrono::year{2000}), Date(2000, 4, 23));
  EXPECT_EQ(Easter_Sunday(std::chrono::year{2008}), Date(2008, 3, 23));
  EXPECT_EQ(Easter_Sunday(std::chrono::year{2024}), Date(2024, 3, 31));
  EXPECT_EQ(Easter_Sunday(std::chrono::year{2038}), Date(2038, 4, 25));
  EXPECT_EQ(Easter_Sunday(std::chrono::year{2049}), Date(2049, 4, 18));
}

TEST(Is_Session, MakesAbout252SessionsAYear) {
  for (int year = 1972; year < 2050; ++year) {
    int sessions = 0;
    for (Day date = Date(year, 1, 1); date < Date(year + 1, 1, 1); date += days{1})
      sessions += Is_Session(date) ? 1 : 0;
    EXPECT_GE(sessions, 250) << year;
    EXPECT_LE(sessions, 254) << year;
  }
}

}  // namespace
}  // namespace hq::server
