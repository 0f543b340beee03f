#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "built_places.h"
#include "errortrap/crash_record.h"
#include "errortrap/crash_record_support.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::ChildProgram;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

// Five and a half hours east of Greenwich, and no core files.
void Prepare() {
  setenv("TZ", "XYZ-05:30", 1);
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

void Prepare_Without_Disk_Space() {
  Prepare();
  const rlimit no_byte{0, 0};
  setrlimit(RLIMIT_FSIZE, &no_byte);
  signal(SIGXFSZ, SIG_IGN);
}

class CrashRecord : public test::CrashRecordTest {
 protected:
  // The exit code, or minus the signal.
  int Run(std::vector<std::string> arguments, void (*prepare)() = Prepare) {
    ChildProgram program(Command(std::move(arguments)), prepare);
    return CrashRecordTest::Run(program);
  }
};

struct Ending {
  const char* Way;
  int Signal;
  const char* Description;
};

void PrintTo(const Ending& ending, std::ostream* out) {
  *out << ending.Way;
}

class CrashRecordOfEveryKind : public CrashRecord, public testing::WithParamInterface<Ending> {};

TEST_P(CrashRecordOfEveryKind, IsTheOnlyOneAndTheProcessEndsAsUsual) {
  const auto& [way, number, description] = GetParam();
  EXPECT_EQ(Run({way, Log()}), -number) << err_;
  EXPECT_THAT(Records(Log()), ElementsAre(Record(number, description)));
  EXPECT_EQ(out_, "");
  struct stat facts {};
  ASSERT_EQ(stat(Log().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0600U);
}

INSTANTIATE_TEST_SUITE_P(
    Endings, CrashRecordOfEveryKind,
    testing::Values(
        Ending{"null", SIGSEGV, "Segmentation fault (SIGSEGV)"},
        Ending{"overflow", SIGSEGV, "Segmentation fault (SIGSEGV)"},
        Ending{"divide", SIGFPE, "Arithmetic error (SIGFPE)"},
        Ending{"illegal", SIGILL, "Illegal instruction (SIGILL)"},
        Ending{"bus", SIGBUS, "Bus error (SIGBUS)"}, Ending{"abort", SIGABRT, "Aborted (SIGABRT)"},
        Ending{"throw", SIGABRT,
               "Uncaught exception: something bad  User Text- on two lines (std::runtime_error)"},
        Ending{"throw error", SIGABRT, "Uncaught exception: Disk full: /some/path (hq::RunTimeError)"},
        Ending{"throw other", SIGABRT, "Uncaught exception: (anonymous namespace)::NoStandardException"},
        Ending{"throw number", SIGABRT, "Uncaught exception: int"},
        Ending{"noexcept", SIGABRT,
               "Uncaught exception: out of a procedure that lets none out (std::runtime_error)"},
        Ending{"terminate", SIGABRT, "Program terminated (std::terminate)"}),
    test::Name_Of_Ending<Ending>);

TEST_F(CrashRecord, OfAnotherThreadNamesItAndHasNoneOfTheTrapsProcedures) {
  EXPECT_EQ(Run({"thread", Log()}), -SIGSEGV) << err_;
  const std::string thread = out_.substr(0, out_.find('\n'));
  EXPECT_THAT(Records(Log()),
              ElementsAre("Category- Unknown Error Class\r\nSource- crash-program 1.0.0\r\nModule- \r\n"
                          "Line Number-  <unavailable: line numbers not used>\r\nCode Pointer = \r\n"
                          "Error Number- 11\r\nDescription- Segmentation fault (SIGSEGV) on thread " +
                          thread + " (some worker)\r\nUser Text- \r\n"));
}

TEST_F(CrashRecord, IsMadeOfEveryKindOfCrashOnAnotherThread) {
  EXPECT_EQ(Run({"throw on thread", Log()}), -SIGABRT) << err_;
  EXPECT_EQ(Run({"many threads", Log()}), -SIGSEGV) << err_;
  EXPECT_THAT(
      Records(Log()),
      ElementsAre(
          ContainsRegex("Description- Uncaught exception: on a thread \\(std::runtime_error\\) on thread "
                        "[0-9]+ \\(crash_program\\)\r\n"),
          ContainsRegex("Description- Segmentation fault \\(SIGSEGV\\) on thread [0-9]+ ")));
}

TEST_F(CrashRecord, StandsBehindAnEmptyLineWhateverTheLogEndsWith) {
  for (const auto& [before, gap] :
       std::vector<std::pair<std::string, std::string>>{{"", ""},
                                                        {"a line\r\n", "\r\n"},
                                                        {"a line\n", "\r\n"},
                                                        {"a line\r", "\n\r\n"},
                                                        {"User Text- ", "\r\n\r\n"},
                                                        {std::string("zeros\0", 6), "\r\n\r\n"}}) {
    folder_.Write("error.log", before);
    EXPECT_EQ(Run({"null", Log()}), -SIGSEGV);
    const std::string text = Bytes_Of(Log());
    ASSERT_THAT(text, StartsWith(before + gap));
    EXPECT_THAT(text.substr((before + gap).size()),
                MatchesRegex("[0-9/]{10} [0-9:]{8}\r\nCategory- (.|\r|\n)*"));
  }
}

TEST_F(CrashRecord, GoesToAFolderOfTheUsersOwnWhenNoPlaceTakesIt) {
  const std::string folder = folder_ / "own";
  EXPECT_EQ(Run({"null", folder_ / "missing/error.log", "private=" + folder}), -SIGSEGV);
  EXPECT_EQ(Records(folder + "/fsError.log").size(), 1U);
  struct stat facts {};
  ASSERT_EQ(stat(folder.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0700U);
  // Another place is taken before it.
  EXPECT_EQ(Run({"null", Log(), "private=" + folder}), -SIGSEGV);
  EXPECT_EQ(Records(folder + "/fsError.log").size(), 1U);
}

TEST_F(CrashRecord, GoesToNoFolderThatIsALink) {
  const test::TempFolder elsewhere;
  std::filesystem::permissions(elsewhere.Path(), std::filesystem::perms(0700));
  std::filesystem::create_directory_symlink(elsewhere.Path(), folder_ / "own");
  EXPECT_EQ(Run({"null", "private=" + (folder_ / "own")}), -SIGSEGV);
  EXPECT_THAT(elsewhere.Names(), IsEmpty());
}

TEST_F(CrashRecord, IsThereAlsoWhenAnotherProcessSendsTheSignal) {
  ChildProgram program({HQ_CRASH_PROGRAM, "wait", Log()}, Prepare);
  ASSERT_TRUE(program.Wait_For_Output("waiting"));
  program.Signal(SIGSEGV);
  EXPECT_EQ(program.Wait(), -SIGSEGV);
  EXPECT_THAT(Records(Log()), ElementsAre(Record(SIGSEGV, "Segmentation fault (SIGSEGV)")));
}

TEST_F(CrashRecord, BeginsWithTheLocalDateAndTime) {
  constexpr std::time_t offset = 5 * 3600 + 30 * 60;
  const std::time_t before = std::time(nullptr) + offset;
  Run({"null", Log()});
  const std::time_t after = std::time(nullptr) + offset;
  std::tm when{};
  ASSERT_NE(strptime(Bytes_Of(Log()).c_str(), "%m/%d/%Y %H:%M:%S", &when), nullptr);
  const std::time_t written = timegm(&when);
  EXPECT_GE(written, before);
  EXPECT_LE(written, after);
}

TEST_F(CrashRecord, IsAddedToWhatTheLogHolds) {
  Run({"null", Log()});
  const std::string first = Bytes_Of(Log());
  Run({"abort", Log()});
  EXPECT_THAT(Bytes_Of(Log()), StartsWith(first));
  EXPECT_THAT(Records(Log()), ElementsAre(Record(SIGSEGV, "Segmentation fault (SIGSEGV)"),
                                          Record(SIGABRT, "Aborted (SIGABRT)")));
}

TEST_F(CrashRecord, MakesALogThatOthersMayReadTheUsersOwn) {
  folder_.Write("error.log", "");
  chmod(Log().c_str(), 0644);
  Run({"null", Log()});
  struct stat facts {};
  ASSERT_EQ(stat(Log().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0600U);
}

TEST_F(CrashRecord, HasEveryLevelOfADeepStack) {
  EXPECT_EQ(Run({"null", Log(), "levels=1000"}), -SIGSEGV);
  const std::string text = Bytes_Of(Log());
  EXPECT_THAT(text, HasSubstr("\r\n     500 : " + std::string(499, ' ') +
                              "frmmain1.frm : Sub Process_Onestock : \r\n"));
  EXPECT_THAT(text, EndsWith("\r\n     1000 : " + std::string(999, ' ') +
                             "frmmain1.frm : Sub Process_Onestock : \r\nUser Text- \r\n"));
  EXPECT_THAT(text, HasSubstr("\r\nModule- frmmain1.frm : Sub Process_Onestock\r\n"));
}

TEST_F(CrashRecord, NamesTheModuleWhateverTheIndentIs) {
  EXPECT_EQ(Run({"null", Log(), "levels=4", "indent=:"}), -SIGSEGV);
  EXPECT_THAT(Bytes_Of(Log()), HasSubstr("\r\nModule- frmmain1.frm : Sub Process_Onestock\r\n"));
  EXPECT_THAT(Bytes_Of(Log()), HasSubstr("\r\n     4 : :::frmmain1.frm : Sub Process_Onestock : \r\n"));
}

TEST_F(CrashRecord, HasNoModuleOutsideOfEveryProcedure) {
  EXPECT_EQ(Run({"before the first procedure", Log()}), -SIGSEGV);
  EXPECT_THAT(Records(Log()), ElementsAre("Category- Unknown Error Class\r\nSource- crash-program 1.0.0\r\n"
                                          "Module- (no procedure yet)\r\n"
                                          "Line Number-  <unavailable: line numbers not used>\r\n"
                                          "Code Pointer = (no procedure yet)\r\n"
                                          "Error Number- 11\r\nDescription- Segmentation fault (SIGSEGV)\r\n"
                                          "User Text- \r\n"));
}

TEST_F(CrashRecord, CutsALongTextOfAnException) {
  EXPECT_EQ(Run({"throw long", Log()}), -SIGABRT);
  const std::vector<std::string> records = Records(Log());
  ASSERT_EQ(records.size(), 1U);
  EXPECT_THAT(records[0], HasSubstr("Description- Uncaught exception: xxxx"));
  EXPECT_LT(records[0].size(), 2000U);
  EXPECT_THAT(records[0], HasSubstr("x\r\nCall Tree & Arguments\r\n     1 : global.bas : Sub Main : \r\n"));
}

TEST_F(CrashRecord, GoesToTheFirstPlaceThatTakesIt) {
  std::filesystem::create_directory(folder_ / "a folder");
  ASSERT_EQ(mkfifo((folder_ / "a pipe").c_str(), 0600), 0);
  EXPECT_EQ(Run({"null", folder_ / "missing/error.log", folder_ / "a folder", folder_ / "a pipe", Log(),
                 folder_ / "second.log"}),
            -SIGSEGV);
  EXPECT_THAT(Records(Log()), ElementsAre(Record(SIGSEGV, "Segmentation fault (SIGSEGV)")));
  EXPECT_THAT(folder_.Names(), ElementsAre("a folder", "a pipe", "error.log"));
}

TEST_F(CrashRecord, IsNotWrittenBehindTheEndOfRichText) {
  EXPECT_EQ(Run({"null", folder_ / "error.rtf", Log()}), -SIGSEGV);
  EXPECT_THAT(folder_.Names(), ElementsAre("error.log"));
}

TEST_F(CrashRecord, LeavesArgumentsOutWhenTold) {
  EXPECT_EQ(Run({"null", Log(), "no arguments"}), -SIGSEGV);
  EXPECT_THAT(Bytes_Of(Log()), HasSubstr("\r\n     1 : global.bas : Sub Main\r\n"));
}

TEST_F(CrashRecord, ThatNoPlaceTakesLeavesTheEndAsItWas) {
  EXPECT_EQ(Run({"null", folder_ / "missing/error.log"}), -SIGSEGV);
  EXPECT_EQ(Run({"null"}), -SIGSEGV);
  EXPECT_EQ(Run({"throw", Log()}, Prepare_Without_Disk_Space), -SIGABRT);
  EXPECT_EQ(Bytes_Of(Log()), "");
}

TEST_F(CrashRecord, StaysWholeWhenTheHandlerItselfCrashes) {
  EXPECT_EQ(Run({"again", Log()}), -SIGSEGV);
  EXPECT_THAT(Records(Log()), ElementsAre(Record(SIGSEGV, "Segmentation fault (SIGSEGV)")));
  std::filesystem::remove(Log());
  EXPECT_EQ(Run({"abort again", Log()}), -SIGABRT);
  EXPECT_THAT(Records(Log()), ElementsAre(Record(SIGSEGV, "Segmentation fault (SIGSEGV)")));
}

TEST_F(CrashRecord, IsNotMadeWhenAllGoesWell) {
  EXPECT_EQ(Run({"nothing", Log()}), 0) << err_;
  EXPECT_EQ(out_, "ended\n");
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

// The sanitizers' own handlers are back then, and end the process in their way.
TEST_F(CrashRecord, IsNotMadeWithoutAWatch) {
  EXPECT_NE(Run({"without a watch", Log()}), 0);
  EXPECT_NE(Run({"after the watch", Log()}), 0);
  EXPECT_EQ(Run({"throw after the watch", Log()}), -SIGABRT);
  EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(CrashRecord, HasOneWatchAProcess) {
  EXPECT_EQ(Run({"two watches", Log()}), 3);
  EXPECT_EQ(out_, "a second crash watch\n");
}

}  // namespace
}  // namespace hq
