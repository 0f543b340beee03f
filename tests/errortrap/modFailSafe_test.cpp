#include "errortrap/modFailSafe.h"

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/run_time_error.h"
#include "errortrap/trap_doubles.h"
#include "platform/timer.h"

namespace hq {
namespace {

using test::Interruption;
using test::ScriptedLoop;
using test::ScriptedReporter;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TraceOptions Checking_Balance() {
  TraceOptions options;
  options.CheckBalance = true;
  return options;
}

TEST(EntryHook, PutsTheEntryTextOnTheStack) {
  modFailSafe trap;
  EXPECT_EQ(trap.Depth(), 0);
  EXPECT_THAT(trap.CallStack(), IsEmpty());
  trap.fsPUSH("global.bas", "Sub Main");
  EXPECT_EQ(trap.Depth(), 1);
  EXPECT_THAT(trap.CallStack(), ElementsAre(" 1 : global.bas : Sub Main : "));
}

TEST(EntryHook, IndentsOnceForEachLevelAbove) {
  modFailSafe trap;
  trap.fsPUSH("global.bas", "Sub Main", "");
  trap.fsPUSH("frmmain1.frm", "Sub cmddownload_Click", "");
  trap.fsPUSH("frmmain1.frm", "Sub Process_Onestock", "");
  EXPECT_THAT(trap.CallStack(),
              ElementsAre(" 1 : global.bas : Sub Main : ", " 2 :  frmmain1.frm : Sub cmddownload_Click : ",
                          " 3 :   frmmain1.frm : Sub Process_Onestock : "));
}

TEST(EntryHook, RepeatsTheFirstCharacterOfTheIndent) {
  for (const auto& [indent, expected] :
       {std::pair<std::string, std::string>{"*", " 3 : **frmmain1.frm : Sub Process_Onestock : "},
        {"->", " 3 : --frmmain1.frm : Sub Process_Onestock : "},
        {"", " 3 :   frmmain1.frm : Sub Process_Onestock : "}}) {
    modFailSafe trap;
    trap.Read_Options = [text = indent] {
      TraceOptions options;
      options.IndentCharacter = text;
      return options;
    };
    trap.fsPUSH("a", "Sub A");
    trap.fsPUSH("b", "Sub B");
    trap.fsPUSH("frmmain1.frm", "Sub Process_Onestock");
    EXPECT_EQ(trap.CallStack().back(), expected) << indent;
  }
}

TEST(EntryHook, EndsWithTheThirdText) {
  modFailSafe trap;
  trap.fsPUSH("global.bas", "Function Need_Sort", "third");
  EXPECT_THAT(trap.CallStack(), ElementsAre(" 1 : global.bas : Function Need_Sort : third"));
  trap.fsPOP("global.bas", "Function Need_Sort", "third");
  EXPECT_EQ(trap.Depth(), 0);
}

TEST(EntryHook, WritesTheDepthInFull) {
  modFailSafe trap;
  for (int i = 0; i < 100; ++i) trap.fsPUSH("m", "Sub P");
  EXPECT_EQ(trap.CallStack()[9], " 10 : " + std::string(9, ' ') + "m : Sub P : ");
  EXPECT_EQ(trap.CallStack()[99], " 100 : " + std::string(99, ' ') + "m : Sub P : ");
}

TEST(EntryHook, KeepsNoReferenceToItsTexts) {
  modFailSafe trap;
  {
    std::string module = "a module with quite a long name.frm";
    std::string procedure = "Sub With_Quite_A_Long_Name_As_Well";
    trap.fsPUSH(module, procedure);
    module.assign(module.size(), '?');
    procedure.assign(procedure.size(), '?');
  }
  EXPECT_THAT(
      trap.CallStack(),
      ElementsAre(" 1 : a module with quite a long name.frm : Sub With_Quite_A_Long_Name_As_Well : "));
}

TEST(EntryHook, WritesALevelAnewWhenItIsUsedAgain) {
  modFailSafe trap;
  trap.fsPUSH("m", "Sub Outer");
  trap.fsPUSH("m", "Sub With_A_Long_Name");
  trap.fsPOP("m", "Sub With_A_Long_Name");
  trap.fsPUSH("m", "Sub B");
  EXPECT_THAT(trap.CallStack(), ElementsAre(" 1 : m : Sub Outer : ", " 2 :  m : Sub B : "));
}

TEST(EntryHook, RefusesMoreThan1000Levels) {
  modFailSafe trap;
  for (int i = 0; i < 1000; ++i) trap.fsPUSH("m", "Sub P");
  EXPECT_EQ(trap.Depth(), 1000);
  try {
    trap.fsPUSH("m", "Sub P");
    FAIL() << "took level 1001";
  } catch (const RunTimeError& error) {
    EXPECT_EQ(
        error.Detail(),
        "The program is too deeply nested. The error handler can only handle 1000 levels of recursion.");
  }
  EXPECT_EQ(trap.Depth(), 1000);
  for (int i = 0; i < 1000; ++i) trap.fsPOP("m", "Sub P");
  EXPECT_EQ(trap.Depth(), 0);
  EXPECT_EQ(trap.ErrorCount(), 0);
}

TEST(EntryHook, ReadsTheSettingsOnceAtTheFirstEntry) {
  modFailSafe trap;
  int reads = 0;
  trap.Read_Options = [&] {
    ++reads;
    return TraceOptions();
  };
  EXPECT_EQ(reads, 0);
  trap.fsPUSH("m", "Sub P");
  trap.fsPOP("m", "Sub P");
  trap.fsPUSH("m", "Sub P");
  EXPECT_EQ(reads, 1);
}

TEST(Hooks, DoNothingWhileTheTraceIsOff) {
  ScriptedLoop loop;
  ScriptedReporter reporter;
  modFailSafe trap(&loop, &reporter);
  int records = 0;
  trap.Read_Options = [] {
    TraceOptions options = Checking_Balance();
    options.TraceOff = true;
    options.Timing = true;
    return options;
  };
  trap.Write_Record = [&](const TraceRecord&) { ++records; };
  trap.Pause(true);
  for (int i = 0; i < 2000; ++i) trap.fsPUSH("m", "Sub P");
  trap.fsPOP("m", "Sub Q");
  EXPECT_EQ(trap.Depth(), 0);
  EXPECT_THAT(trap.CallStack(), IsEmpty());
  EXPECT_EQ(trap.Timing(), 0);
  EXPECT_EQ(records, 0);
  EXPECT_EQ(loop.Turns, 0);
  EXPECT_THAT(reporter.Errors, IsEmpty());
}

TEST(Hooks, LeaveTwoTrapsApart) {
  modFailSafe one;
  modFailSafe two;
  one.fsPUSH("m", "Sub One");
  two.fsPUSH("m", "Sub Two");
  two.fsPUSH("m", "Sub Three");
  one.fsPOP("m", "Sub One");
  EXPECT_EQ(one.Depth(), 0);
  EXPECT_EQ(two.Depth(), 2);
}

TEST(ExitHook, TakesTheProcedureOffTheStack) {
  modFailSafe trap;
  trap.fsPUSH("m", "Sub One");
  trap.fsPUSH("m", "Sub Two");
  trap.fsPOP("m", "Sub Two");
  EXPECT_THAT(trap.CallStack(), ElementsAre(" 1 : m : Sub One : "));
  trap.fsPOP("m", "Sub One");
  EXPECT_EQ(trap.Depth(), 0);
  EXPECT_THAT(trap.CallStack(), IsEmpty());
}

TEST(ExitHook, LooksForTheNamesAnywhereInTheEntryText) {
  ScriptedReporter reporter;
  modFailSafe trap(nullptr, &reporter);
  trap.Read_Options = Checking_Balance;
  // The module's name is found once before the place where both names stand.
  trap.fsPUSH("aaa", "Sub P");
  trap.fsPOP("aa", "Sub P");
  EXPECT_EQ(trap.Depth(), 0);
  trap.fsPUSH("m", "Sub Write_File");
  trap.fsPOP("m", "Sub Write");
  EXPECT_EQ(trap.Depth(), 0);
  trap.fsPUSH("m : m", "Sub P");
  trap.fsPOP("m", "Sub P");
  EXPECT_EQ(trap.Depth(), 0);
  EXPECT_THAT(reporter.Errors, IsEmpty());
}

TEST(ExitHook, ComparesBothNames) {
  const std::vector<std::pair<std::string, std::string>> others = {
      {"n", "Sub P"}, {"m", "Sub Q"}, {"m", "Sub PP"}, {"m", "sub p"}, {"M", "Sub P"}, {"m m", "Sub P"}};
  for (const auto& [module, procedure] : others) {
    modFailSafe trap;
    trap.fsPUSH("m", "Sub P");
    trap.fsPOP(module, procedure);
    EXPECT_EQ(trap.Depth(), 1) << module << ' ' << procedure;
  }
}

TEST(ExitHook, LeavesAForeignEntryWhileTheBalanceIsNotChecked) {
  ScriptedReporter reporter;
  modFailSafe trap(nullptr, &reporter);
  trap.fsPUSH("m", "Sub Caller");
  trap.fsPUSH("m", "Sub Left_Without_Exit");
  trap.fsPOP("m", "Sub Caller");
  EXPECT_EQ(trap.Depth(), 2);
  EXPECT_THAT(reporter.Errors, IsEmpty());
}

TEST(ExitHook, ReportsAForeignEntryWhenTheBalanceIsChecked) {
  ScriptedReporter reporter;
  modFailSafe trap(nullptr, &reporter);
  trap.Read_Options = Checking_Balance;
  trap.fsPUSH("m", "Sub Caller");
  trap.fsPUSH("m", "Sub Left_Without_Exit");
  trap.fsPOP("m", "Sub Caller");
  EXPECT_EQ(trap.Depth(), 0);
  ASSERT_THAT(reporter.Errors, SizeIs(1));
  EXPECT_EQ(reporter.Errors[0].Detail, "Procedure is unbalanced or contains calls to unbalanced routines.");
  EXPECT_EQ(reporter.Errors[0].Module, "m");
  EXPECT_EQ(reporter.Errors[0].Procedure, "Sub Caller");
  // The stack is good for use again.
  trap.fsPUSH("m", "Sub Next");
  EXPECT_THAT(trap.CallStack(), ElementsAre(" 1 : m : Sub Next : "));
}

TEST(ExitHook, ReportsAnExitWithoutEntry) {
  ScriptedReporter reporter;
  modFailSafe trap(nullptr, &reporter);
  trap.fsPUSH("m", "Sub P");
  trap.fsPOP("m", "Sub P");
  trap.fsPOP("m", "Sub P");
  ASSERT_THAT(reporter.Errors, SizeIs(1));
  EXPECT_EQ(reporter.Errors[0].Detail, "'fsPOP()' was called without 'fsPUSH()'.");
  EXPECT_EQ(trap.Depth(), 0);
}

TEST(ExitHook, ReportsAnExitBeforeTheStart) {
  ScriptedReporter reporter;
  modFailSafe trap(nullptr, &reporter);
  int reads = 0;
  trap.Read_Options = [&] {
    ++reads;
    return TraceOptions();
  };
  trap.fsPOP("m", "Sub P");
  ASSERT_THAT(reporter.Errors, SizeIs(1));
  EXPECT_EQ(reporter.Errors[0].Detail,
            "The error handler was not initialized before a call to 'fsPOP()' was made.");
  // How it is told is in the settings.
  EXPECT_EQ(reads, 1);
  EXPECT_EQ(trap.Depth(), 0);
}

TEST(ExitHook, ComplainsToNobodyWithoutAReporter) {
  modFailSafe trap;
  EXPECT_NO_THROW(trap.fsPOP("m", "Sub P"));
  EXPECT_EQ(trap.ErrorCount(), 1);
}

TEST(Records, TellEveryEntryAndExitWithoutTheDepth) {
  modFailSafe trap;
  std::vector<std::string> lines;
  std::vector<double> times;
  trap.Write_Record = [&](const TraceRecord& record) {
    const bool entry = record.Way == TraceRecord::Direction::Entry;
    lines.push_back(std::to_string(record.Number) + (entry ? " > " : " < ") + std::string(record.EntryText));
    times.push_back(record.Milliseconds);
  };
  trap.fsPUSH("m", "Sub One");
  trap.fsPUSH("n", "Sub Two", "x");
  trap.fsPOP("n", "Sub Two");
  trap.fsPOP("m", "Sub Other");
  trap.fsPOP("m", "Sub One");
  trap.fsPOP("m", "Sub One");
  EXPECT_THAT(lines, ElementsAre("1 > m : Sub One : ", "2 >  n : Sub Two : x", "3 <  n : Sub Two : x",
                                 "4 < m : Sub One : "));
  EXPECT_GE(times.front(), 0);
  for (size_t i = 1; i < times.size(); ++i) EXPECT_GE(times[i], times[i - 1]);
}

TEST(Records, AreCountedOnlyWhileTheyAreTaken) {
  modFailSafe trap;
  trap.fsPUSH("m", "Sub One");
  std::vector<int> numbers;
  trap.Write_Record = [&](const TraceRecord& record) { numbers.push_back(record.Number); };
  trap.fsPUSH("m", "Sub Two");
  trap.fsPOP("m", "Sub Two");
  EXPECT_THAT(numbers, ElementsAre(1, 2));
}

TEST(Records, KeepTheirTextWhileTheirReaderIsTraced) {
  modFailSafe trap;
  std::vector<std::string> texts;
  bool inside = false;
  trap.Write_Record = [&](const TraceRecord& record) {
    if (inside) return;
    inside = true;
    for (int i = 0; i < 50; ++i) trap.fsPUSH("log", "Sub L");
    for (int i = 0; i < 50; ++i) trap.fsPOP("log", "Sub L");
    inside = false;
    texts.emplace_back(record.EntryText);
  };
  trap.fsPUSH("m", "S");
  trap.fsPOP("m", "S");
  EXPECT_THAT(texts, ElementsAre("m : S : ", "m : S : "));
  EXPECT_EQ(trap.Depth(), 0);
}

TEST(Records, ThatCannotBeWrittenAtAnExitStillTakeTheProcedureOff) {
  modFailSafe trap;
  trap.fsPUSH("m", "Sub One");
  trap.fsPUSH("m", "Sub Two");
  trap.Write_Record = [](const TraceRecord&) { throw RunTimeError(DiskFull); };
  EXPECT_THROW(trap.fsPOP("m", "Sub Two"), RunTimeError);
  EXPECT_THAT(trap.CallStack(), ElementsAre(" 1 : m : Sub One : "));
}

TEST(Timing, IsKeptOnlyWhenItIsOn) {
  modFailSafe trap;
  trap.fsPUSH("m", "Sub P");
  trap.fsPUSH("m", "Sub P");
  EXPECT_EQ(trap.Timing(), 0);
}

TEST(Timing, IsTheTimeSinceTheStartAtTheLatestEntry) {
  using Milliseconds = std::chrono::duration<double, std::milli>;
  modFailSafe trap;
  trap.Read_Options = [] {
    TraceOptions options;
    options.Timing = true;
    return options;
  };
  const auto before = Timer_Now();
  trap.fsPUSH("m", "Sub P");
  const auto started = Timer_Now();
  EXPECT_GE(trap.Timing(), 0);
  while (Timer_Now() - started < std::chrono::milliseconds(2)) {
  }
  trap.fsPUSH("m", "Sub P");
  const double second = trap.Timing();
  EXPECT_GE(second, 2);
  EXPECT_LE(second, Milliseconds(Timer_Now() - before).count());
  trap.fsPOP("m", "Sub P");
  EXPECT_EQ(trap.Timing(), second);
}

TEST(Pause, LetsTheEntryHookRunTheLoopUntilItEnds) {
  ScriptedLoop loop;
  modFailSafe trap(&loop);
  std::vector<std::int32_t> depths;
  for (int i = 0; i < 3; ++i) loop.Post([&] { depths.push_back(trap.Depth()); });
  loop.Post([&] { trap.Pause(false); });
  bool left_over = true;
  loop.Post([&] { left_over = false; });
  trap.Pause(true);
  trap.fsPUSH("m", "Sub P");
  EXPECT_THAT(depths, ElementsAre(0, 0, 0));
  EXPECT_EQ(loop.Turns, 4);
  EXPECT_TRUE(left_over);
  EXPECT_EQ(trap.Depth(), 1);
}

TEST(Pause, LetsTheExitHookRunTheLoopUntilItEnds) {
  ScriptedLoop loop;
  modFailSafe trap(&loop);
  trap.fsPUSH("m", "Sub P");
  EXPECT_EQ(loop.Turns, 0);
  std::int32_t depth = 0;
  loop.Post([] {});
  loop.Post([&] {
    depth = trap.Depth();
    trap.Pause(false);
  });
  trap.Pause(true);
  trap.fsPOP("m", "Sub P");
  EXPECT_EQ(loop.Turns, 2);
  EXPECT_EQ(depth, 1);
  EXPECT_EQ(trap.Depth(), 0);
}

TEST(Pause, GivesTheProcessorAwayWhileItWaits) {
  ScriptedLoop loop;
  modFailSafe trap(&loop);
  for (int i = 0; i < 5; ++i) loop.Post([] {});
  loop.Post([&] { trap.Pause(false); });
  trap.Pause(true);
  trap.fsPUSH("m", "Sub P");
  EXPECT_GT(loop.Slept.count(), 0);
}

TEST(Pause, HoldsEventsThatAreThemselvesTraced) {
  ScriptedLoop loop;
  modFailSafe trap(&loop);
  std::vector<std::string> order;
  loop.Post([&] {
    order.push_back("event begins");
    trap.fsPUSH("m", "Sub Event");
    order.push_back("event entered");
    trap.fsPOP("m", "Sub Event");
  });
  loop.Post([&] {
    order.push_back("pause ends");
    trap.Pause(false);
  });
  trap.Pause(true);
  trap.fsPUSH("m", "Sub P");
  EXPECT_THAT(order, ElementsAre("event begins", "pause ends", "event entered"));
  EXPECT_THAT(trap.CallStack(), ElementsAre(" 1 : m : Sub P : "));
}

TEST(Pause, DoesNotHoldATrapWithoutALoop) {
  modFailSafe trap;
  trap.Pause(true);
  trap.fsPUSH("m", "Sub P");
  EXPECT_EQ(trap.Depth(), 1);
  trap.fsPOP("m", "Sub P");
  EXPECT_EQ(trap.Depth(), 0);
}

TEST(Pause, LetsTheDialogsOwnHandlersPass) {
  ScriptedLoop loop;
  modFailSafe trap(&loop);
  trap.fsPUSH("m", "Sub P");
  trap.Pause(true);
  trap.fsPUSH("frmFAILSAFE.frm", "Sub Combo1_KeyDown");
  EXPECT_THAT(trap.CallStack(),
              ElementsAre(" 1 : m : Sub P : ", " 2 :  frmFAILSAFE.frm : Sub Combo1_KeyDown : "));
  trap.fsPOP("frmFAILSAFE.frm", "Sub Combo1_KeyDown");
  EXPECT_EQ(loop.Turns, 0);
  EXPECT_EQ(trap.Depth(), 1);
  // Only the module of exactly that name.
  loop.Post([&] { trap.Pause(false); });
  trap.fsPUSH("frmFAILSAFE.fr", "Sub Combo1_KeyDown");
  EXPECT_EQ(loop.Turns, 1);
}

TEST(Pause, CanBeInterruptedBeforeAnythingIsDone) {
  ScriptedLoop loop;
  modFailSafe trap(&loop);
  loop.Post([] { throw Interruption(); });
  trap.Pause(true);
  EXPECT_THROW(trap.fsPUSH("m", "Sub P"), Interruption);
  EXPECT_EQ(trap.Depth(), 0);
}

TEST(ErrorFunction, TellsTheReporterEverything) {
  ScriptedReporter reporter;
  modFailSafe trap(nullptr, &reporter);
  trap.fsPUSH("global.bas", "Sub Main");
  trap.fsPUSH("frmmain1.frm", "Sub Form_Load");
  trap.fsERROR("frmmain1.frm", "Sub Form_Load", RunTimeError(FileNotFound, "user.cfg: gone"));
  ASSERT_THAT(reporter.Errors, SizeIs(1));
  const TrappedError& error = reporter.Errors[0];
  EXPECT_EQ(error.Module, "frmmain1.frm");
  EXPECT_EQ(error.Procedure, "Sub Form_Load");
  EXPECT_EQ(error.Number, 53);
  EXPECT_EQ(error.Description, "File not found");
  EXPECT_EQ(error.Detail, "user.cfg: gone");
  EXPECT_THAT(error.CallStack,
              ElementsAre(" 1 : global.bas : Sub Main : ", " 2 :  frmmain1.frm : Sub Form_Load : "));
  EXPECT_EQ(trap.ErrorCount(), 1);
  EXPECT_EQ(trap.Depth(), 2);
}

TEST(ErrorFunction, ReturnsTheChoice) {
  ScriptedReporter reporter;
  modFailSafe trap(nullptr, &reporter);
  for (const int choice : {0, 1, 2, 5, 7, -1}) {
    reporter.Choices = {choice};
    EXPECT_EQ(trap.fsERROR("m", "Sub P", RunTimeError(Overflow)), choice);
  }
  EXPECT_EQ(trap.ErrorCount(), 6);
  trap.Set_Reporter(nullptr);
  EXPECT_EQ(trap.fsERROR("m", "Sub P", RunTimeError(Overflow)), 0);
  EXPECT_EQ(trap.ErrorCount(), 7);
}

TEST(ErrorFunction, PausesTheHooksWhileTheErrorIsShown) {
  ScriptedLoop loop;
  ScriptedReporter reporter;
  modFailSafe trap(&loop, &reporter);
  int turns = 0;
  reporter.WhileShown = [&] {
    // What the dialog does: an event handler runs meanwhile, and then the button ends the pause.
    loop.Post([&] { trap.Pause(false); });
    trap.fsPUSH("m", "Sub Event");
    trap.fsPOP("m", "Sub Event");
    turns = loop.Turns;
  };
  trap.fsERROR("m", "Sub P", RunTimeError(Overflow));
  EXPECT_EQ(turns, 1);
  trap.fsPUSH("m", "Sub Next");
  EXPECT_EQ(loop.Turns, 1);
}

TEST(ErrorFunction, EndsThePauseWhenTheReporterDoesNot) {
  ScriptedLoop loop;
  ScriptedReporter reporter;
  modFailSafe trap(&loop, &reporter);
  trap.fsERROR("m", "Sub P", RunTimeError(Overflow));
  trap.fsPUSH("m", "Sub Next");
  EXPECT_EQ(loop.Turns, 0);
}

TEST(ErrorFunction, LeavesAnEarlierPauseAsItWas) {
  ScriptedLoop loop;
  ScriptedReporter reporter;
  modFailSafe trap(&loop, &reporter);
  trap.Pause(true);
  reporter.WhileShown = [&] { trap.Pause(false); };
  trap.fsERROR("m", "Sub P", RunTimeError(Overflow));
  loop.Post([&] { trap.Pause(false); });
  trap.fsPUSH("m", "Sub Next");
  EXPECT_EQ(loop.Turns, 1);
}

TEST(ErrorFunction, TakesAReporterThatFailsForAcknowledged) {
  ScriptedLoop loop;
  ScriptedReporter reporter;
  modFailSafe trap(&loop, &reporter);
  reporter.Choices = {trap_choice::Retry};
  reporter.WhileShown = [] { throw std::runtime_error("no display"); };
  EXPECT_EQ(trap.fsERROR("m", "Sub P", RunTimeError(Overflow)), trap_choice::Continue);
  trap.fsPUSH("m", "Sub Next");
  EXPECT_EQ(loop.Turns, 0);
}

TEST(ErrorFunction, EndsThePauseWhenItIsInterrupted) {
  ScriptedLoop loop;
  ScriptedReporter reporter;
  modFailSafe trap(&loop, &reporter);
  reporter.WhileShown = [] { throw Interruption(); };
  EXPECT_THROW(trap.fsERROR("m", "Sub P", RunTimeError(Overflow)), Interruption);
  trap.fsPUSH("m", "Sub Next");
  EXPECT_EQ(loop.Turns, 0);
  EXPECT_EQ(trap.Depth(), 1);
}

TEST(DropTo, TakesTheLevelsAboveOff) {
  modFailSafe trap;
  for (const char* name : {"Sub One", "Sub Two", "Sub Three"}) trap.fsPUSH("m", name);
  trap.Drop_To(1);
  EXPECT_THAT(trap.CallStack(), ElementsAre(" 1 : m : Sub One : "));
  trap.Drop_To(2);
  EXPECT_EQ(trap.Depth(), 1);
}

}  // namespace
}  // namespace hq
