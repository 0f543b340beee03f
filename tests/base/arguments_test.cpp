#include "base/arguments.h"

#include <gtest/gtest.h>

namespace hq {
namespace {

TEST(Arguments, NumbersAreDigitsAlone) {
  EXPECT_EQ(Number_Of_Digits("0"), 0);
  EXPECT_EQ(Number_Of_Digits("010"), 10);
  EXPECT_EQ(Number_Of_Digits("2147483647"), 2147483647);
  for (const char* text : {"", "-1", "+1", " 1", "1 ", "1e3", "0x10", "1.0", "5,", "2147483648",
                           "99999999999999999999", "one"}) {
    EXPECT_EQ(Number_Of_Digits(text), std::nullopt) << text;
  }
}

TEST(Arguments, OptionsWithoutAValueAreFound) {
  EXPECT_EQ(Option_Without_Value({"A", "--output=", "B"}), "--output=");
  EXPECT_EQ(Option_Without_Value({}), "");
  EXPECT_EQ(Option_Without_Value({"--output=x", "--output", "", "--template=http://x?a=", "=", "a=", "-="}),
            "");
  EXPECT_EQ(Option_Without_Value({"--", "--output="}), "");
}

}  // namespace
}  // namespace hq
