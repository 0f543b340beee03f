#include <filesystem>
#include <gtest/gtest.h>

#include "platform/paths.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

TEST(Paths, OthersCanReadWhatItsModeLetsThem) {
  using std::filesystem::perms;
  const test::TempFolder folder;
  folder.Write("a", "text");
  const std::filesystem::path file = folder / "a";
  for (const perms mode : {perms{0600}, perms{0700}, perms{0622}}) {
    std::filesystem::permissions(file, mode);
    EXPECT_FALSE(Others_Can_Read(file)) << static_cast<int>(mode);
  }
  for (const perms mode : {perms{0640}, perms{0604}, perms{0644}}) {
    std::filesystem::permissions(file, mode);
    EXPECT_TRUE(Others_Can_Read(file)) << static_cast<int>(mode);
  }
  EXPECT_FALSE(Others_Can_Read(folder / "missing"));
}

TEST(PlaceOf, FollowsEveryLink) {
  namespace fs = std::filesystem;
  const test::TempFolder folder;
  const fs::path home = fs::canonical(folder.Path());
  folder.Write("file", "text");
  fs::create_directory(home / "inner");
  fs::create_symlink("../file", home / "inner" / "link");
  fs::create_symlink("inner/link", home / "link to a link");
  fs::create_symlink(home / "later", home / "link to nothing yet");
  fs::create_symlink("inner", home / "linked folder");
  fs::create_symlink("circle", home / "circle");
  EXPECT_EQ(Place_Of(home / "file"), home / "file");
  EXPECT_EQ(Place_Of(home / "." / "inner" / ".." / "file"), home / "file");
  EXPECT_EQ(Place_Of(home / "inner" / "link"), home / "file");
  EXPECT_EQ(Place_Of(home / "link to a link"), home / "file");
  EXPECT_EQ(Place_Of(home / "link to nothing yet"), home / "later");
  EXPECT_EQ(Place_Of(home / "linked folder" / "new"), home / "inner" / "new");
  EXPECT_EQ(Place_Of(home / "circle"), home / "circle");
  EXPECT_EQ(Place_Of("name"), fs::canonical(fs::current_path()) / "name");
}

TEST(Paths, AreShownInUtf8) {
  EXPECT_EQ(Utf8_Text(System_Path("/M\xC3\xBCll")), "/M\xC3\xBCll");
}

}  // namespace
}  // namespace hq
