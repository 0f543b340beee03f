#include "shell/settings_file.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>

#include "support/fakes.h"

namespace hq {
namespace {

const std::string Path = Join_Path("/program", "user.cfg");
const std::string Backup = Path + ".bak";
constexpr const char* Unexpected =
    "Unexpected error in initializing! Please restart to let program fix itself.";

class SettingsFile : public ::testing::Test {
 protected:
  bool Load() { return Load_Config(Trap, Boxes, Disk, "/program", Saved, Settings); }
  bool Load(const std::string& text) {
    Disk.Contents[Path] = text;
    return Load();
  }
  bool Save(const CurrentChoices& choices) {
    return Save_Config(Trap, Boxes, Disk, "/program", Stocks, choices);
  }

  modFailSafe Trap;
  test::FakeMessageBoxes Boxes;
  test::MemoryFiles Disk;
  SymbolList Stocks;
  SavedChoices Saved;
  RunSettings Settings;
};

TEST_F(SettingsFile, TwoSymbolsMakeNineCharactersAndReadBack) {
  Stocks.Add("MSFT");
  Stocks.Add("IBM");
  ASSERT_TRUE(Save({6, 13, "/out", "500"}));
  EXPECT_EQ(Disk.Contents[Path], "|IBM|MSFT\r\n6\r\n13\r\n/out\r\n500\r\n");
  Disk.Contents["/out"] = "";
  Load();
  EXPECT_EQ(Saved.SymbolLine, "|IBM|MSFT");
  EXPECT_EQ(Restored_Symbols(Saved.SymbolLine), (std::vector<std::string>{"IBM", "MSFT"}));
  EXPECT_EQ(Saved.IntervalPosition, 6);
  EXPECT_EQ(Saved.FormatPosition, 13);
  EXPECT_EQ(Settings.OutputFolder, "/out");
  EXPECT_TRUE(Boxes.Shown.empty());
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(SettingsFile, AnEmptyListWritesAnEmptyLine) {
  ASSERT_TRUE(Save({-1, -1, "", ""}));
  EXPECT_EQ(Disk.Contents[Path], "\r\n-1\r\n-1\r\n\r\n\r\n");
}

TEST_F(SettingsFile, ChangingTheDayCountChangesLineFiveOnlyAndIsNotReadBack) {
  Stocks.Add("A");
  ASSERT_TRUE(Save({6, 13, "", "500"}));
  const std::string before = Disk.Contents[Path];
  ASSERT_TRUE(Save({6, 13, "", "20"}));
  EXPECT_EQ(before, "|A\r\n6\r\n13\r\n\r\n500\r\n");
  EXPECT_EQ(Disk.Contents[Path], "|A\r\n6\r\n13\r\n\r\n20\r\n");
  Settings.DayCount = 7;
  Load();
  EXPECT_EQ(Settings.DayCount, 7);
}

TEST_F(SettingsFile, NoFileLeavesTheDefaultsQuietly) {
  Saved = {"x", 3, 3};
  Settings.OutputFolder = "y";
  EXPECT_TRUE(Load());
  EXPECT_EQ(Saved.IntervalPosition, -1);
  EXPECT_EQ(Saved.FormatPosition, -1);
  EXPECT_EQ(Settings.OutputFolder, "");
  EXPECT_TRUE(Boxes.Shown.empty());
  EXPECT_EQ(Restored_Interval(-1), 6);
  EXPECT_EQ(Restored_Format(-1), 13);
  EXPECT_EQ(Restored_Symbols(""), std::vector<std::string>{""}) << "one empty entry";
}

TEST_F(SettingsFile, NothingSelectedWhenSavedRestoresTheDailyInterval) {
  Load("|A\r\n-1\r\n-1\r\n\r\n500\r\n");
  EXPECT_EQ(Restored_Interval(Saved.IntervalPosition), 6);
  EXPECT_EQ(Restored_Format(Saved.FormatPosition), 13);
  EXPECT_EQ(Restored_Interval(2), 2);
  EXPECT_EQ(Restored_Format(0), 0);
}

TEST_F(SettingsFile, FolderThatIsGoneBecomesDriveC) {
  Load("|A\r\n6\r\n13\r\n/gone\r\n500\r\n");
  EXPECT_EQ(Settings.OutputFolder, "c:");
}

TEST_F(SettingsFile, BlanksAroundAnExistingFolderAreTrimmed) {
  Disk.Contents["/out put"] = "";
  Load("|A\r\n6\r\n13\r\n  /out put \r\n500\r\n");
  EXPECT_EQ(Settings.OutputFolder, "/out put");
}

TEST_F(SettingsFile, AnEmptyFolderLineGivesAnEmptyFolder) {
  Load("|A\r\n6\r\n13\r\n\r\n500\r\n");
  EXPECT_EQ(Settings.OutputFolder, "");
  Load("|A\r\n6\r\n13\r\n   \r\n500\r\n");
  EXPECT_EQ(Settings.OutputFolder, "");
}

TEST_F(SettingsFile, LinesMayEndInLfOrCr) {
  Disk.Contents["/out"] = "";
  for (const char* text : {"|A\n2\n3\n/out\n9\n", "|A\r2\r3\r/out\r9\r", "|A\r\n2\r\n3\r\n/out"}) {
    Saved = {};
    Load(text);
    EXPECT_EQ(Saved.SymbolLine, "|A") << text;
    EXPECT_EQ(Saved.IntervalPosition, 2) << text;
    EXPECT_EQ(Saved.FormatPosition, 3) << text;
    EXPECT_EQ(Settings.OutputFolder, "/out") << text;
  }
  EXPECT_TRUE(Boxes.Shown.empty());
}

TEST_F(SettingsFile, AByteOrderMarkIsNoPartOfTheSymbols) {
  EXPECT_TRUE(Load("\xEF\xBB\xBF|A|B\r\n2\r\n3\r\n\r\n"));
  EXPECT_EQ(Saved.SymbolLine, "|A|B");
}

TEST_F(SettingsFile, PositionsAreReadAsLeadingNumbers) {
  Load("|A\r\nabc\r\n 3.5x\r\n\r\n");
  EXPECT_EQ(Saved.IntervalPosition, 0);
  EXPECT_EQ(Saved.FormatPosition, 4);
}

TEST_F(SettingsFile, FewerThanFourLinesAreToldAndTheFileIsKeptAsideAndDeleted) {
  EXPECT_FALSE(Load("|A\r\n2\r\n3\r\n"));
  EXPECT_EQ(Boxes.Texts(), std::vector<std::string>{Unexpected});
  EXPECT_EQ(Boxes.Shown[0].Title, "Bravint History Quotes Downloader");
  EXPECT_EQ(Disk.Contents.count(Path), 0U);
  EXPECT_EQ(Disk.Contents[Backup], "|A\r\n2\r\n3\r\n");
  EXPECT_EQ(Saved.SymbolLine, "|A") << "what was read before the error stays";
  EXPECT_EQ(Saved.IntervalPosition, 2);
  EXPECT_EQ(Saved.FormatPosition, 3);
  EXPECT_EQ(Settings.OutputFolder, "");
  Boxes.Shown.clear();
  Load();
  EXPECT_TRUE(Boxes.Shown.empty()) << "the next start runs on defaults";
}

TEST_F(SettingsFile, ANumberTooLargeFor16BitsIsAnError) {
  Load("|A\r\n40000\r\n3\r\n\r\n500\r\n");
  EXPECT_EQ(Boxes.Texts(), std::vector<std::string>{Unexpected});
  EXPECT_EQ(Disk.Contents.count(Path), 0U);
  EXPECT_EQ(Saved.SymbolLine, "|A");
  EXPECT_EQ(Saved.IntervalPosition, -1);
}

TEST_F(SettingsFile, AnEmptyFileIsAnError) {
  Load("");
  EXPECT_EQ(Boxes.Texts(), std::vector<std::string>{Unexpected});
}

TEST_F(SettingsFile, AnEarlierOneThatWasSetAsideIsKept) {
  for (const char* text : {"first", "second", "third"}) Load(text);
  EXPECT_EQ(Disk.Contents, (std::map<std::string, std::string>{
                               {Backup, "third"}, {Backup + "2", "first"}, {Backup + "3", "second"}}));
}

TEST_F(SettingsFile, AFileThatCannotBeSetAsideStays) {
  Disk.Contents[Backup] = "earlier";
  Disk.RenameError = PermissionDenied;
  Load("|A\r\n");
  EXPECT_EQ(Boxes.Texts(), std::vector<std::string>{Unexpected});
  EXPECT_EQ(Disk.Contents[Path], "|A\r\n");
  EXPECT_EQ(Disk.Contents[Backup], "earlier");
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(SettingsFile, NulsAndControlCharactersAreAnError) {
  using namespace std::string_literals;
  for (const std::string& text : {"|M\0SFT\r\n0\r\n0\r\n\r\n5\r\n"s, "|A\r\n0\r\n0\r\n\r\n5\r\n\x1A"s,
                                  "|A\r\n0\r\n0\r\n\x1B\r\n5\r\n"s, "|A\x7F\r\n0\r\n0\r\n\r\n5\r\n"s}) {
    Disk.Contents.clear();
    Boxes.Shown.clear();
    Saved = {};
    EXPECT_FALSE(Load(text));
    EXPECT_EQ(Boxes.Texts(), std::vector<std::string>{Unexpected});
    EXPECT_EQ(Disk.Contents, (std::map<std::string, std::string>{{Backup, text}}));
    EXPECT_EQ(Saved.SymbolLine, "");
  }
  EXPECT_TRUE(Load("|A\tB\r\n0\r\n0\r\n\r\n5\r\n"));
  EXPECT_EQ(Saved.SymbolLine, "|A\tB");
}

TEST_F(SettingsFile, WhatIsSavedCanBeReadAgain) {
  Stocks.Add("A\x01");
  Stocks.Add("B\r\nC");
  ASSERT_TRUE(Save({6, 13, "/o\nut", "5"}));
  EXPECT_EQ(Disk.Contents[Path], "|A|BC\r\n6\r\n13\r\n/out\r\n5\r\n");
  EXPECT_TRUE(Load());
}

TEST_F(SettingsFile, MarkersAreRestoredButForTheLastEntry) {
  EXPECT_EQ(Restored_Symbols("|MUTUAL:ABCDX|IBM"), (std::vector<std::string>{"mutual:ABCDX", "IBM"}));
  EXPECT_EQ(Restored_Symbols("\xC3\x90X|IBM"), (std::vector<std::string>{"X", "IBM"}))
      << "the first character goes whole";
  EXPECT_EQ(Restored_Symbols("|IBM|MUTUAL:ABCDX"), (std::vector<std::string>{"IBM", "MUTUAL:ABCDX"}));
  EXPECT_EQ(Restored_Symbols("|OPRA:X|INDEX:Y|Z"), (std::vector<std::string>{"opra:X", "index:Y", "Z"}));
}

TEST_F(SettingsFile, BlankEntriesAreDroppedButForTheLast) {
  EXPECT_EQ(Restored_Symbols("|A||  | B |"), (std::vector<std::string>{"A", " B ", ""}));
  EXPECT_EQ(Restored_Symbols("A"), (std::vector<std::string>{""}))
      << "the first character is taken for a bar";
}

TEST_F(SettingsFile, AThousandSymbols) {
  for (int i = 0; i < 1000; ++i) Stocks.Add("S" + std::to_string(i));
  ASSERT_TRUE(Save({0, 0, "", "1"}));
  Load();
  const std::vector<std::string> symbols = Restored_Symbols(Saved.SymbolLine);
  ASSERT_EQ(symbols.size(), 1000U);
  EXPECT_EQ(symbols[999], Stocks.Text(999));
}

TEST_F(SettingsFile, AFileThatCannotBeWrittenIsTold) {
  Disk.Contents[Path] = "earlier";
  for (int* error : {&Disk.OpenError, &Disk.WriteError, &Disk.CloseError}) {
    *error = DiskFull;
    EXPECT_FALSE(Save({6, 13, "", ""}));
    *error = 0;
    EXPECT_EQ(Disk.Contents[Path], "earlier");
  }
  EXPECT_EQ(Boxes.Texts(),
            std::vector<std::string>(3, "Err: Disk full in Save_Config(). Can't save user choices"));
  EXPECT_EQ(Trap.Depth(), 0);
}

}  // namespace
}  // namespace hq
