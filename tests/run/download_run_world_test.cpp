// Runs against real sockets and a real file system that misbehave: the run goes on with the next symbol, the
// reason is told, no half file is left and no earlier file is damaged.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/strings.h"
#include "cli/console_message_loop.h"
#include "entry/interval_choice.h"
#include "quotes/curl_transfer.h"
#include "run/download_run.h"
#include "support/fakes.h"
#include "support/socket_server.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using std::chrono::milliseconds;
using test::Http_Answer;
using test::SocketConnection;
using test::SocketServer;
using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* Answer = "030313,0930,2,3,1.5,2.5,200\n030314,0930,3,4,2.5,3.5,300\n";
constexpr const char* GoodFile = "031303-031403ZGOOD1D.txt";
constexpr const char* BadFile = "031303-031403BAD1D.txt";

// The console's loop, but it does not spend the time of the passes while a server is known to stay silent.
class HurryingLoop final : public MessageLoop {
 public:
  void DoEvents() override { inner_.DoEvents(); }
  void Sleep(milliseconds time) override { inner_.Sleep(Hurry ? milliseconds(2) : time); }
  void Post(std::function<void()> event) override { inner_.Post(std::move(event)); }

  bool Hurry = false;

 private:
  ConsoleMessageLoop inner_;
};

// A run over BAD, to which the server is unkind, and ZGOOD, which it answers.
class DownloadRunWorld : public ::testing::Test {
 protected:
  explicit DownloadRunWorld(SocketServer::Script unkind = {}) : Unkind(std::move(unkind)) {
    Load_Format(Trap, State.Formats, State.Settings);
    Entry = {6, Interval_Choices()[6].Text, Format_Items()[14], Output.Path(), "500", {"03", "14", "03"}};
    for (const char* symbol : {"BAD", "ZGOOD"}) Stocks.Add(symbol);
    Stocks.Select_All();
    Run.Symbol_Done = [this](const SymbolOutcome& outcome) {
      Loop.Hurry = false;
      Outcomes.push_back(outcome);
    };
  }

  void Click() {
    const SocketServer server([this](SocketConnection& connection) { Serve(connection); });
    Server = server.Address();
    State.RequestTemplate = Server + "/XXX/SSS?&Date=DDD";
    EXPECT_TRUE(Run.cmddownload_Click(Stocks, Entry));
  }
  // Runs, and expects that BAD failed for this reason and left nothing, and that ZGOOD is there.
  void Expect_Failure(const testing::Matcher<std::string>& reason) {
    Click();
    ASSERT_THAT(Outcomes, SizeIs(2));
    EXPECT_FALSE(Outcomes[0].Written);
    EXPECT_THAT(Outcomes[0].Reason, reason);
    EXPECT_TRUE(Outcomes[1].Written) << Outcomes[1].Reason;
    EXPECT_THAT(Output.Names(), testing::ElementsAre(GoodFile));
    EXPECT_THAT(Log.Lines.back(), StartsWith("Finish at "));
    EXPECT_EQ(Trap.Depth(), 0);
  }

  SocketServer::Script Unkind;
  std::string Server;
  HurryingLoop Loop;
  modFailSafe Trap{&Loop};
  test::FakeMessageBoxes Boxes;
  SystemFiles Disk;
  test::FakeClock Time;
  CurlTransfer Inet{Loop};
  test::FakeStatus Status;
  test::FakeLog Log;
  SharedState State;
  SymbolList Stocks;
  EntryTexts Entry;
  test::TempFolder Output;
  DownloadRun Run{State, {Trap, Boxes, Loop, Disk, Time, Inet, Status, Log}};
  std::vector<SymbolOutcome> Outcomes;

 private:
  void Serve(SocketConnection& connection) {
    const std::string request = connection.ReadRequest();
    if (hq::Contains(request, "/ZGOOD") || !Unkind) {
      connection.Send(Http_Answer(Answer));
    } else {
      Unkind(connection);
    }
  }
};

TEST_F(DownloadRunWorld, AServerThatHangsIsGivenUp) {
  Loop.Hurry = true;
  Unkind = [](SocketConnection& connection) { connection.WaitForEnd(); };
  Expect_Failure(StartsWith("Time out. no response ("));
  EXPECT_THAT(Status.Shown, Contains("Time out. no response"));
}

TEST_F(DownloadRunWorld, AServerThatSendsOneByteASecondIsGivenUp) {
  Loop.Hurry = true;
  Unkind = [](SocketConnection& connection) {
    for (const char c : Http_Answer(Answer)) {
      if (!connection.Send({&c, 1}) || !connection.Pause(std::chrono::seconds(1))) return;
    }
  };
  Expect_Failure(StartsWith("Time out. no response ("));
}

TEST_F(DownloadRunWorld, AnAnswerThatBreaksOffHalfWayIsNotWritten) {
  Unkind = [](SocketConnection& connection) {
    const std::string whole = Http_Answer(Answer);
    connection.Send(whole.substr(0, whole.size() - 10));
  };
  Expect_Failure(StartsWith("Failed to download data! Try another time at night! ("));
}

TEST_F(DownloadRunWorld, AnAnswerWithoutALengthThatBreaksOffIsTold) {
  Unkind = [](SocketConnection& connection) {
    connection.Send("HTTP/1.0 200 OK\r\n\r\n030313,0930,2,3,1.5,2.5,200\n030314,0930,3,4");
  };
  Click();
  EXPECT_EQ(Outcomes[0].Reason, "the answer breaks off in its last line, which was left out");
  EXPECT_EQ(Output.Files().at("031303-031303BAD1D.txt"), "03/13/03,2.000,3.000,1.500,2.500,200\r\n");
}

