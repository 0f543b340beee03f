#include "run/download_run.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "base/strings.h"
#include "entry/interval_choice.h"
#include "support/fakes.h"

namespace hq {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using test::FakeTransfer;

constexpr const char* Answer =
    "030312,0930,1,2,0.5,1.5,100\n030313,0930,2,3,1.5,2.5,200\n030314,0930,3,4,2.5,3.5,300\n";

// A program with stand-ins for everything outside of the engine.
struct FakeProgram {
  test::FakeLoop Loop;
  modFailSafe Trap{&Loop};
  test::FakeMessageBoxes Boxes;
  test::MemoryFiles Disk;
  test::FakeClock Time;
  test::FakeTransfer Inet{Loop};
  test::FakeStatus Status;
  test::FakeLog Log;
  SharedState State;
  SymbolList Stocks;
  EntryTexts Entry;
  DownloadRun Download{State, {Trap, Boxes, Loop, Disk, Time, Inet, Status, Log}};
};

class DownloadRunTest : public ::testing::Test, protected FakeProgram {
 protected:
  DownloadRunTest() {
    Load_Format(Trap, State.Formats, State.Settings);
    State.RequestTemplate = "http://host/q?Interval=XXX&Symbol=SSS&Date=DDD";
    Disk.Contents["/out"] = "";
    Choose(6, 13);
    Entry.OutputFolder = "/out";
    Entry.Days = "2";
    Entry.EndDate = {"03", "13", "03"};
    Inet.Answer_To = [](const std::string&) { return FakeTransfer::Script{.Body = Answer}; };
    Download.Symbol_Done = [this](const SymbolOutcome& outcome) { Outcomes.push_back(outcome); };
  }

  void Choose(int interval, size_t format) {
    Entry.IntervalPosition = interval;
    Entry.Interval = Interval_Choices()[static_cast<size_t>(interval)].Text;
    Entry.OutputFormat = Format_Items()[format];
  }
  void Select(const std::vector<std::string>& symbols) {
    for (const std::string& symbol : symbols) Stocks.Select(Stocks.Add(symbol), true);
  }
  bool Click() { return Download.cmddownload_Click(Stocks, Entry); }
  [[nodiscard]] std::vector<std::string> Lines_With(const std::string& start) const {
    std::vector<std::string> lines;
    for (const std::string& line : Log.Lines) {
      if (line.starts_with(start)) lines.push_back(line);
    }
    return lines;
  }
  static std::string In_Out(const std::string& name) { return Join_Path("/out", name); }

