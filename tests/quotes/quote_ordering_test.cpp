#include "quotes/quote_ordering.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

#include "support/fakes.h"
#include "support/quote_text.h"

namespace hq {
namespace {

using test::Keys_Of;
using test::Table_Of;

class QuoteOrdering : public ::testing::Test {
 protected:
  bool Needs_Sort(const std::vector<std::string>& keys) { return Need_Sort(Trap, Table_Of(keys)); }
  std::vector<std::string> Sorted(const std::vector<std::string>& keys) {
    QuoteTable table = Table_Of(keys);
    QuickSort(Trap, Boxes, table.QuoteKeys, 0, table.QuoteCount - 1);
    return Keys_Of(table);
  }
  std::int16_t First_Row(const std::vector<std::string>& keys, std::int16_t days) {
    QuoteTable table = Table_Of(keys);
    table.FirstRow = 99;
    RunSettings settings;
    settings.DayCount = days;
    Set_StartIndex(Trap, settings, table);
    return table.FirstRow;
  }

  modFailSafe Trap;
  test::FakeMessageBoxes Boxes;
};

TEST_F(QuoteOrdering, NoneOrOneRowNeedsNoSort) {
  EXPECT_FALSE(Needs_Sort({}));
  EXPECT_FALSE(Needs_Sort({"01/15/03 09:300000"}));
}

TEST_F(QuoteOrdering, RowsOutOfTimeOrderAreFoundAndSorted) {
  const std::vector<std::string> keys = {"01/15/03 09:310000", "01/15/03 09:300001"};
  EXPECT_TRUE(Needs_Sort(keys));
  EXPECT_EQ(Sorted(keys), (std::vector<std::string>{"01/15/03 09:300001", "01/15/03 09:310000"}));
}

TEST_F(QuoteOrdering, YearEndInTimeOrderNeedsNoSort) {
  EXPECT_FALSE(Needs_Sort({"12/31/02 15:590000", "01/02/03 09:300001"}));
}

TEST_F(QuoteOrdering, YearEndOutOfOrderIsSortedMonthFirst) {
  const std::vector<std::string> keys = {"01/02/03 09:300000", "12/31/02 15:590001"};
  EXPECT_TRUE(Needs_Sort(keys));
  EXPECT_EQ(Sorted(keys), keys);
  EXPECT_EQ(Sorted({"12/31/02 15:590000", "01/02/03 09:310001", "01/02/03 09:300002"}),
            (std::vector<std::string>{"01/02/03 09:300002", "01/02/03 09:310001", "12/31/02 15:590000"}));
}

TEST_F(QuoteOrdering, EqualNeighboursAreInOrder) {
  EXPECT_FALSE(Needs_Sort({"01/15/03 09:300000", "01/15/03 09:300001"}));
}

TEST_F(QuoteOrdering, TheTestComparesDatesAcrossTheCentury) {
  EXPECT_FALSE(Needs_Sort({"12/31/99 09:300000", "01/03/00 09:300001"}));
  EXPECT_TRUE(Needs_Sort({"01/03/00 09:300000", "12/31/99 09:300001"}));
}

TEST_F(QuoteOrdering, KeysThatAreNoDatesNeedNoSort) {
  EXPECT_FALSE(Needs_Sort({"99/99/03 09:300000", "01/15/03 09:300001"}));
  EXPECT_TRUE(Boxes.Shown.empty());
  EXPECT_TRUE(Needs_Sort({"01/16/03 09:300000", "01/15/03 09:300001", "99/99/03 09:300002"}))
      << "a pair out of order before the bad key decides";
}

TEST_F(QuoteOrdering, EqualDateTimesKeepTheirOrderOfArrival) {
  EXPECT_EQ(Sorted({"01/15/03 09:310000", "01/15/03 09:300001", "01/15/03 09:300002", "01/15/03 09:300003"}),
            (std::vector<std::string>{"01/15/03 09:300001", "01/15/03 09:300002", "01/15/03 09:300003",
                                      "01/15/03 09:310000"}));
}

TEST_F(QuoteOrdering, SortingOneElementOrNoneChangesNothing) {
  QuoteTable table = Table_Of({"b", "a"});
  QuickSort(Trap, Boxes, table.QuoteKeys, 0, 0);
  QuickSort(Trap, Boxes, table.QuoteKeys, 1, 0);
  QuickSort(Trap, Boxes, table.QuoteKeys, 0, -1);
  EXPECT_EQ(Keys_Of(table), (std::vector<std::string>{"b", "a"}));
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(QuoteOrdering, OnlyTheGivenStretchIsSorted) {
  QuoteTable table = Table_Of({"e", "d", "c", "b", "a"});
  QuickSort(Trap, Boxes, table.QuoteKeys, 1, 3);
  EXPECT_EQ(Keys_Of(table), (std::vector<std::string>{"e", "b", "c", "d", "a"}));
}

TEST_F(QuoteOrdering, AnIndexOutsideTheArrayIsTold) {
  QuoteTable table = Table_Of({"b", "a"});
  QuickSort(Trap, Boxes, table.QuoteKeys, 0, 4);
  ASSERT_EQ(Boxes.Shown.size(), 1U);
  EXPECT_EQ(Boxes.Shown[0].Text, "Err Subscript out of range inside QuickSort. Report!");
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(QuoteOrdering, SortsAsTheStandardLibraryDoes) {
  std::mt19937 random(20031);
  for (int round = 0; round < 200; ++round) {
    const int count = static_cast<int>(random() % 300);
    std::vector<std::string> keys;
    for (int i = 0; i < count; ++i) {
      std::string key =
          "0" + std::to_string(random() % 9 + 1) + "/15/03 09:" + std::to_string(random() % 50 + 10);
      keys.push_back(key + std::to_string(1000 + i));
    }
    std::vector<std::string> expected = keys;
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(Sorted(keys), expected) << "round " << round;
  }
}

// Keys arranged so that every pivot, the element in the middle, is the largest of its stretch.
TEST_F(QuoteOrdering, TheWorstOrderDoesNotNestDeeply) {
  constexpr int count = 3000;
  std::vector<int> order(count);
  std::vector<int> places(count);
  std::iota(places.begin(), places.end(), 0);
  for (int value = count - 1; value >= 0; --value) {
    const int middle = value / 2;
    order[static_cast<size_t>(places[static_cast<size_t>(middle)])] = value;
    std::swap(places[static_cast<size_t>(middle)], places[static_cast<size_t>(value)]);
  }
  std::vector<std::string> keys;
  for (const int value : order) keys.push_back(std::to_string(10000 + value));
  std::int32_t deepest = 0;
  Trap.Write_Record = [&](const TraceRecord&) { deepest = std::max(deepest, Trap.Depth()); };
  const std::vector<std::string> sorted = Sorted(keys);
  EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end()));
  EXPECT_LE(deepest, 16);
  EXPECT_TRUE(Boxes.Shown.empty());
}

TEST_F(QuoteOrdering, FirstRowKeepsTheLastDays) {
  const std::vector<std::string> keys = {"03/10/03 09:300000", "03/10/03 09:310001", "03/11/03 09:300002",
                                         "03/11/03 09:310003", "03/12/03 09:300004", "03/12/03 09:310005"};
  EXPECT_EQ(First_Row(keys, 1), 4);
  EXPECT_EQ(First_Row(keys, 2), 2);
  EXPECT_EQ(First_Row(keys, 3), 0);
  EXPECT_EQ(First_Row(keys, 500), 0);
}

TEST_F(QuoteOrdering, FirstRowOfAnEmptyTableIsZero) {
  EXPECT_EQ(First_Row({}, 1), 0);
}

TEST_F(QuoteOrdering, NoDaysWantedPutsTheFirstRowBehindTheLast) {
  EXPECT_EQ(First_Row({"03/10/03 09:300000", "03/11/03 09:300001"}, 0), 2);
}

TEST_F(QuoteOrdering, DatesThatComeBackCountOnce) {
  EXPECT_EQ(
      First_Row({"03/10/03 09:300000", "03/12/03 09:300001", "03/11/03 09:300002", "03/12/03 09:310003"}, 2),
      1);
}

TEST_F(QuoteOrdering, ADayCountBeyond16BitsKeepsAllRows) {
  EXPECT_EQ(First_Row({"03/10/03 09:300000", "03/11/03 09:300001"}, 32767), 0);
}

TEST_F(QuoteOrdering, KeysCompareAsTheirTextsDo) {
  const std::string nul("\0", 1);
  const std::string bar = "03/10/03 09:30";
  const std::vector<std::string> texts{"",
                                       nul,
                                       nul + nul,
                                       "0",
                                       "0" + nul,
                                       "0/",
                                       "\x7F",
                                       "\x80",
                                       "\xFF",
                                       "/ / /  :",
                                       "/ / /  :0",
                                       bar + "0000",
                                       bar + "9999",
                                       bar + "10000",
                                       bar + "10001",
                                       "03/10/03 09:310000",
                                       "03/10/04" + nul,
                                       bar + "123456789",
                                       bar + "12345678" + nul};
  for (const std::string& one : texts) {
    for (const std::string& other : texts) {
      EXPECT_EQ(QuoteKey(one) < QuoteKey(other), one < other) << one << " and " << other;
      EXPECT_EQ(QuoteKey(one) == QuoteKey(other), one == other) << one << " and " << other;
    }
  }
}

}  // namespace
}  // namespace hq
