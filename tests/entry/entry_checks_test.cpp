#include "entry/entry_checks.h"

#include <gtest/gtest.h>

#include "entry/interval_choice.h"
#include "output/format_catalogue.h"
#include "support/fakes.h"

namespace hq {
namespace {

class EntryChecks : public ::testing::Test {
 protected:
  EntryChecks() {
    Stocks.Add("MSFT");
    Stocks.Select_All();
    Disk.Contents["/out"] = "";
    Choose(6, 13);
    Entry.OutputFolder = "/out";
    Entry.Days = "500";
  }

  void Choose(int interval, size_t format) {
    Entry.IntervalPosition = interval;
    Entry.Interval = Interval_Choices()[static_cast<size_t>(interval)].Text;
    Entry.OutputFormat = Format_Items()[format];
  }
  bool Valid() {
    return Valid_Entry(Trap, Boxes, Loop, Disk, Stocks, Entry, [&] { ++Focused; });
  }
  void Expect_Refused(const std::string& text, MessageIcon icon = MessageIcon::None) {
    EXPECT_FALSE(Valid());
    ASSERT_EQ(Boxes.Shown.size(), 1U);
    EXPECT_EQ(Boxes.Shown[0].Text, text);
    EXPECT_EQ(Boxes.Shown[0].Title, "Bravint History Quotes Downloader");
    EXPECT_EQ(Boxes.Shown[0].Buttons, MessageButtons::Ok);
    EXPECT_EQ(Boxes.Shown[0].Icon, icon);
    EXPECT_EQ(Trap.Depth(), 0);
    Boxes.Shown.clear();
  }

  modFailSafe Trap;
  test::FakeMessageBoxes Boxes;
  test::FakeLoop Loop;
  test::MemoryFiles Disk;
  SymbolList Stocks;
  EntryTexts Entry;
  int Focused = 0;
};

constexpr const char* NothingSelected = "You need to pick at least one stock to start download!";
const std::string Hint =
    "Make both the same(Intraday or Daily)!\nIf you are not sure about the output format to use, try 'Text "
    "with "
    "header-Intraday' or 'Text with header-Daily'";

TEST_F(EntryChecks, EverythingInOrderPasses) {
  EXPECT_TRUE(Valid());
  EXPECT_TRUE(Boxes.Shown.empty());
  EXPECT_EQ(Focused, 0);
}

TEST_F(EntryChecks, NothingSelectedIsToldBeforeEverythingElse) {
  Stocks.Select(0, false);
  Entry.OutputFolder.clear();
  Entry.Days.clear();
  Expect_Refused(NothingSelected);
  Stocks.Clear();
  Expect_Refused(NothingSelected);
}

TEST_F(EntryChecks, IntradayIntervalWithDailyFormat) {
  Choose(0, 13);
  Expect_Refused("You chose an intraday time interval with a daily output format.\n" + Hint,
                 MessageIcon::CriticalStop);
}

TEST_F(EntryChecks, DailyIntervalWithIntradayFormat) {
  Choose(6, 11);
  Expect_Refused("You chose a Daily time interval with an intraday output format.\n\n" + Hint,
                 MessageIcon::CriticalStop);
}

TEST_F(EntryChecks, KindsAreToldBeforeTheFolder) {
  Choose(6, 11);
  Entry.OutputFolder.clear();
  EXPECT_FALSE(Valid());
  EXPECT_TRUE(Boxes.Shown[0].Text.starts_with("You chose a Daily"));
}

TEST_F(EntryChecks, MissingFolder) {
  Entry.OutputFolder.clear();
  Expect_Refused(
      "Missing output folder!\nClick the small button '...' next to 'Output Folder' box to choose a folder");
}

TEST_F(EntryChecks, FolderThatDoesNotExist) {
  Entry.OutputFolder = "/nowhere";
  Expect_Refused(
      "Output folder doesn't exist!\nClick the small button '...' next to 'Output Folder' box to choose a "
      "folder");
}

TEST_F(EntryChecks, AFileInPlaceOfTheFolderPasses) {
  Disk.Contents["/out/file"] = "x";
  Entry.OutputFolder = "/out/file";
  EXPECT_TRUE(Valid());
}

TEST_F(EntryChecks, DaysOutOfRangeAreToldAndFocused) {
  Choose(4, 11);
  Entry.Days = "39";
  Expect_Refused("Based on time interval chosen, 'Days' has to be between 1 and 38");
  EXPECT_EQ(Focused, 1);
  EXPECT_EQ(Loop.Passes, 1);
  Entry.Days = "38";
  EXPECT_TRUE(Valid());
  Entry.Days = "0";
  Expect_Refused("Based on time interval chosen, 'Days' has to be between 1 and 38");
}

TEST_F(EntryChecks, EmptyDaysAreZero) {
  Choose(5, 11);
  Entry.Days = "";
  Expect_Refused("Based on time interval chosen, 'Days' has to be between 1 and 71");
}

TEST_F(EntryChecks, DaysAreRoundedBeforeTheyAreCompared) {
  Choose(1, 11);
  Entry.Days = "6.5";
  EXPECT_TRUE(Valid()) << "6.5 is 6";
  Entry.Days = "0.5";
  EXPECT_FALSE(Valid()) << "0.5 is 0";
  Entry.Days = "5days";
  EXPECT_TRUE(Valid());
}

TEST_F(EntryChecks, DaysBeyond16BitsGoToTheOwnHandler) {
  Entry.Days = "40000";
  Expect_Refused("unhandled err: 6 in Valid_Entry()");
}

TEST_F(EntryChecks, OnlyTheDaysCheckMovesTheFocus) {
  Entry.OutputFolder.clear();
  EXPECT_FALSE(Valid());
  EXPECT_EQ(Focused, 0);
}

TEST_F(EntryChecks, KeysOfNumberBoxes) {
  EXPECT_EQ(Keyin_Number(Trap, 8), 8);
  for (std::int16_t key = '0'; key <= '9'; ++key) EXPECT_EQ(Keyin_Number(Trap, key), key);
  for (const char key : {'/', ':', '-', '.', ' ', 'a', '\r', '\t'}) EXPECT_EQ(Keyin_Number(Trap, key), 0);
  EXPECT_EQ(Keyin_Number(Trap, 0), 0);
  EXPECT_EQ(Keyin_Number(Trap, -48), 0);
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST(EndDateBoxes, Month) {
  const std::string fault = "Invalid month value! Enter between 1 to 12";
  for (const char* text : {"1", "12", "012", "6"}) EXPECT_EQ(End_Date_Fault(0, text), "") << text;
  for (const char* text : {"0", "13", "", "abc", "12.5", "0.9", "-1"})
    EXPECT_EQ(End_Date_Fault(0, text), fault) << text;
}

TEST(EndDateBoxes, Day) {
  const std::string fault = "Invalid day value. Enter between 1 to 31";
  for (const char* text : {"1", "31", "07"}) EXPECT_EQ(End_Date_Fault(1, text), "") << text;
  for (const char* text : {"0", "32", ""}) EXPECT_EQ(End_Date_Fault(1, text), fault) << text;
}

TEST(EndDateBoxes, Year) {
  const std::string fault = "Invalid day value. Enter between 00 to 99";
  for (const char* text : {"00", "99", "5", "7", "03"}) EXPECT_EQ(End_Date_Fault(2, text), "") << text;
  for (const char* text : {"100", "", "/", "a"}) EXPECT_EQ(End_Date_Fault(2, text), fault) << text;
}

}  // namespace
}  // namespace hq