  std::vector<SymbolOutcome> Outcomes;
};

TEST_F(DownloadRunTest, OneSymbolFromClickToFile) {
  Select({"MSFT"});
  EXPECT_TRUE(Click());
  EXPECT_EQ(Disk.Contents[In_Out("031303-031403MSFT1D.txt")],
            "Date,Open,High,Low,Close,Volume\r\n"
            "03/13/03,2.000,3.000,1.500,2.500,200\r\n"
            "03/14/03,3.000,4.000,2.500,3.500,300\r\n");
  ASSERT_EQ(Log.Lines.size(), 5U);
  EXPECT_TRUE(Log.Lines[0].starts_with("Start download at "));
  EXPECT_EQ(Log.Lines[1], "downloading symbol   MSFT");
  EXPECT_EQ(Log.Lines[2], "exporting to " + In_Out("031303-031403MSFT1D.txt"));
  EXPECT_EQ(Log.Lines[3], "Recorded 2 lines");
  EXPECT_TRUE(Log.Lines[4].starts_with("Finish at "));
  EXPECT_EQ(Log.Shows, 1);
  EXPECT_EQ(Inet.Addresses, std::vector<std::string>{"http://host/q?Interval=1440&Symbol=MSFT&Date=031403"});
  EXPECT_EQ(Inet.Operations, std::vector<std::string>{"GET"});
  ASSERT_EQ(Outcomes.size(), 1U);
  EXPECT_TRUE(Outcomes[0].Written);
  EXPECT_EQ(Outcomes[0].Reason, "");
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(DownloadRunTest, TheStatusLineTellsEveryStateInOrder) {
  Select({"MSFT"});
  Click();
  EXPECT_EQ(Status.Shown,
            (std::vector<std::string>{
                "Lookup host name..", "Host IP found ..", "Connecting to the host computer ..",
                "host computer connected...", "Sending request to host ...", "Requests sent successfully",
                "Waiting for server response...", "Downloading...", "Disconnecting from the server",
                "disconnected from the server", "Data downloading is done!", "Procsss MSFT"}));
  EXPECT_EQ(State.Transfer.TransferStatus, "Procsss MSFT");
}

TEST_F(DownloadRunTest, WithoutAServerEverySymbolFailsForThatReason) {
  Select({"IBM", "MSFT"});
  State.NoServer = "The settings can't be read.";
  EXPECT_TRUE(Click());
  EXPECT_TRUE(Inet.Addresses.empty());
  EXPECT_EQ(Status.Shown, (std::vector<std::string>{"Failed! IBM: The settings can't be read.",
                                                    "Failed! MSFT: The settings can't be read."}));
  EXPECT_EQ(Lines_With("downloading symbol   ").size(), 2U);
  EXPECT_EQ(Lines_With("Recorded 0 lines").size(), 2U);
  ASSERT_EQ(Outcomes.size(), 2U);
  for (const SymbolOutcome& outcome : Outcomes) {
    EXPECT_FALSE(outcome.Written);
    EXPECT_EQ(outcome.Reason, "The settings can't be read.");
  }
  EXPECT_EQ(Disk.Contents.size(), 1U);
  State.NoServer.clear();
  EXPECT_TRUE(Click());
  EXPECT_EQ(Outcomes.back().Reason, "");
}

TEST_F(DownloadRunTest, SettingsAreTakenFromTheEntries) {
  Select({"MSFT"});
  Choose(4, 7);
  Entry.Days = "38";
  Entry.EndDate = {"12", "31", "03"};
  Click();
  EXPECT_EQ(State.Settings.IntervalCode, 30);
  EXPECT_EQ(State.Settings.CurrentFormat, 7);
  EXPECT_EQ(State.Settings.DayCount, 38);
  EXPECT_EQ(State.Settings.EndDate, Date(std::chrono::year(2003) / 12 / 31));
  EXPECT_EQ(State.Settings.OutputFolder, "/out");
}

TEST_F(DownloadRunTest, DayCountsRoundHalvesToEven) {
  Select({"MSFT"});
  Entry.Days = "2.5";
  Click();
  EXPECT_EQ(State.Settings.DayCount, 2);
  Entry.Days = "3.5";
  Click();
  EXPECT_EQ(State.Settings.DayCount, 4);
}

TEST_F(DownloadRunTest, AnEndDateThatIsNoDateKeepsThePreviousOne) {
  Select({"MSFT"});
  Click();
  const Date before = State.Settings.EndDate;
  Entry.EndDate = {"02", "30", "03"};
  EXPECT_TRUE(Click());
  EXPECT_EQ(State.Settings.EndDate, before);
  EXPECT_EQ(Lines_With("Recorded ").size(), 1U);
}

TEST_F(DownloadRunTest, AnIntervalThatIsNotInTheListKeepsThePreviousCode) {
  Select({"MSFT"});
  Click();
  Entry.IntervalPosition = -1;
  EXPECT_TRUE(Click());
  EXPECT_EQ(State.Settings.IntervalCode, 1440);
}

TEST_F(DownloadRunTest, RefusedEntriesChangeNothing) {
  Stocks.Add("MSFT");
  const RunSettings before = State.Settings;
  EXPECT_FALSE(Click());
  EXPECT_EQ(Boxes.Shown.size(), 1U);
  EXPECT_TRUE(Log.Lines.empty());
  EXPECT_EQ(Log.Shows, 0);
  EXPECT_EQ(State.Settings.OutputFolder, before.OutputFolder);
  EXPECT_EQ(State.Settings.CurrentFormat, 11);
  EXPECT_EQ(Inet.Cancels, 0);
  EXPECT_EQ(Trap.Depth(), 0);
}

// A list that lets the check before a run pass and then has nothing to run over.
class ListThatEmpties final : public StockList {
 public:
  explicit ListThatEmpties(int count_afterwards) : count_afterwards_(count_afterwards) {}
  [[nodiscard]] int Count() const override { return checked_ ? count_afterwards_ : 1; }
  [[nodiscard]] std::string Text(int) const override { return "X"; }
  [[nodiscard]] bool Selected(int) const override { return !std::exchange(checked_, true); }

 private:
  int count_afterwards_;
  mutable bool checked_ = false;
};

TEST_F(DownloadRunTest, NothingSelectedOrAnEmptyListLogsStartAndFinishOnly) {
  for (const int count : {0, 3}) {
    const ListThatEmpties stocks(count);
    EXPECT_TRUE(Download.cmddownload_Click(stocks, Entry));
    ASSERT_EQ(Log.Lines.size(), 2U) << count;
    EXPECT_TRUE(Log.Lines[0].starts_with("Start download at "));
    EXPECT_TRUE(Log.Lines[1].starts_with("Finish at "));
  }
  EXPECT_TRUE(Inet.Addresses.empty());
}

TEST_F(DownloadRunTest, ThreeOfFiveInListOrder) {
  Select({"E", "C", "A"});
  Stocks.Add("B");
  Stocks.Add("D");
  Click();
  EXPECT_EQ(Lines_With("downloading symbol"),
            (std::vector<std::string>{"downloading symbol   A", "downloading symbol   C",
                                      "downloading symbol   E"}));
  EXPECT_EQ(Inet.Cancels, 3) << "every symbol starts on an idle control";
}

TEST_F(DownloadRunTest, ASecondRunClearsTheLog) {
  Select({"MSFT"});
  Click();
  Click();
  EXPECT_EQ(Log.Lines.size(), 5U);
  EXPECT_EQ(Log.Shows, 2);
}

TEST_F(DownloadRunTest, NoRowsLogZeroAndAreToldToWhoAsks) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) {
    return FakeTransfer::Script{.Body = "Unknown symbol MSFT\n", .Why = "HTTP 404"};
  };
  Click();
  EXPECT_EQ(Lines_With("exporting to "), std::vector<std::string>{"exporting to " + In_Out("")});
  EXPECT_EQ(Lines_With("Recorded "), std::vector<std::string>{"Recorded 0 lines"});
  EXPECT_EQ(Disk.Opens, 0);
  ASSERT_EQ(Outcomes.size(), 1U);
  EXPECT_FALSE(Outcomes[0].Written);
  EXPECT_EQ(Outcomes[0].Reason, "Server returns no data. try later! (HTTP 404: Unknown symbol MSFT)");
  EXPECT_EQ(State.Transfer.TransferStatus, "Procsss MSFT");
}

