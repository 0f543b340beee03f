#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "platform/server_settings_file.h"
#include "support/plain_user.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

namespace fs = std::filesystem;

using test::As_Plain_User;
using test::Bytes_Of;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* Keys = "[Keys]\ntiingo=abc\n";
constexpr const char* Saved = "[Keys]\ntiingo=abc\n\n[Quotes]\nSource=live\n";
const std::vector<SettingsChange> Change = {{"Quotes", "Source", "live"}};

// Whether a file was read, and was saved.
constexpr int Read = 1;
constexpr int Written = 2;

int Read_And_Save(const std::string& path) {
  SystemFiles files;
  ServerSettingsFile file(files, path);
  const int read = file.Fault().empty() ? Read : 0;
  try {
    file.Save(Change);
    return read + Written;
  } catch (const SettingsError&) {
    return read;
  }
}

TEST(ServerSettingsFileOnDisk, AFileThatTheUserMayNotReadKeepsItsKeys) {
  const TempFolder folder;
  fs::permissions(folder.Path(), fs::perms::all);
  folder.Write("server.ini", Keys);
  fs::permissions(folder / "server.ini", fs::perms::none);
  EXPECT_EQ(As_Plain_User([&] { return Read_And_Save(folder / "server.ini"); }), 0);
  fs::permissions(folder / "server.ini", fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(Bytes_Of(folder / "server.ini"), Keys);
  EXPECT_THAT(folder.Names(), ElementsAre("server.ini"));
}

TEST(ServerSettingsFileOnDisk, FoldersPipesAndLinksToNothingAreNoSettings) {
  const TempFolder folder;
  fs::create_directory(folder / "folder");
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("nowhere", folder / "link");
  fs::create_symlink("circle", folder / "circle");
  folder.Write("file", "");
  for (const char* name : {"folder", "pipe", "link", "circle", "file/server.ini"}) {
    SystemFiles files;
    ServerSettingsFile file(files, folder / name);
    EXPECT_THAT(file.Fault(), HasSubstr(folder / name));
    EXPECT_EQ(Read_And_Save(folder / name), 0) << name;
  }
  EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
  EXPECT_FALSE(fs::exists(folder / "nowhere"));
}

TEST(ServerSettingsFileOnDisk, APipeIsSetAsideForNewSettings) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "server.ini").c_str(), 0600), 0);
  SystemFiles files;
  ServerSettingsFile file(files, folder / "server.ini");
  file.Replace(Change);
  EXPECT_TRUE(fs::is_fifo(folder / "server.ini.bak"));
  EXPECT_EQ(Bytes_Of(folder / "server.ini"), "[Quotes]\r\nSource=live\r\n");
}

TEST(ServerSettingsFileOnDisk, ALinkStaysALinkAndPermissionsStay) {
  const TempFolder folder;
  const TempFolder elsewhere;
  elsewhere.Write("mine.ini", Keys);
  const auto mode = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
  fs::permissions(elsewhere / "mine.ini", mode);
  fs::create_symlink(elsewhere / "mine.ini", folder / "server.ini");
  EXPECT_EQ(Read_And_Save(folder / "server.ini"), Read + Written);
  EXPECT_TRUE(fs::is_symlink(folder / "server.ini"));
  EXPECT_EQ(Bytes_Of(elsewhere / "mine.ini"), Saved);
  EXPECT_EQ(fs::status(elsewhere / "mine.ini").permissions(), mode);
  EXPECT_THAT(elsewhere.Names(), ElementsAre("mine.ini"));
  EXPECT_THAT(folder.Names(), ElementsAre("server.ini"));
}

TEST(ServerSettingsFileOnDisk, ANewFileIsTheUsersAlone) {
  const TempFolder folder;
  EXPECT_EQ(Read_And_Save(folder / "server.ini"), Read + Written);
  EXPECT_EQ(fs::status(folder / "server.ini").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

}  // namespace
}  // namespace hq
