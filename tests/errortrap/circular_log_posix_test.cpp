#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "base/run_time_error.h"
#include "errortrap/circular_log.h"
#include "errortrap/circular_log_support.h"
#include "support/file_size_limit.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::FileSizeLimit;
using test::Records_In_Order;
using test::TempFolder;

// Writes records numbered from first on until it is killed, and says of each that it has been written.
[[noreturn]] void Write_For_Ever(const std::string& path, int first, int pipe_end) {
  try {
    CircularLog log(path, 64, 7);
    for (int i = first;; ++i) {
      log.Write("record " + std::to_string(i));
      if (write(pipe_end, &i, sizeof i) != sizeof i) break;
    }
  } catch (...) {
    _exit(2);
  }
  _exit(1);
}

TEST(CircularLogOfAKilledProcess, GoesOnInOrder) {
  const TempFolder folder;
  const std::string path = folder / "log";
  int known = 0;
  for (int kill_after = 1; kill_after <= 60; ++kill_after) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      close(ends[0]);
      Write_For_Ever(path, known + 1, ends[1]);
    }
    close(ends[1]);
    for (int i = 0; i < kill_after; ++i) {
      ASSERT_EQ(read(ends[0], &known, sizeof known), static_cast<ssize_t>(sizeof known));
    }
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    // What was written before the kill came.
    for (int more = 0; read(ends[0], &more, sizeof more) == static_cast<ssize_t>(sizeof more);) known = more;
    close(ends[0]);

    const std::vector<std::string> records = Records_In_Order(Bytes_Of(path), 64);
    ASSERT_FALSE(records.empty());
    // The one then written may be there too.
    const bool one_more = records.back() == "record " + std::to_string(known + 1);
    if (one_more) ++known;
    ASSERT_GE(records.size(), static_cast<size_t>(std::min(known, 5)));
    for (size_t i = 0; i < records.size(); ++i) {
      ASSERT_EQ(records[i], "record " + std::to_string(known - static_cast<int>(records.size() - 1 - i)));
    }
  }
}

TEST(CircularLogBehindALink, IsSetAsideWhereItLies) {
  const TempFolder folder;
  const TempFolder elsewhere;
  elsewhere.Write("kept", std::string(512, '\0'));
  std::filesystem::create_symlink(elsewhere / "kept", folder / "log");
  CircularLog(folder / "log", 64, 5).Write("anew");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "log"));
  EXPECT_THAT(folder.Names(), testing::ElementsAre("log"));
  EXPECT_THAT(Records_In_Order(Bytes_Of(elsewhere / "kept"), 64), testing::ElementsAre("anew"));
  EXPECT_EQ(Bytes_Of(elsewhere / "kept.bak"), std::string(512, '\0'));
}

// Where nothing may be moved: a folder that the user may not write to.
TEST(CircularLogThatCannotBeSetAside, IsLeftAlone) {
  const TempFolder folder;
  const std::string path = folder / "log";
  folder.Write("log", std::string(512, '\0'));
  std::filesystem::permissions(folder.Path(), std::filesystem::perms(0500));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    constexpr uid_t Nobody = 65534;
    bool ready = geteuid() != 0;
    if (!ready)
      ready = chown(path.c_str(), Nobody, Nobody) == 0 && chown(folder.Path().c_str(), Nobody, Nobody) == 0 &&
              setgid(Nobody) == 0 && setuid(Nobody) == 0;
    _exit(!ready ? 3 : test::Error_Number_Of([&] { CircularLog(path, 64, 5); }) == PermissionDenied ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  std::filesystem::permissions(folder.Path(), std::filesystem::perms(0700));
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(Bytes_Of(path), std::string(512, '\0'));
  EXPECT_THAT(folder.Names(), testing::ElementsAre("log"));
}

TEST(CircularLogOnAFullDisk, KeepsItsRecords) {
  const TempFolder folder;
  CircularLog log(folder / "log", 64, 100);
  log.Write("1");
  const std::string before = Bytes_Of(folder / "log");
  {
    const FileSizeLimit full(64 * 2 + 30);
    ASSERT_TRUE(full.Is_Set());
    EXPECT_RAISES(log.Write("2"), DiskFull);
    EXPECT_EQ(Bytes_Of(folder / "log"), before);
  }
  log.Write("2");
  EXPECT_EQ(Records_In_Order(Bytes_Of(folder / "log"), 64), (std::vector<std::string>{"1", "2"}));
}

}  // namespace
}  // namespace hq