TEST_F(DownloadRunTest, QuotesSentWithAnHttpErrorAreWrittenAndTold) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) { return FakeTransfer::Script{.Body = Answer, .Why = "HTTP 500"}; };
  Click();
  EXPECT_TRUE(Outcomes[0].Written);
  EXPECT_EQ(Outcomes[0].Reason, "the server sent quotes with an error (HTTP 500)");
}

TEST_F(DownloadRunTest, AnAnswerThatBreaksOffWithoutALengthIsTold) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) {
    return FakeTransfer::Script{.Body = std::string(Answer) + "030317,0930,1,2"};
  };
  Click();
  EXPECT_TRUE(Outcomes[0].Written);
  EXPECT_EQ(Outcomes[0].Reason, "the answer breaks off in its last line, which was left out");
}

TEST_F(DownloadRunTest, RowsThatTakeOtherRowsNumbersAreTold) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) {
    FakeTransfer::Script script;
    for (int i = 0; i <= 10000; ++i) script.Body += "030314,0930,1,1,1,1,1\n";
    return script;
  };
  Click();
  EXPECT_TRUE(Outcomes[0].Written);
  EXPECT_EQ(Outcomes[0].Reason, "rows from number 10000 on have the numbers of other rows");
}

TEST_F(DownloadRunTest, TwoSymbolsWithOneFileNameAreTold) {
  Select({"X:Y", "XY", "Z"});
  Click();
  EXPECT_EQ(Outcomes[0].Reason, "");
  EXPECT_EQ(Outcomes[1].Reason, "its file has the name of that of X:Y, which it replaces");
  EXPECT_EQ(Outcomes[2].Reason, "");
  Outcomes.clear();
  Click();
  EXPECT_EQ(Outcomes[0].Reason, "") << "a file of an earlier run is replaced without a word";
}

