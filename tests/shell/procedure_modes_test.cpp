// How each procedure that needs no window treats an error of one of its statements, and one of its entry
// hook.

#include "support/procedure_modes.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/strings.h"
#include "entry/filebrowse.h"
#include "entry/interval_choice.h"
#include "errortrap/trap_doubles.h"
#include "output/file_name.h"
#include "output/file_writer.h"
#include "output/line_formatter.h"
#include "quotes/quote_ordering.h"
#include "run/download_run.h"
#include "shell/failing_allocation.h"
#include "shell/settings_file.h"
#include "support/fakes.h"

namespace hq {
namespace {

using test::Mode;
using test::ProcedureMode;
using test::ProcedureModes;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* Answer = "030313,0930,2,3,1.5,2.5,200\n030314,0930,3,4,2.5,3.5,300\n";

// Stand-ins that fail where the ordinary ones have no such switch.
class FailingStatus final : public StatusLine {
 public:
  void Show(const std::string& text) override {
    if (Fails) throw RunTimeError(OutOfMemory);
    Shown.push_back(text);
  }
  bool Fails = false;
  std::vector<std::string> Shown;
};

class FailingLog final : public DownloadLog {
 public:
  void Show() override { Fail(); }
  void Clear() override { Fail(); }
  void Add(const std::string& line) override {
    Fail();
    Lines.push_back(line);
  }
  bool Fails = false;
  std::vector<std::string> Lines;

 private:
  void Fail() const {
    if (Fails) throw RunTimeError(OutOfMemory);
  }
};

class FailingTransfer final : public TransferControl {
 public:
  explicit FailingTransfer(test::FakeLoop& loop) : inner_(loop) {
    inner_.StateChanged = [this](int state) { StateChanged(state); };
    inner_.Answer_To = [](const std::string&) { return test::FakeTransfer::Script{.Body = Answer}; };
  }
  void Execute(const std::string& address, const std::string& operation) override {
    if (ExecuteError != 0) throw RunTimeError(ExecuteError);
    inner_.Execute(address, operation);
  }
  std::string GetChunk(size_t size, int data_type) override {
    if (GetChunkFails) throw RunTimeError(UnableToCompleteRequest);
    return inner_.GetChunk(size, data_type);
  }
  void Cancel() override {
    ++Cancels;
    if (CancelFails) throw RunTimeError(UnableToCompleteRequest);
    inner_.Cancel();
  }
  [[nodiscard]] std::string Reason() const override { return {}; }

  int ExecuteError = 0;
  bool GetChunkFails = false;
  bool CancelFails = false;
  int Cancels = 0;

 private:
  test::FakeTransfer inner_;
};

class FailingFolders final : public FolderDialog {
 public:
  bool Locate_Root(std::int32_t) override {
    if (LocateFails) throw RunTimeError(PathNotFound);
    return true;
  }
  std::optional<Item> Browse(std::int32_t, std::intptr_t, const std::string&, const std::string&) override {
    throw RunTimeError(PathNotFound);
  }
  bool LocateFails = false;
};

class FailingStocks final : public StockList {
 public:
  [[nodiscard]] int Count() const override { return inner_.Count(); }
  [[nodiscard]] std::string Text(int position) const override { return inner_.Text(position); }
  [[nodiscard]] bool Selected(int position) const override {
    if (position == FailingPosition) throw RunTimeError(SubscriptOutOfRange);
    return inner_.Selected(position);
  }
  void Add_Selected(std::string_view symbol) { inner_.Select(inner_.Add(symbol), true); }
  int FailingPosition = -1;

 private:
  SymbolList inner_;
};

// Everything that a procedure may work on. The trap checks the balance of the hooks and keeps what they tell.
struct World {
  World() {
    Trap.Read_Options = [] {
      TraceOptions options;
      options.CheckBalance = true;
      return options;
    };
    Load_Format(Trap, State.Formats, State.Settings);
    Records.reserve(100);  // so that hooks do not allocate in the middle of a test of allocations
    Trap.Write_Record = [this](const TraceRecord& record) { Keep(record); };
    State.RequestTemplate = "http://host/q?Interval=XXX&Symbol=SSS&Date=DDD";
    State.Settings.CurrentSymbol = "MSFT";
    State.Settings.DayCount = 5;
    State.Settings.OutputFolder = "/out";
    Disk.Contents["/out"] = "";
    Entry.IntervalPosition = DailyInterval;
    Entry.Interval = Interval_Choices()[DailyInterval].Text;
    Entry.OutputFormat = Format_Items()[14];
    Entry.OutputFolder = "/out";
    Entry.Days = "5";
    Entry.EndDate = {"03", "14", "03"};
    Stocks.Add_Selected("IBM");
    Stocks.Add_Selected("MSFT");
  }

