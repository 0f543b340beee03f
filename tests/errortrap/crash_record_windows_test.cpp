#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include "errortrap/crash_record.h"
#include "errortrap/crash_record_support.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::ChildProgram;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr int AbortExitCode = 3;

class CrashRecord : public test::CrashRecordTest {
 protected:
  // The exit code.
  int Run(std::vector<std::string> arguments) {
    ChildProgram program(Command(std::move(arguments)));
    return CrashRecordTest::Run(program);
  }
  // The only record of the log.
  [[nodiscard]] std::string Only_Record() const {
    const std::vector<std::string> records = Records(Log());
    EXPECT_EQ(records.size(), 1U) << Bytes_Of(Log());
    return records.empty() ? std::string() : records[0];
  }
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
        Ending{"terminate", SIGABRT, "Program terminated (std::terminate)"}),
    test::Name_Of_Ending<Ending>);

TEST_F(CrashRecord, IsAddedToWhatTheLogHolds) {
  Run({"null", Log()});
  const std::string first = Bytes_Of(Log());
  Run({"abort", Log()});
  EXPECT_THAT(Bytes_Of(Log()), StartsWith(first));
  EXPECT_THAT(Bytes_Of(Log()).substr(first.size()), HasSubstr("Description- Aborted (SIGABRT)\r\n"));
}

TEST_F(CrashRecord, OfAnotherThreadNamesItAndHasNoneOfTheTrapsProcedures) {
  Run({"thread", Log()});
  const std::string thread = out_.substr(0, out_.find('\n'));
  EXPECT_THAT(Only_Record(), HasSubstr("\r\nDescription- Access violation (0xC0000005) on thread " + thread +
                                       " (some worker)\r\nUser Text- \r\n"));
  EXPECT_THAT(Only_Record(), HasSubstr("\r\nModule- \r\n"));
}

TEST_F(CrashRecord, IsMadeOfEveryKindOfCrashOnAnotherThread) {
  for (const char* way : {"throw on thread", "many threads"}) {
    std::filesystem::remove(Log());
    Run({way, Log()});
    EXPECT_THAT(Only_Record(), HasSubstr(" on thread "));
  }
}

TEST_F(CrashRecord, StandsBehindAnEmptyLineWhateverTheLogEndsWith) {
  for (const auto& [before, gap] : std::vector<std::pair<std::string, std::string>>{
           {"a line\r\n", "\r\n"}, {"a line\r", "\n\r\n"}, {"User Text- ", "\r\n\r\n"}}) {
    folder_.Write("error.log", before);
    Run({"null", Log()});
    EXPECT_THAT(Bytes_Of(Log()), StartsWith(before + gap));
    EXPECT_THAT(Bytes_Of(Log()).substr((before + gap).size(), 3), testing::EndsWith("/"));
  }
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

TEST_F(CrashRecord, StaysWholeWhenTheHandlerItselfCrashes) {
  EXPECT_NE(Run({"again", Log()}), 0);
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
