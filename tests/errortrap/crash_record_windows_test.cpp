#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <windows.h>

#include "errortrap/crash_record.h"
#include "support/child_program.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::ChildProgram;
using test::TempFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr int AbortExitCode = 3;

class CrashRecord : public testing::Test {
 protected:
  // The exit code.
  int Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), HQ_CRASH_PROGRAM);
    ChildProgram program(arguments);
    const int result = program.Wait();
    out_ = program.Out();
    err_ = program.Err();
    return result;
  }
  [[nodiscard]] std::string Log() const { return folder_ / "error.log"; }

  // The only record of the log without its first line, which must be a date and a time.
  [[nodiscard]] std::string Only_Record() const {
    const std::string text = Bytes_Of(Log());
    std::smatch match;
    const std::regex when(R"(\r\n\d\d/\d\d/\d\d\d\d \d\d:\d\d:\d\d\r\n)");
    EXPECT_TRUE(std::regex_search(text, match, when, std::regex_constants::match_continuous)) << text;
    return match.empty() ? text : match.suffix().str();
  }

  static std::string Record(long long number, const std::string& description) {
    return "Category- Unknown Error Class\r\n"
           "Source- crash-program 1.0.0\r\n"
           "Module- frmmain1.frm : Sub Process_Onestock\r\n"
           "Line Number-  <unavailable: line numbers not used>\r\n"
           "Code Pointer = frmmain1.frm : Sub Process_Onestock\r\n"
           "Error Number- " +
           std::to_string(number) + "\r\nDescription- " + description +
           "\r\n"
           "Call Tree & Arguments\r\n"
           "     1 : global.bas : Sub Main : \r\n"
           "     2 :  frmmain1.frm : Sub Process_Onestock : \r\n"
           "User Text- \r\n";
  }

  TempFolder folder_;
  std::string out_;
  std::string err_;
};

struct Ending {
  const char* Way;
  DWORD Code;  // the number in the record and, but for an abort, the exit code
  const char* Description;
};

void PrintTo(const Ending& ending, std::ostream* out) {
  *out << ending.Way;
}

class CrashRecordOfEveryKind : public CrashRecord, public testing::WithParamInterface<Ending> {};

TEST_P(CrashRecordOfEveryKind, IsTheOnlyOneAndTheProcessEndsAsUsual) {
  const auto& [way, code, description] = GetParam();
  const int number = static_cast<int>(code);
  EXPECT_EQ(Run({way, Log()}), code == SIGABRT ? AbortExitCode : number) << err_;
  EXPECT_EQ(Only_Record(), Record(number, description));
  EXPECT_THAT(out_, Not(HasSubstr("ended")));
}

INSTANTIATE_TEST_SUITE_P(
    Endings, CrashRecordOfEveryKind,
    testing::Values(
        Ending{"null", EXCEPTION_ACCESS_VIOLATION, "Access violation (0xC0000005)"},
        Ending{"overflow", EXCEPTION_STACK_OVERFLOW, "Stack overflow (0xC00000FD)"},
        Ending{"abort", SIGABRT, "Aborted (SIGABRT)"},
        Ending{"throw", SIGABRT,
               "Uncaught exception: something bad  User Text- on two lines (std::runtime_error)"},
        Ending{"throw error", SIGABRT, "Uncaught exception: Disk full: /some/path (hq::RunTimeError)"},
        Ending{"throw other", SIGABRT, "Uncaught exception: (anonymous namespace)::NoStandardException"},
        Ending{"throw number", SIGABRT, "Uncaught exception: int"},
        Ending{"noexcept", SIGABRT,
               "Uncaught exception: out of a procedure that lets none out (std::runtime_error)"},
        Ending{"terminate", SIGABRT, "Program terminated (std::terminate)"},
        Ending{"thread", EXCEPTION_ACCESS_VIOLATION, "Access violation (0xC0000005)"},
        Ending{"throw on thread", SIGABRT, "Uncaught exception: on a thread (std::runtime_error)"},
        Ending{"many threads", EXCEPTION_ACCESS_VIOLATION, "Access violation (0xC0000005)"}),
    [](const auto& ending) {
      std::string name = ending.param.Way;
      std::erase(name, ' ');
      return name;
    });

TEST_F(CrashRecord, IsAddedToWhatTheLogHolds) {
  Run({"null", Log()});
  const std::string first = Bytes_Of(Log());
  Run({"abort", Log()});
  EXPECT_THAT(Bytes_Of(Log()), StartsWith(first));
  EXPECT_THAT(Bytes_Of(Log()).substr(first.size()), HasSubstr("Description- Aborted (SIGABRT)\r\n"));
}

TEST_F(CrashRecord, GoesToTheFirstPlaceThatTakesIt) {
  std::filesystem::create_directory(folder_ / "a folder");
  Run({"null", folder_ / "missing\\error.log", folder_ / "a folder", Log(), folder_ / "second.log"});
  EXPECT_EQ(Only_Record(),
            Record(static_cast<int>(EXCEPTION_ACCESS_VIOLATION), "Access violation (0xC0000005)"));
  EXPECT_THAT(folder_.Names(), ElementsAre("a folder", "error.log"));
}

TEST_F(CrashRecord, ThatNoPlaceTakesLeavesTheEndAsItWas) {
  EXPECT_EQ(Run({"null", folder_ / "missing\\error.log"}), static_cast<int>(EXCEPTION_ACCESS_VIOLATION));
  EXPECT_EQ(Run({"null"}), static_cast<int>(EXCEPTION_ACCESS_VIOLATION));
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(CrashRecord, IsFollowedByWhatTheTraceLogKeepsBack) {
  const std::string trace = folder_ / "trace.log";
  folder_.Write("trace.log", "what was written before\r\n");
  Run({"null", Log(), "trace=" + trace});
  EXPECT_EQ(Bytes_Of(trace), "what was written before\r\n[crash-program] the last words\r\n");
}

TEST_F(CrashRecord, StaysWholeWhenTheHandlerItselfCrashes) {
  EXPECT_NE(Run({"again", Log(), "trace=" + folder_ / "trace.log"}), 0);
  EXPECT_EQ(Only_Record(),
            Record(static_cast<int>(EXCEPTION_ACCESS_VIOLATION), "Access violation (0xC0000005)"));
}

TEST_F(CrashRecord, IsNotMadeWhenAllGoesWell) {
  EXPECT_EQ(Run({"nothing", Log()}), 0) << err_;
  EXPECT_EQ(out_, "ended\n");
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(CrashRecord, IsNotMadeWithoutAWatch) {
  EXPECT_NE(Run({"without a watch", Log()}), 0);
  EXPECT_NE(Run({"after the watch", Log()}), 0);
  EXPECT_EQ(Run({"throw after the watch", Log()}), AbortExitCode);
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(CrashRecord, HasOneWatchAProcess) {
  EXPECT_EQ(Run({"two watches", Log()}), 3);
  EXPECT_EQ(out_, "a second crash watch\n");
}

}  // namespace
}  // namespace hq
