#include "errortrap/defect_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "errortrap/sample_error.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Sample_Application;
using test::Sample_Error;
using test::Sample_Machine;
using test::Sample_Settings;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* Sample =
    "New Defect in Defects (defects@example.com)\n"
    "KEY: frmmain1.frm/Sub txtnewstock_KeyDown/13\n"
    "REPORTED BY: anna\n"
    "CONFIGURATION: History Quotes 1.0.0 on Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64 x86_64\n"
    "MACHINE NAME: trader\n"
    "OS: Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64 x86_64\n"
    "CPU: Example CPU 3000\n"
    "NUM CPU: 4\n"
    "PHYSICAL MEMORY: 8,192,000 KB\n"
    "DISPLAY RESOLUTION: 1920 x 1080\n"
    "COLOR PALETTE: 24 bits per pixel\n"
    "NUM MONITORS: 2\n"
    "NUM MOUSEBUTTONS: 5\n"
    "HAS MOUSEWHEEL: YES\n"
    "COUNTRY: CH\n"
    "LANGUAGE: de\n"
    "MIDEAST: NO\n"
    "DBCS: NO\n"
    "OTHER COMPONENTS:\n"
    "   /usr/lib/x86_64-linux-gnu/libcurl.so.4.8.0 4.8.0\n"
    "PROJECT: Quotes\n"
    "ASSIGNED TO: Berta\n"
    "DATE/TIME ENTERED: 03/14/03 14:05:09\n"
    "SYNOPSIS: Error 13, Type mismatch, in Sub txtnewstock_KeyDown of frmmain1.frm\n"
    "DESCRIPTION: Type mismatch\n"
    "   Code Pointer = frmmain1.frm : Sub txtnewstock_KeyDown\n"
    "   Call tree, the outermost first:\n"
    "   1 : frmmain1.frm : Sub txtnewstock_KeyDown :\n"
    "   The user said:\n"
    "   I typed a symbol\n"
    "   and pressed Enter.\n"
    "PRODUCT: History Quotes\n";

std::string Sample_Report(const std::string& user_text = "I typed a symbol\nand pressed Enter.") {
  return Defect_Report(Sample_Application(), Sample_Machine(), Sample_Settings(), Sample_Error(), user_text);
}

TEST(DefectReport, HasTheFieldsInTheirOrder) {
  EXPECT_EQ(Sample_Report(), Sample);
}

TEST(DefectReport, IsTheSampleOfTheDocumentation) {
  EXPECT_THAT(test::Bytes_Of(test::SamplePage), HasSubstr("```\n" + std::string(Sample) + "```\n"));
}

TEST(DefectReport, LeavesAFieldOpenThatIsNotKnown) {
  EXPECT_EQ(
      Defect_Report({}, {}, {}, {}, ""),
      "New Defect\nKEY: 0\nREPORTED BY:\nCONFIGURATION:\nMACHINE NAME:\nOS:\nCPU:\nNUM CPU:\n"
      "PHYSICAL MEMORY:\nDISPLAY RESOLUTION:\nCOLOR PALETTE:\nNUM MONITORS:\nNUM MOUSEBUTTONS:\n"
      "HAS MOUSEWHEEL:\nCOUNTRY:\nLANGUAGE:\nMIDEAST:\nDBCS:\nOTHER COMPONENTS:\nPROJECT:\nASSIGNED TO:\n"
      "DATE/TIME ENTERED:\nSYNOPSIS: Error 0\nDESCRIPTION:\nPRODUCT:\n");
}

TEST(DefectReport, NamesTheDatabaseInItsHeading) {
  const auto heading = [](const std::string& database, const std::string& address) {
    TrapSettings settings;
    settings.DefectDatabase = database;
    settings.DefectAddress = address;
    const std::string report = Defect_Report({}, {}, settings, {}, "");
    return report.substr(0, report.find('\n'));
  };
  EXPECT_EQ(heading("", ""), "New Defect");
  EXPECT_EQ(heading("Bugs", ""), "New Defect in Bugs");
  EXPECT_EQ(heading("", "bugs.example.com"), "New Defect to bugs.example.com");
  EXPECT_EQ(heading("Bugs", "bugs.example.com"), "New Defect in Bugs (bugs.example.com)");
  EXPECT_EQ(heading("\nBugs\r\n", ""), "New Defect in Bugs");
}

