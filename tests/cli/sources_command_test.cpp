#include "cli/sources_command.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "server/archive/archive.h"
#include "server/setup/source_setup.h"
#include "support/fakes.h"
#include "support/socket_server.h"
#include "support/temp_folder.h"
#include "support/troubled_files.h"
#include "support/utf16.h"

namespace hq {
namespace {

using server::Archive;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class SourcesCommandTest : public ::testing::Test {
 protected:
  int Run(const std::vector<std::string>& arguments) {
    Out.str("");
    Err.str("");
    return Command_Line(arguments, {Out, Err, 0, Loop, Time, Files, Mail, Program.Path()});
  }
  // A profile like those that come with the program, of a service that nobody can reach.
  void Write_Profile(const std::string& address = "http://127.0.0.1:1") {
    std::filesystem::create_directory(Program / "sources");
    Program.Write("sources/acme.json", R"({
      "name": "acme", "title": "Acme", "site": "https://acme.example",
      "keys": [{"name": "token", "label": "API token"}], "zone": "America/New_York", "symbols": {"kinds": [{"kind": ""}]},
      "feeds": [{"minutes": 1440, "serves": [1440], "adjustments": {"splits": ""},
        "address": ")" + address + R"(/{symbol}?key={key:token}",
        "answer": {"shape": "rows", "fields": {"stamp": "t", "open": "o", "high": "h", "low": "l", "close": "c"},
                   "stamp": {"form": "date"}}}]})");
  }
  void Store(const std::string& symbol, int bars, const std::string& adjustment = "splits") {
    Archive archive{Program / "quotes.db"};
    std::vector<server::NativeBar> list;
    const server::Day first = std::chrono::sys_days{std::chrono::year{2026} / 3 / 2};
    for (int i = 0; i < bars; ++i) {
      const double price = i + 1.25;
      list.push_back(
          {{first + std::chrono::days{i}, server::session_open, price, price + 1, price - 1, price, 100 + i},
           true});
    }
    archive.Store({"acme", symbol, server::daily_interval, adjustment},
                  {list,
                   server::DayRange{first, first + std::chrono::days{bars}},
                   {first, {}},
                   std::chrono::sys_days{first} + std::chrono::hours{1000}});
  }

  std::ostringstream Out;
  std::ostringstream Err;
  ConsoleMessageLoop Loop;
  test::FakeClock Time;
  SystemFiles Disk;
  test::TroubledFiles Files;
  test::RecordingMail Mail;
  test::TempFolder Program;
};

TEST_F(SourcesCommandTest, SourcesAreListedWithTheirStates) {
  Write_Profile();
  EXPECT_EQ(Run({"sources"}), 0) << Err.str();
  EXPECT_THAT(Out.str(),
              AllOf(StartsWith("1  simulated     ready"),
                    HasSubstr("Not in use:\n   acme          needs a key"), HasSubstr("Archive: 0 bytes")));
  Program.Write("server.ini", "[Keys]\nacme=0123456789abcdefTAIL\n");
  EXPECT_EQ(Run({"sources"}), 0);
  EXPECT_THAT(Out.str(), AllOf(StartsWith("1  acme          ready"), HasSubstr("API token ****TAIL"),
                               Not(HasSubstr("0123"))));
#ifndef _WIN32
  EXPECT_THAT(Err.str(), HasSubstr("chmod 600"));
#endif
  Program.Write("sources/wrong.json", "{}");
  EXPECT_EQ(Run({"sources"}), 0);
  EXPECT_THAT(Out.str(), HasSubstr("Not used: "));
}

TEST_F(SourcesCommandTest, ATestNamesTheHopAndTheNextStep) {
  Write_Profile();
  EXPECT_EQ(Run({"sources", "test", "acme"}), 1);
  EXPECT_THAT(Out.str(), AllOf(StartsWith("Failed: missing key\nAcme needs a key"), HasSubstr("\nNext: ")));
  Program.Write("server.ini", "[Keys]\nacme=0123456789abcdefTAIL\n");
  EXPECT_EQ(Run({"sources", "test", "acme", "--symbol", "IBM"}), 1);
  EXPECT_THAT(Out.str(), AllOf(StartsWith("Failed: connection\nAcme: "), Not(HasSubstr("0123"))));
  EXPECT_EQ(Run({"sources", "test", "simulated"}), 0);
  EXPECT_EQ(Run({"sources", "test", "nobody"}), 1);
  EXPECT_EQ(Run({"sources", "test"}), 2);
  EXPECT_EQ(Run({"sources", "nonsense"}), 2);
}

TEST_F(SourcesCommandTest, AListOfSourcesIsKeptWhenItCanBeUsed) {
  Write_Profile();
  Program.Write("server.ini", "; mine\n[Keys]\nacme=k\n");
  EXPECT_EQ(Run({"sources", "use", "acme,simulated"}), 0) << Err.str();
  EXPECT_THAT(Disk.Read(Program / "server.ini"),
              AllOf(StartsWith("; mine\n[Keys]\nacme=k\n"), HasSubstr("[Quotes]\nSource=acme,simulated\n")));
  EXPECT_EQ(Run({"sources", "use", "acme,nonsense"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("\"nonsense\" is no quote source"));
  EXPECT_THAT(Disk.Read(Program / "server.ini"), HasSubstr("Source=acme,simulated\n"));
}

TEST_F(SourcesCommandTest, SettingsThatCantBeReadAreRefusedAndLeftAlone) {
  const test::TempFolder output;
  Write_Profile();
  const std::string keys = "; mine\n[Keys]\nacme=k\n";
  Program.Write("server.ini", keys);
  Files.Troubled = "server.ini";
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"sources"},
                                             {"sources", "test", "acme"},
                                             {"sources", "use", "simulated"},
                                             {"MSFT", "--output", output.Path()},
                                             {"MSFT", "--output", output.Path(), "--source", "simulated"}}) {
    EXPECT_EQ(Run(arguments), 2) << arguments.back();
    EXPECT_EQ(Err.str(),
              "The settings can't be read: " + (Program / "server.ini") + ": Input/output error.\n");
    EXPECT_EQ(Out.str(), "");
    EXPECT_EQ(Program.Files().at("server.ini"), keys);
  }
  EXPECT_TRUE(output.Names().empty());
}

