#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "errortrap/trap_session.h"
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

}  // namespace
}  // namespace hq
