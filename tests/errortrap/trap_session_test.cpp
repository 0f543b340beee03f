#include "errortrap/trap_session.h"

#include <deque>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

#include "errortrap/procedure.h"
#include "support/fakes.h"
#include "support/temp_folder.h"
#include "trap_doubles.h"

namespace hq {
namespace {

using test::Bytes_Of;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class ScriptedDialog final : public ErrorDialog {
 public:
  ErrorAnswer Ask(const ErrorQuestion& question) override {
    Questions.push_back(question);
    if (WhileShown) WhileShown(question);
    if (question.Clear_Pause) question.Clear_Pause();
    if (AfterPress) AfterPress();
    if (Answers.empty()) return {};
    ErrorAnswer answer = Answers.front();
    Answers.pop_front();
    return answer;
  }
  void Further_Error(std::int32_t count, const std::string& text) override {
    Further.push_back(std::to_string(count) + " " + text);
  }
  void Show_Report(const std::string& path) override { Reports.push_back(path); }

  std::vector<ErrorQuestion> Questions;
  std::deque<ErrorAnswer> Answers;
  std::vector<std::string> Further;
  std::vector<std::string> Reports;
  std::function<void(const ErrorQuestion&)> WhileShown;
  std::function<void()> AfterPress;
};

class Session : public testing::Test {
 protected:
  // Starts the session with these settings and enters one procedure.
  void Begin(const std::string& settings = {}) {
    if (!settings.empty()) Home.Write("FSCLIENT.INI", settings);
    Current.emplace(Trap, Parts());
    Trap.fsPUSH("global.bas", "Sub Main", "with this");
  }
  TrapSessionParts Parts() {
    return {Disk,
            Time,
            Dialog,
            Mail,
            ApplicationFacts{.Title = "Quotes", .ExeName = "quotes", .Version = "1.2", .Folder = Home.Path()},
            [this] {
              ++MachineLooks;
              if (MachineFails) throw std::runtime_error("no machine to look at");
              MachineFacts machine;
              machine.Processor = "Made-up processor";
              machine.MachineName = "desk";
              return machine;
            }};
  }
  int Fail(int number = PathNotFound, const std::string& detail = "no such folder") {
    return Trap.fsERROR("disk.bas", "Sub Write_File", RunTimeError(number, detail));
  }
  [[nodiscard]] std::string File(const std::string& name) const { return Bytes_Of(Home / name); }
  [[nodiscard]] bool Has(const std::string& name) const { return std::filesystem::exists(Home / name); }