TEST_F(DownloadRunTest, TheBadLineIsToldAndNotTheFirst) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) {
    return FakeTransfer::Script{.Body = std::string(Answer) + "030317,0930,1,oops,0.5,1.5,100\n"};
  };
  Click();
  ASSERT_EQ(Outcomes.size(), 1U);
  EXPECT_EQ(Outcomes[0].Reason,
            "Bad data inside received stream. try to re-download! (line 4: 030317,0930,1,oops,0.5,1.5,100)");
}

TEST_F(DownloadRunTest, AnAnswerInOneLineIsNoSuccess) {
  Select({"MSFT"});
  for (const auto& [body, reason] :
       {std::pair{"030312,0930,1,2,0.5,1.5,100\r030313,0930,2,3,1.5,2.5,200\r",
                  "the answer's lines end in carriage returns alone (030312,0930,1,2,0.5,1.5,100)"},
        {"030312,0930,1,2,0.5,1.5,100",
         "the answer breaks off in its first line (030312,0930,1,2,0.5,1.5,100)"}}) {
    Outcomes.clear();
    Inet.Answer_To = [text = body](const std::string&) { return FakeTransfer::Script{.Body = text}; };
    Click();
    ASSERT_EQ(Outcomes.size(), 1U);
    EXPECT_FALSE(Outcomes[0].Written);
    EXPECT_EQ(Outcomes[0].Reason, reason);
  }
}

TEST_F(DownloadRunTest, IncompleteDataIsToldToWhoAsks) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) {
    return FakeTransfer::Script{.Body = "030312,0930,1,2,0.5,1.5\n"};
  };
  Click();
  ASSERT_EQ(Outcomes.size(), 1U);
  EXPECT_TRUE(Outcomes[0].Reason.starts_with("Incomplete data received! retry!")) << Outcomes[0].Reason;
}

TEST_F(DownloadRunTest, AServerThatNeverAnswersTimesOutAfterAbout30Seconds) {
  Select({"DEAF", "MSFT"});
  Inet.Answer_To = [](const std::string& address) {
    if (!Contains(address, "DEAF")) return FakeTransfer::Script{.Body = Answer};
    return FakeTransfer::Script{.States = {1, 2, 3, 4, 5, 6, 7}, .Body = Answer};
  };
  std::vector<milliseconds> sleeps;
  Download.Symbol_Done = [&](const SymbolOutcome& outcome) {
    if (Outcomes.empty()) sleeps = Loop.Sleeps;
    Outcomes.push_back(outcome);
  };
  Click();
  EXPECT_EQ(sleeps, std::vector<milliseconds>(102, milliseconds(300))) << "101 passes and one rest";
  EXPECT_NE(std::find(Status.Shown.begin(), Status.Shown.end(), "Time out. no response"), Status.Shown.end());
  ASSERT_EQ(Outcomes.size(), 2U);
  EXPECT_EQ(Outcomes[0].Reason, "Time out. no response (Waiting for server response...)");
  EXPECT_TRUE(Outcomes[1].Written) << "the run goes on";
  EXPECT_EQ(Lines_With("exporting to ").size(), 1U);
  EXPECT_EQ(Inet.Cancels, 3);
}