TEST_F(SourcesCommandTest, SettingsThatAreNoTextAreRefusedAndLeftAlone) {
  const std::string spoiled("[Keys]\nacme=k\n\0\0\0", 18);
  Program.Write("server.ini", spoiled);
  EXPECT_EQ(Run({"sources", "use", "simulated"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("server.ini: it is no plain text, it holds NULs."));
  EXPECT_EQ(Run({"MSFT", "--output", Program.Path()}), 2);
  EXPECT_EQ(Program.Files().at("server.ini"), spoiled);
}

TEST_F(SourcesCommandTest, SettingsThatCantBeReadAnyMoreAreNotWrittenOver) {
  Write_Profile();
  const std::string keys = "; mine\n[Keys]\nacme=k\n";
  Program.Write("server.ini", keys);
  Files.Troubled = "server.ini";
  Files.GoodReads = 1;
  EXPECT_EQ(Run({"sources", "use", "simulated"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("can't be read"));
  EXPECT_EQ(Program.Files().at("server.ini"), keys);
}

TEST_F(SourcesCommandTest, ADownloadReadsTheSettingsOnce) {
  const test::TempFolder output;
  const test::TempFolder csv;
  csv.Write("acme.csv", "Date,Open,High,Low,Close,Volume\n2003-03-12,1,2,0.5,1.5,100\n");
  Program.Write("server.ini", "[Quotes]\nSource=csv:" + csv.Path() + "\n[Keys]\nacme=k\n");
  Files.Troubled = "server.ini";
  Files.GoodReads = 1;
  EXPECT_EQ(Run({"ACME", "--output", output.Path()}), 0) << Err.str();
  EXPECT_THAT(Err.str(), Not(HasSubstr("NOT real quotes")));
  EXPECT_EQ(Files.Reads, 1);
}

TEST_F(SourcesCommandTest, SettingsThatCantBeSavedAreToldAndAreAsBefore) {
  Write_Profile();
  const std::string keys = "[Keys]\nacme=k\n";
  Program.Write("server.ini", keys);
  Files.WriteError = DiskFull;
  EXPECT_EQ(Run({"sources", "use", "acme"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("The settings can't be saved: "));
  EXPECT_EQ(Program.Files().at("server.ini"), keys);
}

#ifndef _WIN32
TEST_F(SourcesCommandTest, KeysThatOthersCanReadAreToldOnce) {
  Write_Profile();
  Program.Write("server.ini", "[Keys]\nacme=k\n");
  namespace fs = std::filesystem;
  fs::permissions(Program / "server.ini",
                  fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read);
  EXPECT_EQ(Run({"sources", "use", "acme"}), 0);
  const std::string told = Err.str();
  const auto first = told.find("can read the keys");
  ASSERT_NE(first, std::string::npos) << told;
  EXPECT_EQ(told.find("can read the keys", first + 1), std::string::npos) << told;
}
#endif

TEST_F(SourcesCommandTest, SettingsInUtf16AreReadAndStaySo) {
  Write_Profile();
  Program.Write("server.ini", test::Utf16("[Keys]\r\nacme=0123456789abcdefTAIL\r\n"));
  EXPECT_EQ(Run({"sources"}), 0);
  EXPECT_THAT(Out.str(), HasSubstr("API token ****TAIL"));
  EXPECT_EQ(Run({"sources", "use", "acme"}), 0) << Err.str();
  EXPECT_EQ(Program.Files().at("server.ini"),
            test::Utf16("[Keys]\r\nacme=0123456789abcdefTAIL\r\n\r\n[Quotes]\r\nSource=acme\r\n"));
}

TEST_F(SourcesCommandTest, AKeyOfNoServiceGivesNoMadeUpQuotes) {
  Write_Profile();
  Program.Write("server.ini", "[Keys]\nacne=k\n");
  EXPECT_EQ(Run({"MSFT", "--output", Program.Path()}), 2);
  EXPECT_THAT(Err.str(),
              HasSubstr("The key \"acne\" in the section [Keys] of the settings is that of no service: "
                        "there are acme."));
}

TEST_F(SourcesCommandTest, TheArchiveIsListedExportedShrunkAndChecked) {
  EXPECT_EQ(Run({"archive"}), 1);
  EXPECT_THAT(Err.str(), HasSubstr("no archive yet"));
  Store("IBM", 3);
  Store("MSFT", 2);
  EXPECT_EQ(Run({"archive"}), 0);
  EXPECT_THAT(
      Out.str(),
      AllOf(StartsWith("acme          IBM         1440 splits    3        2026-03-02  2026-03-04  fetched "),
            HasSubstr("5 bars, ")));
  EXPECT_EQ(Run({"archive", "--symbol", "msft"}), 0);
  EXPECT_THAT(Out.str(), AllOf(StartsWith("acme          MSFT"), HasSubstr("2 bars, ")));
  EXPECT_EQ(Run({"archive", "export", "ibm"}), 0);
  EXPECT_EQ(Out.str(),
            "Date,Open,High,Low,Close,Volume\n2026-03-02,1.25,2.25,0.25,1.25,100\n"
            "2026-03-03,2.25,3.25,1.25,2.25,101\n2026-03-04,3.25,4.25,2.25,3.25,102\n");
  EXPECT_EQ(Run({"archive", "export", "ibm", "--from", "2026-03-03", "--to", "2026-03-03"}), 0);
  EXPECT_EQ(Out.str(), "Date,Open,High,Low,Close,Volume\n2026-03-03,2.25,3.25,1.25,2.25,101\n");
  EXPECT_EQ(Run({"archive", "shrink", "--before", "2026-03-04"}), 0);
  EXPECT_THAT(Out.str(), StartsWith("4 bars deleted, "));
  EXPECT_EQ(Run({"archive", "check"}), 0);
  EXPECT_EQ(Out.str(), "The archive is sound.\n");
}

TEST_F(SourcesCommandTest, ADamagedArchiveIsNotCalledSound) {
  Program.Write("quotes.db", "This is no database, though it once was one.");
  EXPECT_EQ(Run({"archive", "check"}), 1);
  EXPECT_THAT(Err.str(), AllOf(HasSubstr("is damaged"), HasSubstr("quotes.db.damaged-1")));
  EXPECT_EQ(Out.str(), "");
  EXPECT_EQ(Run({"archive", "check"}), 0) << "the new one is";
}

TEST_F(SourcesCommandTest, ATestSaysWhatIsWrongWithAProfileAndWithASymbol) {
  Write_Profile();
  Program.Write("server.ini", "[Keys]\nacme=k\n");
  EXPECT_EQ(Run({"sources", "test", "acme", "--symbol", " "}), 1);
  EXPECT_THAT(Out.str(), HasSubstr("No symbol is given."));
  EXPECT_EQ(Run({"sources", "test", "acme", "--symbol", "index:SPX"}), 1);
  EXPECT_THAT(Out.str(), HasSubstr("Acme has no symbols of this kind."));
  Program.Write("sources/acme.json", "{}");
  EXPECT_EQ(Run({"sources", "test", "acme"}), 1);
  EXPECT_THAT(Out.str(), AllOf(HasSubstr("\"name\" is missing"), HasSubstr("Next: Mend that file")));
}

TEST_F(SourcesCommandTest, WhyAServiceIsOffIsSaidBeforeItIsTried) {
  const test::SocketServer service(test::Answer_With(test::Http_Answer("[]")));
  Write_Profile(service.Address());
  std::string profile = Disk.Read(Program / "sources/acme.json");
  profile.insert(profile.find("\"zone\""), R"("off_until_read": "It belongs to web pages.", )");
  Program.Write("sources/acme.json", profile);
  Program.Write("server.ini", "[Keys]\nacme=k\n");
  EXPECT_EQ(Run({"sources", "test", "acme"}), 1);
  EXPECT_THAT(Err.str(), HasSubstr("Acme: It belongs to web pages."));
}

TEST_F(SourcesCommandTest, WhatTheArchiveHasNotOrHasTwiceIsTold) {
  Store("IBM", 3);
  Store("IBM", 2, "raw");
  EXPECT_EQ(Run({"archive", "export", "IBM"}), 2);
  EXPECT_THAT(Err.str(), HasSubstr("acme raw\nacme splits\n"));
  EXPECT_EQ(Run({"archive", "export", "IBM", "--adjustment", "raw"}), 0);
  EXPECT_EQ(Run({"archive", "export", "IBM", "--interval", "5"}), 1);
  for (const char* interval : {"0x5A0", "1e3", "1440.0", "-1440"})
    EXPECT_EQ(Run({"archive", "export", "IBM", "--interval", interval}), 2) << interval;
  EXPECT_EQ(Run({"archive", "export", "--source=", "IBM"}), 2);
  EXPECT_EQ(Run({"archive", "export", "GONE"}), 1);
  EXPECT_EQ(Run({"archive", "export", "IBM", "--adjustment", "raw", "--from", "03/04/26"}), 2);
  for (const char* no_date : {"2026-13-01", "2026-02-30", "yesterday", "2026-1-01x", "-026-01-01"})
    EXPECT_EQ(Run({"archive", "shrink", "--before", no_date}), 2) << no_date;
  EXPECT_EQ(Run({"archive", "shrink"}), 2);
}

TEST_F(SourcesCommandTest, HelpIsNoErrorAndSymbolsInCapitalsAreNoCommands) {
  EXPECT_EQ(Run({"sources", "--help"}), 0);
  EXPECT_THAT(Out.str(), HasSubstr("test"));
  EXPECT_EQ(Run({"archive", "--help"}), 0);
  EXPECT_FALSE(Is_Sources_Command({"SOURCES"}));
  EXPECT_FALSE(Is_Sources_Command({}));
  EXPECT_FALSE(Is_Sources_Command({"MSFT", "archive"}));
}

TEST_F(SourcesCommandTest, ADownloadWithoutSourcesSaysHowToGetRealQuotes) {
  const test::TempFolder output;
  const std::vector<std::string> download = {"MSFT", "--output", output.Path(), "--end-date", "03/10/03"};
  EXPECT_EQ(Run(download), 0);
  EXPECT_THAT(Err.str(), HasSubstr("until you choose a source of real ones"));
  // Once; that they aren't real is said at each run.
  EXPECT_EQ(Run(download), 0);
  EXPECT_THAT(Err.str(), AllOf(HasSubstr("NOT real quotes"), Not(HasSubstr("until you choose"))));
  std::filesystem::remove(Program / "server.ini");
  EXPECT_EQ(Run({"MSFT", "--output", output.Path(), "--end-date", "03/10/03", "--source", "simulated"}), 0);
  EXPECT_THAT(Err.str(), AllOf(HasSubstr("NOT real quotes"), Not(HasSubstr("until you choose"))));
}

TEST_F(SourcesCommandTest, ADownloadTakesTheSourcesOfTheSettings) {
  const test::TempFolder output;
  const test::TempFolder csv;
  csv.Write("acme.csv", "Date,Open,High,Low,Close,Volume\n2003-03-12,1,2,0.5,1.5,100\n");
  Program.Write("server.ini", "[Quotes]\nSource=csv:" + csv.Path() + "\n");
  EXPECT_EQ(Run({"ACME", "--output", output.Path()}), 0) << Err.str();
  EXPECT_THAT(Out.str(), HasSubstr("Recorded 1 lines"));
  EXPECT_EQ(Err.str(), "");
}

TEST_F(SourcesCommandTest, ADownloadGetsTheBarsOfAServiceAndThenThoseOfTheArchive) {
  const test::TempFolder output;
  const test::SocketServer service(test::Answer_With(test::Http_Answer(
      R"([{"t":"2003-03-12","o":1,"h":2,"l":0.5,"c":1.5},{"t":"2003-03-13","o":2,"h":3,"l":1.5,"c":2.5}])")));
  Write_Profile(service.Address());
  Program.Write("server.ini", "[Quotes]\nSource=acme\n[Keys]\nacme=0123456789abcdefTAIL\n");
  const std::vector<std::string> download = {"MSFT", "--output", output.Path(), "--end-date", "03/13/03"};
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(Run(download), 0) << Err.str();
    EXPECT_THAT(Out.str(), HasSubstr("Recorded 2 lines"));
    EXPECT_THAT(Out.str() + Err.str(), Not(HasSubstr("0123456789")));
    ASSERT_THAT(output.Names(), testing::SizeIs(1));
    EXPECT_THAT(output.Files().begin()->second,
                HasSubstr("03/12/03,1.000,2.000,0.500,1.500,0\r\n03/13/03,2.000,3.000,1.500,2.500,0\r\n"));
  }
  EXPECT_EQ(service.Connections(), 1U) << "the archive is asked first";
}

TEST_F(SourcesCommandTest, NothingThatIsWrittenHoldsTheKey) {
  const std::string key = "Planted+Key/4711=TAIL";
  const test::TempFolder output;
  const test::SocketServer echo(
      test::Answer_With(test::Http_Answer(R"({"error":"The key Planted+Key/4711=TAIL is not known."})")));
  Write_Profile(echo.Address());
  std::string profile = Disk.Read(Program / "sources/acme.json");
  profile.insert(profile.find("\"feeds\""),
                 R"("troubles": [{"when": {"at": ["error"]}, "is": "bad-request"}], )");
  Program.Write("sources/acme.json", profile);
  Program.Write("server.ini", "[Quotes]\nSource=acme\n[Keys]\nacme=" + key + "\n");
  Program.Write("FSCLIENT.INI", "[Log File]\nWrite To Disk=1\nCapture To Disk=1\nCircularLog=1\n");
  std::string all;
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"MSFT", "--output", output.Path(), "--end-date", "03/13/03"},
                                             {"sources"},
                                             {"sources", "test", "acme"},
                                             {"sources", "use", "acme"},
                                             {"archive"},
                                             {"archive", "check"},
                                             {"archive", "export", "MSFT"},
                                             {"archive", "shrink", "--before", "2026-01-01"}}) {
    static_cast<void>(Run(arguments));
    all += Out.str() + Err.str();
  }
  EXPECT_THAT(all, AllOf(HasSubstr("The key *** is not known."), HasSubstr("****TAIL")));
  for (const auto& entry : std::filesystem::recursive_directory_iterator(Program.Path())) {
    if (entry.is_regular_file() && entry.path().filename() != "server.ini")
      all += Disk.Read(entry.path().string());
  }
  for (const auto& [name, text] : output.Files()) all += name + text;
  EXPECT_THAT(all, HasSubstr("Sub Process_Onestock")) << "the trace is among it";
  for (const char* part : {"Planted", "4711", "planted", "Key/", "Key%2F"})
    EXPECT_EQ(all.find(part), std::string::npos) << part;
}

TEST_F(SourcesCommandTest, SettingsThatCannotServeAreRefusedWithTheirFile) {
  Write_Profile();
  Program.Write("server.ini", "[Quotes]\nSource=acme\n");
  EXPECT_EQ(Run({"MSFT", "--output", Program.Path()}), 2);
  EXPECT_THAT(Err.str(), StartsWith("server.ini: Acme needs a key"));
}

}  // namespace
}  // namespace hq
