#include "output/file_name.h"

#include <gtest/gtest.h>

#include "support/fakes.h"
#include "support/quote_text.h"

namespace hq {
namespace {

using test::Table_Of;

class FileName : public ::testing::Test {
 protected:
  std::string Name(const QuoteTable& table) { return Create_FileName(Trap, Boxes, Settings, table); }
  std::string Name(const std::string& symbol, std::int16_t minutes) {
    Settings.CurrentSymbol = symbol;
    Settings.IntervalCode = minutes;
    return Name(Table_Of({"03/10/03 09:300000", "03/12/03 09:300001", "03/14/03 16:000002"}));
  }

  modFailSafe Trap;
  test::FakeMessageBoxes Boxes;
  RunSettings Settings;
};

TEST_F(FileName, FirstAndLastDateSymbolAndInterval) {
  EXPECT_EQ(Name("msft", 1440), "031003-031403msft1D.txt");
  EXPECT_EQ(Name("msft", 60), "031003-031403msft1H.txt");
  EXPECT_EQ(Name("msft", 30), "031003-031403msft30m.txt");
  EXPECT_EQ(Name("msft", 20), "031003-031403msft20m.txt");
  EXPECT_EQ(Name("msft", 10), "031003-031403msft10m.txt");
  EXPECT_EQ(Name("msft", 5), "031003-031403msft5m.txt");
  EXPECT_EQ(Name("msft", 1), "031003-031403msft1m.txt");
}

TEST_F(FileName, Thresholds) {
  EXPECT_EQ(Name("A", 1301), "031003-031403A1D.txt");
  EXPECT_EQ(Name("A", 1300), "031003-031403A1H.txt");
  EXPECT_EQ(Name("A", 51), "031003-031403A1H.txt");
  EXPECT_EQ(Name("A", 50), "031003-031403A50m.txt");
}

TEST_F(FileName, NoRowsGiveTheEmptyName) {
  EXPECT_EQ(Name(Table_Of({})), "");
  EXPECT_TRUE(Boxes.Shown.empty());
}

TEST_F(FileName, DatesAreThoseOfTheRowsWritten) {
  QuoteTable table = Table_Of({"03/10/03 09:300000", "03/12/03 09:300001", "03/14/03 16:000002"});
  table.FirstRow = 1;
  Settings.CurrentSymbol = "A";
  Settings.IntervalCode = 1;
  EXPECT_EQ(Name(table), "031203-031403A1m.txt");
  table.FirstRow = 3;
  EXPECT_EQ(Name(table), "-031403A1m.txt") << "behind the last row stands a spare one";
}

TEST_F(FileName, OneDayOfMinutesHasTwoEqualDates) {
  Settings.CurrentSymbol = "msft";
  Settings.IntervalCode = 1;
  EXPECT_EQ(Name(Table_Of({"03/10/03 09:300000", "03/10/03 09:310001"})), "031003-031003msft1m.txt");
}

TEST_F(FileName, NeverLeadsOutOfItsFolder) {
  EXPECT_EQ(Name("../../etc/passwd", 5), "031003-031403.._.._etc_passwd5m.txt");
  EXPECT_EQ(Name("..\\x", 5), "031003-031403.._x5m.txt");
  EXPECT_EQ(Name("BRK/B", 5), "031003-031403BRK_B5m.txt");
  EXPECT_EQ(Name("a<b>c\"d|e?f*g", 5), "031003-031403a_b_c_d_e_f_g5m.txt");
  EXPECT_EQ(Name(std::string("a\0b\nc\x7f", 6), 5), "031003-031403a_b_c_5m.txt");
  Settings.CurrentSymbol = "A";
  Settings.IntervalCode = 5;
  EXPECT_EQ(Name(Table_Of({"//////// 09:300000"})), "______-______A5m.txt");
}

TEST_F(FileName, AnErrorIsToldAndGivesTheEmptyName) {
  QuoteTable table = Table_Of({"03/10/03 09:300000"});
  table.FirstRow = 9;
  EXPECT_EQ(Name(table), "");
  ASSERT_EQ(Boxes.Shown.size(), 1U);
  EXPECT_EQ(Boxes.Shown[0].Text, "Error 9 inside Create_FileName().");
  EXPECT_EQ(Trap.Depth(), 0);
}

}  // namespace
}  // namespace hq
