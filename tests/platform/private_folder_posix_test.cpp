#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/private_folder.h"
#include "support/environment.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;
using test::TempFolder;

class PrivateFolder : public testing::Test {
 protected:
  const TempFolder Temporary;
  const test::EnvironmentVariable Place{"TMPDIR", Temporary.Path()};
  const std::string Path = Private_Folder_Path();
};

TEST_F(PrivateFolder, IsMadeForTheUserAlone) {
  EXPECT_EQ(Path, Temporary / ("history-quotes-" + std::to_string(geteuid())));
  const mode_t mask_before = umask(0);
  EXPECT_TRUE(Make_Private_Folder(Path.c_str()));
  umask(mask_before);
  struct stat state {};
  ASSERT_EQ(stat(Path.c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 07777, 0700U);
  test::Put_Bytes(Path + "/kept", "text");
  EXPECT_TRUE(Make_Private_Folder(Path.c_str()));
  EXPECT_EQ(test::Bytes_Of(Path + "/kept"), "text");
}

TEST_F(PrivateFolder, IsNoLink) {
  const TempFolder elsewhere;
  fs::permissions(elsewhere.Path(), fs::perms(0700));
  fs::create_directory_symlink(elsewhere.Path(), Path);
  EXPECT_FALSE(Make_Private_Folder(Path.c_str()));
}

TEST_F(PrivateFolder, IsNoFile) {
  test::Put_Bytes(Path, "text");
  EXPECT_FALSE(Make_Private_Folder(Path.c_str()));
  EXPECT_EQ(test::Bytes_Of(Path), "text");
}

TEST_F(PrivateFolder, LetsNobodyElseIn) {
  fs::create_directory(Path);
  for (const int mode : {0701, 0710, 0720, 0755, 0777}) {
    fs::permissions(Path, fs::perms(mode));
    EXPECT_FALSE(Make_Private_Folder(Path.c_str())) << mode;
  }
  fs::permissions(Path, fs::perms(0700));
  EXPECT_TRUE(Make_Private_Folder(Path.c_str()));
}

TEST_F(PrivateFolder, IsNoOtherUsers) {
  if (geteuid() != 0) GTEST_SKIP() << "only the administrator can make a folder of another user";
  fs::create_directory(Path);
  fs::permissions(Path, fs::perms(0700));
  ASSERT_EQ(chown(Path.c_str(), 65534, 65534), 0);
  EXPECT_FALSE(Make_Private_Folder(Path.c_str()));
}

TEST_F(PrivateFolder, IsNotMadeWhereNothingCanBeMade) {
  EXPECT_FALSE(Make_Private_Folder((Temporary / "missing/folder").c_str()));
}

}  // namespace
}  // namespace hq
