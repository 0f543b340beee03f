#include "platform/files.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/run_time_error.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::Put_Bytes;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(Copy, CopiesTheBytes) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "from", std::string_view("a\0b\r\n", 5));
  files.Copy(folder / "from", folder / "to");
  EXPECT_EQ(Bytes_Of(folder / "to"), std::string("a\0b\r\n", 5));
  EXPECT_EQ(Bytes_Of(folder / "from"), std::string("a\0b\r\n", 5));
  EXPECT_THAT(folder.Names(), ElementsAre("from", "to"));
}

TEST(Copy, ReplacesAFile) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "from", "new");
  Put_Bytes(folder / "to", "old and longer");
  files.Copy(folder / "from", folder / "to");
  EXPECT_EQ(Bytes_Of(folder / "to"), "new");
}

TEST(Copy, OntoItselfChangesNothing) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  files.Copy(folder / "file", folder / "file");
  EXPECT_EQ(Bytes_Of(folder / "file"), "bytes");
}

TEST(Rename, ReplacesAFileOfTheName) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "from", "new");
  files.Rename(folder / "from", folder / "to");
  Put_Bytes(folder / "from", "newer");
  files.Rename(folder / "from", folder / "to");
  EXPECT_EQ(Bytes_Of(folder / "to"), "newer");
  EXPECT_THAT(folder.Names(), ElementsAre("to"));
}

TEST(Rename, LeavesAllAsItWasWhenItFails) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "from", "new");
  Put_Bytes(folder / "to", "old");
  std::filesystem::create_directory(folder / "folder");
  EXPECT_RAISES(files.Rename(folder / "missing", folder / "to"), FileNotFound);
  EXPECT_RAISES(files.Rename(folder / "from", folder / "no folder/to"), PathNotFound);
  EXPECT_RAISES(files.Rename(folder / "from", folder / "folder"), PathFileAccessError);
  EXPECT_RAISES(files.Rename(folder / "folder", folder / "to"), PathFileAccessError);
  EXPECT_RAISES(files.Rename(folder / "from", folder / std::string("t\0o", 3)), BadFileName);
  EXPECT_EQ(Bytes_Of(folder / "from"), "new");
  EXPECT_EQ(Bytes_Of(folder / "to"), "old");
  EXPECT_THAT(folder.Names(), ElementsAre("folder", "from", "to"));
}

TEST(Copy, SaysWhichSideFailed) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "from", "new");
  Put_Bytes(folder / "to", "old");
  EXPECT_RAISES(files.Copy(folder / "missing", folder / "to"), FileNotFound);
  EXPECT_EQ(Bytes_Of(folder / "to"), "old");
  EXPECT_RAISES(files.Copy(folder / "from", folder / "no folder/to"), PathNotFound);
  EXPECT_RAISES(files.Copy(folder / "from", folder.Path()), PathFileAccessError);
  EXPECT_RAISES(files.Copy(folder.Path(), folder / "to"), PathFileAccessError);
  EXPECT_EQ(Bytes_Of(folder / "to"), "old");
  try {
    files.Copy(folder / "from", folder / "no folder/to");
  } catch (const RunTimeError& error) {
    EXPECT_THAT(error.Detail(), HasSubstr("no folder/to"));
  }
}

TEST(Delete, DeletesAFile) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  files.Delete(folder / "file");
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(Delete, RaisesWhenThereIsNoFile) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  EXPECT_RAISES(files.Delete(folder / "missing"), FileNotFound);
  EXPECT_RAISES(files.Delete(folder / "no folder/missing"), FileNotFound);
  EXPECT_RAISES(files.Delete(folder / "file/missing"), PathNotFound);
  EXPECT_RAISES(files.Delete(""), FileNotFound);
}

TEST(Delete, LeavesFoldersAlone) {
  const TempFolder folder;
  SystemFiles files;
  std::filesystem::create_directory(folder / "empty");
  EXPECT_RAISES(files.Delete(folder / "empty"), PathFileAccessError);
  EXPECT_TRUE(std::filesystem::is_directory(folder / "empty"));
}