TEST(DefectReport, HasOneKeyForEqualErrorsOnly) {
  const auto key = [](const ErrorRecord& error, const ApplicationFacts& application) {
    const std::string report = Defect_Report(application, {}, {}, error, "");
    return report.substr(0, report.find("\nREPORTED BY:"));
  };
  const ErrorRecord error = Sample_Error();
  ErrorRecord later = error;
  later.When = "03/15/03 08:00:00";
  later.Description = "Typen unverträglich";
  later.CallTree.clear();
  ApplicationFacts newer = Sample_Application();
  newer.Version = "2.0.0";
  EXPECT_EQ(key(error, Sample_Application()), key(later, newer));
  ErrorRecord another = error;
  another.Number = 6;
  EXPECT_NE(key(error, {}), key(another, {}));
  another = error;
  another.Procedure = "Sub txtdays_GotFocus";
  EXPECT_NE(key(error, {}), key(another, {}));
  another = error;
  another.Module = "global.bas";
  EXPECT_NE(key(error, {}), key(another, {}));
}

TEST(DefectReport, TellsTheUsersTextWhenItIsToBeIncluded) {
  TrapSettings settings;
  EXPECT_THAT(Defect_Report({}, {}, settings, {}, "my words"),
              HasSubstr("\nDESCRIPTION: The user said:\n   my words\n"));
  EXPECT_THAT(Defect_Report({}, {}, settings, {}, ""), Not(HasSubstr("said")));
  settings.IncludeUser = false;
  EXPECT_THAT(Defect_Report({}, {}, settings, {}, "my words"), Not(HasSubstr("my words")));
}

TEST(DefectReport, TellsArgumentsWhenTheyAreToBeIncluded) {
  TrapSettings settings;
  ErrorRecord error;
  error.CallTree = {" 1 : global.bas : Sub Main : secret 1",
                    " 12 :  frmmain1.frm : Sub A : secret : 2",
                    "frmmain1.frm : Sub B : secret 3",
                    "no entry",
                    "one : two",
                    ""};
  EXPECT_THAT(Defect_Report({}, {}, settings, error, ""), HasSubstr("Sub Main : secret 1\n"));
  settings.IncludeArguments = false;
  const std::string report = Defect_Report({}, {}, settings, error, "");
  EXPECT_THAT(report, Not(HasSubstr("secret")));
  EXPECT_THAT(report, HasSubstr("   1 : global.bas : Sub Main\n   12 :  frmmain1.frm : Sub A\n"
                                "   frmmain1.frm : Sub B\n   no entry\n   one : two\n"));
}

TEST(DefectReport, TellsTheErrorsDetailBelowItsDescription) {
  ErrorRecord error = Sample_Error();
  error.Description = "Path not found\n/nowhere/file: No such file or directory";
  error.CallTree.clear();
  const std::string report = Defect_Report({}, {}, {}, error, "");
  EXPECT_THAT(
      report,
      HasSubstr("\nSYNOPSIS: Error 13, Path not found, in Sub txtnewstock_KeyDown of frmmain1.frm\n"));
  EXPECT_THAT(report,
              HasSubstr("\nDESCRIPTION: Path not found\n   /nowhere/file: No such file or directory\n"));
}

TEST(DefectReport, LetsNoTextFakeALabel) {
  MachineFacts machine = Sample_Machine();
  for (std::string* fact : {&machine.UserName, &machine.MachineName, &machine.SystemVersion,
                            &machine.Processor, &machine.ScreenSize, &machine.Country, &machine.Language}) {
    *fact += "\r\nFAKE: fact";
  }
  machine.Components[0].Path += "\nFAKE: component";
  TrapSettings settings = Sample_Settings();
  settings.DefectProject += "\nFAKE: project";
  settings.DefectAssignedTo += "\rFAKE: person";
  ErrorRecord error = Sample_Error();
  for (std::string* text :
       {&error.When, &error.Module, &error.Procedure, &error.CodePointer, &error.Description}) {
    *text += "\nFAKE: error";
  }
  error.CallTree.emplace_back("\nFAKE: entry");
  ApplicationFacts application = Sample_Application();
  application.Title += "\nFAKE: title";
  application.Version += "\nFAKE: version";
  const std::string report =
      Defect_Report(application, machine, settings, error, "a\nFAKE: user\r\nFAKE: user\rFAKE:");
  EXPECT_THAT(report, HasSubstr("FAKE:"));
  EXPECT_THAT(report, Not(HasSubstr("\nFAKE:")));
  EXPECT_THAT(report, Not(HasSubstr("\r")));
}

