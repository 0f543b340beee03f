#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"
#include "support/plain_user.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::As_Plain_User;
using test::Bytes_Of;
using test::Put_Bytes;
using test::TempFolder;

constexpr uid_t SomeUser = 4711;
constexpr gid_t SomeGroup = 4712;

mode_t Mode_Of(const std::string& path) {
  struct stat state {};
  return stat(path.c_str(), &state) == 0 ? state.st_mode & 07777 : 0;
}

struct stat State_Of(const std::string& path) {
  struct stat state {};
  EXPECT_EQ(stat(path.c_str(), &state), 0);
  return state;
}

void Write_New(const std::string& path) {
  SystemFiles files;
  const auto file = files.Open_For_Output(path);
  file->Write("new");
  file->Close();
}

TEST(OpenForOutput, KeepsThePermissionsOfTheFileItReplaces) {
  const TempFolder folder;
  SystemFiles files;
  for (const mode_t mode : {mode_t{0600}, mode_t{0640}, mode_t{0666}, mode_t{0755}}) {
    Put_Bytes(folder / "file", "earlier");
    ASSERT_EQ(chmod((folder / "file").c_str(), mode), 0);
    const auto file = files.Open_For_Output(folder / "file");
    file->Write("new");
    file->Close();
    EXPECT_EQ(Mode_Of(folder / "file"), mode);
    EXPECT_EQ(Bytes_Of(folder / "file"), "new");
  }
}

TEST(OpenForOutput, GivesANewFileThePermissionsOfTheUsersMask) {
  const TempFolder folder;
  SystemFiles files;
  const mode_t before = umask(027);
  files.Open_For_Output(folder / "file")->Close();
  umask(before);
  EXPECT_EQ(Mode_Of(folder / "file"), 0640U);
}

TEST(OpenForOutput, KeepsOwnerAndGroupWhereItMay) {
  if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  const TempFolder folder;
  Put_Bytes(folder / "file", "earlier");
  ASSERT_EQ(chown((folder / "file").c_str(), SomeUser, SomeGroup), 0);
  ASSERT_EQ(chmod((folder / "file").c_str(), 0640), 0);
  Write_New(folder / "file");
  const struct stat state = State_Of(folder / "file");
  EXPECT_EQ(state.st_uid, SomeUser);
  EXPECT_EQ(state.st_gid, SomeGroup);
  EXPECT_EQ(state.st_mode & 07777, 0640U);
  EXPECT_EQ(Bytes_Of(folder / "file"), "new");
}

// The writer's own group was not meant by the rights of the group that the file had.
TEST(OpenForOutput, LetsNobodyElseDoMoreWhenTheGroupCannotBeKept) {
  if (geteuid() != 0) GTEST_SKIP() << "only root makes a file of another user";
  const TempFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  struct Case {
    mode_t Before;
    mode_t After;
  };
  for (const auto& [before, after] :
       {Case{0666, 0666}, Case{0662, 0622}, Case{0626, 0622}, Case{06777, 0777}}) {
    Put_Bytes(folder / "file", "earlier");
    ASSERT_EQ(chown((folder / "file").c_str(), SomeUser, SomeGroup), 0);
    ASSERT_EQ(chmod((folder / "file").c_str(), before), 0);
    EXPECT_EQ(As_Plain_User([&] {
                Write_New(folder / "file");
                return 0;
              }),
              0);
    EXPECT_EQ(Mode_Of(folder / "file"), after) << std::oct << before;
    EXPECT_EQ(Bytes_Of(folder / "file"), "new");
  }
}

TEST(OpenForOutput, IsNeverWiderThanTheFileItReplaces) {
  const TempFolder folder;
  SystemFiles files;
  Put_Bytes(folder / "file", "earlier");
  ASSERT_EQ(chmod((folder / "file").c_str(), 0600), 0);
  const mode_t before = umask(0);
  const auto file = files.Open_For_Output(folder / "file");
  file->Write(std::string(1000000, 'x'));
  umask(before);
  for (const std::string& name : folder.Names()) EXPECT_EQ(Mode_Of(folder / name), 0600U) << name;
  file->Close();
  EXPECT_EQ(Mode_Of(folder / "file"), 0600U);
}

TEST(OpenForPrivateOutput, MakesANewFileForTheUserAlone) {
  const TempFolder folder;
  SystemFiles files;
  const mode_t before = umask(0);
  const auto file = files.Open_For_Private_Output(folder / "keys");
  file->Write(std::string(1000000, 'x'));
  umask(before);
  for (const std::string& name : folder.Names()) EXPECT_EQ(Mode_Of(folder / name), 0600U) << name;
  file->Close();
  EXPECT_EQ(Mode_Of(folder / "keys"), 0600U);
}

TEST(OpenForPrivateOutput, KeepsThePermissionsOfTheFileItReplaces) {
  const TempFolder folder;
  SystemFiles files;
  for (const mode_t mode : {mode_t{0600}, mode_t{0640}, mode_t{0644}}) {
    Put_Bytes(folder / "keys", "earlier");
    ASSERT_EQ(chmod((folder / "keys").c_str(), mode), 0);
    files.Open_For_Private_Output(folder / "keys")->Close();
    EXPECT_EQ(Mode_Of(folder / "keys"), mode);
    EXPECT_EQ(Bytes_Of(folder / "keys"), "");
  }
}

}  // namespace
}  // namespace hq
