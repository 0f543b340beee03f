#include "entry/symbol_list.h"

#include <gtest/gtest.h>

namespace hq {
namespace {

std::vector<std::string> Entries(const SymbolList& list) {
  std::vector<std::string> texts;
  for (int i = 0; i < list.Count(); ++i) texts.push_back(list.Text(i));
  return texts;
}

TEST(SymbolListTest, StoredForm) {
  EXPECT_EQ(Stored_Symbol("ibm"), "IBM");
  EXPECT_EQ(Stored_Symbol("  msft "), "MSFT");
  EXPECT_EQ(Stored_Symbol("index:dji"), "index:DJI");
  EXPECT_EQ(Stored_Symbol("opra:xyzab"), "opra:XYZAB");
  EXPECT_EQ(Stored_Symbol("Mutual:ABC"), "mutual:ABC");
  EXPECT_EQ(Stored_Symbol("mutual fund"), "mutual FUND");
  EXPECT_EQ(Stored_Symbol("   "), "");
  EXPECT_EQ(Stored_Symbol("xopra:index:mutualmutual"), "Xopra:index:mutualmutual");
  EXPECT_EQ(Stored_Symbol("opra index"), "OPRA INDEX") << "without their colon they are no markers";
}

TEST(SymbolListTest, StaysSortedByCharacterCode) {
  SymbolList list;
  for (const char* symbol : {"MSFT", "index:DJI", "IBM", "AAPL", "Z", "\xC3\x84", "BRK.B"}) list.Add(symbol);
  EXPECT_EQ(Entries(list),
            (std::vector<std::string>{"AAPL", "BRK.B", "IBM", "MSFT", "Z", "index:DJI", "\xC3\x84"}));
}

TEST(SymbolListTest, AddGivesThePositionAndSelectsNothing) {
  SymbolList list;
  EXPECT_EQ(list.Add("B"), 0);
  EXPECT_EQ(list.Add("A"), 0);
  EXPECT_EQ(list.Add("C"), 2);
  EXPECT_FALSE(list.Selected(0));
  EXPECT_FALSE(list.Selected(2));
}

TEST(SymbolListTest, EqualityIsExact) {
  SymbolList list;
  list.Add("INDEX:SPX");
  EXPECT_TRUE(list.Holds("INDEX:SPX"));
  EXPECT_FALSE(list.Holds(Stored_Symbol("index:spx")));
}

TEST(SymbolListTest, RemovingOneThreeAndFourOfFiveLeavesZeroAndTwo) {
  SymbolList list;
  for (const char* symbol : {"A", "B", "C", "D", "E"}) list.Add(symbol);
  for (const int position : {1, 3, 4}) list.Select(position, true);
  list.Remove_Selected();
  EXPECT_EQ(Entries(list), (std::vector<std::string>{"A", "C"}));
  list.Remove_Selected();
  EXPECT_EQ(list.Count(), 2);
}

TEST(SymbolListTest, SelectAll) {
  SymbolList list;
  list.Select_All();
  EXPECT_EQ(list.Count(), 0);
  list.Add("A");
  list.Add("B");
  list.Select_All();
  EXPECT_TRUE(list.Selected(0));
  EXPECT_TRUE(list.Selected(1));
}

TEST(SymbolListTest, PositionsThatDoNotExistAreEmptyAndNotSelected) {
  SymbolList list;
  list.Add("A");
  list.Select_All();
  for (const int position : {-1, 1, 1000}) {
    EXPECT_EQ(list.Text(position), "");
    EXPECT_FALSE(list.Selected(position));
    list.Select(position, true);
  }
  EXPECT_EQ(list.Count(), 1);
}

}  // namespace
}  // namespace hq
