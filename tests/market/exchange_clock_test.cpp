#include "market/exchange_clock.h"

#include "market/market_support.h"

namespace hq::server {
namespace {

ExchangeTime From_Universal(int year, unsigned month, unsigned day, int hour, int minute, int second = 0) {
  return New_York_Time(Date(year, month, day) + At(hour, minute, second));
}

TEST(New_York_Time, FollowsTheRuleSince2007) {
  EXPECT_EQ(From_Universal(2026, 1, 15, 14, 30), (ExchangeTime{Date(2026, 1, 15), At(9, 30)}));
  EXPECT_EQ(From_Universal(2026, 7, 15, 13, 30), (ExchangeTime{Date(2026, 7, 15), At(9, 30)}));
  // 8 March and 1 November 2026.
  EXPECT_EQ(From_Universal(2026, 3, 8, 6, 59, 59), (ExchangeTime{Date(2026, 3, 8), At(1, 59, 59)}));
  EXPECT_EQ(From_Universal(2026, 3, 8, 7, 0), (ExchangeTime{Date(2026, 3, 8), At(3, 0)}));
  EXPECT_EQ(From_Universal(2026, 11, 1, 5, 59, 59), (ExchangeTime{Date(2026, 11, 1), At(1, 59, 59)}));
  EXPECT_EQ(From_Universal(2026, 11, 1, 6, 0), (ExchangeTime{Date(2026, 11, 1), At(1, 0)}));
}

TEST(New_York_Time, FollowsTheRuleOf1987To2006) {
  // 2 April and 29 October 2006.
  EXPECT_EQ(From_Universal(2006, 3, 20, 14, 30), (ExchangeTime{Date(2006, 3, 20), At(9, 30)}));
  EXPECT_EQ(From_Universal(2006, 4, 2, 7, 0), (ExchangeTime{Date(2006, 4, 2), At(3, 0)}));
  EXPECT_EQ(From_Universal(2006, 10, 29, 5, 59), (ExchangeTime{Date(2006, 10, 29), At(1, 59)}));
  EXPECT_EQ(From_Universal(2006, 10, 30, 14, 30), (ExchangeTime{Date(2006, 10, 30), At(9, 30)}));
}

TEST(New_York_Time, FollowsTheRuleBefore1987) {
  // 27 April 1986.
  EXPECT_EQ(From_Universal(1986, 4, 26, 14, 30), (ExchangeTime{Date(1986, 4, 26), At(9, 30)}));
  EXPECT_EQ(From_Universal(1986, 4, 28, 13, 30), (ExchangeTime{Date(1986, 4, 28), At(9, 30)}));
}

TEST(New_York_Time, CrossesMidnightAndTheYear) {
  EXPECT_EQ(From_Universal(2021, 1, 1, 4, 59, 59), (ExchangeTime{Date(2020, 12, 31), At(23, 59, 59)}));
  EXPECT_EQ(From_Universal(2021, 7, 2, 3, 59), (ExchangeTime{Date(2021, 7, 1), At(23, 59)}));
}

TEST(New_York_Now, IsTheSystemClocksTime) {
  const auto clock = [] {
    return New_York_Time(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
  };
  const ExchangeTime before = clock();
  const ExchangeTime now = New_York_Now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, clock());
}

}  // namespace
}  // namespace hq::server
