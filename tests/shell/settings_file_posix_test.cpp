// Settings files that come from Windows, read where text is UTF-8.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

#include "shell/settings_file.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::TempFolder;
using testing::ElementsAre;
using testing::IsEmpty;

class ForeignSettingsFile : public testing::Test {
 protected:
  bool Load(const std::string& text) {
    Home.Write("user.cfg", text);
    return Load_Config(Trap, Boxes, Disk, Home.Path(), Saved, Settings);
  }
  // What a save makes of what was loaded, and a start after it.
  std::string Saved_Again() {
    SymbolList stocks;
    for (const std::string& symbol : Restored_Symbols(Saved.SymbolLine)) stocks.Add(symbol);
    EXPECT_TRUE(Save_Config(Trap, Boxes, Disk, Home.Path(), stocks,
                            {Saved.IntervalPosition, Saved.FormatPosition, Settings.OutputFolder, "5"}));
    const std::string text = Home.Files().at("user.cfg");
    const std::string folder = Settings.OutputFolder;
    EXPECT_TRUE(Load_Config(Trap, Boxes, Disk, Home.Path(), Saved, Settings));
    EXPECT_EQ(Settings.OutputFolder, folder);
    return text;
  }

  const TempFolder Home;
  modFailSafe Trap;
  test::FakeMessageBoxes Boxes;
  SystemFiles Disk;
  SavedChoices Saved;
  RunSettings Settings;
};

TEST_F(ForeignSettingsFile, IsReadAsWindows1252AndSavedAsUtf8) {
  const std::string folder = Home / "caf\xC3\xA9 \xE2\x82\xAC";
  std::filesystem::create_directory(folder);
  EXPECT_TRUE(Load("|IBM|NESTL\xC9\r\n5\r\n3\r\n" + (Home / "caf\xE9 \x80") + "\r\n5\r\n"));
  EXPECT_EQ(Saved.SymbolLine, "|IBM|NESTL\xC3\x89");
  EXPECT_EQ(Saved.IntervalPosition, 5);
  EXPECT_EQ(Saved.FormatPosition, 3);
  EXPECT_EQ(Settings.OutputFolder, folder);
  EXPECT_EQ(Saved_Again(), "|IBM|NESTL\xC3\x89\r\n5\r\n3\r\n" + folder + "\r\n5\r\n");
  EXPECT_THAT(Boxes.Shown, IsEmpty());
}

TEST_F(ForeignSettingsFile, KeepsTheBytesOfAFolderThatExists) {
  const std::string folder = Home / "caf\xE9";
  std::filesystem::create_directory(folder);
  for (const char* symbols : {"|NESTL\xC9", "|NESTL\xC3\x89"}) {
    EXPECT_TRUE(Load(std::string(symbols) + "\r\n5\r\n3\r\n" + folder + "\r\n5\r\n"));
    EXPECT_EQ(Saved.SymbolLine, "|NESTL\xC3\x89");
    EXPECT_EQ(Settings.OutputFolder, folder);
    EXPECT_EQ(Saved_Again(), "|NESTL\xC3\x89\r\n5\r\n3\r\n" + folder + "\r\n5\r\n");
    EXPECT_EQ(Saved.SymbolLine, "|NESTL\xC3\x89");
  }
  EXPECT_THAT(Boxes.Shown, IsEmpty());
}

TEST_F(ForeignSettingsFile, IsReadAsOneKindOfTextThroughout) {
  EXPECT_TRUE(Load("|NESTL\xC3\x89\r\n5\r\n3\r\n/gone/caf\xE9\r\n5\r\n"));
  EXPECT_EQ(Saved.SymbolLine, "|NESTL\xC3\x83\xE2\x80\xB0");
  EXPECT_TRUE(Load("|NESTL\xC3\x89\r\n5\r\n3\r\n\r\ncaf\xE9"));
  EXPECT_EQ(Saved.SymbolLine, "|NESTL\xC3\x83\xE2\x80\xB0");
  EXPECT_TRUE(Load("|NESTL\xC3\x89\r\n5\r\n3\r\n\r\n5\r\n"));
  EXPECT_EQ(Saved.SymbolLine, "|NESTL\xC3\x89");
}

TEST_F(ForeignSettingsFile, WithBytesThatAreNoCharactersIsSetAside) {
  const std::string text = "|A\x81\r\n5\r\n3\r\n\r\n5\r\n";
  EXPECT_FALSE(Load(text));
  EXPECT_EQ(Saved.SymbolLine, "");
  EXPECT_EQ(Boxes.Shown.size(), 1U);
  EXPECT_EQ(Home.Files(), (std::map<std::string, std::string>{{"user.cfg.bak", text}}));
}

TEST_F(ForeignSettingsFile, ThatIsNoFileIsSetAsideAndNotWaitedFor) {
  ASSERT_EQ(mkfifo((Home / "user.cfg").c_str(), 0600), 0);
  EXPECT_FALSE(Load_Config(Trap, Boxes, Disk, Home.Path(), Saved, Settings));
  EXPECT_EQ(Boxes.Shown.size(), 1U);
  EXPECT_THAT(Home.Names(), ElementsAre("user.cfg.bak"));
}

}  // namespace
}  // namespace hq
