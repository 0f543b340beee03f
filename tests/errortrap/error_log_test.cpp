#include "errortrap/error_log.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "errortrap/error_log_support.h"
#include "errortrap/rich_text.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::Some_Error;
using test::TempFolder;

const std::string Whole =
    "03/14/03 10:00:00\r\n"
    "Category- File System (disk, directory or file) access\r\n"
    "Source- History Quotes\r\n"
    "Module- frmmain1.frm : Sub Process_Onestock\r\n"
    "Line Number-  <unavailable: line numbers not used>\r\n"
    "Code Pointer = frmmain1.frm : Sub Process_Onestock\r\n"
    "Error Number- 53\r\n"
    "Description- File not found: quotes.txt: No such file or directory\r\n"
    "Call Tree & Arguments\r\n"
    "     1 : global.bas : Sub Main : \r\n"
    "     2 :  frmmain1.frm : Sub Process_Onestock : \r\n"
    "User Text- ";

TEST(ErrorRecordText, HoldsItsLabelsInOrder) {
  EXPECT_EQ(Error_Record_Text(Some_Error()), Whole);
}

TEST(ErrorRecordText, MayLackWhatIsNotKnown) {
  EXPECT_EQ(Error_Record_Text({}),
            "\r\nCategory- \r\nSource- \r\nModule- \r\nLine Number-  <unavailable: line numbers not used>\r\n"
            "Code Pointer = \r\nError Number- 0\r\nDescription- \r\nUser Text- ");
}

TEST(ErrorRecordText, HoldsTheMachineDescription) {
  ErrorRecord record;
  record.SystemInformation = "Application\n   Title...............History Quotes\n\nMouse\n";
  const std::string text = Error_Record_Text(record);
  EXPECT_TRUE(
      text.ends_with("Description- \r\nSystem State Information\r\n    Application\r\n"
                     "       Title...............History Quotes\r\n    \r\n    Mouse\r\nUser Text- "))
      << text;
}

TEST(ErrorRecordText, LetsNoTextFakeALabel) {
  const std::string evil = "x\r\nUser Text- one\nUser Text- two\rUser Text- three\n\rUser Text- four";
  ErrorRecord record;
  record.When = record.Category = record.Source = record.Module = record.Procedure = evil;
  record.CodePointer = record.Description = record.SystemInformation = evil;
  record.CallTree = {evil, evil};
  const std::string text = Error_Record_Text(record);
  int labels = 0;
  for (size_t at = text.find("User Text- "); at != std::string::npos; at = text.find("User Text- ", at + 1)) {
    if (at == 0 || text[at - 1] == '\n' || text[at - 1] == '\r') ++labels;
  }
  EXPECT_EQ(labels, 1);
  // Every line end is a CR LF.
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n') {
      EXPECT_EQ(text[i - 1], '\r');
    }
    if (text[i] == '\r') {
      EXPECT_EQ(text[i + 1], '\n');
    }
  }
}

TEST(ErrorLog, HasAnEmptyLineBeforeARecordWhateverTheFileEndsWith) {
  for (const auto& [before, gap] :
       std::vector<std::pair<std::string, std::string>>{{"", ""},
                                                        {"a line\r\n", "\r\n"},
                                                        {"a line\n", "\r\n"},
                                                        {"a line\r", "\n\r\n"},
                                                        {"a line", "\r\n\r\n"},
                                                        {std::string("zeros\0", 6), "\r\n\r\n"}}) {
    const TempFolder folder;
    folder.Write("error.log", before);
    ErrorLog log({folder / "error.log"});
    EXPECT_EQ(log.Begin(Some_Error()), 1);
    EXPECT_EQ(Bytes_Of(folder / "error.log"), before + gap + Whole);
  }
}

TEST(ErrorLog, WritesARecordBeforeAndAfterTheUserIsAsked) {
  const TempFolder folder;
  ErrorLog log({folder / "error.log"});
  EXPECT_EQ(log.Path(), "");
  const int record = log.Begin(Some_Error());
  EXPECT_NE(record, 0);
  EXPECT_EQ(log.Path(), folder / "error.log");
  EXPECT_EQ(Bytes_Of(folder / "error.log"), Whole);
  EXPECT_TRUE(log.Finish(record, "I pressed the arrow."));
  EXPECT_EQ(Bytes_Of(folder / "error.log"), Whole + "User Said: I pressed the arrow.\r\n");
}

TEST(ErrorLog, SetsRecordsApartByAnEmptyLine) {
  const TempFolder folder;
  ErrorLog log({folder / "error.log"});
  log.Finish(log.Begin(Some_Error()), "one");
  log.Finish(log.Begin(Some_Error()), "");
  log.Finish(log.Begin(Some_Error()), "three");
  EXPECT_EQ(Bytes_Of(folder / "error.log"),
            Whole + "User Said: one\r\n\r\n" + Whole + "\r\n\r\n" + Whole + "User Said: three\r\n");
}