TEST(Delete, TakesALinkAndNotWhatItNames) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  std::filesystem::create_symlink(folder / "file", folder / "link");
  files.Delete(folder / "link");
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(Exists, FindsFilesAndFolders) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "");
  std::filesystem::create_directory(folder / "inner");
  std::filesystem::create_symlink(folder / "nowhere", folder / "dangling");
  EXPECT_TRUE(files.Exists(folder / "file"));
  EXPECT_TRUE(files.Exists(folder / "inner"));
  EXPECT_TRUE(files.Exists(folder / "inner/"));
  EXPECT_FALSE(files.Exists(folder / "missing"));
  EXPECT_FALSE(files.Exists(folder / "dangling"));
  EXPECT_FALSE(files.Exists(folder / "file/inner"));
  EXPECT_FALSE(files.Exists(folder / "fil*"));
  EXPECT_FALSE(files.Exists(""));
  EXPECT_FALSE(files.Exists(folder / std::string(5000, 'x')));
}

TEST(Paths, WithANulNameNothing) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "bytes");
  Put_Bytes(folder / "other", "other");
  const std::string path = (folder / "file") + std::string("\0.txt", 5);
  EXPECT_FALSE(files.Exists(path));
  EXPECT_RAISES(files.Read(path), BadFileName);
  EXPECT_RAISES(files.Delete(path), BadFileName);
  EXPECT_RAISES(files.Open_For_Output(path), BadFileName);
  EXPECT_RAISES(files.Copy(path, folder / "copy"), BadFileName);
  EXPECT_RAISES(files.Copy(folder / "other", path), BadFileName);
  EXPECT_FALSE(Directory_Search_Finds(files, path));
  EXPECT_FALSE(Directory_Search_Finds(files, folder.Path() + std::string("\0/*", 3)));
  EXPECT_THAT(folder.Names(), ElementsAre("file", "other"));
  EXPECT_EQ(Bytes_Of(folder / "file"), "bytes");
}

TEST(JoinPath, PutsTheSystemsSeparatorBetween) {
  const std::string separator(1, static_cast<char>(std::filesystem::path::preferred_separator));
  EXPECT_EQ(Join_Path("folder", "user.cfg"), "folder" + separator + "user.cfg");
  EXPECT_EQ(Join_Path("", "user.cfg"), separator + "user.cfg");
  EXPECT_EQ(Join_Path("a b", ""), "a b" + separator);
}

TEST(DirectorySearch, FollowsTheWildcards) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "MSFT.txt", "");
  Put_Bytes(folder / "a[1].b", "");
  std::filesystem::create_directory(folder / "quotes");
  const std::vector<std::pair<std::string, bool>> table = {
      {"MSFT.txt", true}, {"MSFT", false},     {"*", true},           {"?", false},
      {"*.txt", true},    {"*.TXT", false},    {"MSFT.*", true},      {"M*t", true},
      {"M*F*.*x*", true}, {"M*F*.*y*", false}, {"????.txt", true},    {"?????.txt", false},
      {"???.txt", false}, {"MSFT.txt*", true}, {"*MSFT.txt", true},   {"**", true},
      {"quotes", true},   {"quot*", true},     {"q?otes", true},      {"quotes/*", false},
      {"a[1].b", true},   {"a[1].?", true},    {"a1.?", false},       {"*[1]*", true},
      {"*.b*c", false},   {"no/*", false},     {"*/MSFT.txt", false}, {"MSFT.txt/*", false},
      {"*t?", false},     {"*tx?", true},
  };
  for (const auto& [text, found] : table)
    EXPECT_EQ(Directory_Search_Finds(files, folder / text), found) << text;
}

TEST(DirectorySearch, LooksPastBlanksAroundThePath) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "");
  Put_Bytes(folder / "ends in a blank ", "");
  EXPECT_TRUE(Directory_Search_Finds(files, "  " + (folder / "file") + "  "));
  EXPECT_TRUE(Directory_Search_Finds(files, "  " + (folder / "fi*") + "  "));
  EXPECT_TRUE(Directory_Search_Finds(files, folder / "ends in a blank "));
  EXPECT_FALSE(Directory_Search_Finds(files, "  " + (folder / "missing") + "  "));
}

TEST(DirectorySearch, FindsNothingForNoText) {
  SystemFiles files;
  EXPECT_FALSE(Directory_Search_Finds(files, ""));
  EXPECT_FALSE(Directory_Search_Finds(files, "   "));
}

TEST(DirectorySearch, SearchesTheWorkingFolderWhenThereIsNoOther) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "only here.xyz", "");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  const bool found = Directory_Search_Finds(files, "only*.xyz");
  const bool other = Directory_Search_Finds(files, "other*.xyz");
  std::filesystem::current_path(before);
  EXPECT_TRUE(found);
  EXPECT_FALSE(other);
}

}  // namespace
}  // namespace hq