  World(const World&) = delete;
  World& operator=(const World&) = delete;
  // The run ends its transfer when it goes.
  ~World() { Inet.CancelFails = false; }

  // The records as "-> MODULE : PROCEDURE" and "<- ...", those of called procedures indented. The entries of
  // FailingEntry fail so many times.
  void Keep(const TraceRecord& record) {
    const bool entry = record.Way == TraceRecord::Direction::Entry;
    const std::string name(Trim(record.EntryText.substr(0, record.EntryText.rfind(" : "))));
    if (entry && name == FailingEntry && FailuresLeft > 0) {
      --FailuresLeft;
      throw RunTimeError(DiskFull, "trace log");
    }
    Records.push_back((entry ? "-> " : "<- ") +
                      std::string(record.EntryText.substr(0, record.EntryText.rfind(" : "))));
  }

  // A table of two days whose second key is no date.
  void Fill_Table() {
    QuoteTable& table = State.Quotes;
    table.QuoteCount = 2;
    table.QuoteKeys = {QuoteKey("03/13/03 09:300000"), QuoteKey("no date   09:300001"), QuoteKey(),
                       QuoteKey()};
    table.QuoteValues = {{2, 3, 1.5F, 2.5F, 200, 0}, {3, 4, 2.5F, 3.5F, 300, 0}, {}, {}};
  }

