#include "cli/command_line.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "base/strings.h"
#include "platform/clock.h"
#include "quotes/request.h"
#include "support/fakes.h"
#include "support/socket_server.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Answer_With;
using test::Http_Answer;
using test::SocketServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::StartsWith;

constexpr const char* Answer =
    "030312,0930,1,2,0.5,1.5,100\n030313,0930,2,3,1.5,2.5,200\n030314,0930,3,4,2.5,3.5,300\n";

class CommandLineTest : public ::testing::Test {
 protected:
  int Run(std::vector<std::string> arguments) {
    Out.str("");
    Err.str("");
    return Command_Line(arguments, {Out, Err, 0, Loop, Time, Disk, Mail, Program.Path()});
  }
  // As Run, with an output folder and a server that gives every symbol the same answer.
  int Run_With_Answer(std::vector<std::string> arguments, const std::string& answer = Answer) {
    const SocketServer server(Answer_With(Http_Answer(answer)));
    for (const std::string& argument : {std::string("--output"), Output.Path(), std::string("--template"),
                                        server.Address() + "/XXX/SSS?&Date=DDD"}) {
      arguments.push_back(argument);
    }
    return Run(arguments);
  }

  std::ostringstream Out;
  std::ostringstream Err;
  ConsoleMessageLoop Loop;
  test::FakeClock Time;
  SystemFiles Disk;
  test::RecordingMail Mail;
  test::TempFolder Program;
  test::TempFolder Output;
};

TEST_F(CommandLineTest, ASeparatorBehindTheFolderIsNotDoubled) {
  for (const char* end : {"/", "//"}) {
    EXPECT_EQ(Run({"MSFT", "--output", Output.Path() + end, "--end-date", "03/13/03", "--days", "2"}), 0);
    EXPECT_THAT(Out.str(), HasSubstr("exporting to " + (Output / "031203-031303MSFT1D.txt") + "\n"));
  }
}

TEST_F(CommandLineTest, ARunWritesTheLogLineForLine) {
  EXPECT_EQ(Run_With_Answer({"msft", "index:dji", "--days", "2"}), 0);
  const std::string time = System_Time_Text(std::chrono::hours(10));
  EXPECT_EQ(Out.str(), "Start download at " + time + "\ndownloading symbol   MSFT\nexporting to " +
                           (Output / "031303-031403MSFT1D.txt") +
                           "\nRecorded 2 lines\ndownloading symbol   index:DJI\n" + "exporting to " +
                           (Output / "031303-031403indexDJI1D.txt") + "\nRecorded 2 lines\nFinish at " +
                           time + "\n");
  EXPECT_EQ(Err.str(), "");
  EXPECT_EQ(Output.Files().at("031303-031403MSFT1D.txt"),
            "Date,Open,High,Low,Close,Volume\r\n03/13/03,2.000,3.000,1.500,2.500,200\r\n"
            "03/14/03,3.000,4.000,2.500,3.500,300\r\n");
  EXPECT_THAT(Output.Files(),
              ElementsAre(Key("031303-031403MSFT1D.txt"), Key("031303-031403indexDJI1D.txt")));
}

TEST_F(CommandLineTest, TheServerInsideServesWhenNoOtherIsNamed) {
  EXPECT_EQ(
      Run({"MSFT", "--output", Output.Path(), "--end-date", "03/10/03", "--interval", "30", "--days", "2"}),
      0);
  EXPECT_THAT(Err.str(), HasSubstr("NOT real quotes"));
  EXPECT_THAT(Out.str(), HasSubstr("Recorded 26 lines"));
  const std::string text = Output.Files().at("030703-031003MSFT30m.txt");
  EXPECT_THAT(text, StartsWith("Date,Time,Open,High,Low,Close,Volume\r\n03/07/03,09:30,"));
}

TEST_F(CommandLineTest, TheServerInsideServesTheUsersFiles) {
  const test::TempFolder csv;
  csv.Write("acme.csv", "Date,Open,High,Low,Close,Volume\n2003-03-12,1,2,0.5,1.5,100\nbad line\n");
  EXPECT_EQ(Run({"ACME", "--output", Output.Path(), "--source", "csv:" + csv.Path()}), 0);
  EXPECT_THAT(Out.str(), HasSubstr("Recorded 1 lines"));
  EXPECT_THAT(Err.str(), HasSubstr("acme.csv"));
  EXPECT_EQ(Run({"ACME", "--output", Output.Path(), "--source", "csv:/no such folder"}), 2);
  EXPECT_THAT(Err.str(), StartsWith("--source: "));
}

