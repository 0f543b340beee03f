#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>

#include "platform/files.h"
#include "platform/program_places.h"
#include "support/plain_user.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::As_Plain_User;
using test::TempFolder;
using testing::HasSubstr;

// The program folder of an installed copy in an environment.
std::string User_Folder(const std::map<std::string, std::string>& environment) {
  const TempFolder own;
  own.Write(InstalledCopyMark, "");
  return Places_Of_Program(own.Path(), {},
                           [&](const std::string& name) {
                             const auto found = environment.find(name);
                             return found == environment.end() ? std::nullopt : std::optional(found->second);
                           })
      .Program;
}

TEST(InstalledCopy, KeepsItsFilesWithTheUser) {
  EXPECT_EQ(User_Folder({{"XDG_DATA_HOME", "/data"}, {"HOME", "/home/a"}}), "/data/history-quotes");
  EXPECT_EQ(User_Folder({{"XDG_DATA_HOME", "/data//"}}), "/data/history-quotes");
  EXPECT_EQ(User_Folder({{"HOME", "/home/a"}}), "/home/a/.local/share/history-quotes");
  EXPECT_EQ(User_Folder({{"HOME", "/"}}), "/.local/share/history-quotes");
  for (const char* no_folder : {"", "data", "./data", "~/data"}) {
    EXPECT_EQ(User_Folder({{"XDG_DATA_HOME", no_folder}, {"HOME", "/home/a"}}),
              "/home/a/.local/share/history-quotes");
  }
  // The home of the user's entry.
  EXPECT_THAT(User_Folder({}), testing::MatchesRegex("(/.*)?/.local/share/history-quotes"));
}

TEST(InstalledCopy, MakesItsFolderForTheUserAlone) {
  const TempFolder home;
  const ProgramPlaces places{home / "a/b/history-quotes", "/nowhere", true};
  const mode_t before = umask(0);
  EXPECT_EQ(Prepare_Program_Folder(places), "");
  umask(before);
  for (const char* name : {"a", "a/b", "a/b/history-quotes"}) {
    struct stat state {};
    ASSERT_EQ(stat((home / name).c_str(), &state), 0) << name;
    EXPECT_EQ(state.st_mode & 07777, 0700U) << name;
  }
  // A folder that is there is the user's matter.
  ASSERT_EQ(chmod(places.Program.c_str(), 0750), 0);
  EXPECT_EQ(Prepare_Program_Folder(places), "");
  struct stat state {};
  ASSERT_EQ(stat(places.Program.c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 07777, 0750U);
}

TEST(InstalledCopy, SaysWhyItsFolderCannotBeMade) {
  const TempFolder home;
  home.Write("file", "");
  EXPECT_THAT(Prepare_Program_Folder({home / "file/history-quotes", "/nowhere", true}),
              HasSubstr((home / "file") + ": Not a directory."));
  EXPECT_THAT(Prepare_Program_Folder({home / "file", "/nowhere", true}), HasSubstr("Not a directory."));
}

TEST(ProgramFolder, ThatCannotBeWrittenIsTold) {
  const TempFolder home;
  ASSERT_EQ(chmod(home.Path().c_str(), 0555), 0);
  const int told = As_Plain_User([&] {
    return Prepare_Program_Folder({home.Path(), home.Path()}) ==
                   "Choices, keys and fetched quotes can't be kept in the program folder: " + home.Path() +
                       ": Permission denied."
               ? 1
               : 0;
  });
  ASSERT_EQ(chmod(home.Path().c_str(), 0755), 0);
  EXPECT_EQ(told, 1);
}

}  // namespace
}  // namespace hq
