#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

#include "platform/clock.h"

namespace hq {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

// A setting of the user's locale for this process, put back at the end.
class LocaleSetting {
 public:
  LocaleSetting(LCTYPE type, const char* value) : type_(type) {
    GetLocaleInfoA(LOCALE_USER_DEFAULT, type, before_, sizeof before_);
    set_ = SetLocaleInfoA(LOCALE_USER_DEFAULT, type, value) != 0;
  }
  LocaleSetting(const LocaleSetting&) = delete;
  LocaleSetting& operator=(const LocaleSetting&) = delete;
  ~LocaleSetting() { SetLocaleInfoA(LOCALE_USER_DEFAULT, type_, before_); }
  [[nodiscard]] bool Is_Set() const { return set_; }

 private:
  LCTYPE type_;
  char before_[128] = {};
  bool set_ = false;
};

TEST(SystemTimeText, FollowsTheUsersLocale) {
  {
    const LocaleSetting layout(LOCALE_STIMEFORMAT, "HH:mm:ss");
    ASSERT_TRUE(layout.Is_Set());
    EXPECT_EQ(System_Time_Text(hours(14) + minutes(5) + seconds(9)), "14:05:09");
    EXPECT_EQ(System_Time_Text(seconds(0)), "00:00:00");
  }
  const LocaleSetting layout(LOCALE_STIMEFORMAT, "h.mm.ss");
  ASSERT_TRUE(layout.Is_Set());
  EXPECT_EQ(System_Time_Text(hours(23) + minutes(59) + seconds(59)), "11.59.59");
}

TEST(GeneralDateText, IsTheShortDateABlankAndTheTime) {
  const LocaleSetting time_layout(LOCALE_STIMEFORMAT, "HH:mm:ss");
  const LocaleSetting date_layout(LOCALE_SSHORTDATE, "dd.MM.yyyy");
  ASSERT_TRUE(time_layout.Is_Set());
  ASSERT_TRUE(date_layout.Is_Set());
  EXPECT_EQ(General_Date_Text(std::chrono::year(2003) / 3 / 14, hours(9) + minutes(30)),
            "14.03.2003 09:30:00");
}

TEST(DecimalSeparator, IsTheUsers) {
  for (const char* separator : {".", ","}) {
    const LocaleSetting setting(LOCALE_SDECIMAL, separator);
    ASSERT_TRUE(setting.Is_Set());
    EXPECT_EQ(Decimal_Separator(), separator[0]);
  }
  const LocaleSetting two(LOCALE_SDECIMAL, "::");
  ASSERT_TRUE(two.Is_Set());
  EXPECT_EQ(Decimal_Separator(), '.');
}

}  // namespace
}  // namespace hq
