#include <chrono>
#include <gtest/gtest.h>
#include <string>

#include "platform/clock.h"
#include "support/environment.h"

namespace hq {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using test::EnvironmentVariable;

TEST(SystemTimeText, FollowsTheUsersLocale) {
  const EnvironmentVariable locale("LC_ALL", "C");
  EXPECT_EQ(System_Time_Text(hours(14) + minutes(5) + seconds(9)), "14:05:09");
  EXPECT_EQ(System_Time_Text(seconds(0)), "00:00:00");
  EXPECT_EQ(System_Time_Text(hours(23) + minutes(59) + seconds(59)), "23:59:59");
}

TEST(SystemTimeText, TakesALocaleThatIsNotInstalled) {
  const EnvironmentVariable locale("LC_ALL", "xx_NOWHERE.UTF-8");
  EXPECT_EQ(System_Time_Text(hours(9) + minutes(30)), "09:30:00");
}

TEST(GeneralDateText, IsTheDateABlankAndTheTime) {
  const EnvironmentVariable locale("LC_ALL", "C");
  EXPECT_EQ(General_Date_Text(std::chrono::year(2003) / 3 / 14, hours(14) + minutes(5) + seconds(9)),
            "03/14/03 14:05:09");
}

TEST(GeneralDateText, TakesALocaleThatIsNotInstalled) {
  const EnvironmentVariable locale("LC_ALL", "xx_NOWHERE.UTF-8");
  EXPECT_EQ(General_Date_Text(std::chrono::year(2003) / 3 / 14, hours(9)), "03/14/03 09:00:00");
}

TEST(DecimalSeparator, IsAPointInThePlainLocale) {
  const EnvironmentVariable locale("LC_ALL", "C");
  EXPECT_EQ(Decimal_Separator(), '.');
}

}  // namespace
}  // namespace hq