  test::TempFolder Home;
  SystemFiles Disk;
  test::FakeClock Time;
  ScriptedDialog Dialog;
  test::RecordingMail Mail;
  test::ScriptedLoop Loop;
  modFailSafe Trap{&Loop};
  int MachineLooks = 0;
  bool MachineFails = false;
  std::optional<TrapSession> Current;
};

TEST_F(Session, WithoutSettingsShowsErrorsAndWritesNothing) {
  Begin();
  Dialog.Answers = {{trap_choice::Ignore, "reading"}};
  EXPECT_EQ(Fail(), trap_choice::Ignore);
  ASSERT_EQ(Dialog.Questions.size(), 1U);
  Current.reset();
  EXPECT_THAT(Home.Names(), IsEmpty());
  EXPECT_EQ(MachineLooks, 0);
}

TEST_F(Session, AsksWithEverythingThatIsKnown) {
  Begin();
  Fail();
  const ErrorQuestion& question = Dialog.Questions.at(0);
  EXPECT_EQ(question.Category, "File System (disk, directory or file) access");
  EXPECT_EQ(question.Project, "Quotes 1.2");
  EXPECT_EQ(question.Module, "disk.bas");
  EXPECT_EQ(question.Procedure, "Sub Write_File");
  EXPECT_EQ(question.Line, " <unavailable: line numbers not used>");
  EXPECT_EQ(question.Number, PathNotFound);
  EXPECT_EQ(question.Description, "Path not found");
  EXPECT_EQ(question.Detail, "no such folder");
  EXPECT_THAT(question.CallTree, ElementsAre(" 1 : global.bas : Sub Main : with this"));
  EXPECT_THAT(question.ErrorInformation,
              StartsWith("An unexpected 'File System (disk, directory or file) access' error occurred in\n"
                         "Sub Write_File (disk.bas).\n\nPath not found: no such folder\n\n"
                         "Runtime error 76 on line <unavailable: line numbers not used>\n"
                         "Code Pointer = disk.bas : Sub Write_File\n"));
  EXPECT_EQ(question.CallTreeText, " 1 : global.bas : Sub Main : with this\n");
  EXPECT_THAT(question.SystemInformation(), HasSubstr("Made-up processor"));
  EXPECT_TRUE(question.AsksUser);
  EXPECT_TRUE(question.CanGoOn);
  EXPECT_EQ(question.MailAddress, "");
  EXPECT_EQ(question.ErrorCount, 1);
  Fail();
  EXPECT_EQ(Dialog.Questions.at(1).ErrorCount, 2);
}

TEST_F(Session, NamesNothingEmpty) {
  Begin();
  Trap.fsERROR("", "", RunTimeError(13));
  EXPECT_EQ(Dialog.Questions.at(0).Module, "<unknown>");
  EXPECT_EQ(Dialog.Questions.at(0).Procedure, "<unknown>");
  EXPECT_EQ(Dialog.Questions.at(0).Description, "Type mismatch");
  EXPECT_EQ(Dialog.Questions.at(0).Category, "General run-time");
  EXPECT_EQ(Dialog.Questions.at(0).Line, " <unavailable: line numbers not used>");
}

TEST_F(Session, SaysThatThereWasNoProcedureYet) {
  std::filesystem::create_directory(Home / "circ0001.log");
  Begin("[Log File]\nCircularLog=1\nWrite To Disk=1\n");
  ASSERT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_THAT(Dialog.Questions[0].CallTree, ElementsAre("(no procedure yet)"));
  EXPECT_EQ(Dialog.Questions[0].CallTreeText, "(no procedure yet)\n");
  EXPECT_THAT(File("error.log"), HasSubstr("Call Tree & Arguments\r\n    (no procedure yet)\r\n"));
  Trap.fsPOP("global.bas", "Sub Main");
  Fail();
  EXPECT_THAT(Dialog.Questions.at(1).CallTree, ElementsAre("(no procedure)"));
}

TEST_F(Session, NamesNoProcedureOfAnErrorBeforeTheFirst) {
  Current.emplace(Trap, Parts());
  Trap.fsERROR("", "", RunTimeError(13));
  EXPECT_EQ(Dialog.Questions.at(0).Module, "<unknown>");
  EXPECT_EQ(Dialog.Questions.at(0).Procedure, "(no procedure yet)");
}

TEST_F(Session, LogsWhatItIsToNoteAndAsksNobody) {
  Begin("[log file]\nWrite To Disk=1\n[email]\nAddress=help@example.com\n");
  Trap.Note("frmmain1.frm", "Sub Form_Load", RunTimeError(FileNotFound, "t8.ico"));
  EXPECT_THAT(Dialog.Questions, IsEmpty());
  EXPECT_THAT(Mail.Sent, IsEmpty());
  EXPECT_THAT(File("error.log"), HasSubstr("Description- File not found: t8.ico\r\n"));
  EXPECT_TRUE(File("error.log").ends_with("User Text- \r\n"));
  Fail();
  EXPECT_EQ(Dialog.Questions.at(0).ErrorCount, 1);
}

TEST_F(Session, LogsWhatItIsToNoteInASilentRunAndMailsNothing) {
  Begin("[preferences]\nSilent Run=1\n[email]\nAddress=help@example.com\n");
  Trap.Note("frmmain1.frm", "Sub Form_Load", RunTimeError(FileNotFound, "t8.ico"));
  EXPECT_THAT(Mail.Sent, IsEmpty());
  EXPECT_THAT(File("error.log"), HasSubstr("Description- File not found: t8.ico\r\n"));
}

TEST_F(Session, WritesErrorsToDiskWhenSet) {
  Begin("[log file]\nWrite To Disk=1\n");
  Dialog.Answers = {{trap_choice::Continue, "downloading"}};
  Fail();
  EXPECT_THAT(File("error.log"), HasSubstr("Category- File System (disk, directory or file) access\r\n"));
  EXPECT_THAT(File("error.log"), HasSubstr("Source- Quotes 1.2\r\n"));
  EXPECT_THAT(File("error.log"), HasSubstr("Error Number- 76\r\n"));
  EXPECT_THAT(File("error.log"), HasSubstr("Description- Path not found: no such folder\r\n"));
  EXPECT_THAT(File("error.log"), HasSubstr("User Text- User Said: downloading"));
  EXPECT_THAT(File("error.log"), Not(HasSubstr("Made-up processor")));
}

TEST_F(Session, LogsAnErrorBeforeTheFirstProcedureAsSet) {
  Home.Write("FSCLIENT.INI", "[log file]\nWrite To Disk=1\nLog File=mine.log\n");
  Current.emplace(Trap, Parts());
  Trap.Complain({}, {}, RunTimeError(OutOfMemory, "no thread could be made"));
  ASSERT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_EQ(Dialog.Questions[0].Detail, "no thread could be made");
  EXPECT_THAT(File("mine.log"), HasSubstr("\r\nDescription- Out of memory: no thread could be made\r\n"));
}

TEST_F(Session, EndsItsLogsAlsoWhileAnErrorIsShown) {
  Dialog.WhileShown = [this](const ErrorQuestion&) { Current->End_Logs(); };
  Begin("[log file]\nWrite To Disk=1\nCapture To Disk=1\n");
  Dialog.Answers = {{trap_choice::Continue, "too late"}};
  Fail();
  EXPECT_TRUE(File("trace.log").ends_with("] END PROGRAM \r\n"));
  EXPECT_TRUE(File("error.log").ends_with("\r\nUser Text- \r\n"));
  const std::string trace = File("trace.log");
  Trap.fsPOP("global.bas", "Sub Main");
  Current.reset();
  EXPECT_EQ(File("trace.log"), trace);
}

TEST_F(Session, HasTheErrorOnDiskWhileTheDialogIsUp) {
  Begin("[log file]\nWrite To Disk=1\n");
  std::string meanwhile;
  Dialog.WhileShown = [&](const ErrorQuestion&) { meanwhile = File("error.log"); };
  Fail();
  EXPECT_THAT(meanwhile, HasSubstr("Error Number- 76\r\n"));
}

TEST_F(Session, WritesElsewhereWhenTheLogCannotBeOpened) {
  std::filesystem::create_directory(Home / "mine.log");
  Begin("[log file]\nWrite To Disk=1\nLog File=mine.log\n");
  Fail();
  EXPECT_THAT(File("!error!.log"), HasSubstr("Error Number- 76\r\n"));
}

TEST_F(Session, GathersTheMachineWithEveryErrorWhenForced) {
  Begin("[preferences]\nForce System Info=1\n[log file]\nWrite To Disk=1\n");
  Fail();
  EXPECT_EQ(MachineLooks, 1);
  EXPECT_THAT(File("error.log"), HasSubstr("Made-up processor"));
  EXPECT_THAT(Dialog.Questions.at(0).SystemInformation(), HasSubstr("Made-up processor"));
  EXPECT_EQ(MachineLooks, 1);
}

TEST_F(Session, LeavesArgumentsOutWhenSet) {
  Begin("[include]\nArguments=0\n");
  Fail();
  EXPECT_THAT(Dialog.Questions.at(0).CallTree, ElementsAre(" 1 : global.bas : Sub Main"));
}

TEST_F(Session, LeavesTheUsersTextOutWhenSet) {
  Begin("[include]\nUser=0\n[log file]\nWrite To Disk=1\n");
  Dialog.Answers = {{trap_choice::More, "my secret"}};
  Fail();
  EXPECT_FALSE(Dialog.Questions.at(0).AsksUser);
  EXPECT_THAT(File("error.log"), Not(HasSubstr("my secret")));
  EXPECT_THAT(File("fserror.log"), Not(HasSubstr("my secret")));
}

TEST_F(Session, ARunThatIsSilentLogsWithoutADialog) {
  Begin("[preferences]\nSilent Run=1\n");
  EXPECT_EQ(Fail(), trap_choice::Continue);
  EXPECT_THAT(Dialog.Questions, IsEmpty());
  EXPECT_THAT(File("error.log"), HasSubstr("Error Number- 76\r\n"));
  EXPECT_THAT(Mail.Sent, IsEmpty());
}

TEST_F(Session, ARunThatIsSilentMailsOnce) {
  Begin("[preferences]\nSilent Run=1\n[email]\nAddress=help@example.com\n");
  Fail();
  Fail();
  ASSERT_EQ(Mail.Sent.size(), 1U);
  EXPECT_THAT(Mail.Sent[0].Recipients, ElementsAre("help@example.com"));
  EXPECT_EQ(Mail.Sent[0].Attachment, Home / "error.log");
}

TEST_F(Session, MailsOnlyAtAPress) {
  Begin("[email]\nAddress=help@example.com\n");
  Fail();
  EXPECT_THAT(Mail.Sent, IsEmpty());
  std::string outcome;
  Dialog.WhileShown = [&](const ErrorQuestion& question) { outcome = question.Send_Mail("counting"); };
  Fail();
  EXPECT_EQ(Dialog.Questions.at(1).MailAddress, "help@example.com");
  EXPECT_EQ(outcome, "The report was handed to the mail program.");
  ASSERT_EQ(Mail.Sent.size(), 1U);
  EXPECT_THAT(Mail.Sent[0].Body, HasSubstr("counting"));
  // Errors are not written to disk, so what goes along is the report made for it.
  EXPECT_EQ(Mail.Sent[0].Attachment, Home / "fserror.log");
}

TEST_F(Session, AnErrorIsLoggedAlsoWhenTheMachineCannotBeLookedAt) {
  MachineFails = true;
  Begin("[log file]\nWrite To Disk=1\n[preferences]\nForce System Info=1\n");
  Dialog.Answers = {{trap_choice::More, "counting"}};
  EXPECT_EQ(Fail(), trap_choice::More);
  EXPECT_THAT(File("error.log"), HasSubstr("Error Number- 76\r\n"));
  EXPECT_THAT(Dialog.Reports, ElementsAre(Home / "fserror.log"));
  EXPECT_GT(MachineLooks, 0);
}

TEST_F(Session, MailsTheReportWhenTheLogWasMovedAway) {
  Begin("[email]\nAddress=help@example.com\n[log file]\nWrite To Disk=1\n");
  Dialog.WhileShown = [&](const ErrorQuestion& question) {
    std::filesystem::remove(Home / "error.log");
    question.Send_Mail("");
  };
  Fail();
  EXPECT_EQ(Mail.Sent.at(0).Attachment, Home / "fserror.log");
}

TEST_F(Session, TellsWhyNoMailWent) {
  Begin("[email]\nAddress=help@example.com\n[DevCenter]\nAttach Log=0\n");
  Mail.Fault = "There is no mail program.";
  std::string outcome;
  Dialog.WhileShown = [&](const ErrorQuestion& question) { outcome = question.Send_Mail(""); };
  Fail();
  EXPECT_EQ(outcome, "There is no mail program.");
  EXPECT_EQ(Mail.Sent.at(0).Attachment, "");
}

TEST_F(Session, MoreShowsTheCompleteReport) {
  Begin();
  Dialog.Answers = {{trap_choice::More, "watching"}};
  EXPECT_EQ(Fail(), trap_choice::More);
  EXPECT_THAT(Dialog.Reports, ElementsAre(Home / "fserror.log"));
  const std::string report = File("fserror.log");
  EXPECT_THAT(report, StartsWith("An unexpected '"));
  for (const char* piece : {"watching", "Call Tree & Arguments", "global.bas : Sub Main : with this",
                            "System State Information", "Made-up processor", "New Defect"}) {
    EXPECT_THAT(report, HasSubstr(piece));
  }
}

TEST_F(Session, AReportThatCannotBeWrittenIsNotShown) {
  std::filesystem::create_directory(Home / "fserror.log");
  Begin();
  Dialog.Answers = {{trap_choice::More, ""}};
  EXPECT_EQ(Fail(), trap_choice::More);
  EXPECT_THAT(Dialog.Reports, IsEmpty());
}

TEST_F(Session, TracesToDiskWhenSet) {
  Home.Write("trace.log", "the run before");
  Begin("[log file]\nCapture To Disk=1\n[include]\nMemory=0\nResources=0\n");
  Trap.fsPUSH("disk.bas", "Sub Write_File");
  Trap.fsPOP("disk.bas", "Sub Write_File");
  Trap.fsPOP("global.bas", "Sub Main");
  Current.reset();
  const std::string trace = File("trace.log");
  EXPECT_THAT(trace, StartsWith("Quotes 1.2 <"));
  EXPECT_THAT(trace, HasSubstr("[quotes] [00001] ["));
  EXPECT_THAT(trace, HasSubstr("] ->global.bas : Sub Main : with this\r\n"));
  EXPECT_THAT(trace, HasSubstr("] -> disk.bas : Sub Write_File : \r\n"));
  EXPECT_THAT(trace, HasSubstr("] <- disk.bas : Sub Write_File : \r\n"));
  EXPECT_THAT(trace, HasSubstr("[quotes] [00005] ["));
  EXPECT_TRUE(trace.ends_with("] END PROGRAM \r\n")) << trace;
  EXPECT_EQ(File("trace.log.bak"), "the run before");
}

TEST_F(Session, KeepsTheTraceOfTheRunBeforeHoweverLongItIs) {
  constexpr std::uintmax_t LongerThanAReadFile = 65U * 1024 * 1024;
  Home.Write("trace.log", "the run before");
  // The rest is a hole that takes no room on the disk.
  std::filesystem::resize_file(Home / "trace.log", LongerThanAReadFile);
  Begin("[log file]\nCapture To Disk=1\n");
  Current.reset();
  EXPECT_TRUE(Dialog.Questions.empty());
  EXPECT_THAT(File("trace.log"), HasSubstr("->global.bas : Sub Main"));
  EXPECT_EQ(std::filesystem::file_size(Home / "trace.log.bak"), LongerThanAReadFile);
}

TEST_F(Session, TracesIntoTheCircularLogWhenSet) {
  Begin("[Log File]\nCircularLog=1\nCapture To Disk=1\n[CircularLog]\nMaxRecords=4\nRecordSize=128\n");
  for (int i = 0; i < 10; ++i) {
    Trap.fsPUSH("disk.bas", "Sub Write_File");
    Trap.fsPOP("disk.bas", "Sub Write_File");
  }
  Current.reset();
  EXPECT_EQ(File("circ0001.log").size(), 4U * 128U);
  EXPECT_THAT(File("circ0001.log"), HasSubstr("CIRCULAR\r\n"));
  EXPECT_THAT(File("circ0001.log"), HasSubstr("] END PROGRAM "));
  EXPECT_FALSE(Has("trace.log"));
}

TEST_F(Session, ReportsACircularLogThatCannotBeOpenedOnceAndGoesOn) {
  std::filesystem::create_directory(Home / "circ0001.log");
  Begin("[Log File]\nCircularLog=1\n");
  Trap.fsPUSH("disk.bas", "Sub Write_File");
  Trap.fsPOP("disk.bas", "Sub Write_File");
  ASSERT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_THAT(Dialog.Questions[0].Detail, StartsWith("Could not open circular log file circ0001.log\n"));
  EXPECT_EQ(Trap.Depth(), 1);
}

TEST_F(Session, TellsOfASpoiledCircularLogOnce) {
  Home.Write("circ0001.log", std::string(4096, '\0'));
  Begin("[Log File]\nCircularLog=1\n");
  Current.reset();
  ASSERT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_EQ(Dialog.Questions[0].Detail,
            "The circular log circ0001.log was spoiled, as by a power cut. What is left of it was kept as " +
                (Home / "circ0001.log.bak") + ", and a new one was begun.");
  EXPECT_FALSE(Dialog.Questions[0].CanGoOn);
  EXPECT_THAT(File("circ0001.log"), HasSubstr("->global.bas : Sub Main"));
  modFailSafe second(&Loop);
  TrapSession session(second, Parts());
  second.fsPUSH("global.bas", "Sub Main");
  EXPECT_EQ(Dialog.Questions.size(), 1U);
}

TEST_F(Session, ASecondRunSaysInOneSentenceThatItCannotHaveTheCircularLog) {
  Begin("[Log File]\nCircularLog=1\n[log file]\nWrite To Disk=1\n");
  Dialog.Answers = {{trap_choice::Retry, ""}};
  modFailSafe second(&Loop);
  {
    TrapSession session(second, Parts());
    second.fsPUSH("global.bas", "Sub Main");
    second.fsPOP("global.bas", "Sub Main");
  }
  ASSERT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_EQ(Dialog.Questions[0].Detail,
            "Could not open circular log file circ0001.log: another run of the program is writing to it, so "
            "this run goes on without it.");
  EXPECT_FALSE(Dialog.Questions[0].CanGoOn);
  EXPECT_TRUE(Dialog.Further.empty());
  Trap.fsPOP("global.bas", "Sub Main");
  EXPECT_THAT(File("circ0001.log"), HasSubstr("<-global.bas : Sub Main"));
}

TEST_F(Session, ACircularLogThatCannotBeOpenedLeavesTheTraceLog) {
  std::filesystem::create_directory(Home / "circ0001.log");
  Begin("[Log File]\nCircularLog=1\nCapture To Disk=1\n");
  Current.reset();
  EXPECT_THAT(File("trace.log"), HasSubstr("->global.bas : Sub Main"));
}

TEST_F(Session, ALogThatCannotBeOpenedIsTriedAgainAtRetry) {
  for (const std::string name : {"circ0001.log", "trace.log"}) {
    Trap.Set_Reporter(nullptr);
    modFailSafe trap(&Loop);
    std::filesystem::create_directory(Home / name);
    Home.Write(name + "/in the way", "");
    Dialog.Answers = {{trap_choice::Retry, ""}, {trap_choice::Retry, ""}};
    const size_t asked_before = Dialog.Questions.size();
    Dialog.WhileShown = [&](const ErrorQuestion& question) {
      EXPECT_TRUE(question.CanGoOn);
      if (Dialog.Questions.size() == asked_before + 2) std::filesystem::remove_all(Home / name);
    };
    Home.Write("FSCLIENT.INI",
               name == "trace.log" ? "[Log File]\nCapture To Disk=1\n" : "[Log File]\nCircularLog=1\n");
    {
      TrapSession session(trap, Parts());
      trap.fsPUSH("global.bas", "Sub Main");
    }
    EXPECT_EQ(Dialog.Questions.size(), asked_before + 2);
    EXPECT_THAT(File(name), HasSubstr("->global.bas : Sub Main"));
  }
}

TEST_F(Session, AFileThatIsNoCircularLogIsLeftAlone) {
  Home.Write("letter.txt", "Dear reader\r\n");
  Begin("[Log File]\nCircularLog=1\n[CircularLog]\nFileName=letter.txt\n");
  EXPECT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_EQ(File("letter.txt"), "Dear reader\r\n");
}

TEST_F(Session, WritesNoLogOverTheProgramsOwnFiles) {
  Home.Write("user.cfg", "|IBM\r\n");
  Begin("[Log File]\nCircularLog=1\nWrite To Disk=1\nLog File=" + (Home / "user.cfg") +
        "\n[CircularLog]\nFileName=user.cfg\n");
  Fail();
  EXPECT_EQ(File("user.cfg"), "|IBM\r\n");
  EXPECT_THAT(File("error.log"), HasSubstr("Error Number- 76\r\n"));
  EXPECT_THAT(File("circ0001.log"), HasSubstr("->global.bas : Sub Main"));
}

TEST_F(Session, TellsAtTheStartOnceAndTogetherWhatItDoesNotTake) {
  Home.Write("circ0001.log", std::string(512, '\0'));
  Begin("[Log File]\nCircularLog=1\n[CircularLog]\nRecordSize=10\nMaxRecords=many\n");
  Trap.fsPUSH("disk.bas", "Sub Write_File");
  ASSERT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_EQ(
      Dialog.Questions[0].Detail,
      "RecordSize=10 in [CircularLog] of FSCLIENT.INI is not a number from 64 to 65536; 512 is used.\n"
      "MaxRecords=many in [CircularLog] of FSCLIENT.INI is not a number from 2 to 1000000; 100 is used.\n"
      "The circular log circ0001.log was spoiled, as by a power cut. What is left of it was kept as " +
          (Home / "circ0001.log.bak") + ", and a new one was begun.");
  EXPECT_FALSE(Dialog.Questions[0].CanGoOn);
}

TEST_F(Session, ARunThatIsSilentLogsWhatItDoesNotTake) {
  Begin("[preferences]\nSilent Run=1\nDisplay Mode=9\n");
  EXPECT_THAT(Dialog.Questions, IsEmpty());
  EXPECT_THAT(File("error.log"),
              HasSubstr("Display Mode=9 in [preferences] of FSCLIENT.INI is not 0, 1 or 2"));
}

TEST_F(Session, AFurtherErrorWhileTheDialogIsUpIsLoggedAndTold) {
  Begin("[log file]\nWrite To Disk=1\n");
  Dialog.WhileShown = [&](const ErrorQuestion&) { EXPECT_EQ(Fail(DiskFull, "here"), trap_choice::Continue); };
  Dialog.Answers = {{trap_choice::Continue, "first"}};
  Fail();
  EXPECT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_THAT(Dialog.Further, ElementsAre("2 Disk full: here (disk.bas : Sub Write_File)"));
  EXPECT_THAT(File("error.log"), HasSubstr("Error Number- 61\r\n"));
  EXPECT_THAT(File("error.log"), HasSubstr("first"));
}

TEST_F(Session, AnErrorAfterThePressIsAskedAnew) {
  Begin();
  Dialog.AfterPress = [&] {
    if (Dialog.Questions.size() == 1) Fail(DiskFull);
  };
  Fail();
  EXPECT_EQ(Dialog.Questions.size(), 2U);
  EXPECT_THAT(Dialog.Further, IsEmpty());
}

TEST_F(Session, ProceduresWaitWhileTheDialogIsUp) {
  Begin();
  std::vector<std::string> order;
  Dialog.WhileShown = [&](const ErrorQuestion& question) {
    Loop.Post([&] { order.emplace_back("event"); });
    Loop.Post([&, clear = question.Clear_Pause] {
      order.emplace_back("press");
      clear();
    });
    Trap.fsPUSH("frmmain1.frm", "Sub cmdAdd_Click");
    order.emplace_back("entered");
    Trap.fsPOP("frmmain1.frm", "Sub cmdAdd_Click");
  };
  Fail();
  EXPECT_THAT(order, ElementsAre("event", "press", "entered"));
}

TEST_F(Session, ComplaintsAboutTheTraceCannotBeRetried) {
  Begin();
  Trap.fsPOP("global.bas", "Sub Main");
  Trap.fsPOP("global.bas", "Sub Main");
  ASSERT_EQ(Dialog.Questions.size(), 1U);
  EXPECT_FALSE(Dialog.Questions[0].CanGoOn);
  EXPECT_EQ(Dialog.Questions[0].Detail, "'fsPOP()' was called without 'fsPUSH()'.");
}

TEST_F(Session, AStatementIsRetriedAndSucceeds) {
  Begin();
  Dialog.Answers = {{trap_choice::Retry, ""}, {trap_choice::Retry, ""}};
  int tries = 0;
  bool after = false;
  Keep_Trap_Handler(Trap, {"frmmain1.frm", "Sub Form_Unload"}, [&](TrappedStatements& statement) {
    statement([&] {
      if (++tries < 3) throw RunTimeError(PermissionDenied);
    });
    statement([&] { after = true; });
  });
  EXPECT_EQ(tries, 3);
  EXPECT_TRUE(after);
  EXPECT_EQ(Dialog.Questions.size(), 2U);
}

TEST_F(Session, LeavesTheTrapAsItFoundIt) {
  Begin("[log file]\nCapture To Disk=1\n");
  Current.reset();
  EXPECT_FALSE(Trap.Write_Record);
  EXPECT_FALSE(Trap.Read_Options);
  EXPECT_EQ(Fail(), trap_choice::Continue);
  EXPECT_THAT(Dialog.Questions, IsEmpty());
}

}  // namespace
}  // namespace hq
