#include "errortrap/trace_file.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/run_time_error.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using testing::ElementsAre;
using testing::Pair;

class TraceFile : public testing::Test {
 protected:
  std::unique_ptr<LogFile> Begin() { return Begin_Trace_File(disk_, home_.Path()); }
  void Run(const std::string& text) { Begin()->Append(text); }

  test::TempFolder home_;
  SystemFiles disk_;
};

TEST_F(TraceFile, OfTheRunBeforeIsKept) {
  Run("first");
  EXPECT_THAT(home_.Files(), ElementsAre(Pair("trace.log", "first")));
  Run("second");
  Run("third");
  EXPECT_THAT(home_.Files(), ElementsAre(Pair("trace.log", "third"), Pair("trace.log.bak", "second")));
}

TEST_F(TraceFile, ThatIsInUseIsLeftAloneByEveryLaterRun) {
  Run("before");
  const auto log = Begin();
  log->Append("a run ");
  Run("second");
  Run("third");
  log->Append("that goes on");
  EXPECT_THAT(home_.Files(),
              ElementsAre(Pair("trace-2.log", "third"), Pair("trace-2.log.bak", "second"),
                          Pair("trace.log", "a run that goes on"), Pair("trace.log.bak", "before")));
}

TEST_F(TraceFile, HasANumberForEachOfManyRunsAtOnce) {
  const auto first = Begin();
  const auto second = Begin();
  // Nothing is written to it yet: it is in use all the same.
  const auto third = Begin();
  EXPECT_EQ(first->Path(), home_ / "trace.log");
  EXPECT_EQ(second->Path(), home_ / "trace-2.log");
  EXPECT_EQ(third->Path(), home_ / "trace-3.log");
}

TEST_F(TraceFile, IsTakenAgainOnceItsRunHasEnded) {
  auto first = Begin();
  first->Append("first");
  const auto second = Begin();
  second->Append("second");
  first.reset();
  Run("third");
  EXPECT_THAT(home_.Files(), ElementsAre(Pair("trace-2.log", "second"), Pair("trace.log", "third"),
                                         Pair("trace.log.bak", "first")));
}

TEST_F(TraceFile, IsRefusedWhenItsPlaceIsTakenByAFolder) {
  std::filesystem::create_directory(home_ / "trace.log");
  try {
    static_cast<void>(Begin());
    FAIL() << "a folder was taken";
  } catch (const RunTimeError& error) {
    EXPECT_EQ(error.Number(), PathFileAccessError);
  }
}

TEST_F(TraceFile, IsNotLookedForInAFolderThatIsMissing) {
  EXPECT_THROW(static_cast<void>(Begin_Trace_File(disk_, home_ / "missing")), RunTimeError);
}

TEST(LogFileAtItsPath, IsNoneOnceItIsMovedOrReplaced) {
  const test::TempFolder home;
  const LogFile log(home / "log", LogFile::Begin::AtTheEnd);
  EXPECT_TRUE(log.Is_At_Its_Path());
  std::filesystem::rename(home / "log", home / "moved");
  EXPECT_FALSE(log.Is_At_Its_Path());
  home.Write("log", "");
  EXPECT_FALSE(log.Is_At_Its_Path());
}

}  // namespace
}  // namespace hq