TEST(ErrorLog, IndentsFurtherLinesOfTheUser) {
  const TempFolder folder;
  ErrorLog log({folder / "error.log"});
  log.Finish(log.Begin(Some_Error()), "one\nError Number- 0\r\nthree\n\n");
  EXPECT_EQ(Bytes_Of(folder / "error.log"), Whole + "User Said: one\r\n    Error Number- 0\r\n    three\r\n");
}

TEST(ErrorLog, KeepsARecordWhoseProgramEnded) {
  const TempFolder folder;
  ErrorLog({folder / "error.log"}).Begin(Some_Error());
  ErrorLog({folder / "error.log"}).Begin(Some_Error());
  EXPECT_EQ(Bytes_Of(folder / "error.log"), Whole + "\r\n\r\n" + Whole);
}

TEST(ErrorLog, NamesTheErrorWhenAnotherCameMeanwhile) {
  const TempFolder folder;
  ErrorLog log({folder / "error.log"});
  const int first = log.Begin(Some_Error(53));
  const int second = log.Begin(Some_Error(61));
  EXPECT_TRUE(log.Finish(second, "second"));
  EXPECT_TRUE(log.Finish(first, "first\nmore"));
  const std::string text = Bytes_Of(folder / "error.log");
  EXPECT_TRUE(text.starts_with(Whole + "\r\n\r\n03/14/03")) << text;
  EXPECT_TRUE(
      text.ends_with("User Text- User Said: second\r\n\r\nUser Said- error 53: first\r\n    more\r\n"))
      << text;
}

TEST(ErrorLog, NamesTheErrorWhenAnotherProgramWroteMeanwhile) {
  const TempFolder folder;
  ErrorLog log({folder / "error.log"});
  const int record = log.Begin(Some_Error());
  test::Put_Bytes(folder / "error.log", Whole + "\r\nsomething else");
  EXPECT_TRUE(log.Finish(record, "text"));
  EXPECT_EQ(Bytes_Of(folder / "error.log"),
            Whole + "\r\nsomething else\r\n\r\nUser Said- error 53: text\r\n");
}

TEST(ErrorLog, AddsNothingForAnEmptyTextWhenAnotherCameMeanwhile) {
  const TempFolder folder;
  ErrorLog log({folder / "error.log"});
  const int first = log.Begin(Some_Error());
  log.Finish(log.Begin(Some_Error()), "second");
  EXPECT_TRUE(log.Finish(first, ""));
  EXPECT_EQ(Bytes_Of(folder / "error.log"), Whole + "\r\n\r\n" + Whole + "User Said: second\r\n");
}

TEST(ErrorLog, FinishesARecordOnce) {
  const TempFolder folder;
  ErrorLog log({folder / "error.log"});
  const int record = log.Begin(Some_Error());
  EXPECT_TRUE(log.Finish(record, "text"));
  EXPECT_FALSE(log.Finish(record, "again"));
  EXPECT_FALSE(log.Finish(0, "none"));
  EXPECT_FALSE(log.Finish(record + 1, "none"));
  EXPECT_EQ(Bytes_Of(folder / "error.log"), Whole + "User Said: text\r\n");
}

TEST(ErrorLog, TriesItsPlacesInOrder) {
  const TempFolder folder;
  std::filesystem::create_directory(folder / "a folder");
  ErrorLog log({folder / "missing/error.log", folder / "a folder", "", folder / "!error!.log",
                folder / "fsError.log"});
  const int record = log.Begin(Some_Error());
  EXPECT_EQ(log.Path(), folder / "!error!.log");
  EXPECT_TRUE(log.Finish(record, "text"));
  EXPECT_EQ(Bytes_Of(folder / "!error!.log"), Whole + "User Said: text\r\n");
  EXPECT_EQ(Bytes_Of(folder / "fsError.log"), "<none>");
  // The first place is tried anew for each record.
  std::filesystem::create_directory(folder / "missing");
  log.Begin(Some_Error());
  EXPECT_EQ(log.Path(), folder / "missing/error.log");
}

TEST(ErrorLog, SaysWhenNoPlaceTookTheRecord) {
  const TempFolder folder;
  ErrorLog log({folder / "missing/error.log", folder.Path()});
  EXPECT_EQ(log.Begin(Some_Error()), 0);
  EXPECT_EQ(log.Path(), "");
  EXPECT_FALSE(log.Finish(0, "text"));
  EXPECT_EQ(ErrorLog({}).Begin(Some_Error()), 0);
}

TEST(ErrorLog, SaysWhenTheTextOfTheUserIsLost) {
  const TempFolder folder;
  std::filesystem::create_directory(folder / "logs");
  ErrorLog log({folder / "logs/error.log"});
  const int one = log.Begin(Some_Error());
  const int two = log.Begin(Some_Error());
  std::filesystem::remove_all(folder / "logs");
  EXPECT_FALSE(log.Finish(one, "text"));
  EXPECT_TRUE(log.Finish(two, ""));
}

// Whether the bytes are one group of rich text and nothing more.
bool Is_Closed_Group(const std::string& rich) {
  int depth = 0;
  for (size_t i = 0; i < rich.size(); ++i) {
    if (rich[i] == '\\') {
      ++i;
    } else if (rich[i] == '{') {
      ++depth;
    } else if (rich[i] == '}' && --depth == 0) {
      return i + 1 == rich.size();
    }
  }
  return false;
}

