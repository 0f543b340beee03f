#include "entry/interval_choice.h"

#include <gtest/gtest.h>

#include "base/run_time_error.h"

namespace hq {
namespace {

TEST(IntervalChoices, TextsMinutesAndLimits) {
  struct Expected {
    std::string Caption;
    size_t Blanks;
    int Minutes;
    int Limit;
    size_t Length;
  };
  const std::vector<Expected> expected = {
      {"Intraday:1 Minute - 1 day at most", 25, 1, 1, 59},
      {"Intraday:5 Minutes - 6 days  at most", 25, 5, 6, 62},
      {"Intraday:10 minutes - 12 days at most", 22, 10, 12, 60},
      {"Intraday:20 minutes - 24 days at most", 22, 20, 24, 60},
      {"Intraday:30 minutes - 38 days at most", 22, 30, 38, 60},
      {"Intraday:Hourly - 71 days at most", 29, 60, 71, 63},
      {"Daily - 500 days(2 years) at most", 45, 1440, 500, 79},
  };
  for (size_t i = 0; i < expected.size(); ++i) {
    const IntervalChoice& choice = Interval_Choices()[i];
    EXPECT_EQ(choice.Text, expected[i].Caption + std::string(expected[i].Blanks, ' ') + std::to_string(i));
    EXPECT_EQ(choice.Text.size(), expected[i].Length);
    EXPECT_EQ(choice.Minutes, expected[i].Minutes);
    EXPECT_EQ(Day_Limit(choice.Text), expected[i].Limit);
    EXPECT_EQ(Interval_Caption(choice.Text), expected[i].Caption);
    EXPECT_EQ(Is_Intraday(choice.Text), i != 6) << i;
  }
}

TEST(IntervalChoices, LimitOfOtherTexts) {
  EXPECT_EQ(Day_Limit(""), 0);
  EXPECT_EQ(Day_Limit("-"), 0);
  EXPECT_EQ(Day_Limit("x- "), 0);
  EXPECT_EQ(Day_Limit("x- 3.5 days"), 4);
  EXPECT_EQ(Day_Limit("x-999"), 99) << "the character behind the dash is passed over";
  EXPECT_EQ(Day_Limit("x- 12 - 34"), 12) << "the first dash counts";
  EXPECT_EQ(Day_Limit("12"), 2) << "without a dash the number is read from the second character on";
  EXPECT_THROW(static_cast<void>(Day_Limit("x- 99999")), RunTimeError);
}

TEST(IntervalChoices, TheKindIsAWordWithRegardToCase) {
  EXPECT_TRUE(Is_Intraday("any Intraday text"));
  EXPECT_FALSE(Is_Intraday("any intraday text"));
  EXPECT_FALSE(Is_Intraday(""));
}

}  // namespace
}  // namespace hq
