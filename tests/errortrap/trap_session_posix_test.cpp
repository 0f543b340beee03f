#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "errortrap/trap_session.h"
#include "support/environment.h"
#include "support/fakes.h"
#include "support/file_size_limit.h"
#include "support/temp_folder.h"
#include "trap_doubles.h"

namespace hq {
namespace {

using testing::StartsWith;

class KeepingDialog final : public ErrorDialog {
 public:
  ErrorAnswer Ask(const ErrorQuestion& question) override {
    Questions.push_back(question);
    return {trap_choice::Continue, ""};
  }
  void Further_Error(std::int32_t, const std::string& text) override { Further.push_back(text); }
  void Show_Report(const std::string&) override {}

  std::vector<ErrorQuestion> Questions;
  std::vector<std::string> Further;
};

TEST(SessionOnAFullDisk, TellsOnceThatTheTraceEndsAndGoesOn) {
  const test::TempFolder home;
  SystemFiles files;
  const test::FakeClock clock;
  KeepingDialog dialog;
  test::RecordingMail mail;
  test::ScriptedLoop loop;
  modFailSafe trap(&loop);
  home.Write("FSCLIENT.INI", "[Log File]\nCircularLog=1\n");
  TrapSession session(trap,
                      {files,
                       clock,
                       dialog,
                       mail,
                       {.Title = "Quotes", .ExeName = "quotes", .Version = "1.2", .Folder = home.Path()},
                       [] { return MachineFacts(); }});
  trap.fsPUSH("global.bas", "Sub Main");
  const std::string before = test::Bytes_Of(home / "circ0001.log");
  {
    const test::FileSizeLimit full(before.size());
    ASSERT_TRUE(full.Is_Set());
    for (int i = 0; i < 5; ++i) {
      trap.fsPUSH("disk.bas", "Sub Write_File");
      trap.fsPOP("disk.bas", "Sub Write_File");
    }
  }
  ASSERT_EQ(dialog.Questions.size(), 1U);
  EXPECT_EQ(dialog.Questions[0].Number, DiskFull);
  EXPECT_THAT(dialog.Questions[0].Detail,
              StartsWith("Could not write to log file " + (home / "circ0001.log")));
  EXPECT_FALSE(dialog.Questions[0].CanGoOn);
  EXPECT_TRUE(dialog.Further.empty());
  EXPECT_EQ(trap.Depth(), 1);
}

// A session in a program folder that can take no log, with the temporary files in a folder of the test's.
class SessionWithNoPlaceForItsLog : public testing::Test {
 protected:
  SessionWithNoPlaceForItsLog() {
    std::filesystem::create_directory(Home / "error.log");
    std::filesystem::create_directory(Home / "!error!.log");
    Home.Write("FSCLIENT.INI", "[log file]\nWrite To Disk=1\n");
  }
  void Fail() {
    SystemFiles files;
    const test::FakeClock clock;
    KeepingDialog dialog;
    test::RecordingMail mail;
    test::ScriptedLoop loop;
    modFailSafe trap(&loop);
    TrapSession session(trap,
                        {files,
                         clock,
                         dialog,
                         mail,
                         {.Title = "Quotes", .ExeName = "quotes", .Version = "1.2", .Folder = Home.Path()},
                         [] { return MachineFacts(); }});
    trap.fsPUSH("global.bas", "Sub Main");
    trap.fsERROR("disk.bas", "Sub Write_File", RunTimeError(PathNotFound));
  }

  const test::TempFolder Home;
  const test::TempFolder Temporary;
  const test::EnvironmentVariable Place{"TMPDIR", Temporary.Path()};
  const std::string Own = Temporary / ("history-quotes-" + std::to_string(geteuid()));
};

TEST_F(SessionWithNoPlaceForItsLog, KeepsTheErrorInAFolderOfTheUsersOwn) {
  Fail();
  EXPECT_THAT(test::Bytes_Of(Own + "/fsError.log"), testing::HasSubstr("Error Number- 76\r\n"));
  EXPECT_EQ(std::filesystem::status(Own).permissions(), std::filesystem::perms(0700));
}

TEST_F(SessionWithNoPlaceForItsLog, FollowsNoLinkThatOthersMayHaveMade) {
  const test::TempFolder elsewhere;
  std::filesystem::permissions(elsewhere.Path(), std::filesystem::perms(0700));
  elsewhere.Write("fsError.log", "mine\r\n");
  std::filesystem::create_symlink(elsewhere / "fsError.log", Temporary / "fsError.log");
  std::filesystem::create_directory_symlink(elsewhere.Path(), Own);
  Fail();
  EXPECT_EQ(test::Bytes_Of(elsewhere / "fsError.log"), "mine\r\n");
}

}  // namespace
}  // namespace hq