TEST(RichErrorLog, IsOneDocumentAtAnyMoment) {
  const TempFolder folder;
  const std::string path = folder / "error.RTF";
  ErrorLog log({path});
  for (int i = 0; i < 3; ++i) {
    ErrorRecord record = Some_Error();
    record.Description = "C:\\{x}\xC3\xA4";
    const int number = log.Begin(record);
    ASSERT_NE(number, 0);
    ASSERT_TRUE(Is_Closed_Group(Bytes_Of(path))) << Bytes_Of(path);
    ASSERT_TRUE(Bytes_Of(path).ends_with("\\par\r\nUser Text- }"));
    ASSERT_TRUE(log.Finish(number, "one}\ntwo"));
    ASSERT_TRUE(Is_Closed_Group(Bytes_Of(path))) << Bytes_Of(path);
    ASSERT_TRUE(Bytes_Of(path).ends_with("User Text- User Said: one\\}\\par\r\n    two\\par\r\n}"));
  }
  EXPECT_TRUE(
      Bytes_Of(path).starts_with(std::string(RichTextHeader) + "\r\n03/14/03 10:00:00\\par\r\nCategory- "));
  EXPECT_NE(Bytes_Of(path).find("Description- C:\\\\\\{x\\}\\u228?\\par\r\n"), std::string::npos);
  EXPECT_NE(Bytes_Of(path).find("    two\\par\r\n\\par\r\n03/14/03"), std::string::npos);
}

TEST(RichErrorLog, EndsALineThatWasLeftOpen) {
  const TempFolder folder;
  ErrorLog({folder / "error.rtf"}).Begin(Some_Error());
  ErrorLog({folder / "error.rtf"}).Begin(Some_Error());
  const std::string bytes = Bytes_Of(folder / "error.rtf");
  EXPECT_NE(bytes.find("User Text- \\par\r\n\\par\r\n03/14/03"), std::string::npos) << bytes;
  EXPECT_TRUE(Is_Closed_Group(bytes));
}

TEST(RichErrorLog, NamesTheErrorWhenAnotherCameMeanwhile) {
  const TempFolder folder;
  ErrorLog log({folder / "error.rtf"});
  const int first = log.Begin(Some_Error());
  log.Begin(Some_Error());
  EXPECT_TRUE(log.Finish(first, "text"));
  const std::string bytes = Bytes_Of(folder / "error.rtf");
  EXPECT_TRUE(bytes.ends_with("\\par\r\n\\par\r\nUser Said- error 53: text\\par\r\n}")) << bytes;
  EXPECT_TRUE(Is_Closed_Group(bytes));
}

TEST(RichErrorLog, GoesOnWithADocumentThatAnotherProgramSaved) {
  const TempFolder folder;
  for (const std::string tail : {"}", "}\r\n", "}\n\n  \r\n", "", "\r\n"}) {
    folder.Write("error.rtf", "{\\rtf1\\ansi earlier\\par" + tail);
    ErrorLog log({folder / "error.rtf"});
    EXPECT_TRUE(log.Finish(log.Begin(Some_Error()), "text"));
    const std::string bytes = Bytes_Of(folder / "error.rtf");
    EXPECT_TRUE(bytes.starts_with("{\\rtf1\\ansi earlier\\par")) << bytes;
    EXPECT_TRUE(bytes.ends_with("User Text- User Said: text\\par\r\n}")) << bytes;
    EXPECT_TRUE(Is_Closed_Group(bytes)) << bytes;
  }
}

TEST(RichErrorLog, TellsAnEscapedBraceFromTheClosingOne) {
  const TempFolder folder;
  folder.Write("error.rtf", "{\\rtf1 cut at \\}");
  ErrorLog({folder / "error.rtf"}).Begin(Some_Error());
  EXPECT_TRUE(Bytes_Of(folder / "error.rtf").starts_with("{\\rtf1 cut at \\}\\par\r\n"));
  EXPECT_TRUE(Is_Closed_Group(Bytes_Of(folder / "error.rtf")));
  folder.Write("error.rtf", "{\\rtf1 whole \\\\}");
  ErrorLog({folder / "error.rtf"}).Begin(Some_Error());
  EXPECT_TRUE(Bytes_Of(folder / "error.rtf").starts_with("{\\rtf1 whole \\\\\\par\r\n"));
  EXPECT_TRUE(Is_Closed_Group(Bytes_Of(folder / "error.rtf")));
}

TEST(RichErrorLog, LeavesAFileThatIsNoRichTextAlone) {
  const TempFolder folder;
  folder.Write("error.rtf", "mine");
  ErrorLog log({folder / "error.rtf", folder / "!error!.log"});
  EXPECT_NE(log.Begin(Some_Error()), 0);
  EXPECT_EQ(Bytes_Of(folder / "error.rtf"), "mine");
  EXPECT_EQ(log.Path(), folder / "!error!.log");
}

}  // namespace
}  // namespace hq
