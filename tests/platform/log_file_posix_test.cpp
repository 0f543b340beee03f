#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/run_time_error.h"
#include "platform/log_file.h"
#include "support/file_size_limit.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::FileSizeLimit;
using test::TempFolder;
using Begin = LogFile::Begin;

mode_t Mode_Of(const std::string& path) {
  struct stat state {};
  return stat(path.c_str(), &state) == 0 ? state.st_mode & 07777 : 0;
}

TEST(LogFileMode, LetsOnlyTheUserReadAndWrite) {
  const TempFolder folder;
  const mode_t mask = umask(0);
  const LogFile log(folder / "log", Begin::AtTheEnd);
  umask(mask);
  EXPECT_EQ(Mode_Of(folder / "log"), 0600U);
}

TEST(LogFileMode, IsSetOnAnExistingFile) {
  const TempFolder folder;
  for (const mode_t mode : {0644U, 0666U, 0777U}) {
    folder.Write("log", "text");
    ASSERT_EQ(chmod((folder / "log").c_str(), mode), 0);
    const LogFile log(folder / "log", Begin::AtTheEnd);
    EXPECT_EQ(Mode_Of(folder / "log"), 0600U);
    EXPECT_EQ(Bytes_Of(folder / "log"), "text");
  }
}

TEST(LogFileMode, StaysUntilAFileOpenedInPlaceIsKnownToBeALog) {
  const TempFolder folder;
  folder.Write("log", "text");
  ASSERT_EQ(chmod((folder / "log").c_str(), 0644), 0);
  LogFile log(folder / "log", Begin::InPlace);
  EXPECT_EQ(Mode_Of(folder / "log"), 0644U);
  log.Make_Private();
  EXPECT_EQ(Mode_Of(folder / "log"), 0600U);
}

// Only the administrator can be another user for a while.
TEST(LogFileOwner, MustBeTheUser) {
  if (geteuid() != 0) GTEST_SKIP() << "this user can't become another one";
  constexpr uid_t nobody = 65534;
  const TempFolder folder;
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  folder.Write("log", "text");
  ASSERT_EQ(chmod((folder / "log").c_str(), 0666), 0);
  ASSERT_EQ(seteuid(nobody), 0);
  EXPECT_RAISES(LogFile(folder / "log", Begin::AtTheEnd), PermissionDenied);
  EXPECT_NO_THROW(LogFile(folder / "own", Begin::AtTheEnd));
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(Bytes_Of(folder / "log"), "text");
}

TEST(LogFileHandle, IsNotHandedToOtherPrograms) {
  const TempFolder folder;
  const LogFile log(folder / "log", Begin::AtTheEnd);
  int found = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (std::filesystem::read_symlink(entry.path(), gone) != folder / "log") continue;
    ++found;
    EXPECT_NE(fcntl(std::stoi(entry.path().filename().string()), F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(found, 1);
}

TEST(LogFileLink, IsFollowed) {
  const TempFolder folder;
  folder.Write("file", "before ");
  ASSERT_EQ(symlink("file", (folder / "link").c_str()), 0);
  ASSERT_EQ(symlink("new", (folder / "dangling").c_str()), 0);
  LogFile(folder / "link", Begin::AtTheEnd).Append("text");
  LogFile(folder / "dangling", Begin::AtTheEnd).Append("text");
  EXPECT_EQ(Bytes_Of(folder / "file"), "before text");
  EXPECT_EQ(Bytes_Of(folder / "new"), "text");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST(LogFileLink, InACircleIsRefused) {
  const TempFolder folder;
  ASSERT_EQ(symlink("two", (folder / "one").c_str()), 0);
  ASSERT_EQ(symlink("one", (folder / "two").c_str()), 0);
  EXPECT_RAISES(LogFile(folder / "one", Begin::AtTheEnd), PathFileAccessError);
}

TEST(LogFileKind, MustBeARegularFile) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  ASSERT_EQ(symlink("/dev/null", (folder / "device").c_str()), 0);
  ASSERT_EQ(mkdir((folder / "folder").c_str(), 0700), 0);
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  (folder / "socket").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  for (const char* name : {"pipe", "device", "folder", "socket"}) {
    for (const Begin begin : {Begin::Anew, Begin::AtTheEnd, Begin::InPlace}) {
      EXPECT_RAISES(LogFile(folder / name, begin), PathFileAccessError) << name;
    }
  }
  EXPECT_EQ(Mode_Of("/dev/null") & 0666U, 0666U);
  close(listener);
}

TEST(LogFileOnAFullDisk, KeepsWhatItHeld) {
  const TempFolder folder;
  LogFile log(folder / "log", Begin::Anew);
  log.Append("0123456789");
  {
    const FileSizeLimit full(16);
    ASSERT_TRUE(full.Is_Set());
    // Six of the bytes fit.
    EXPECT_RAISES(log.Append("abcdefghij"), DiskFull);
    EXPECT_EQ(log.Size(), 10U);
    EXPECT_RAISES(log.Append("abcdefghij"), DiskFull);
    log.Append("abcdef");
    EXPECT_RAISES(log.Append("g"), DiskFull);
  }
  log.Append("g");
  EXPECT_EQ(Bytes_Of(folder / "log"), "0123456789abcdefg");
}

TEST(LogFileOnAFullDisk, GrowsByNothingWhenWrittenInPlace) {
  const TempFolder folder;
  LogFile log(folder / "log", Begin::InPlace);
  log.Append("0123456789");
  const FileSizeLimit full(16);
  ASSERT_TRUE(full.Is_Set());
  EXPECT_RAISES(log.Write_At(10, "abcdefghij"), DiskFull);
  EXPECT_EQ(log.Read_At(0, 100), "0123456789");
  EXPECT_RAISES(log.Write_At(8, "abcdefghij"), DiskFull);
  EXPECT_EQ(log.Size(), 10U);
  EXPECT_RAISES(log.Append("abcdefghij"), DiskFull);
  EXPECT_EQ(log.Size(), 10U);
  log.Write_At(0, "abcdefghijklmnop");
  EXPECT_EQ(log.Read_At(0, 100), "abcdefghijklmnop");
}

}  // namespace
}  // namespace hq
