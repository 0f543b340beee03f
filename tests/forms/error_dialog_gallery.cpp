// Shows the error dialog with an error as it happens to users, for pictures and for a look by hand.

#include <QApplication>
#include <QCommandLineParser>
#include <QPalette>
#include <QStyleFactory>
#include <cstdio>

#include "errortrap/qt_error_dialog.h"

namespace {

// The colours of a desktop that is set to dark.
QPalette Dark() {
  QPalette palette(QColor(45, 45, 48));
  palette.setColor(QPalette::Base, QColor(30, 30, 32));
  palette.setColor(QPalette::AlternateBase, QColor(45, 45, 48));
  palette.setColor(QPalette::ToolTipBase, QColor(60, 60, 64));
  palette.setColor(QPalette::ToolTipText, QColor(230, 230, 230));
  palette.setColor(QPalette::Highlight, QColor(52, 120, 200));
  palette.setColor(QPalette::Link, QColor(110, 170, 255));
  return palette;
}

hq::ErrorQuestion Question() {
  hq::ErrorQuestion question;
  question.Category = "File System (disk, directory or file) access";
  question.Project = "Bravint History Quotes Downloader";
  question.Module = "frmmain1.frm";
  question.Procedure = "Sub Form_Unload";
  question.Line = " <unavailable: line numbers not used>";
  question.Number = 75;
  question.Description = "Path/File access error";
  question.Detail = "/home/user/history-quotes/user.cfg: Read-only file system";
  question.CallTree = {" 1 : global.bas : Sub Main : ", " 2 :  frmmain1.frm : Sub Form_QueryUnload : ",
                       " 3 :   frmmain1.frm : Sub Form_Unload : "};
  question.ErrorInformation =
      "An unexpected 'File System (disk, directory or file) access' error occurred in\n"
      "Sub Form_Unload (frmmain1.frm).\n\nPath/File access error\n"
      "/home/user/history-quotes/user.cfg: Read-only file system\n\n"
      "Runtime error 75 on line  <unavailable: line numbers not used>\n"
      "Code Pointer = frmmain1.frm : Sub Form_Unload\n";
  question.CallTreeText =
      " 1 : global.bas : Sub Main : \n 2 :  frmmain1.frm : Sub Form_QueryUnload : \n"
      " 3 :   frmmain1.frm : Sub Form_Unload : \n";
  question.SystemInformation = [] {
    return std::string(
        "Application\n"
        "   Title...............Bravint History Quotes Downloader\n"
        "   Path................/home/user/history-quotes\n"
        "   Project Version.....1.0.0\n"
        "   OLE Server..........NO\n"
        "   Previous Instance...NO\n"
        "  EXE Name............history-quotes\n"
        "  EXE Size............4,310,528\n\n"
        "Memory Information\n"
        "   Total Physical......16,777,216 KB\n"
        "   Available Physical..9,437,184 KB\n"
        "   Pct Physical Free...56.25\n\n"
        "Processor\n"
        "   Number of CPUs......8\n\n"
        "General Video Information\n"
        "   Screen size..............1920 x 1080\n"
        "   Number of Monitors..1\n");
  };
  question.MailAddress = "support@example.com";
  question.CanBreak = true;
  question.Send_Mail = [](const std::string&) {
    return std::string("The report was handed to the mail program.");
  };
  return question;
}

}  // namespace

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QCommandLineParser arguments;
  arguments.addHelpOption();
  arguments.addOption({"compact", "Opens the dialog without its pages."});
  arguments.addOption({"dark", "Uses the colours of a dark desktop."});
  arguments.addOption({"no-debugger", "Leaves the button for the debugger out."});
  arguments.addOption({"long", "Uses a long description, a deep call tree and texts that look like HTML."});
  arguments.process(application);
  QApplication::setStyle(QStyleFactory::create("Fusion"));
  if (arguments.isSet("dark")) QApplication::setPalette(Dark());

  hq::ErrorQuestion question = Question();
  if (arguments.isSet("compact")) question.Display = hq::DisplayMode::Compact;
  if (arguments.isSet("no-debugger")) question.CanBreak = false;
  if (arguments.isSet("long")) {
    question.Description = "<b>Path/File access error</b> &amp; <a href=\"x\">more</a>";
    question.Detail.clear();
    for (int i = 0; i < 60; ++i) question.Detail += "folder" + std::to_string(i) + (i % 9 == 0 ? " " : "/");
    question.CallTree.clear();
    question.CallTreeText = "global.bas : Sub Main\n   State = (60 symbols)\n";
    for (int i = 0; i < 1000; ++i) {
      question.CallTree.push_back(" " + std::to_string(i + 1) + " : " +
                                  std::string(static_cast<size_t>(i), ' ') +
                                  "quote_ordering.cpp : Sub QuickSort : ");
    }
  }
  hq::modFailSafe trap;
  hq::ErrorDialogParts parts = hq::System_Error_Dialog_Parts();
  parts.Break = [] { std::puts("break"); };
  hq::QtErrorDialog dialog(trap, std::move(parts));
  const hq::ErrorAnswer answer = dialog.Ask(question);
  std::printf("choice %d, user said \"%s\"\n", answer.Choice, answer.UserText.c_str());
  return 0;
}