TEST_F(DownloadRunTest, AnAnswerInTheLastPassComesTooLate) {
  Select({"MSFT"});
  std::vector<int> states(100, 8);
  states.push_back(12);
  Inet.Answer_To = [&](const std::string&) { return FakeTransfer::Script{.States = states, .Body = Answer}; };
  Click();
  EXPECT_TRUE(Outcomes[0].Reason.starts_with("Time out. no response"));
  EXPECT_TRUE(Disk.Contents.size() == 1);
}

TEST_F(DownloadRunTest, AFailedTransferIsShownAndSkipped) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) {
    return FakeTransfer::Script{.States = {1, 11}, .Body = Answer, .Why = "host not found"};
  };
  Click();
  EXPECT_EQ(Status.Shown, (std::vector<std::string>{"Lookup host name..",
                                                    "Failed to download data! Try another time at night!"}));
  EXPECT_EQ(Outcomes[0].Reason, "Failed to download data! Try another time at night! (host not found)");
  EXPECT_EQ(Loop.Sleeps.back(), milliseconds(100));
  EXPECT_EQ(Lines_With("exporting to ").size(), 0U);
  EXPECT_EQ(Lines_With("Recorded "), std::vector<std::string>{"Recorded 0 lines"});
  EXPECT_EQ(Inet.Cancels, 2);
}

TEST_F(DownloadRunTest, AnUnknownStateIsAFailure) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) { return FakeTransfer::Script{.States = {1, 42}, .Body = Answer}; };
  Click();
  EXPECT_EQ(Status.Shown.back(), "Failed!");
  EXPECT_EQ(Outcomes[0].Reason, "Failed!");
}

TEST_F(DownloadRunTest, ASymbolThatFailsAfterOneThatWorkedCountsFromTheOldFirstRow) {
  Select({"A", "B"});
  Inet.Answer_To = [](const std::string& address) {
    if (Contains(address, "Symbol=A")) return FakeTransfer::Script{.Body = Answer};
    return FakeTransfer::Script{.States = {11}};
  };
  Click();
  EXPECT_EQ(Lines_With("Recorded "), (std::vector<std::string>{"Recorded 2 lines", "Recorded -1 lines"}));
}

