// Shows the error dialog with an error as it happens to users, for pictures and for a look by hand.

#include <QApplication>
#include <QCommandLineParser>
#include <QPalette>
#include <QStyleFactory>
#include <cstdio>
#include <utility>

#include "errortrap/procedure.h"
#include "errortrap/qt_error_dialog.h"
#include "errortrap/sample_error.h"
#include "errortrap/trap_session.h"
#include "support/fakes.h"

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

// Passes questions on, changed where the command line wants it.
class Gallery final : public hq::ErrorDialog {
 public:
  Gallery(hq::ErrorDialog& dialog, std::function<void(hq::ErrorQuestion&)> change)
      : dialog_(dialog), change_(std::move(change)) {}
  hq::ErrorAnswer Ask(const hq::ErrorQuestion& question) override {
    hq::ErrorQuestion changed = question;
    change_(changed);
    hq::ErrorAnswer answer = dialog_.Ask(changed);
    std::printf("choice %d, user said \"%s\"\n", answer.Choice, answer.UserText.c_str());
    return answer;
  }
  void Further_Error(std::int32_t error_count, const std::string& text) override {
    dialog_.Further_Error(error_count, text);
  }
  void Show_Report(const std::string& path) override { dialog_.Show_Report(path); }

 private:
  hq::ErrorDialog& dialog_;
  std::function<void(hq::ErrorQuestion&)> change_;
};

void Make_Long(hq::ErrorQuestion& question) {
  question.Description = "<b>Path/File access error</b> &amp; <a href=\"x\">more</a>";
  question.Detail.clear();
  for (int i = 0; i < 60; ++i) question.Detail += "folder" + std::to_string(i) + (i % 9 == 0 ? " " : "/");
  question.CallTree.clear();
  question.CallTreeText = "global.bas : Sub Main\n   State = (60 symbols)\n";
  for (int i = 0; i < 1000; ++i) {
    question.CallTree.push_back(" " + std::to_string(i + 1) + " : " +
                                std::string(static_cast<size_t>(i), ' ') + "global.bas : Sub QuickSort : ");
  }
}

// The memory is used up when the user goes to the box for the days in the middle of a run. There is enough of
// it again when the statement is run again.
void Fail_In_A_Run(hq::modFailSafe& trap) {
  hq::Skip_Failing_Statements(trap, {"frmmain1.frm", "Sub cmddownload_Click"}, [&](hq::SkippingStatements&) {
    const auto run = [&] {
      hq::Keep_Trap_Handler(trap, {"frmmain1.frm", "Sub txtdays_GotFocus"},
                            [](hq::TrappedStatements& statement) {
                              bool fails = true;
                              statement([&] {
                                if (std::exchange(fails, false)) throw hq::RunTimeError(hq::OutOfMemory);
                              });
                            });
    };
    hq::With_Own_Handler(trap, {"frmmain1.frm", "Sub Process_Onestock"}, run, [](const hq::RunTimeError&) {});
  });
}

}  // namespace

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QCommandLineParser arguments;
  arguments.addHelpOption();
  arguments.addOption({"compact", "Opens the dialog without its pages."});
  arguments.addOption({"dark", "Uses the colours of a dark desktop."});
  arguments.addOption({"debugger", "Offers the button for the debugger."});
  arguments.addOption({"long", "Uses a long description, a deep call tree and texts that look like HTML."});
  arguments.process(application);
  QApplication::setStyle(QStyleFactory::create("Fusion"));
  if (arguments.isSet("dark")) QApplication::setPalette(Dark());

  hq::ApplicationFacts facts = hq::test::Sample_Application();
  facts.Title = hq::DefaultTitle;
  hq::test::MemoryFiles files;
  files.Contents[hq::Join_Path(facts.Folder, "FSCLIENT.INI")] =
      std::string("[email]\nAddress=support@example.com\n[preferences]\nDisplay Mode=") +
      (arguments.isSet("compact") ? "1" : "0") + "\n";
  const hq::test::FakeClock clock;
  hq::test::RecordingMail mail;
  hq::modFailSafe trap;
  hq::ErrorDialogParts parts = hq::System_Error_Dialog_Parts();
  parts.Break = [] { std::puts("break"); };
  hq::QtErrorDialog dialog(trap, std::move(parts));
  Gallery gallery(dialog, [&](hq::ErrorQuestion& question) {
    question.CanBreak = arguments.isSet("debugger");
    if (arguments.isSet("long")) Make_Long(question);
  });
  const hq::TrapSession session(trap, {files, clock, gallery, mail, facts, hq::test::Sample_Machine});
  Fail_In_A_Run(trap);
  return 0;
}
