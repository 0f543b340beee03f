#include "errortrap/procedure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/run_time_error.h"
#include "errortrap/trap_doubles.h"

namespace hq {
namespace {

using test::Interruption;
using test::ScriptedLoop;
using test::ScriptedReporter;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr ProcedureName Here{"frmmain1.frm", "Function Under_Test"};
constexpr ProcedureName Caller{"global.bas", "Sub Main"};

// A trap with a caller on its stack, which must be left as it was.
class Procedure : public testing::Test {
 protected:
  Procedure() : trap_(&loop_, &reporter_) {
    trap_.Read_Options = [] {
      TraceOptions options;
      options.CheckBalance = true;
      return options;
    };
    trap_.fsPUSH(Caller.Module, Caller.Procedure);
  }
  ~Procedure() override { EXPECT_THAT(trap_.CallStack(), ElementsAre(" 1 : global.bas : Sub Main : ")); }

  // Makes the first failures records fail.
  void Fail_Records(int failures) {
    trap_.Write_Record = [left = failures](const TraceRecord&) mutable {
      if (left-- > 0) throw RunTimeError(DiskFull, "trace log");
    };
  }

  ScriptedLoop loop_;
  ScriptedReporter reporter_;
  modFailSafe trap_;
};

class KeepTrapHandler : public Procedure {};
class WithOwnHandler : public Procedure {};
class SkipFailingStatements : public Procedure {};
class EntryHookError : public Procedure {};

int Must_Not_Run(const RunTimeError&) {
  ADD_FAILURE() << "the handler ran";
  return -1;
}

TEST_F(KeepTrapHandler, RunsTheBodyBetweenTheHooks) {
  std::vector<std::string> stack;
  const int result = Keep_Trap_Handler(trap_, Here, [&](TrappedStatements& statement) {
    statement([&] { stack = trap_.CallStack(); });
    return 42;
  });
  EXPECT_EQ(result, 42);
  EXPECT_THAT(stack,
              ElementsAre(" 1 : global.bas : Sub Main : ", " 2 :  frmmain1.frm : Function Under_Test : "));
  EXPECT_THAT(reporter_.Errors, IsEmpty());
}

TEST_F(KeepTrapHandler, LeavesTheProcedureForEveryOtherChoice) {
  for (const int choice : {trap_choice::Continue, trap_choice::More, 3, -1}) {
    reporter_.Choices = {choice};
    reporter_.Errors.clear();
    bool went_on = false;
    const int result = Keep_Trap_Handler(trap_, Here, [&](TrappedStatements& statement) {
      statement([] { throw RunTimeError(TypeMismatch); });
      went_on = true;
      return 42;
    });
    EXPECT_EQ(result, 0);
    EXPECT_FALSE(went_on);
    EXPECT_EQ(trap_.Depth(), 1);
    ASSERT_THAT(reporter_.Errors, SizeIs(1));
    EXPECT_EQ(reporter_.Errors[0].Module, Here.Module);
    EXPECT_EQ(reporter_.Errors[0].Procedure, Here.Procedure);
    EXPECT_EQ(reporter_.Errors[0].Number, 13);
    EXPECT_THAT(reporter_.Errors[0].CallStack, SizeIs(2));
  }
}

TEST_F(KeepTrapHandler, RunsTheStatementAgainForRetry) {
  reporter_.Choices = {trap_choice::Retry};
  std::vector<std::string> order;
  const int result = Keep_Trap_Handler(trap_, Here, [&](TrappedStatements& statement) {
    statement([&] { order.push_back("first"); });
    statement([&] {
      order.push_back("second");
      if (order.size() < 4) throw RunTimeError(Overflow);
    });
    statement([&] { order.push_back("third"); });
    return 42;
  });
  EXPECT_EQ(result, 42);
  EXPECT_THAT(order, ElementsAre("first", "second", "second", "second", "third"));
  EXPECT_THAT(reporter_.Errors, SizeIs(2));
}

TEST_F(KeepTrapHandler, GoesOnWithTheNextStatementForIgnore) {
  reporter_.Choices = {trap_choice::Ignore};
  std::vector<std::string> order;
  const int result = Keep_Trap_Handler(trap_, Here, [&](TrappedStatements& statement) {
    statement([&] {
      order.push_back("first");
      throw RunTimeError(Overflow);
    });
    statement([&] { order.push_back("second"); });
    return 42;
  });
  EXPECT_EQ(result, 42);
  EXPECT_THAT(order, ElementsAre("first", "second"));
  EXPECT_THAT(reporter_.Errors, SizeIs(1));
}

TEST_F(KeepTrapHandler, TakesEveryChoiceAnew) {
  reporter_.Choices = {trap_choice::Retry, trap_choice::Ignore, trap_choice::Continue};
  int first = 0;
  int second = 0;
  Keep_Trap_Handler(trap_, Here, [&](TrappedStatements& statement) {
    statement([&] {
      ++first;
      throw RunTimeError(Overflow);
    });
    statement([&] {
      ++second;
      throw RunTimeError(Overflow);
    });
    ADD_FAILURE() << "went on after Continue";
  });
  EXPECT_EQ(first, 2);
  EXPECT_EQ(second, 1);
}

TEST_F(KeepTrapHandler, TrapsStandardExceptions) {
  Keep_Trap_Handler(trap_, Here,
                    [](TrappedStatements& statement) { statement([] { throw std::bad_alloc(); }); });
  ASSERT_THAT(reporter_.Errors, SizeIs(1));
  EXPECT_EQ(reporter_.Errors[0].Number, 7);
}

TEST_F(KeepTrapHandler, LetsOtherExceptionsThrough) {
  EXPECT_THROW(
      Keep_Trap_Handler(trap_, Here,
                        [](TrappedStatements& statement) { statement([] { throw Interruption(); }); }),
      Interruption);
  EXPECT_EQ(trap_.Depth(), 1);
  EXPECT_THAT(reporter_.Errors, IsEmpty());
}

TEST_F(KeepTrapHandler, LeavesOnlyTheProcedureWhoseStatementFailed) {
  bool outer_went_on = false;
  const int result = Keep_Trap_Handler(trap_, Caller, [&](TrappedStatements& outer) {
    outer([&] {
      Keep_Trap_Handler(trap_, Here, [&](TrappedStatements& statement) {
        statement([] { throw RunTimeError(Overflow); });
        ADD_FAILURE() << "went on in the inner procedure";
      });
    });
    outer_went_on = true;
    return 42;
  });
  EXPECT_EQ(result, 42);
  EXPECT_TRUE(outer_went_on);
  EXPECT_THAT(reporter_.Errors, SizeIs(1));
}

TEST_F(KeepTrapHandler, LeavesWhenTheReporterFails) {
  reporter_.WhileShown = [] { throw std::runtime_error("no display"); };
  reporter_.Choices = {trap_choice::Retry};
  int runs = 0;
  Keep_Trap_Handler(trap_, Here, [&](TrappedStatements& statement) {
    statement([&] {
      ++runs;
      throw RunTimeError(Overflow);
    });
    ADD_FAILURE() << "went on";
  });
  EXPECT_EQ(runs, 1);
}

TEST_F(WithOwnHandler, RunsTheBodyBetweenTheHooks) {
  const int result = With_Own_Handler(
      trap_, Here,
      [&] {
        EXPECT_EQ(trap_.Depth(), 2);
        return 42;
      },
      Must_Not_Run);
  EXPECT_EQ(result, 42);
}

TEST_F(WithOwnHandler, GivesTheHandlersResult) {
  std::vector<std::string> stack;
  const int result = With_Own_Handler(
      trap_, Here, []() -> int { throw RunTimeError(SubscriptOutOfRange, "row 12"); },
      [&](const RunTimeError& error) {
        EXPECT_EQ(error.Detail(), "row 12");
        stack = trap_.CallStack();
        return error.Number();
      });
  EXPECT_EQ(result, 9);
  // The handler is part of the procedure: the exit hook comes after it.
  EXPECT_THAT(stack, SizeIs(2));
  EXPECT_THAT(reporter_.Errors, IsEmpty());
}

TEST_F(WithOwnHandler, TurnsStandardExceptionsIntoRunTimeErrors) {
  int number = 0;
  With_Own_Handler(
      trap_, Here, [] { static_cast<void>(std::string("abc").at(5)); },
      [&](const RunTimeError& error) { number = error.Number(); });
  EXPECT_EQ(number, 9);
}

TEST_F(WithOwnHandler, LetsAnErrorOfTheHandlerThrough) {
  EXPECT_THROW(With_Own_Handler(
                   trap_, Here, [] { throw RunTimeError(Overflow); },
                   [](const RunTimeError&) { throw RunTimeError(TypeMismatch); }),
               RunTimeError);
  EXPECT_EQ(trap_.Depth(), 1);
}

TEST_F(WithOwnHandler, LetsOtherExceptionsThrough) {
  EXPECT_THROW(With_Own_Handler(
                   trap_, Here, []() -> int { throw Interruption(); }, Must_Not_Run),
               Interruption);
  EXPECT_EQ(trap_.Depth(), 1);
}

TEST_F(SkipFailingStatements, RunsTheBodyBetweenTheHooks) {
  const int result = Skip_Failing_Statements(trap_, Here, [&](SkippingStatements& statement) {
    EXPECT_TRUE(statement([&] { EXPECT_EQ(trap_.Depth(), 2); }));
    EXPECT_FALSE(statement.FirstError().has_value());
    return 42;
  });
  EXPECT_EQ(result, 42);
}

TEST_F(SkipFailingStatements, AbandonsAFailingStatementAndRunsTheNext) {
  std::vector<std::string> order;
  const int result = Skip_Failing_Statements(trap_, Here, [&](SkippingStatements& statement) {
    EXPECT_FALSE(statement([&] {
      order.push_back("first");
      throw RunTimeError(DiskFull, "quotes.txt");
    }));
    EXPECT_FALSE(statement([&] { throw std::out_of_range("index"); }));
    EXPECT_TRUE(statement([&] { order.push_back("third"); }));
    EXPECT_EQ(statement.FirstError()->Number(), 61);
    EXPECT_EQ(statement.FirstError()->Detail(), "quotes.txt");
    return 42;
  });
  EXPECT_EQ(result, 42);
  EXPECT_THAT(order, ElementsAre("first", "third"));
  EXPECT_THAT(reporter_.Errors, IsEmpty());
  EXPECT_EQ(trap_.ErrorCount(), 0);
}

TEST_F(SkipFailingStatements, LetsOtherExceptionsThrough) {
  EXPECT_THROW(
      Skip_Failing_Statements(trap_, Here,
                              [](SkippingStatements& statement) { statement([] { throw Interruption(); }); }),
      Interruption);
  EXPECT_EQ(trap_.Depth(), 1);
}

TEST_F(SkipFailingStatements, DoesNotHideThatAProcedureInsideWasLeft) {
  bool went_on = false;
  Skip_Failing_Statements(trap_, Here, [&](SkippingStatements& statement) {
    EXPECT_TRUE(statement([&] {
      Keep_Trap_Handler(trap_, Caller,
                        [](TrappedStatements& inner) { inner([] { throw RunTimeError(Overflow); }); });
    }));
    went_on = true;
  });
  EXPECT_TRUE(went_on);
  EXPECT_THAT(reporter_.Errors, SizeIs(1));
}

TEST_F(Procedure, GivesResultsThatCannotBeCopied) {
  auto kept = Keep_Trap_Handler(trap_, Here, [](TrappedStatements&) { return std::make_unique<int>(1); });
  auto own = With_Own_Handler(
      trap_, Here, [] { return std::make_unique<int>(2); },
      [](const RunTimeError&) { return std::unique_ptr<int>(); });
  auto skipped =
      Skip_Failing_Statements(trap_, Here, [](SkippingStatements&) { return std::make_unique<int>(3); });
  EXPECT_EQ(*kept, 1);
  EXPECT_EQ(*own, 2);
  EXPECT_EQ(*skipped, 3);
  auto left = Keep_Trap_Handler(trap_, Here, [](TrappedStatements& statement) {
    statement([] { throw RunTimeError(Overflow); });
    return std::make_unique<int>(4);
  });
  EXPECT_EQ(left, nullptr);
}

TEST_F(Procedure, IsOnTheStackOncePerCallOfARecursion) {
  std::vector<std::int32_t> depths;
  const auto recurse = [&](const auto& self, int left) -> void {
    With_Own_Handler(
        trap_, Here,
        [&] {
          depths.push_back(trap_.Depth());
          if (left > 0) self(self, left - 1);
          if (left == 0) throw RunTimeError(Overflow);
        },
        [](const RunTimeError&) {});
  };
  recurse(recurse, 3);
  EXPECT_THAT(depths, ElementsAre(2, 3, 4, 5));
}

// Runs a procedure in each mode and tells whether its body ran.
struct Mode {
  const char* Name;
  bool (*Run)(modFailSafe& trap);
};

const std::vector<Mode>& Modes() {
  static const std::vector<Mode> modes = {
      {"Keep_Trap_Handler",
       [](modFailSafe& trap) {
         return Keep_Trap_Handler(trap, Here, [](TrappedStatements&) { return true; });
       }},
      {"With_Own_Handler",
       [](modFailSafe& trap) {
         return With_Own_Handler(
             trap, Here, [] { return true; },
             [](const RunTimeError& error) { return Must_Not_Run(error) > 0; });
       }},
      {"Skip_Failing_Statements",
       [](modFailSafe& trap) {
         return Skip_Failing_Statements(trap, Here, [](SkippingStatements&) { return true; });
       }},
  };
  return modes;
}

TEST_F(EntryHookError, GoesToTheTrapInEveryMode) {
  for (const Mode& mode : Modes()) {
    for (const int choice : {trap_choice::Continue, trap_choice::More, 3}) {
      reporter_.Errors.clear();
      reporter_.Choices = {choice};
      Fail_Records(1);
      EXPECT_FALSE(mode.Run(trap_)) << mode.Name;
      ASSERT_THAT(reporter_.Errors, SizeIs(1)) << mode.Name;
      EXPECT_EQ(reporter_.Errors[0].Number, 61);
      EXPECT_EQ(reporter_.Errors[0].Module, Here.Module);
      EXPECT_EQ(reporter_.Errors[0].Procedure, Here.Procedure);
      EXPECT_EQ(trap_.Depth(), 1) << mode.Name;
    }
  }
}

TEST_F(EntryHookError, IsPassedOverForIgnore) {
  for (const Mode& mode : Modes()) {
    reporter_.Errors.clear();
    reporter_.Choices = {trap_choice::Ignore};
    Fail_Records(1);
    EXPECT_TRUE(mode.Run(trap_)) << mode.Name;
    EXPECT_THAT(reporter_.Errors, SizeIs(1));
    EXPECT_EQ(trap_.Depth(), 1) << mode.Name;
  }
}

TEST_F(EntryHookError, RunsTheHookAgainForRetryWithoutEnteringTwice) {
  for (const Mode& mode : Modes()) {
    reporter_.Errors.clear();
    reporter_.Choices = {trap_choice::Retry};
    Fail_Records(3);
    EXPECT_TRUE(mode.Run(trap_)) << mode.Name;
    EXPECT_THAT(reporter_.Errors, SizeIs(3));
    EXPECT_EQ(trap_.Depth(), 1) << mode.Name;
  }
}

TEST_F(EntryHookError, OfSettingsThatCannotBeReadGoesToTheTrap) {
  for (const Mode& mode : Modes()) {
    ScriptedReporter reporter;
    modFailSafe trap(nullptr, &reporter);
    trap.Read_Options = []() -> TraceOptions { throw RunTimeError(PermissionDenied); };
    reporter.Choices = {trap_choice::Retry};
    EXPECT_TRUE(mode.Run(trap)) << mode.Name;
    ASSERT_THAT(reporter.Errors, SizeIs(1));
    EXPECT_EQ(reporter.Errors[0].Number, 70);
    EXPECT_EQ(trap.Depth(), 0);
  }
}

TEST_F(EntryHookError, OfTheDeepestLevelLeavesTheProcedureThroughItsExitHook) {
  for (const Mode& mode : Modes()) {
    ScriptedReporter reporter;
    modFailSafe trap(nullptr, &reporter);
    for (int i = 0; i < 1000; ++i) trap.fsPUSH("m", "Sub P");
    EXPECT_FALSE(mode.Run(trap)) << mode.Name;
    ASSERT_THAT(reporter.Errors, SizeIs(1));
    EXPECT_EQ(
        reporter.Errors[0].Detail,
        "The program is too deeply nested. The error handler can only handle 1000 levels of recursion.");
    // The exit hook found the caller's entry and left it.
    EXPECT_EQ(trap.Depth(), 1000) << mode.Name;
  }
}

TEST_F(EntryHookError, LetsAnInterruptionThrough) {
  for (const Mode& mode : Modes()) {
    ScriptedLoop loop;
    ScriptedReporter reporter;
    modFailSafe trap(&loop, &reporter);
    trap.fsPUSH("m", "Sub P");
    loop.Post([&] {
      trap.Pause(false);
      throw Interruption();
    });
    trap.Pause(true);
    EXPECT_THROW(mode.Run(trap), Interruption) << mode.Name;
    EXPECT_EQ(trap.Depth(), 1);
    EXPECT_THAT(reporter.Errors, IsEmpty());
  }
}

TEST_F(Procedure, IsLeftQuietlyWhenItsExitRecordCannotBeWritten) {
  for (const Mode& mode : Modes()) {
    trap_.Write_Record = [](const TraceRecord& record) {
      if (record.Way == TraceRecord::Direction::Exit) throw RunTimeError(DiskFull);
    };
    EXPECT_TRUE(mode.Run(trap_)) << mode.Name;
    EXPECT_EQ(trap_.Depth(), 1) << mode.Name;
  }
}

TEST_F(Procedure, RunsWithTheTraceOff) {
  for (const Mode& mode : Modes()) {
    ScriptedReporter reporter;
    modFailSafe trap(nullptr, &reporter);
    trap.Read_Options = [] {
      TraceOptions options;
      options.TraceOff = true;
      options.CheckBalance = true;
      return options;
    };
    EXPECT_TRUE(mode.Run(trap)) << mode.Name;
    EXPECT_EQ(trap.Depth(), 0);
    EXPECT_THAT(reporter.Errors, IsEmpty());
  }
}

TEST_F(Procedure, IsFoundByTheBalanceCheckWhenItLeftAnEntry) {
  ScriptedReporter reporter;
  modFailSafe trap(nullptr, &reporter);
  trap.Read_Options = [] {
    TraceOptions options;
    options.CheckBalance = true;
    return options;
  };
  With_Own_Handler(
      trap, Here, [&] { trap.fsPUSH("m", "Sub Left_Without_Exit"); }, [](const RunTimeError&) {});
  ASSERT_THAT(reporter.Errors, SizeIs(1));
  EXPECT_EQ(reporter.Errors[0].Detail, "Procedure is unbalanced or contains calls to unbalanced routines.");
  EXPECT_EQ(trap.Depth(), 0);
}

}  // namespace
}  // namespace hq
