#include "cli/console.h"

#include <gtest/gtest.h>
#include <sstream>

namespace hq {
namespace {

struct Streams {
  std::ostringstream Out;
  std::ostringstream Err;
};

TEST(ConsoleTest, WithoutATerminalOnlyLinesAreWritten) {
  Streams streams;
  Console console(streams.Out, streams.Err, 0);
  console.Begin_Progress(2);
  static_cast<StatusLine&>(console).Show("Downloading...");
  console.Add("downloading symbol   A");
  console.Symbol_Done();
  console.Tell("A: Time out. no response");
  console.End_Progress();
  EXPECT_EQ(streams.Out.str(), "downloading symbol   A\n");
  EXPECT_EQ(streams.Err.str(), "A: Time out. no response\n");
}

TEST(ConsoleTest, OnATerminalOneLineIsDrawnOverAndOver) {
  Streams streams;
  Console console(streams.Out, streams.Err, 60);
  console.Begin_Progress(4);
  static_cast<StatusLine&>(console).Show("Downloading...");
  EXPECT_EQ(streams.Err.str(), "\r\x1b[K[....................] 0/4  Downloading...");
  streams.Err.str("");
  console.Symbol_Done();
  EXPECT_EQ(streams.Err.str(), "\r\x1b[K[#####...............] 1/4  Downloading...");
  streams.Err.str("");
  console.Tell("A: failed");
  EXPECT_EQ(streams.Err.str(), "\r\x1b[KA: failed\n\r\x1b[K[#####...............] 1/4  Downloading...");
  streams.Err.str("");
  console.End_Progress();
  console.Tell("end");
  EXPECT_EQ(streams.Err.str(), "\r\x1b[Kend\n");
}

TEST(ConsoleTest, TheDrawnLineNeverFillsTheTerminal) {
  Streams streams;
  Console console(streams.Out, streams.Err, 30);
  console.Begin_Progress(1);
  static_cast<StatusLine&>(console).Show("a long status that would wrap");
  EXPECT_EQ(streams.Err.str(), "\r\x1b[K[....................] 0/1  a");
}

TEST(ConsoleTest, MessagesAndTrappedErrorsGoToTheUser) {
  Streams streams;
  Console console(streams.Out, streams.Err, 0);
  EXPECT_EQ(static_cast<MessageBoxes&>(console).Show("one\ntwo"), MessageAnswer::Ok);
  ErrorQuestion question;
  question.Number = 61;
  question.Procedure = "Sub Write_File";
  question.Module = "disk.bas";
  question.Description = "Disk full";
  question.Detail = "/out";
  question.CallTree = {" 1 : disk.bas : Sub Write_File : "};
  EXPECT_EQ(console.Ask(question).Choice, trap_choice::Continue);
  EXPECT_EQ(streams.Err.str(),
            "one\ntwo\nError 61 in Sub Write_File (disk.bas): Disk full: /out\n  1 : disk.bas : Sub "
            "Write_File : \n");
  EXPECT_EQ(streams.Out.str(), "");
}

TEST(ConsoleTest, ErrorsOutsideOfAllProceduresAreOneLine) {
  for (const char* nowhere : {"(no procedure yet)", "(no procedure)"}) {
    Streams streams;
    Console console(streams.Out, streams.Err, 0);
    ErrorQuestion question;
    question.Number = 70;
    question.Procedure = "Sub Read_Options";
    question.Module = "modFailSafe.bas";
    question.Description = "Permission denied";
    question.Detail = "The log is in use.";
    question.CallTree = {nowhere};
    console.Ask(question);
    EXPECT_EQ(streams.Err.str(),
              "Error 70 in Sub Read_Options (modFailSafe.bas): Permission denied: The log is in use.\n");
  }
}

}  // namespace
}  // namespace hq