TEST_F(CommandLineTest, EndDateOfTodayIsTheDefault) {
  std::mutex mutex;
  std::string request;
  const SocketServer server([&](test::SocketConnection& connection) {
    const std::string received = connection.ReadRequest();
    const std::lock_guard lock(mutex);
    request = received;
    connection.Send(Http_Answer(Answer));
  });
  const auto latest_request = [&] {
    const std::lock_guard lock(mutex);
    return request;
  };
  const std::string address = server.Address() + "/XXX/SSS?&Date=DDD";
  EXPECT_EQ(Run({"A B", "--output", Output.Path(), "--template", address}), 0);
  EXPECT_THAT(latest_request(), StartsWith("GET /1440/A%20B HTTP/1.1\r\n"));
  EXPECT_EQ(Run({"A", "--output", Output.Path(), "--template", Encipher(address), "--end-date", "3/13/03"}),
            0);
  EXPECT_THAT(latest_request(), StartsWith("GET /1440/A?&Date=031403 HTTP/1.1\r\n"));
}

TEST_F(CommandLineTest, WhatTheEntryChecksRefuseIsToldInTheirOwnWords) {
  EXPECT_EQ(Run({"--output", Output.Path()}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("You need to pick at least one stock to start download!\n"));
  EXPECT_EQ(Run({"A", "--output", Output.Path(), "--interval", "5", "--format", "13"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("You chose an intraday time interval with a daily output format.\n"));
  EXPECT_EQ(Run({"A", "--output", Output.Path(), "--interval", "1440", "--format", "4"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("You chose a Daily time interval with an intraday output format.\n\n"));
  EXPECT_EQ(Run({"A"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("Missing output folder!\n"));
  EXPECT_EQ(Run({"A", "--output", Output / "missing"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("Output folder doesn't exist!\n"));
  for (const char* days : {"0", "501", "-1", "abc"}) {
    EXPECT_EQ(Run({"A", "--output", Output.Path(), "--days=" + std::string(days)}), 2) << days;
    EXPECT_THAT(Err.str(), HasSubstr("'Days' has to be between 1 and 500\n"));
  }
  EXPECT_EQ(Out.str(), "");
  EXPECT_THAT(Output.Files(), IsEmpty());
}

TEST_F(CommandLineTest, DaysAreDigits) {
  for (const char* days :
       {"1e9", "1e2", "5,", "5 ", " 5", "+5", "&H5", "0x5", "2.0", "5d", "", "-5", "1 0"}) {
    EXPECT_EQ(Run_With_Answer({"A", "--days", days}), 2) << days;
    EXPECT_EQ(Err.str(), "--days: " + std::string(days) +
                             " is no whole number. Based on time interval chosen, 'Days' has to be between 1 "
                             "and 500\n");
  }
  for (const char* days : {"32768", "99999999999999999999"}) {
    EXPECT_EQ(Run_With_Answer({"A", "--days", days}), 2) << days;
    EXPECT_EQ(Err.str(), "--days: Based on time interval chosen, 'Days' has to be between 1 and 500\n");
  }
  EXPECT_EQ(Run_With_Answer({"A", "--days", "002"}), 0);
  EXPECT_THAT(Out.str(), HasSubstr("Recorded 2 lines"));
}

TEST_F(CommandLineTest, EndDatesMayHaveYearsOfFourDigits) {
  const SocketServer server([](test::SocketConnection& connection) {
    const std::string request = connection.ReadRequest();
    const bool as_expected = Contains(request, "Date=010103 ") || Contains(request, "Date=010250 ");
    connection.Send(as_expected ? Http_Answer(Answer) : Http_Answer("no", "404 Not Found"));
  });
  for (const char* date : {"12/31/2002", "12/31/02", "1/1/1950", "01/01/50"}) {
    EXPECT_EQ(Run({"A", "--output", Output.Path(), "--end-date", date, "--template",
                   server.Address() + "/XXX/SSS?&Date=DDD"}),
              0)
        << date << Err.str();
  }
  EXPECT_EQ(Run_With_Answer({"A", "--end-date", "12/31/2049"}), 0) << Err.str();
}

TEST_F(CommandLineTest, EndDatesAreChecked) {
  const auto refusal = [&](const std::string& date) {
    EXPECT_EQ(Run({"A", "--output", Output.Path(), "--end-date", date}), 2) << date;
    EXPECT_EQ(Out.str(), "");
    return Err.str();
  };
  EXPECT_THAT(refusal("13/01/03"), HasSubstr("Invalid month value! Enter between 1 to 12"));
  EXPECT_THAT(refusal("12/32/03"), HasSubstr("Invalid day value. Enter between 1 to 31"));
  for (const char* year : {"1949", "2050", "0003", "9999"})
    EXPECT_EQ(refusal("12/31/" + std::string(year)),
              "--end-date: the year " + std::string(year) + " is none of 1950 to 2049\n");
  for (const char* year : {"", "203", "20003", "2003 ", "+3", "2O03", "03/04"}) {
    const std::string date = "12/31/" + std::string(year);
    EXPECT_EQ(refusal(date), "--end-date: the year of " + date + " has neither two digits nor four\n");
  }
  EXPECT_THAT(refusal("02/29/2003"), HasSubstr("02/29/2003 is no date"));
  EXPECT_THAT(refusal("02/30/03"), HasSubstr("02/30/03 is no date"));
  EXPECT_THAT(refusal("yesterday"), HasSubstr("not of the form MM/DD/YY"));
  EXPECT_THAT(refusal(""), HasSubstr("not of the form MM/DD/YY"));
}

TEST_F(CommandLineTest, FormatFollowsTheIntervalUnlessGiven) {
  EXPECT_EQ(Run_With_Answer({"A", "--interval", "60"}), 0);
  EXPECT_THAT(Output.Files().at("031203-031403A1H.txt"), StartsWith("Date,Time,Open"));
  EXPECT_EQ(Run_With_Answer({"A", "--format", "aget"}), 0);
  EXPECT_THAT(Output.Files().at("031203-031403A1D.txt"),
              StartsWith("03/12/03,1.000,2.000,0.500,1.500,100,0\r\n"));
}

TEST_F(CommandLineTest, EverySymbolThatFailedIsNamedWithItsReason) {
  const SocketServer server([](test::SocketConnection& connection) {
    const std::string request = connection.ReadRequest();
    if (Contains(request, "/GOOD")) {
      connection.Send(Http_Answer(Answer));
    } else if (Contains(request, "/UNKNOWN")) {
      connection.Send(Http_Answer("Unknown symbol\n", "404 Not Found"));
    } else if (Contains(request, "/BROKEN")) {
      connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n030312,0930,1");
    } else if (Contains(request, "/FIVE")) {
      connection.Send(Http_Answer("030312,0930,1,2,3,4\n"));
    } else {
      connection.Reset();
    }
  });
  EXPECT_EQ(Run({"GOOD", "UNKNOWN", "BROKEN", "FIVE", "RESET", "--output", Output.Path(), "--template",
                 server.Address() + "/XXX/SSS?&Date=DDD"}),
            1);
  EXPECT_THAT(Err.str(),
              HasSubstr("UNKNOWN: Server returns no data. try later! (HTTP 404: Unknown symbol)\n"));
  EXPECT_THAT(Err.str(), HasSubstr("BROKEN: Failed to download data! Try another time at night! ("));
  EXPECT_THAT(Err.str(), HasSubstr("FIVE: Incomplete data received! retry! (line 1: 030312,0930,1,2,3,4)\n"));
  EXPECT_THAT(Err.str(), HasSubstr("RESET: Failed to download data! Try another time at night! ("));
  EXPECT_THAT(Err.str(), testing::Not(HasSubstr("GOOD")));
  EXPECT_THAT(Output.Files(), ElementsAre(Key("031203-031403GOOD1D.txt")));
  EXPECT_THAT(Out.str(), HasSubstr("Finish at "));
}

TEST_F(CommandLineTest, AFileThatCannotBeReplacedIsNamedWithItsCause) {
  std::filesystem::create_directory(Output / "031203-031403A1D.txt");
  EXPECT_EQ(Run_With_Answer({"A", "B"}), 1);
  EXPECT_THAT(Err.str(), StartsWith("A: Path/File access error: " + (Output / "031203-031403A1D.txt")));
  EXPECT_THAT(Output.Files(), ElementsAre(Key("031203-031403B1D.txt")));
}

TEST_F(CommandLineTest, SymbolsWithCharactersOfAnAddressAreNotTakenForOthers) {
  EXPECT_EQ(Run({"AT&T", "--output", Output.Path(), "--end-date", "03/14/03"}), 1);
  EXPECT_THAT(Err.str(), HasSubstr("AT&T: Server returns no data. try later! (HTTP 404: "));
  EXPECT_THAT(Output.Files(), IsEmpty());
}

TEST_F(CommandLineTest, AProgramFolderThatIsNotThereIsRefused) {
  EXPECT_EQ(Run({"A", "--output", Output.Path(), "--program-folder", Output / "missing"}), 2);
  EXPECT_EQ(Err.str(), "--program-folder: " + (Output / "missing") + " does not exist\n");
}

TEST_F(CommandLineTest, AFileInPlaceOfAFolderIsRefused) {
  Program.Write("file", "");
  const std::string file = Program / "file";
  EXPECT_EQ(Run({"A", "--output", Output.Path(), "--program-folder", file}), 2);
  EXPECT_EQ(Err.str(), "--program-folder: " + file + " is no folder\n");
  EXPECT_EQ(Run({"sources", "--program-folder", file}), 2);
  EXPECT_EQ(Err.str(), "--program-folder: " + file + " is no folder\n");
  EXPECT_EQ(Run({"A", "--output", file}), 2);
  EXPECT_EQ(Err.str(), "--output: " + file + " is no folder\n");
}

TEST_F(CommandLineTest, ASymbolInBracketsIsOne) {
  EXPECT_EQ(Run_With_Answer({"[a,b]"}), 0) << Err.str();
  EXPECT_THAT(Out.str(), HasSubstr("downloading symbol   [A,B]\n"));
}

TEST_F(CommandLineTest, MoreSymbolsThanARunTakesAreRefused) {
  std::string line;
  for (int i = 0; i <= 32768; ++i) line += "|S" + std::to_string(i);
  Program.Write("user.cfg", line + "\n6\n13\n" + Output.Path() + "\n500\n");
  EXPECT_EQ(Run({"--saved"}), 2);
  EXPECT_EQ(Err.str(), "at most 32768 symbols go into one run\n");
}

TEST_F(CommandLineTest, SymbolsGivenTwiceAreFetchedOnce) {
  EXPECT_EQ(Run_With_Answer({"msft", " MSFT"}), 0);
  EXPECT_EQ(Err.str(), "Stock symbol MSFT already exists.\n");
  EXPECT_EQ(Run_With_Answer({"A", " "}), 2);
  EXPECT_EQ(Err.str(), "a symbol is empty\n");
}

TEST_F(CommandLineTest, SavedChoicesAreTakenUnlessGiven) {
  Program.Write("user.cfg", "|IBM|index:DJI\r\n1\r\n9\r\n" + Output.Path() + "\r\n2\r\n");
  const SocketServer server(Answer_With(Http_Answer(Answer)));
  const std::vector<std::string> arguments = {"--saved", "--template",
                                              server.Address() + "/XXX/SSS?&Date=DDD"};
  EXPECT_EQ(Run(arguments), 0) << Err.str();
  EXPECT_THAT(Output.Files(), ElementsAre(Key("031203-031403IBM5m.txt"), Key("031203-031403indexDJI5m.txt")));
  EXPECT_THAT(Output.Files().at("031203-031403IBM5m.txt"), HasSubstr("\r\n03/12/2003,0930,"));
  std::vector<std::string> with_symbol = arguments;
  with_symbol.insert(with_symbol.end(), {"MSFT", "--interval", "1440", "--format", "14"});
  EXPECT_EQ(Run(with_symbol), 0);
  EXPECT_EQ(Output.Files().count("031203-031403MSFT1D.txt"), 1U);
  EXPECT_EQ(Output.Files().size(), 3U);
}

TEST_F(CommandLineTest, SavedChoicesOfAnotherFolder) {
  const test::TempFolder other;
  other.Write("user.cfg", "|IBM\n-1\n-1\n" + Output.Path() + "\n500\n");
  EXPECT_EQ(Run({"--saved", "--program-folder", other.Path(), "--end-date", "03/10/03"}), 0) << Err.str();
  EXPECT_EQ(Output.Files().size(), 1U);
}

TEST_F(CommandLineTest, SavedChoicesThatCannotServeAreRefused) {
  Program.Write("user.cfg", "|IBM\n9\n13\n" + Output.Path() + "\n500\n");
  EXPECT_EQ(Run({"--saved"}), 2);
  EXPECT_EQ(Err.str(), "user.cfg: no interval has the position 9\n");
  Program.Write("user.cfg", "|IBM\n6\n15\n" + Output.Path() + "\n500\n");
  EXPECT_EQ(Run({"--saved"}), 2);
  EXPECT_EQ(Err.str(), "user.cfg: no output format has the position 15\n");
}

TEST_F(CommandLineTest, ADamagedSettingsFileIsToldAndKeptAside) {
  Program.Write("user.cfg", "|IBM\n");
  EXPECT_EQ(Run({"--saved", "MSFT"}), 2);
  EXPECT_THAT(Err.str(),
              StartsWith("Unexpected error in initializing! Please restart to let program fix itself.\n"));
  EXPECT_THAT(Program.Files(), ElementsAre(Key("user.cfg.bak")));
  Program.Write("user.cfg", "|IBM\n99999\n13\n\n500\n");
  EXPECT_EQ(Run({"--saved", "--output", Output.Path()}), 2) << "not with other choices than those saved";
  EXPECT_THAT(Output.Files(), IsEmpty());
}

TEST_F(CommandLineTest, TheServerSettingsNameTheTemplate) {
  const SocketServer server(Answer_With(Http_Answer(Answer)));
  Program.Write("server.ini",
                "[Request]\nTemplate=" + Encipher(server.Address() + "/XXX/SSS?&Date=DDD") + "\n");
  EXPECT_EQ(Run({"A", "--output", Output.Path()}), 0) << Err.str();
  EXPECT_EQ(Err.str(), "");
  EXPECT_EQ(server.Connections(), 1U);
  EXPECT_EQ(Run({"A", "--output", Output.Path(), "--source", "simulated", "--end-date", "03/10/03"}), 0);
  EXPECT_EQ(server.Connections(), 1U) << "a source given is served";
  Program.Write("server.ini", "[Request]\nTemplate=http://host/\n");
  EXPECT_EQ(Run({"A", "--output", Output.Path()}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("server.ini, [Request] Template: "));
}

TEST_F(CommandLineTest, TemplatesAreChecked) {
  for (const char* address : {"", "ftp://host/XXXSSS&Date=DDD", "http://host/", "enciphered:xyz"}) {
    EXPECT_EQ(Run({"A", "--output", Output.Path(), "--template", address}), 2) << address;
    EXPECT_NE(Err.str(), "");
  }
  EXPECT_EQ(Run({"A", "--output", Output.Path(), "--template", "http:///XXX SSS&Date=DDD"}), 1);
  EXPECT_THAT(Err.str(),
              StartsWith("A: Internet request failed! Check connection (Unable to complete request: "));
}

TEST_F(CommandLineTest, Lists) {
  EXPECT_EQ(Run({"--list-formats"}), 0);
  EXPECT_THAT(Out.str(), StartsWith("00  Aget -Daily\n01  EWA/Winwaves-Intraday\n"));
  EXPECT_EQ(std::ranges::count(Out.str(), '\n'), 15);
  EXPECT_EQ(Run({"--list-intervals"}), 0);
  EXPECT_THAT(Out.str(), StartsWith("   1  Intraday:1 Minute - 1 day at most\n"));
  EXPECT_THAT(Out.str(), HasSubstr("\n1440  Daily - 500 days(2 years) at most\n"));
  EXPECT_EQ(Run({"--encipher", "http://host/"}), 0);
  EXPECT_EQ(Out.str(), Encipher("http://host/") + "\n");
}

TEST_F(CommandLineTest, AnInterruptEndsTheRunAtOnceAndLeavesNoFile) {
  const SocketServer server([&](test::SocketConnection& connection) {
    static_cast<void>(connection.ReadRequest());
    Loop.Interrupt();
    connection.WaitForEnd();
  });
  EXPECT_EQ(Run({"A", "B", "--output", Output.Path(), "--template", server.Address() + "/XXX/SSS?&Date=DDD"}),
            130);
  EXPECT_EQ(Err.str(), "Interrupted.\n");
  EXPECT_THAT(Out.str(), testing::Not(HasSubstr("Finish")));
  EXPECT_THAT(Output.Files(), IsEmpty());
}

// Fails when it is asked for the first time.
class LateClock final : public Clock {
 public:
  [[nodiscard]] Date Today() const override {
    if (!std::exchange(asked_, true)) throw std::runtime_error("the clock stands still");
    return std::chrono::year{2003} / 3 / 14;
  }
  [[nodiscard]] std::chrono::seconds Time_Of_Day() const override { return std::chrono::hours(10); }

 private:
  mutable bool asked_ = false;
};

TEST_F(CommandLineTest, AnErrorOutsideOfEveryProcedureIsToldAndLoggedByTheTrap) {
  Program.Write("FSCLIENT.INI", "[log file]\nWrite To Disk=1\n");
  const LateClock clock;
  EXPECT_EQ(Command_Line({"MSFT", "--output", Output.Path(), "--template", "http://host/XXX/SSS?&Date=DDD"},
                         {Out, Err, 0, Loop, clock, Disk, Mail, Program.Path()}),
            1);
  EXPECT_THAT(Err.str(), HasSubstr("the clock stands still"));
  EXPECT_THAT(Program.Files().at("error.log"), HasSubstr("the clock stands still\r\n"));
}

}  // namespace
}  // namespace hq