TEST_F(DownloadRunTest, ErrorsOfTheTransferControl) {
  Select({"MSFT"});
  Inet.Answer_To = [](const std::string&) {
    return FakeTransfer::Script{.ExecuteError = UnableToCompleteRequest};
  };
  Click();
  EXPECT_EQ(Status.Shown.back(), "Internet request failed! Check connection");
  EXPECT_EQ(State.Transfer.TransferStatus, "Internet request failed! Check connection");
  EXPECT_EQ(Outcomes[0].Reason, "Internet request failed! Check connection (Unable to complete request)");
  Inet.Answer_To = [](const std::string&) { return FakeTransfer::Script{.ExecuteError = Overflow}; };
  Click();
  EXPECT_EQ(Status.Shown.back(), "Unexpected error 6 inside Process_Onestock()");
  EXPECT_EQ(State.Quotes.QuoteCount, 0);
  EXPECT_EQ(Inet.Cancels, 4);
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(DownloadRunTest, ColonsAreSentButNotPutIntoTheFileName) {
  Select({"index:DJI:X"});
  Click();
  EXPECT_TRUE(Contains(Inet.Addresses[0], "Symbol=index:DJI:X"));
  EXPECT_EQ(Disk.Contents.count(In_Out("031303-031403indexDJIX1D.txt")), 1U);
  EXPECT_EQ(Lines_With("downloading symbol")[0], "downloading symbol   index:DJI:X");
  EXPECT_EQ(Outcomes[0].Symbol, "index:DJI:X");
}

class Reordering : public DownloadRunTest {
 protected:
  std::string First_Line_At(std::chrono::seconds time) {
    Time.Time = time;
    Entry.Days = "500";
    Entry.OutputFormat = Format_Items()[14];
    Inet.Answer_To = [](const std::string&) {
      return FakeTransfer::Script{.Body = "030314,0930,3,3,3,3,3\n030313,0930,2,2,2,2,2\n"};
    };
    Disk.Contents = {{"/out", ""}};
    Click();
    for (const auto& [path, text] : Disk.Contents) {
      if (path != "/out") return text.substr(0, 8);
    }
    return "nothing written";
  }
};

TEST_F(Reordering, OnlyBefore1830) {
  Select({"MSFT"});
  EXPECT_EQ(First_Line_At(hours(0)), "03/13/03");
  EXPECT_EQ(First_Line_At(hours(18) + minutes(30) - std::chrono::seconds(1)), "03/13/03");
  EXPECT_EQ(First_Line_At(hours(18) + minutes(30)), "03/14/03");
  EXPECT_EQ(First_Line_At(hours(23)), "03/14/03");
}

TEST_F(DownloadRunTest, AnEndDateOfTodayAsksForTheLatest) {
  Select({"MSFT"});
  Entry.EndDate = {"3", "14", "3"};
  Click();
  EXPECT_EQ(Inet.Addresses[0], "http://host/q?Interval=1440&Symbol=MSFT");
}

TEST_F(DownloadRunTest, FilesThatCannotBeWrittenAreToldToWhoAsksOnly) {
  Select({"A", "B"});
  Disk.OpenError = PermissionDenied;
  Click();
  EXPECT_TRUE(Boxes.Shown.empty());
  ASSERT_EQ(Outcomes.size(), 2U);
  EXPECT_FALSE(Outcomes[0].Written);
  EXPECT_EQ(Outcomes[0].Reason, "Permission denied: " + In_Out("031303-031403A1D.txt"));
  EXPECT_EQ(Lines_With("Recorded "), (std::vector<std::string>{"Recorded 2 lines", "Recorded 2 lines"}));
}

TEST_F(DownloadRunTest, SymbolsRemovedDuringTheRunAreNotFetched) {
  Select({"A", "B", "C"});
  Download.Symbol_Done = [&](const SymbolOutcome& outcome) {
    if (outcome.Symbol == "A") Stocks.Remove_Selected();
    Outcomes.push_back(outcome);
  };
  EXPECT_TRUE(Click());
  EXPECT_EQ(Outcomes.size(), 1U);
  EXPECT_TRUE(Log.Lines.back().starts_with("Finish at "));
}

TEST_F(DownloadRunTest, MoreEntriesThanA16BitPositionReachesAreNotRun) {
  class ManyStocks final : public StockList {
   public:
    [[nodiscard]] int Count() const override { return 32769; }
    [[nodiscard]] std::string Text(int) const override { return "X"; }
    [[nodiscard]] bool Selected(int position) const override { return position == 0; }
  };
  EXPECT_TRUE(Download.cmddownload_Click(ManyStocks(), Entry));
  EXPECT_EQ(Log.Lines.size(), 2U);
}

TEST_F(DownloadRunTest, ADayCountBeyond16BitsIsRefusedAndChangesNothing) {
  Select({"MSFT"});
  Click();
  Entry.Days = "40000";
  EXPECT_FALSE(Click());
  EXPECT_EQ(State.Settings.DayCount, 2);
}

TEST_F(DownloadRunTest, ASecondClickDuringTheWaitGoesFirstAndBothEnd) {
  Select({"A"});
  bool clicked = false;
  Loop.On_Pass = [&] {
    if (std::exchange(clicked, true)) return;
    EXPECT_TRUE(Click());
  };
  EXPECT_TRUE(Click());
  ASSERT_EQ(Outcomes.size(), 2U);
  EXPECT_TRUE(Outcomes[0].Written);
  EXPECT_EQ(Outcomes[1].Reason, "given up for another download");
  EXPECT_EQ(std::count(Status.Shown.begin(), Status.Shown.end(), "Time out. no response"), 0);
  EXPECT_EQ(Status.Shown.back(), "Procsss A") << "the status line is the later run's";
  EXPECT_EQ(Lines_With("Recorded "), (std::vector<std::string>{"Recorded 2 lines", "Recorded 0 lines"}));
  EXPECT_TRUE(Log.Lines.back().starts_with("Finish at "));
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(DownloadRunTest, ASecondClickBetweenTwoPiecesOfAnAnswerKeepsTheStatusLine) {
  Select({"A"});
  std::string long_answer;
  while (long_answer.size() < 5000) long_answer += Answer;
  Inet.Answer_To = [&](const std::string&) {
    return FakeTransfer::Script{.Body = Inet.Addresses.size() == 1 ? long_answer : std::string(Answer)};
  };
  bool clicked = false;
  Loop.On_Pass = [&] {
    if (Inet.Pieces < 2 || std::exchange(clicked, true)) return;
    EXPECT_TRUE(Click());
  };
  EXPECT_TRUE(Click());
  ASSERT_EQ(Outcomes.size(), 2U);
  EXPECT_TRUE(Outcomes[0].Written) << Outcomes[0].Reason;
  EXPECT_EQ(Outcomes[1].Reason, "given up for another download");
  EXPECT_EQ(Status.Shown.back(), "Procsss A");
  EXPECT_EQ(State.Transfer.TransferStatus, "Procsss A");
  EXPECT_EQ(Lines_With("Recorded "), (std::vector<std::string>{"Recorded 2 lines", "Recorded 0 lines"}));
}

TEST_F(DownloadRunTest, ASecondClickAfterAFileIsWrittenLeavesTheFirstRunsCount) {
  Select({"A"});
  Inet.Answer_To = [&](const std::string&) {
    return FakeTransfer::Script{.Body = Inet.Addresses.size() == 1 ? std::string(Answer)
                                                                   : "030314,0930,3,4,2.5,3.5,300\n"};
  };
  bool clicked = false;
  Loop.On_Pass = [&] {
    if (Disk.Contents.size() < 2 || std::exchange(clicked, true)) return;
    EXPECT_TRUE(Click());
  };
  EXPECT_TRUE(Click());
  ASSERT_EQ(Outcomes.size(), 2U);
  EXPECT_TRUE(Outcomes[1].Written);
  EXPECT_EQ(Lines_With("Recorded "), (std::vector<std::string>{"Recorded 1 lines", "Recorded 2 lines"}));
}

// The handler of a state waits while the trap is paused, and so does a click; the click is let in first.
TEST_F(DownloadRunTest, AStateThatWaitedIsNotTakenForALaterRunsOne) {
  Select({"A"});
  int passes = 0;
  Loop.On_Pass = [&] {
    switch (++passes) {
      case 3:
        Trap.Pause(true);
        break;
      case 4:
        EXPECT_TRUE(Click());
        break;
      case 5:
        Trap.Pause(false);
        break;
      default:
        break;
    }
  };
  EXPECT_TRUE(Click());
  ASSERT_EQ(Outcomes.size(), 2U);
  EXPECT_TRUE(Outcomes[0].Written) << Outcomes[0].Reason;
  EXPECT_EQ(Outcomes[1].Reason, "given up for another download");
  EXPECT_EQ(Status.Shown.back(), "Procsss A");
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(DownloadRunTest, AnAnswerOfAnotherSymbolIsNeverTaken) {
  Select({"done"});
  State.Transfer.ResponseText = Answer;
  Inet.Answer_To = [](const std::string&) { return FakeTransfer::Script{.States = {1}, .Body = Answer}; };
  Click();
  EXPECT_FALSE(Outcomes[0].Written);
  EXPECT_EQ(Disk.Contents.size(), 1U);
}

TEST_F(DownloadRunTest, EveryProcedureOfTheRunIsTraced) {
  Select({"A"});
  std::vector<std::string> entered;
  Trap.Write_Record = [&](const TraceRecord& record) {
    if (record.Way == TraceRecord::Direction::Entry) entered.emplace_back(record.EntryText);
  };
  Inet.Answer_To = [](const std::string&) {
    return FakeTransfer::Script{.States = {12}, .Body = "030314,0930,3,3,3,3,3\n030313,0930,2,2,2,2,2\n"};
  };
  Click();
  EXPECT_EQ(entered, (std::vector<std::string>{
                         "frmmain1.frm : Sub cmddownload_Click : ",
                         " frmmain1.frm : Function Valid_Entry : ",
                         " frmmain1.frm : Sub Process_Onestock : ",
                         "  frmmain1.frm : Sub Inet1_StateChanged : ",
                         "  global.bas : Sub Process_Interday : ",
                         "  global.bas : Function Need_Sort : ",
                         "  global.bas : Sub QuickSort : ",
                         "  global.bas : Sub Set_StartIndex : ",
                         "  disk.bas : Function Create_FileName : ",
                         "  disk.bas : Function Create_FileName : ",
                         "  disk.bas : Function Create_FileName : ",
                         "  disk.bas : Sub Write_File : ",
                         "   disk.bas : Function FormatOneLine : ",
                         "   disk.bas : Function FormatOneLine : ",
                     }));
}

TEST(TwoRuns, AtOnceInOneProcessDoNotDisturbEachOther) {
  struct Program : FakeProgram {
    explicit Program(std::string symbol, int rows) : Symbol(std::move(symbol)) {
      Load_Format(Trap, State.Formats, State.Settings);
      State.RequestTemplate = "http://host/XXX/SSS?&Date=DDD";
      Disk.Contents["/out"] = "";
      Entry = {6, Interval_Choices()[6].Text, Format_Items()[14], "/out", "500", {"03", "14", "03"}};
      Stocks.Select(Stocks.Add(Symbol), true);
      Inet.Answer_To = [rows](const std::string&) {
        FakeTransfer::Script script;
        for (int i = 0; i < rows; ++i) script.Body += "030314,0930,1,1,1,1," + std::to_string(i) + "\n";
        return script;
      };
    }
    std::string Symbol;
  };
  Program one("ONE", 3);
  Program other("OTHER", 5);
  // The other run takes place in the middle of the one's wait.
  one.Loop.On_Pass = [&] {
    if (one.Loop.Passes != 4) return;
    EXPECT_TRUE(other.Download.cmddownload_Click(other.Stocks, other.Entry));
  };
  EXPECT_TRUE(one.Download.cmddownload_Click(one.Stocks, one.Entry));
  EXPECT_EQ(one.State.Quotes.QuoteCount, 3);
  EXPECT_EQ(other.State.Quotes.QuoteCount, 5);
  EXPECT_EQ(one.Log.Lines[3], "Recorded 3 lines");
  EXPECT_EQ(other.Log.Lines[3], "Recorded 5 lines");
  EXPECT_EQ(one.Disk.Contents.count(Join_Path("/out", "031403-031403ONE1D.txt")), 1U);
  EXPECT_EQ(other.Disk.Contents.count(Join_Path("/out", "031403-031403OTHER1D.txt")), 1U);
}

}  // namespace
}  // namespace hq