TEST_F(DownloadRunWorld, AConnectionThatIsResetIsAFailure) {
  Unkind = [](SocketConnection& connection) { connection.Reset(); };
  Expect_Failure(StartsWith("Failed to download data! Try another time at night! ("));
}

TEST_F(DownloadRunWorld, NotFoundIsToldWithTheServersWords) {
  Unkind = [](SocketConnection& connection) {
    connection.Send(Http_Answer("no such symbol\n", "404 Not Found"));
  };
  Expect_Failure(testing::StrEq("Server returns no data. try later! (HTTP 404: no such symbol)"));
}

TEST_F(DownloadRunWorld, AServerErrorIsTold) {
  Unkind = [](SocketConnection& connection) {
    connection.Send(Http_Answer("<html>Internal Server Error</html>", "500 Internal Server Error"));
  };
  Expect_Failure(testing::StrEq("Server returns no data. try later! (HTTP 500)"));
}

TEST_F(DownloadRunWorld, ARedirectInACircleEnds) {
  Unkind = [this](SocketConnection& connection) {
    connection.Send(Http_Answer("", "302 Found", "Location: " + Server + "/1440/BAD\r\n"));
  };
  Expect_Failure(StartsWith("Failed to download data! Try another time at night! ("));
}

TEST_F(DownloadRunWorld, AServerThatIsNotThere) {
  const test::RefusingPort nobody;
  State.RequestTemplate = nobody.Address() + "/XXX/SSS?&Date=DDD";
  EXPECT_TRUE(Run.cmddownload_Click(Stocks, Entry));
  ASSERT_THAT(Outcomes, SizeIs(2));
  for (const SymbolOutcome& outcome : Outcomes) {
    EXPECT_THAT(outcome.Reason, StartsWith("Failed to download data! Try another time at night! ("));
  }
  EXPECT_THAT(Output.Names(), testing::IsEmpty());
}

TEST_F(DownloadRunWorld, AMalformedAddressIsToldForEverySymbol) {
  State.RequestTemplate = "http:///XXX/SSS?&Date=DDD";
  EXPECT_TRUE(Run.cmddownload_Click(Stocks, Entry));
  ASSERT_THAT(Outcomes, SizeIs(2));
  EXPECT_THAT(Outcomes[0].Reason,
              StartsWith("Internet request failed! Check connection (Unable to complete request: "));
  EXPECT_EQ(Status.Shown.back(), "Internet request failed! Check connection");
}

TEST_F(DownloadRunWorld, AFolderThatTakesTheFilesPlaceStays) {
  std::filesystem::create_directory(Output / BadFile);
  Click();
  EXPECT_THAT(Outcomes[0].Reason, StartsWith("Path/File access error: " + (Output / BadFile)));
  EXPECT_TRUE(std::filesystem::is_directory(Output / BadFile));
  EXPECT_THAT(Output.Names(), testing::ElementsAre(BadFile, GoodFile));
}

TEST_F(DownloadRunWorld, TheOutputFolderIsRemovedDuringTheRun) {
  const std::string folder = Output / "sub";
  std::filesystem::create_directory(folder);
  Entry.OutputFolder = folder;
  Unkind = [&](SocketConnection& connection) {
    std::filesystem::remove_all(folder);
    connection.Send(Http_Answer(Answer));
  };
  Click();
  ASSERT_THAT(Outcomes, SizeIs(2));
  for (const SymbolOutcome& outcome : Outcomes) {
    EXPECT_FALSE(outcome.Written);
    EXPECT_THAT(outcome.Reason, StartsWith("Path not found: " + folder));
  }
  EXPECT_FALSE(std::filesystem::exists(folder)) << "a folder is never created";
  EXPECT_TRUE(Boxes.Shown.empty());
}

TEST_F(DownloadRunWorld, AnEarlierFileIsReplacedByAWholeOne) {
  Output.Write(BadFile, std::string(100000, 'x'));
  Click();
  EXPECT_EQ(Output.Files().at(BadFile),
            "03/13/03,2.000,3.000,1.500,2.500,200\r\n03/14/03,3.000,4.000,2.500,3.500,300\r\n");
}

TEST_F(DownloadRunWorld, SymbolsNeverLeadOutOfTheOutputFolder) {
  Stocks.Clear();
  for (const char* symbol : {"../../UP", "/ROOT", "C:\\X", "..", "A/../../B"}) Stocks.Add(symbol);
  Stocks.Select_All();
  Click();
  ASSERT_THAT(Outcomes, SizeIs(5));
  for (const SymbolOutcome& outcome : Outcomes)
    EXPECT_TRUE(outcome.Written) << outcome.Symbol << ": " << outcome.Reason;
  EXPECT_THAT(Output.Names(), SizeIs(5));
}

TEST_F(DownloadRunWorld, AHugeAnswerOfLinesIsRefusedWithoutAFile) {
  Unkind = [](SocketConnection& connection) {
    std::string body;
    for (int i = 0; i < 40000; ++i) body += "030313,0930,2,3,1.5,2.5,200\n";
    connection.Send(Http_Answer(body));
  };
  Expect_Failure(StartsWith("Bad data inside received stream. try to re-download!"));
}

}  // namespace
}  // namespace hq