  test::FakeLoop Loop;
  test::ScriptedReporter Reporter;
  modFailSafe Trap{&Loop, &Reporter};
  test::FakeMessageBoxes Boxes;
  test::MemoryFiles Disk;
  test::FakeClock Time;
  FailingTransfer Inet{Loop};
  FailingStatus Status;
  FailingLog Log;
  FailingFolders Folders;
  FailingStocks Stocks;
  SharedState State;
  SavedChoices Saved;
  EntryTexts Entry;
  DownloadRun Download{State, {Trap, Boxes, Loop, Disk, Time, Inet, Status, Log}};
  std::vector<std::string> Records;
  std::string FailingEntry;
  int FailuresLeft = 0;
  // What the procedure gave back.
  bool Result = false;
  std::int16_t Key = -1;
  std::string Text = "as before";
};

// A procedure, a call of it in which a statement fails, and what must have come of it.
struct FailingCall {
  const char* Module;
  const char* Procedure;
  void (*Call)(World&);
  void (*Check)(World&);
};

constexpr FailingCall FailingCalls[] = {
    // It has no statement that can fail: only its hook can.
    {"global.bas", "Function Keyin_Number", [](World& w) { w.Key = Keyin_Number(w.Trap, '7'); },
     [](World& w) { EXPECT_EQ(w.Key, '7'); }},

    {"global.bas", "Sub Load_Config",
     [](World& w) {
       w.Disk.Contents[Join_Path("/home", "user.cfg")] = "|IBM\r\n2\r\n";
       w.Result = Load_Config(w.Trap, w.Boxes, w.Disk, "/home", w.Saved, w.State.Settings);
     },
     [](World& w) {
       EXPECT_FALSE(w.Result);
       EXPECT_THAT(
           w.Boxes.Texts(),
           ElementsAre("Unexpected error in initializing! Please restart to let program fix itself."));
       EXPECT_EQ(w.Disk.Contents.count(Join_Path("/home", "user.cfg")), 0U);
       EXPECT_EQ(w.Saved.IntervalPosition, 2);
     }},
    {"global.bas", "Function Need_Sort",
     [](World& w) {
       w.Fill_Table();
       w.Result = true;
       w.Result = Need_Sort(w.Trap, w.State.Quotes);
     },
     [](World& w) {
       EXPECT_FALSE(w.Result);
       EXPECT_THAT(w.Boxes.Texts(), IsEmpty());
     }},
    {"disk.bas", "Function Create_FileName",
     [](World& w) {
       w.State.Quotes.QuoteCount = 1;
       w.Text = Create_FileName(w.Trap, w.Boxes, w.State.Settings, w.State.Quotes);
     },
     [](World& w) {
       EXPECT_EQ(w.Text, "");
       EXPECT_THAT(w.Boxes.Texts(), ElementsAre("Error 9 inside Create_FileName()."));
     }},
    {"global.bas", "Sub QuickSort",
     [](World& w) {
       w.Fill_Table();
       QuickSort(w.Trap, w.Boxes, w.State.Quotes.QuoteKeys, 0, 9);
     },
     [](World& w) {
       EXPECT_THAT(w.Boxes.Texts(), ElementsAre("Err Subscript out of range inside QuickSort. Report!"));
     }},
    {"global.bas", "Sub Process_Interday",
     [](World& w) {
       w.State.Transfer.ResponseText = "030313,0930,2,3,1.5,2.5,200\n030314,0930,3,x,2.5,3.5,300\n";
       Process_Interday(w.Trap, w.State.Transfer, w.State.Quotes);
     },
     [](World& w) {
       EXPECT_EQ(w.State.Transfer.TransferStatus, "Bad data inside received stream. try to re-download!");
       EXPECT_EQ(w.State.Quotes.QuoteCount, 0);
       EXPECT_THAT(w.Boxes.Texts(), IsEmpty());
     }},
    {"frmmain1.frm", "Function Save_Config",
     [](World& w) {
       w.Disk.OpenError = DiskFull;
       w.Result = true;
       w.Result = Save_Config(w.Trap, w.Boxes, w.Disk, "/home", w.Stocks, {});
     },
     [](World& w) {
       EXPECT_FALSE(w.Result);
       EXPECT_THAT(w.Boxes.Texts(), ElementsAre("Err: Disk full in Save_Config(). Can't save user choices"));
     }},
    {"frmmain1.frm", "Sub Process_Onestock",
     [](World& w) {
       w.Inet.ExecuteError = UnableToCompleteRequest;
       w.Inet.CancelFails = true;
       w.State.Quotes.QuoteCount = 7;
       w.Text = w.Download.Process_Onestock().Reason;
     },
     [](World& w) {
       EXPECT_THAT(w.Status.Shown, ElementsAre("Internet request failed! Check connection"));
       EXPECT_EQ(w.State.Quotes.QuoteCount, 0);
       EXPECT_EQ(w.Inet.Cancels, 1);
       EXPECT_THAT(w.Text, testing::StartsWith("Internet request failed! Check connection"));
       EXPECT_THAT(w.Boxes.Texts(), IsEmpty());
     }},
    {"frmmain1.frm", "Function Valid_Entry",
     [](World& w) {
       w.Entry.Days = "99999";
       w.Result = true;
       w.Result = Valid_Entry(w.Trap, w.Boxes, w.Loop, w.Disk, w.Stocks, w.Entry, {});
     },
     [](World& w) {
       EXPECT_FALSE(w.Result);
       EXPECT_THAT(w.Boxes.Texts(), ElementsAre("unhandled err: 6 in Valid_Entry()"));
     }},

    {"global.bas", "Sub Set_StartIndex",
     [](World& w) {
       w.State.Quotes.QuoteCount = 3;
       w.State.Quotes.FirstRow = 2;
       Set_StartIndex(w.Trap, w.State.Settings, w.State.Quotes);
     },
     [](World& w) { EXPECT_EQ(w.State.Quotes.FirstRow, 0); }},
    {"disk.bas", "Sub Write_File",
     [](World& w) {
       w.Fill_Table();
       w.Disk.WriteError = DiskFull;
       w.Result = true;
       w.Result = Write_File(w.Trap, w.Loop, w.Boxes, w.Disk, w.State.Formats, w.State.Settings,
                             w.State.Quotes, "/out/file")
                      .Written;
     },
     [](World& w) {
       EXPECT_FALSE(w.Result);
       EXPECT_EQ(w.Disk.Opens, 1);
       EXPECT_EQ(w.Loop.Passes, 1) << "the last statement";
       // Each row was made although no line before it could be written.
       EXPECT_EQ(std::ranges::count(w.Records, "->  disk.bas : Function FormatOneLine"), 2);
       EXPECT_THAT(w.Boxes.Texts(), IsEmpty());
     }},
    {"disk.bas", "Sub Load_Format",
     [](World& w) {
       // The first sample: 94 characters and what a text needs beside them.
       FormatCatalogue catalogue;
       {
         const test::FailingAllocation failing(94, 99);
         Load_Format(w.Trap, catalogue, w.State.Settings);
       }
       w.State.Formats = std::move(catalogue);
     },
     [](World& w) {
       EXPECT_EQ(w.State.Formats.FormatCount, 15);
       std::vector<std::string> missing;
       for (size_t i = 0; i < 15; ++i) {
         if (w.State.Formats.SampleText[i].empty()) missing.push_back(w.State.Formats.FormatName[i]);
       }
       EXPECT_THAT(missing, ElementsAre("Aget"));
       EXPECT_EQ(w.State.Formats.FormatName[14], "Text without header-Daily");
     }},
    {"disk.bas", "Function FormatOneLine",
     [](World& w) {
       w.Fill_Table();
       w.Text = FormatOneLine(w.Trap, w.State.Quotes, 1, "MM/DD/YY", "HH:MM");
     },
     // The date is left out, all behind it is there.
     [](World& w) { EXPECT_EQ(w.Text, ",3.000,4.000,2.500,3.500,300"); }},
    {"filebrowse.bas", "Function BrowseForFolder",
     [](World& w) {
       w.Result = true;
       w.Result = BrowseForFolder(w.Trap, w.Folders, 0, 1, w.Text, 0, "Select a folder:");
     },
     [](World& w) {
       EXPECT_FALSE(w.Result);
       EXPECT_EQ(w.Text, "as before");
     }},
    {"frmmain1.frm", "Sub Inet1_StateChanged",
     [](World& w) {
       w.Inet.GetChunkFails = true;
       Inet1_StateChanged(w.Trap, w.Inet, w.Loop, w.Status, w.State.Transfer,
                          [] { return ResponseCompleted; });
     },
     [](World& w) {
       EXPECT_EQ(w.State.Transfer.TransferStatus, "Data downloading is done!");
       EXPECT_THAT(w.Status.Shown, ElementsAre("Data downloading is done!"));
       EXPECT_EQ(w.State.Transfer.ResponseText, "");
     }},
    {"frmmain1.frm", "Sub cmddownload_Click",
     [](World& w) {
       w.Log.Fails = true;
       w.Inet.CancelFails = true;
       w.Entry.EndDate = {"02", "30", "03"};
       w.State.Settings.DayCount = 99;
       w.Result = w.Download.cmddownload_Click(w.Stocks, w.Entry);
     },
     [](World& w) {
       EXPECT_TRUE(w.Result);
       EXPECT_THAT(w.Log.Lines, IsEmpty());
       EXPECT_EQ(w.State.Settings.EndDate, Date());
       EXPECT_EQ(w.State.Settings.DayCount, 5);
       EXPECT_EQ(w.Inet.Cancels, 4) << "before each symbol, and after the failing log line of each";
       EXPECT_EQ(std::ranges::count(w.Records, "->  frmmain1.frm : Sub Process_Onestock"), 2);
     }},
};

const ProcedureMode& Mode_Of(const FailingCall& call) {
  for (const ProcedureMode& mode : ProcedureModes) {
    if (mode.Module == call.Module && mode.Procedure == call.Procedure) return mode;
  }
  throw std::logic_error("no such procedure");
}

void PrintTo(const FailingCall& call, std::ostream* out) {
  *out << call.Procedure;
}

class ProcedureWithoutWindow : public testing::TestWithParam<FailingCall> {
 protected:
  static std::string Name() { return std::string(GetParam().Module) + " : " + GetParam().Procedure; }
  static void Expect_Hooks(const World& world) {
    EXPECT_THAT(world.Records, testing::Contains("-> " + Name()));
    ASSERT_THAT(world.Records, testing::Not(IsEmpty()));
    EXPECT_EQ(world.Records.back(), "<- " + Name());
    EXPECT_EQ(world.Trap.Depth(), 0);
  }
};

TEST_P(ProcedureWithoutWindow, TellsTheTrapNothingOfAnErrorThatItHandlesOrSkips) {
  World world;
  GetParam().Call(world);
  GetParam().Check(world);
  EXPECT_THAT(world.Reporter.Errors, IsEmpty());
  Expect_Hooks(world);
}

TEST_P(ProcedureWithoutWindow, HasAnErrorOfItsEntryHookTriedAgainAtRetry) {
  World world;
  world.FailingEntry = Name();
  world.FailuresLeft = 2;
  world.Reporter.Choices = {trap_choice::Retry};
  GetParam().Call(world);
  GetParam().Check(world);
  ASSERT_EQ(world.Reporter.Errors.size(), 2U);
  for (const TrappedError& error : world.Reporter.Errors) {
    EXPECT_EQ(error.Module, GetParam().Module);
    EXPECT_EQ(error.Procedure, GetParam().Procedure);
    EXPECT_EQ(error.Number, DiskFull);
    EXPECT_THAT(error.CallStack, ElementsAre(" 1 : " + Name() + " : "));
  }
  Expect_Hooks(world);
}

TEST_P(ProcedureWithoutWindow, GoesOnBehindAnErrorOfItsEntryHookAtIgnore) {
  World world;
  world.FailingEntry = Name();
  world.FailuresLeft = 1;
  world.Reporter.Choices = {trap_choice::Ignore};
  GetParam().Call(world);
  GetParam().Check(world);
  EXPECT_EQ(world.Reporter.Errors.size(), 1U);
  EXPECT_EQ(world.Records.back(), "<- " + Name());
  EXPECT_EQ(world.Trap.Depth(), 0);
}

TEST_P(ProcedureWithoutWindow, IsLeftForAnErrorOfItsEntryHookAtContinue) {
  World world;
  world.FailingEntry = Name();
  world.FailuresLeft = 1;
  world.Reporter.Choices = {trap_choice::Continue};
  const size_t shown = world.Boxes.Shown.size();
  GetParam().Call(world);
  EXPECT_EQ(world.Reporter.Errors.size(), 1U);
  // Nothing of the body ran, the exit hook did.
  EXPECT_THAT(world.Records, ElementsAre("<- " + Name()));
  EXPECT_EQ(world.Boxes.Shown.size(), shown);
  EXPECT_FALSE(world.Result);
  EXPECT_EQ(world.Loop.Passes, 0);
  EXPECT_EQ(world.Disk.Opens, 0);
  EXPECT_THAT(world.Status.Shown, IsEmpty());
  EXPECT_EQ(world.State.Transfer.TransferStatus, "");
  EXPECT_TRUE(world.Text == "as before" || world.Text.empty());
  EXPECT_EQ(world.Trap.Depth(), 0);
}

INSTANTIATE_TEST_SUITE_P(Procedures, ProcedureWithoutWindow, testing::ValuesIn(FailingCalls),
                         [](const auto& call) {
                           const std::string_view name = call.param.Procedure;
                           return std::string(name.substr(name.find(' ') + 1));
                         });

TEST(ProceduresWithoutWindow, AreAllTested) {
  std::vector<std::string> tested;
  std::vector<std::string> listed;
  for (const FailingCall& call : FailingCalls) tested.push_back(std::string(Mode_Of(call).Procedure));
  for (const ProcedureMode& mode : ProcedureModes) {
    if (!mode.NeedsWindow) listed.push_back(std::string(mode.Procedure));
  }
  EXPECT_THAT(tested, testing::UnorderedElementsAreArray(listed));
}

// Further statements of the same procedures --------------------------------------------------------------

TEST(KeyinNumber, IsLeftWithoutAKeyAThousandLevelsDeep) {
  World world;
  world.Trap.Write_Record = nullptr;
  for (int i = 0; i < modFailSafe::DeepestLevel; ++i) world.Trap.fsPUSH("m", "Sub P");
  world.Reporter.Choices = {trap_choice::Continue};
  EXPECT_EQ(Keyin_Number(world.Trap, '7'), 0);
  ASSERT_FALSE(world.Reporter.Errors.empty());
  EXPECT_EQ(world.Reporter.Errors[0].Module, "global.bas");
  EXPECT_EQ(world.Reporter.Errors[0].Procedure, "Function Keyin_Number");
  EXPECT_EQ(world.Reporter.Errors[0].Detail,
            "The program is too deeply nested. The error handler can only handle 1000 levels of recursion.");
  EXPECT_EQ(world.Reporter.Errors[0].CallStack.size(), 1000U);
}

TEST(ProcessOnestock, TellsTheNumberOfAnyOtherErrorInTheStatusLine) {
  World world;
  world.Inet.ExecuteError = OutOfMemory;
  world.Download.Process_Onestock();
  EXPECT_EQ(world.State.Transfer.TransferStatus, "Unexpected error 7 inside Process_Onestock()");
  EXPECT_THAT(world.Status.Shown, ElementsAre("Unexpected error 7 inside Process_Onestock()"));
  EXPECT_THAT(world.Reporter.Errors, IsEmpty());
}

TEST(ProcessOnestock, SkipsFailingStatementsInItsOwnHandler) {
  World world;
  world.Inet.ExecuteError = OutOfMemory;
  world.Status.Fails = true;
  world.State.Quotes.QuoteCount = 7;
  world.Download.Process_Onestock();
  EXPECT_EQ(world.State.Quotes.QuoteCount, 0);
  EXPECT_EQ(world.Inet.Cancels, 1);
  EXPECT_THAT(world.Reporter.Errors, IsEmpty());
  EXPECT_EQ(world.Records.back(), "<- frmmain1.frm : Sub Process_Onestock");
}

TEST(ProcessOnestock, HandlesAnErrorOfTheWaitItself) {
  World world;
  world.Loop.On_Pass = [] { throw RunTimeError(OutOfMemory); };
  world.Download.Process_Onestock();
  EXPECT_EQ(world.State.Transfer.TransferStatus, "Unexpected error 7 inside Process_Onestock()");
  EXPECT_TRUE(world.Disk.Contents.size() == 1) << "no file";
  EXPECT_EQ(world.Trap.Depth(), 0);
}

TEST(LoadConfig, IsQuietWithoutAFile) {
  World world;
  EXPECT_TRUE(Load_Config(world.Trap, world.Boxes, world.Disk, "/home", world.Saved, world.State.Settings));
  EXPECT_THAT(world.Boxes.Texts(), IsEmpty());
  EXPECT_THAT(world.Reporter.Errors, IsEmpty());
}

TEST(BrowseForFolder, IsChosenWithoutADialogWhenTheRootCannotBeAskedFor) {
  World world;
  world.Folders.LocateFails = true;
  EXPECT_TRUE(BrowseForFolder(world.Trap, world.Folders, 0, 1, world.Text, 0, "Select a folder:"));
  EXPECT_EQ(world.Text, "as before");
  EXPECT_THAT(world.Reporter.Errors, IsEmpty());
}

TEST(Inet1StateChanged, KeepsTheBodyWhenAnEventFailsWhileItIsRead) {
  World world;
  world.Inet.Execute("http://host/", "GET");
  world.Loop.On_Pass = [] { throw RunTimeError(OutOfMemory); };
  Inet1_StateChanged(world.Trap, world.Inet, world.Loop, world.Status, world.State.Transfer,
                     [] { return ResponseCompleted; });
  EXPECT_EQ(world.State.Transfer.ResponseText, Answer);
  EXPECT_EQ(world.State.Transfer.TransferStatus, "Data downloading is done!");
  EXPECT_THAT(world.Reporter.Errors, IsEmpty());
}

TEST(Inet1StateChanged, PassesOverAStatusLineThatCannotShow) {
  World world;
  world.Status.Fails = true;
  Inet1_StateChanged(world.Trap, world.Inet, world.Loop, world.Status, world.State.Transfer,
                     [] { return HostResolved; });
  EXPECT_EQ(world.State.Transfer.TransferStatus, "Host IP found ..");
  EXPECT_THAT(world.Reporter.Errors, IsEmpty());
}

TEST(CmddownloadClick, LeavesOutAnEntryThatCannotBeLookedAt) {
  World world;
  world.Stocks.Add_Selected("AAA");
  // Not when the entries are checked, which end at the first selected one.
  world.Stocks.FailingPosition = 1;
  EXPECT_TRUE(world.Download.cmddownload_Click(world.Stocks, world.Entry));
  EXPECT_EQ(std::ranges::count(world.Records, "->  frmmain1.frm : Sub Process_Onestock"), 2);
  EXPECT_THAT(world.Log.Lines, testing::Contains("downloading symbol   AAA"));
  EXPECT_THAT(world.Log.Lines, testing::Contains("downloading symbol   MSFT"));
  EXPECT_THAT(world.Reporter.Errors, IsEmpty());
}

}  // namespace
}  // namespace hq
