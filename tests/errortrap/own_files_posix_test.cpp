#include <filesystem>
#include <gtest/gtest.h>

#include "errortrap/own_files.h"
#include "errortrap/trap_settings.h"
#include "platform/files.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;
using test::TempFolder;

TEST(OwnFiles, AreFoundBehindEveryLink) {
  const TempFolder home;
  const TempFolder elsewhere;
  home.Write("user.cfg", "choices");
  fs::create_symlink("user.cfg", home / "link");
  fs::create_symlink(home / "link", elsewhere / "link to a link");
  fs::create_symlink(home / "quotes.db", elsewhere / "link to what is not there yet");
  fs::create_hard_link(home / "user.cfg", elsewhere / "second name");
  fs::create_directory_symlink(home.Path(), elsewhere / "folder");
  home.Write("mine", "text");
  fs::create_symlink(home / "mine", home / "link to mine");
  const OwnFiles own(home.Path());
  for (const std::string& path :
       {home / "link", elsewhere / "link to a link", elsewhere / "link to what is not there yet",
        elsewhere / "second name", elsewhere / "folder/server.ini", elsewhere / "folder/sources/a.json"}) {
    EXPECT_TRUE(own.Hold(path)) << path;
  }
  EXPECT_FALSE(own.Hold(home / "link to mine"));
  EXPECT_FALSE(own.Hold(elsewhere / "server.ini"));
  // Two names, as they are to this system.
  EXPECT_FALSE(own.Hold(home / "USER.CFG"));
}

TEST(OwnFiles, StayWhatTheyAreWhenADefaultLeadsToThem) {
  const TempFolder home;
  SystemFiles files;
  home.Write("user.cfg", "choices");
  fs::create_symlink("user.cfg", home / "error.log");
  EXPECT_EQ(Load_Trap_Settings(files, home.Path()).LogFile, "!error!.log");
}

TEST(LogsOfOneFile, AreToldApartByTheirPlaces) {
  const TempFolder home;
  home.Write("a", "");
  fs::create_hard_link(home / "a", home / "b");
  fs::create_symlink(home / "later", home / "c");
  EXPECT_TRUE(Is_Same_File(home / "a", home / "b"));
  EXPECT_TRUE(Is_Same_File(home / "c", home / "later"));
  EXPECT_FALSE(Is_Same_File(home / "a", home / "c"));
}

}  // namespace
}  // namespace hq