TEST(ErrorMail, GoesToTheAddressAndToTheDefectDatabase) {
  const Mail mail = Error_Mail(Sample_Settings(), Sample_Machine(), "Report\n", "/logs/error.log");
  EXPECT_THAT(mail.Recipients, ElementsAre("support@example.com", "defects@example.com"));
  EXPECT_EQ(mail.Subject, "Remote Error Report From trader");
  EXPECT_EQ(mail.Body, "Report\n\nThe attached log file has complete details.");
  EXPECT_EQ(mail.BodyWithoutAttachment, "Report\n\nThe log file has complete details: /logs/error.log");
  EXPECT_EQ(mail.Attachment, "/logs/error.log");
}

TEST(ErrorMail, TakesAnAddressOnce) {
  const auto recipients = [](const std::string& address, const std::string& defect_address) {
    TrapSettings settings;
    settings.EmailAddress = address;
    settings.DefectAddress = defect_address;
    return Error_Mail(settings, {}, "", "").Recipients;
  };
  EXPECT_THAT(recipients("", ""), IsEmpty());
  EXPECT_THAT(recipients("a@x.org", "A@X.org"), ElementsAre("a@x.org"));
  EXPECT_THAT(recipients("a@x.org", "http://defects"), ElementsAre("a@x.org"));
  EXPECT_THAT(recipients("", "b@x.org"), ElementsAre("b@x.org"));
  EXPECT_THAT(recipients(" a@x.org , b@x.org;; a@x.org;", "c@x.org,b@x.org"),
              ElementsAre("a@x.org", "b@x.org", "c@x.org"));
  EXPECT_THAT(recipients("postmaster", ""), ElementsAre("postmaster"));
}

TEST(ErrorMail, LetsNoAddressAndNoNameAddAHeader) {
  TrapSettings settings;
  settings.EmailAddress = "a@x.org\r\nBcc: b@x.org";
  MachineFacts machine;
  machine.MachineName = "trader\nBcc: c@x.org";
  const Mail mail = Error_Mail(settings, machine, "", "");
  EXPECT_THAT(mail.Recipients, ElementsAre("a@x.orgBcc: b@x.org"));
  EXPECT_EQ(mail.Subject, "Remote Error Report From trader Bcc: c@x.org");
}

TEST(ErrorMail, ComesFromTheUserOfAMachineWithoutAName) {
  MachineFacts machine;
  machine.UserName = "anna";
  EXPECT_EQ(Error_Mail({}, machine, "", "").Subject, "Remote Error Report From anna");
  EXPECT_EQ(Error_Mail({}, {}, "", "").Subject, "Remote Error Report From <unknown>");
}

TEST(ErrorMail, SpeaksOfTheLogOnlyWhenItGoesAlong) {
  TrapSettings settings;
  Mail mail = Error_Mail(settings, {}, "Report", "");
  EXPECT_EQ(mail.Body, "Report");
  EXPECT_EQ(mail.BodyWithoutAttachment, "");
  settings.AttachLog = false;
  mail = Error_Mail(settings, {}, "Report", "/logs/error.log");
  EXPECT_EQ(mail.Body, "Report");
  EXPECT_EQ(mail.Attachment, "");
  EXPECT_EQ(mail.BodyWithoutAttachment, "");
  settings.AttachLog = true;
  EXPECT_EQ(Error_Mail(settings, {}, "Report", "/logs/error.log").Body,
            "Report\n\nThe attached log file has complete details.");
  EXPECT_EQ(Error_Mail(settings, {}, "", "/logs/error.log").Body,
            "\nThe attached log file has complete details.");
}

TEST(ErrorMail, CutsALongReportAtALine) {
  std::string report = "New Defect\n";
  while (report.size() < 100000) report += "DESCRIPTION: more and more\n";
  const Mail mail = Error_Mail({}, {}, report, "/logs/error.log");
  EXPECT_LT(mail.Body.size(), 25000U);
  EXPECT_THAT(mail.Body, StartsWith(report.substr(0, 20000)));
  EXPECT_THAT(mail.Body, EndsWith("DESCRIPTION: more and more\n[The rest of the report is left out.]\n\n"
                                  "The attached log file has complete details."));
}

TEST(ErrorMail, CutsALongLineAtACharacter) {
  std::string report;
  while (report.size() < 100000) report += "\xE2\x82\xAC";
  const std::string body = Error_Mail({}, {}, report, "").Body;
  EXPECT_EQ(body.find('\n') % 3, 0U);
  EXPECT_THAT(body, EndsWith("\n[The rest of the report is left out.]\n"));
}

}  // namespace
}  // namespace hq
