#include "server/http/quote_text.h"

#include <algorithm>
#include <gmock/gmock.h>

#include "market/market_support.h"

namespace hq::server {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Quote_Text, WritesALineABar) {
  BarTable table;
  table.Bars = {{Date(2003, 1, 15), At(9, 30), 12.5, 12.75, 12.4, 12.6, 150000},
                {Date(1999, 12, 31), At(15, 59), 1, 2, 1, 2, 0}};
  EXPECT_EQ(Quote_Text(table), "030115,0930,12.5,12.75,12.4,12.6,150000\n991231,1559,1,2,1,2,0\n");
  table.Decimals = 2;
  EXPECT_EQ(Quote_Text(table),
            "030115,0930,12.50,12.75,12.40,12.60,150000\n991231,1559,1.00,2.00,1.00,2.00,0\n");
}

TEST(Quote_Text, NeverUsesExponents) {
  BarTable table;
  table.Bars = {{Date(2003, 1, 15), At(9, 30), 9e11, 9e11, 0.0000001, -37.63, 9'000'000'000'000'000'000}};
  EXPECT_EQ(Quote_Text(table),
            "030115,0930,900000000000,900000000000,0.0000001,-37.63,9000000000000000000\n");
}

TEST(Quote_Text, KeepsTheDigitsOfAFile) {
  BarTable table;
  table.Bars = {{Date(2025, 7, 15), At(13, 55), 617.20119589, 617.1, 100.02999877929688, 1.12525, 1}};
  EXPECT_EQ(Quote_Text(table), "250715,1355,617.20119589,617.1,100.02999877929688,1.12525,1\n");
}

TEST(Quote_Text, OfNoBarsIsEmpty) {
  EXPECT_EQ(Quote_Text(BarTable{}), "");
}

TEST(One_Line, IsOnePrintableLine) {
  EXPECT_EQ(One_Line("a\r\nb\tc\x01\x7f"), "a??b?c??\n");
  EXPECT_EQ(One_Line("gr\xc3\xbc\xc3\x9f"), "gr????\n");
  EXPECT_EQ(One_Line(std::string_view{"a\0b", 3}), "a?b\n");
  EXPECT_EQ(One_Line(""), "\n");
  EXPECT_EQ(One_Line(std::string(5000, 'x')).size(), 401U);
}

TEST(One_Line, NeverLooksLikeData) {
  for (const char* text : {",0930,", "030115,0930,1,2,3,4,5", ",0930,0930,0930,", ",,0930,,"}) {
    EXPECT_THAT(One_Line(text), Not(HasSubstr(",0930,"))) << text;
  }
}

}  // namespace
}  // namespace hq::server
