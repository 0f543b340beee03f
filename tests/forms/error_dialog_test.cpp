// The error dialog: what it shows, what its buttons and keys do, and that the program goes on after it.

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTextBrowser>
#include <QTextCursor>
#include <QVBoxLayout>
#include <memory>
#include <vector>

#include "errortrap/procedure.h"
#include "errortrap/qt_error_dialog.h"
#include "errortrap/qt_message_loop.h"
#include "forms/error_dialog_support.h"
#include "forms/form_support.h"
#include "support/temp_folder.h"

namespace hq::test {

namespace {

using Printer = std::shared_ptr<QPrinter>;
using Chosen = std::function<void(bool)>;

// Tells further errors to the dialog as the program's reporter does.
class FurtherErrors final : public ErrorReporter {
 public:
  FurtherErrors(modFailSafe& trap, ErrorDialog& dialog) : trap_(trap), dialog_(dialog) {}
  int Report(const TrappedError& error) override {
    Errors.push_back(error);
    dialog_.Further_Error(trap_.ErrorCount(), error.Procedure + ": " + error.Description);
    return trap_choice::Continue;
  }
  std::vector<TrappedError> Errors;

 private:
  modFailSafe& trap_;
  ErrorDialog& dialog_;
};

// Asks the dialog about each error; an error that comes while it waits is a further one.
class AskingReporter final : public ErrorReporter {
 public:
  AskingReporter(modFailSafe& trap, ErrorDialog& dialog) : trap_(trap), dialog_(dialog) {}
  int Report(const TrappedError& error) override {
    if (asking_) {
      dialog_.Further_Error(trap_.ErrorCount(), error.Description);
      return trap_choice::Continue;
    }
    asking_ = true;
    ErrorQuestion question = Full_Question();
    question.Description = error.Description;
    question.Clear_Pause = [this] {
      asking_ = false;
      trap_.Pause(false);
    };
    Answers.push_back(dialog_.Ask(question));
    return Answers.back().Choice;
  }
  std::vector<ErrorAnswer> Answers;

 private:
  modFailSafe& trap_;
  ErrorDialog& dialog_;
  bool asking_ = false;
};

QString Text_Of(const QWidget& form, const char* name) {
  return Control<QPlainTextEdit>(form, name)->toPlainText();
}

QString Label_Of(const QWidget& form, const char* name) {
  return Control<QLabel>(form, name)->text();
}

int Page_Of(const QWidget& form) {
  return Control<QStackedWidget>(form, "pages")->currentIndex();
}

}  // namespace

class ErrorDialogTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Trap_ = std::make_unique<modFailSafe>();
    Parts_ = ErrorDialogParts();
    Parts_.Break = [this] { ++Breaks_; };
    Breaks_ = 0;
    Pauses_Cleared_ = 0;
    Question_ = Full_Question();
    Question_.Clear_Pause = [this] { ++Pauses_Cleared_; };
  }
  void cleanup() {
    QCOMPARE(Shown_Form(), nullptr);
    QCOMPARE(Trap_->Depth(), 0);
  }

  void TheFirstLineTellsWhatHappenedAndWhere() {
    Ask([](QDialog& form) {
      QCOMPARE(Text_Of(form, "lblMessage"),
               QString("An unexpected 'File System (disk, directory or file) access' error occurred in "
                       "Sub Form_Unload (frmmain1.frm)."));
      QCOMPARE(Text_Of(form, "errText"), QString("Path/File access error\nuser.cfg: Read-only file system"));
      QCOMPARE(Label_Of(form, "lblErrCnt"), QString("Errors since the start: 3"));
      QCOMPARE(form.windowTitle(), QString("Runtime error 75 - Bravint History Quotes Downloader"));
      // Above everything else.
      const auto top = [&](const char* name) { return Control(form, name)->mapTo(&form, QPoint()).y(); };
      QVERIFY(top("lblMessage") < top("errText"));
      QVERIFY(top("errText") < top("Text1"));
      QVERIFY(top("Text1") < top("Combo1"));
    });
  }

  void TheFieldsHoldTheError() {
    Ask([](QDialog& form) {
      QCOMPARE(Label_Of(form, "ErrType"), QString("File System (disk, directory or file) access"));
      QCOMPARE(Label_Of(form, "errProject"), QString("Bravint History Quotes Downloader"));
      QCOMPARE(Label_Of(form, "ErrModule"), QString("frmmain1.frm"));
      QCOMPARE(Label_Of(form, "ErrProcedure"), QString("Sub Form_Unload"));
      QCOMPARE(Label_Of(form, "ErrLine"), QString(" <unavailable: line numbers not used>"));
      QCOMPARE(Label_Of(form, "ErrNo"), QString("75"));
      QCOMPARE(Label_Of(form, "lblCodePointer"), QString("Code Pointer ="));
      QCOMPARE(Label_Of(form, "CodePointer"), QString("frmmain1.frm : Sub Form_Unload"));
      for (const char* name : {"ErrType", "errProject", "ErrModule", "ErrProcedure", "ErrLine", "ErrNo"})
        QVERIFY2(Control(form, name)->isVisible(), name);
    });
  }

  void ALineNumberIsToldWhereThereIsOne() {
    Question_.Line = "120";
    Ask([](QDialog& form) {
      QVERIFY(Text_Of(form, "lblMessage").endsWith("Sub Form_Unload (frmmain1.frm) on line 120."));
      QCOMPARE(Label_Of(form, "ErrLine"), QString("120"));
      QVERIFY(!Control(form, "CodePointer")->isVisible());
      QVERIFY(!Control(form, "lblCodePointer")->isVisible());
    });
  }

  void WithoutACallTreeOrASystemsTextThePagesSaySo() {
    Question_ = ErrorQuestion();
    Ask([](QDialog& form) {
      QCOMPARE(form.windowTitle(), QString("Runtime error 0"));
      QVERIFY(!Control(form, "txtInformation")->isVisible());
      Pick_Page(form, 1);
      QCOMPARE(Control<QListWidget>(form, "nsCtrlCalls")->item(0)->text(), QString("<unknown>"));
      Pick_Page(form, 2);
      QCOMPARE(Text_Of(form, "txtSystem"), QString("<unknown>"));
    });
  }

  void TextsThatLookLikeHtmlArePlain() {
    const std::string html = "<b>bold</b> &amp; <img src=x>";
    Question_.Category = Question_.Module = Question_.Procedure = Question_.Description = Question_.Detail =
        Question_.Project = Question_.Line = Question_.MailAddress = Question_.ErrorInformation = html;
    Question_.CallTree = {html};
    Question_.Send_Mail = [&](const std::string&) { return html; };
    const QString text = QString::fromStdString(html);
    Ask([&](QDialog& form) {
      QVERIFY(Text_Of(form, "lblMessage").contains("'" + text + "'"));
      QCOMPARE(Text_Of(form, "errText"), text + "\n" + text);
      for (const char* name : {"ErrType", "errProject", "ErrModule", "ErrProcedure", "ErrLine"}) {
        const auto* field = Control<QLabel>(form, name);
        QCOMPARE(field->text(), text);
        QCOMPARE(field->textFormat(), Qt::PlainText);
        QVERIFY(field->toolTip().contains("&lt;b&gt;"));
      }
      QVERIFY(Control(form, "cmdMail")->toolTip().contains("&lt;b&gt;"));
      QCOMPARE(Control<QListWidget>(form, "nsCtrlCalls")->item(0)->text(), text);
      QCOMPARE(Text_Of(form, "txtInformation"), text);
      Click(Control(form, "cmdMail"));
      QCOMPARE(Text_Of(form, "txtOutcome"), text);
    });
  }

  void EveryButtonHasItsTextAndToolTip_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("tip");
    const auto row = [](const char* name, const char* text, const char* tip = "") {
      QTest::newRow(name) << name << text << tip;
    };
    row("nsCtrlContinue", "&Continue", "Press 'Continue' to acknowledge this error and continue.");
    row("nsCtrlMore", "&More");
    row("cmdRetry", "&Retry");
    row("cmdIgnore", "&Ignore");
    row("cmdCopy", "Cop&y");
    row("fsPrint", "Print", "Press to print this tabs data to the default printer.");
    row("cmdMail", "M&ail", "Press to mail the report to support@quotes.test.");
    row("cmdBreak", "&Break to debugger");
    row("nsHelp", "&Help");
  }
  void EveryButtonHasItsTextAndToolTip() {
    QFETCH(QString, name);
    QFETCH(QString, text);
    QFETCH(QString, tip);
    Ask([&](QDialog& form) {
      const auto* button = Control<QPushButton>(form, qPrintable(name));
      QVERIFY(button->isVisible());
      QCOMPARE(button->text(), text);
      if (tip.isEmpty())
        QVERIFY(!button->toolTip().isEmpty());
      else
        QCOMPARE(button->toolTip(), tip);
    });
  }

  void TheBoxForTheUserHasItsToolTip() {
    Ask([](QDialog& form) {
      QCOMPARE(Control(form, "Text1")->toolTip(),
               QString("To help resolve the problem, please enter what you were doing."));
    });
  }

  void AButtonAnswersAndClearsThePause_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("choice");
    QTest::newRow("continue") << "nsCtrlContinue" << trap_choice::Continue;
    QTest::newRow("retry") << "cmdRetry" << trap_choice::Retry;
    QTest::newRow("ignore") << "cmdIgnore" << trap_choice::Ignore;
    QTest::newRow("more") << "nsCtrlMore" << trap_choice::More;
  }
  void AButtonAnswersAndClearsThePause() {
    QFETCH(QString, name);
    QFETCH(int, choice);
    bool shown_when_cleared = false;
    Question_.Clear_Pause = [&] {
      ++Pauses_Cleared_;
      shown_when_cleared = Shown_Form() != nullptr;
    };
    const ErrorAnswer answer = Ask(
        [&](QDialog& form) {
          Click(Control(form, "Text1"));
          Type("removed IBM");
          QCOMPARE(Pauses_Cleared_, 0);
          Click(Control(form, qPrintable(name)));
          // By the press itself, and the form is gone.
          QCOMPARE(Pauses_Cleared_, 1);
          QVERIFY(!form.isVisible());
        },
        Ends::ByItself);
    QCOMPARE(answer.Choice, choice);
    QCOMPARE(answer.UserText, std::string("removed IBM"));
    QCOMPARE(Pauses_Cleared_, 1);
    QVERIFY(shown_when_cleared);
  }

  void ItsAccessKeysAnswer_data() {
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("choice");
    QTest::newRow("C") << int(Qt::Key_C) << trap_choice::Continue;
    QTest::newRow("R") << int(Qt::Key_R) << trap_choice::Retry;
    QTest::newRow("I") << int(Qt::Key_I) << trap_choice::Ignore;
    QTest::newRow("M") << int(Qt::Key_M) << trap_choice::More;
  }
  void ItsAccessKeysAnswer() {
    QFETCH(int, key);
    QFETCH(int, choice);
    const ErrorAnswer answer =
        Ask([&](QDialog&) { Press(static_cast<Qt::Key>(key), Qt::AltModifier); }, Ends::ByItself);
    QCOMPARE(answer.Choice, choice);
  }

  void EnterEscapeAndTheFrameContinue_data() {
    QTest::addColumn<QString>("how");
    for (const char* how : {"Enter", "keypad Enter", "Escape", "frame"}) QTest::newRow(how) << how;
  }
  void EnterEscapeAndTheFrameContinue() {
    QFETCH(QString, how);
    const ErrorAnswer answer = Ask(
        [&](QDialog& form) {
          Control<QPlainTextEdit>(form, "Text1")->setPlainText("kept");
          if (how == "Enter")
            Press(Qt::Key_Return);
          else if (how == "keypad Enter")
            Press(Qt::Key_Enter);
          else if (how == "Escape")
            Press(Qt::Key_Escape);
          else
            form.windowHandle()->close();
          QCOMPARE(Pauses_Cleared_, 1);
        },
        Ends::ByItself);
    QCOMPARE(answer.Choice, trap_choice::Continue);
    QCOMPARE(answer.UserText, std::string("kept"));
    QCOMPARE(Pauses_Cleared_, 1);
  }

  void EnterContinuesFromEveryControlThatHasNoUseForIt_data() {
    QTest::addColumn<QString>("name");
    for (const char* name : {"errText", "Combo1", "txtInformation"}) QTest::newRow(name) << name;
  }
  void EnterContinuesFromEveryControlThatHasNoUseForIt() {
    QFETCH(QString, name);
    const ErrorAnswer answer = Ask(
        [&](QDialog& form) {
          Control(form, qPrintable(name))->setFocus();
          Press(Qt::Key_Return);
        },
        Ends::ByItself);
    QCOMPARE(answer.Choice, trap_choice::Continue);
  }

  void EnterInTheUsersTextTypesALine() {
    const ErrorAnswer answer = Ask(
        [](QDialog& form) {
          Press(Qt::Key_W, Qt::AltModifier);
          QCOMPARE(QApplication::focusWidget(), Control(form, "Text1"));
          Type("one");
          Press(Qt::Key_Return);
          Type("two");
          QVERIFY(form.isVisible());
          Press(Qt::Key_Escape);
        },
        Ends::ByItself);
    QCOMPARE(answer.UserText, std::string("one\ntwo"));
  }

  void TheUsersTextKeepsItsLetters() {
    const ErrorAnswer answer = Ask(
        [](QDialog& form) {
          Control<QPlainTextEdit>(form, "Text1")->setPlainText(QString::fromUtf8("\u00e4\u20ac <b>"));
          Press(Qt::Key_Escape);
        },
        Ends::ByItself);
    QCOMPARE(answer.UserText, To_Text(QString::fromUtf8("\u00e4\u20ac <b>")));
  }

  void WithoutAQuestionToTheUserTheBoxIsHidden() {
    Question_.AsksUser = false;
    const ErrorAnswer answer = Ask([](QDialog& form) {
      QVERIFY(!Control(form, "Text1")->isVisible());
      QVERIFY(!Control(form, "lblText1")->isVisible());
    });
    QCOMPARE(answer.UserText, std::string());
  }

  void ButtonsThatHaveNoUseAreHidden() {
    Question_.CanGoOn = false;
    Question_.MailAddress.clear();
    Question_.CanBreak = false;
    Ask([](QDialog& form) {
      for (const char* name : {"cmdRetry", "cmdIgnore", "cmdMail", "cmdBreak", "cmdDetails"})
        QVERIFY2(!Control(form, name)->isVisible(), name);
      for (const char* name : {"nsCtrlContinue", "nsCtrlMore", "cmdCopy", "fsPrint", "nsHelp"})
        QVERIFY2(Control(form, name)->isVisible(), name);
      // Their access keys are dead, too.
      Press(Qt::Key_R, Qt::AltModifier);
      Press(Qt::Key_I, Qt::AltModifier);
      QVERIFY(form.isVisible());
    });
  }

  void WithoutABreakNoneIsOffered() {
    Parts_.Break = nullptr;
    Ask([](QDialog& form) { QVERIFY(!Control(form, "cmdBreak")->isVisible()); });
  }

  void BreakAsksFirst() {
    BoxAnswers boxes;
    boxes.Expect(Qt::Key_Escape);
    Ask([&](QDialog& form) {
      Click(Control(form, "cmdBreak"));
      QTRY_COMPARE(boxes.Seen.size(), size_t(1));
      QTRY_VERIFY(QApplication::activeModalWidget() == &form);
      QVERIFY(QTest::qWaitForWindowActive(&form));
      boxes.Expect(Qt::Key_Return);
      Press(Qt::Key_B, Qt::AltModifier);
      QTRY_COMPARE(boxes.Seen.size(), size_t(2));
      QTRY_VERIFY(QApplication::activeModalWidget() == &form);
      QCOMPARE(Breaks_, 0);
      QVERIFY(form.isVisible());
    });
    QCOMPARE(boxes.Seen.size(), size_t(2));
    QVERIFY(boxes.Seen[0].Text.endsWith("Choose CANCEL to continue with program."));
    QCOMPARE(boxes.Seen[0].Default, QMessageBox::Cancel);
    QCOMPARE(boxes.Seen[0].Buttons, QMessageBox::Ok | QMessageBox::Cancel);
    QCOMPARE(boxes.Unexpected, 0);
  }

  void BreakStopsInTheDebuggerAtOk() {
    BoxAnswers boxes;
    Press_Ok(boxes);
    Ask([&](QDialog& form) {
      Click(Control(form, "cmdBreak"));
      QTRY_COMPARE(Breaks_, 1);
      QVERIFY(form.isVisible());
    });
    QCOMPARE(boxes.Unexpected, 0);
  }

  void MailSendsWhatWasTypedAndTellsTheOutcome() {
    std::vector<std::string> sent;
    Question_.Send_Mail = [&](const std::string& user_text) {
      sent.push_back(user_text);
      return std::string("The report was handed to the mail program.");
    };
    Ask([&](QDialog& form) {
      QVERIFY(!Control(form, "txtOutcome")->isVisible());
      Click(Control(form, "Text1"));
      Type("hello");
      Click(Control(form, "cmdMail"));
      QVERIFY(Control(form, "txtOutcome")->isVisible());
      QCOMPARE(Text_Of(form, "txtOutcome"), QString("The report was handed to the mail program."));
      QVERIFY(form.isVisible());
      QCOMPARE(Pauses_Cleared_, 0);
    });
    QCOMPARE(sent, std::vector<std::string>{"hello"});
  }

  void MailThatFailsTellsTheReason() {
    Question_.Send_Mail = [](const std::string&) -> std::string {
      throw RunTimeError(FileNotFound, "the report: gone");
    };
    Ask([](QDialog& form) {
      Press(Qt::Key_A, Qt::AltModifier);
      QTRY_COMPARE(Text_Of(form, "txtOutcome"),
                   QString("The report could not be mailed. File not found\nthe report: gone"));
    });
  }

  void CopyTakesThePageThatIsShown() {
    Ask([](QDialog& form) {
      const QStringList texts{"the error's page\n", "the call tree's page\n", "the system's page\n"};
      for (int page = 0; page < 3; ++page) {
        Pick_Page(form, page);
        QApplication::clipboard()->clear();
        Click(Control(form, "cmdCopy"));
        QCOMPARE(QApplication::clipboard()->text(), texts[page]);
      }
      QCOMPARE(Text_Of(form, "txtOutcome"), QString("\"System State Information\" was copied."));
    });
  }

  void CopyMakesTheTextOfAPageThatHasNone() {
    Question_.ErrorInformation.clear();
    Question_.CallTreeText.clear();
    Ask([](QDialog& form) {
      Press(Qt::Key_Y, Qt::AltModifier);
      QTRY_COMPARE(QApplication::clipboard()->text(),
                   Text_Of(form, "lblMessage") + "\n" + Text_Of(form, "errText") + "\n");
      Pick_Page(form, 1);
      Press(Qt::Key_Y, Qt::AltModifier);
      QTRY_COMPARE(QApplication::clipboard()->text(),
                   QString(" 1 : global.bas : Sub Main : \n 2 :  frmmain1.frm : Sub Form_Unload : \n"));
    });
  }

  void PrintWritesThePageIntoAPdfFile_data() {
    QTest::addColumn<int>("lines");
    QTest::addColumn<int>("least_pages");
    QTest::newRow("short") << 1 << 1;
    QTest::newRow("long") << 400 << 4;
    QTest::newRow("empty") << 0 << 1;
  }
  void PrintWritesThePageIntoAPdfFile() {
    QFETCH(int, lines);
    QFETCH(int, least_pages);
    const TempFolder folder;
    const QString file = QString::fromStdString(folder / "page.pdf");
    QWidget* owner = nullptr;
    Parts_.Choose_Printer = [&](const Printer& printer, QWidget* form, const Chosen& chosen) {
      owner = form;
      printer->setOutputFormat(QPrinter::PdfFormat);
      printer->setOutputFileName(file);
      chosen(true);
    };
    Question_.SystemInformation = [&] {
      std::string text;
      for (int i = 0; i < lines; ++i) text += "   Title...............history-quotes\n";
      return text;
    };
    Ask([&](QDialog& form) {
      Pick_Page(form, 2);
      Click(Control(form, "fsPrint"));
      QCOMPARE(owner, &form);
      QCOMPARE(Text_Of(form, "txtOutcome"),
               "\"System State Information\" was printed to the file " + file + ".");
    });
    QFile pdf(file);
    QVERIFY(pdf.open(QIODevice::ReadOnly));
    const QByteArray bytes = pdf.readAll();
    QVERIFY(bytes.startsWith("%PDF"));
    const QRegularExpressionMatch pages =
        QRegularExpression("/Type /Pages[^>]*/Count (\\d+)").match(QString::fromLatin1(bytes));
    QVERIFY(pages.hasMatch());
    QVERIFY(pages.captured(1).toInt() >= least_pages);
    if (lines < 2) QCOMPARE(pages.captured(1).toInt(), 1);
  }

  void PrintThatIsCancelledSaysNothing() {
    int asked = 0;
    Parts_.Choose_Printer = [&](const Printer&, QWidget*, const Chosen& chosen) {
      ++asked;
      chosen(false);
    };
    Ask([&](QDialog& form) {
      Click(Control(form, "fsPrint"));
      QCOMPARE(asked, 1);
      QVERIFY(!Control(form, "txtOutcome")->isVisible());
    });
  }

  void PrintThatFailsIsTold() {
    const TempFolder folder;
    Parts_.Choose_Printer = [&](const Printer& printer, QWidget*, const Chosen& chosen) {
      printer->setOutputFormat(QPrinter::PdfFormat);
      printer->setOutputFileName(QString::fromStdString(folder / "missing/page.pdf"));
      chosen(true);
    };
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("QPainter::begin"));
    Ask([](QDialog& form) {
      Click(Control(form, "fsPrint"));
      QCOMPARE(Text_Of(form, "txtOutcome"), QString("\"Error Information\" could not be printed."));
    });
  }

  void ThePagesHaveTheirNames() {
    Ask([](QDialog& form) {
      const auto* box = Control<QComboBox>(form, "Combo1");
      QStringList names;
      for (int i = 0; i < box->count(); ++i) names << box->itemText(i);
      QCOMPARE(names,
               QStringList({"Error Information", "Call Tree & Arguments", "System State Information"}));
      QCOMPARE(box->currentIndex(), 0);
      QCOMPARE(Page_Of(form), 0);
      QCOMPARE(Text_Of(form, "txtInformation"), QString("the error's page\n"));
      Pick_Page(form, 1);
      QCOMPARE(Page_Of(form), 1);
      QVERIFY(Control(form, "nsCtrlCalls")->isVisible());
      QCOMPARE(Text_Of(form, "txtCalls"), QString("the call tree's page\n"));
      QVERIFY(Control(form, "txtCalls")->isVisible());
    });
  }

  void TheSystemsPageIsMadeWhenItIsLookedAtAndOnce() {
    int made = 0;
    Question_.SystemInformation = [&] {
      ++made;
      return std::string("system");
    };
    Ask([&](QDialog& form) {
      Pick_Page(form, 1);
      QCOMPARE(made, 0);
      Pick_Page(form, 2);
      QCOMPARE(made, 1);
      QCOMPARE(Text_Of(form, "txtSystem"), QString("system"));
      Pick_Page(form, 0);
      Pick_Page(form, 2);
      QCOMPARE(made, 1);
    });
    Ask([](QDialog&) {});
    QCOMPARE(made, 1);
  }

  void KeysGoThroughThePages() {
    Ask([](QDialog& form) {
      Press(Qt::Key_P, Qt::AltModifier);
      QCOMPARE(QApplication::focusWidget(), Control(form, "Combo1"));
      const std::vector<std::pair<Qt::Key, int>> keys{
          {Qt::Key_Down, 1}, {Qt::Key_Down, 2}, {Qt::Key_Down, 2},     {Qt::Key_Up, 1},
          {Qt::Key_Up, 0},   {Qt::Key_Up, 0},   {Qt::Key_Right, 1},    {Qt::Key_Left, 0},
          {Qt::Key_End, 2},  {Qt::Key_Home, 0}, {Qt::Key_PageDown, 2}, {Qt::Key_PageUp, 0},
          {Qt::Key_C, 1},    {Qt::Key_S, 2},    {Qt::Key_E, 0},        {Qt::Key_X, 0}};
      for (const auto& [key, page] : keys) {
        Press(key);
        QCOMPARE(Page_Of(form), page);
        QCOMPARE(Control<QComboBox>(form, "Combo1")->currentIndex(), page);
      }
      QCOMPARE(Text_Of(form, "txtSystem"), QString("the system's page\n"));
    });
  }

  void AltDownOpensTheListAndEscapeClosesOnlyThat() {
    Ask([](QDialog& form) {
      Control(form, "Combo1")->setFocus();
      Press(Qt::Key_Down, Qt::AltModifier);
      QTRY_VERIFY(QApplication::activePopupWidget() != nullptr);
      Press(Qt::Key_Escape);
      QTRY_VERIFY(QApplication::activePopupWidget() == nullptr);
      QVERIFY(form.isVisible());
      QCOMPARE(Page_Of(form), 0);
    });
  }

  void TheKeyHandlersAreTraced() {
    std::vector<std::string> entries;
    Trap_->Write_Record = [&](const TraceRecord& record) {
      if (record.Way == TraceRecord::Direction::Entry) entries.emplace_back(record.EntryText);
    };
    Ask([&](QDialog& form) {
      Control(form, "Combo1")->setFocus();
      Press(Qt::Key_Down);
      QCOMPARE(entries, std::vector<std::string>{"frmFAILSAFE.frm : Sub Combo1_KeyDown : "});
      entries.clear();
      Press(Qt::Key_S);
      QCOMPARE(entries, (std::vector<std::string>{"frmFAILSAFE.frm : Sub Combo1_KeyDown : ",
                                                  "frmFAILSAFE.frm : Sub Combo1_KeyPress : "}));
      QCOMPARE(Trap_->Depth(), 0);
    });
  }

  void WhenTheCallStackIsFullTheKeysStillWork() {
    for (int i = 0; i < modFailSafe::DeepestLevel; ++i) Trap_->fsPUSH("m", "Sub P");
    Question_.CallTree = Trap_->CallStack();
    Ask([&](QDialog& form) {
      Control(form, "Combo1")->setFocus();
      Press(Qt::Key_Down);
      QCOMPARE(Page_Of(form), 1);
      Press(Qt::Key_S);
      QCOMPARE(Page_Of(form), 2);
      QCOMPARE(Text_Of(form, "txtSystem"), QString("the system's page\n"));
      QCOMPARE(Trap_->ErrorCount(), 0);
    });
    for (int i = 0; i < modFailSafe::DeepestLevel; ++i) Trap_->fsPOP("m", "Sub P");
  }

  void AnErrorInAKeyHandlerIsAddedToTheDialog() {
    Question_.SystemInformation = []() -> std::string { throw RunTimeError(PathNotFound, "no drives"); };
    QtErrorDialog dialog(*Trap_, Parts_);
    FurtherErrors reporter(*Trap_, dialog);
    Trap_->Set_Reporter(&reporter);
    FormUse use([&](QDialog& form) {
      QVERIFY(!Control(form, "txtFurther")->isVisible());
      Control(form, "Combo1")->setFocus();
      Press(Qt::Key_End);
      QVERIFY(Control(form, "txtFurther")->isVisible());
      QCOMPARE(Text_Of(form, "txtFurther"), QString("Sub Combo1_KeyDown: Path not found"));
      QCOMPARE(Label_Of(form, "lblErrCnt"), QString("Errors since the start: 1"));
      QCOMPARE(Page_Of(form), 2);
      QCOMPARE(Text_Of(form, "txtSystem"), QString("<unknown>"));
      QCOMPARE(Trap_->Depth(), 0);
      // Looked at again it is tried again.
      Press(Qt::Key_Home);
      Press(Qt::Key_S);
      QCOMPARE(Text_Of(form, "txtFurther"),
               QString("Sub Combo1_KeyDown: Path not found\nSub Combo1_KeyPress: Path not found"));
      QCOMPARE(Label_Of(form, "lblErrCnt"), QString("Errors since the start: 2"));
      Press(Qt::Key_Escape);
    });
    QCOMPARE(dialog.Ask(Question_).Choice, trap_choice::Continue);
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QCOMPARE(reporter.Errors.size(), size_t(2));
    Trap_->Set_Reporter(nullptr);
  }

  void AnErrorBehindAClickIsAddedToTheDialogAndEndsNothing_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("procedure");
    QTest::newRow("page") << "Combo1"
                          << "Sub Combo1_Click";
    QTest::newRow("print") << "fsPrint"
                           << "Sub fsPrint_Click";
    QTest::newRow("break") << "cmdBreak"
                           << "Sub cmdBreak_Click";
  }
  void AnErrorBehindAClickIsAddedToTheDialogAndEndsNothing() {
    QFETCH(QString, name);
    QFETCH(QString, procedure);
    Question_.SystemInformation = []() -> std::string { throw RunTimeError(PathNotFound, "no drives"); };
    Parts_.Choose_Printer = [](const Printer&, QWidget*, const Chosen&) { throw RunTimeError(PathNotFound); };
    Parts_.Break = [] { throw RunTimeError(PathNotFound); };
    BoxAnswers boxes;
    if (name == "cmdBreak") {
      Press_Ok(boxes);
    }
    QtErrorDialog dialog(*Trap_, Parts_);
    FurtherErrors reporter(*Trap_, dialog);
    Trap_->Set_Reporter(&reporter);
    FormUse use([&](QDialog& form) {
      Control<QPlainTextEdit>(form, "Text1")->setPlainText("typed");
      if (name == "Combo1")
        Pick_Page(form, 2);
      else
        Click(Control(form, qPrintable(name)));
      QTRY_COMPARE(Text_Of(form, "txtFurther"), procedure + ": Path not found");
      QVERIFY(form.isVisible());
      if (name == "Combo1") QCOMPARE(Text_Of(form, "txtSystem"), QString("<unknown>"));
      Press(Qt::Key_Escape);
    });
    const ErrorAnswer answer = dialog.Ask(Question_);
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QCOMPARE(answer.UserText, std::string("typed"));
    QCOMPARE(reporter.Errors.size(), size_t(1));
    QCOMPARE(reporter.Errors[0].Module, std::string(modFailSafe::DialogModule));
    QCOMPARE(Trap_->Depth(), 0);
    Trap_->Set_Reporter(nullptr);
  }

  void ThousandsOfFurtherErrorsKeepTheDialogUsable() {
    QtErrorDialog dialog(*Trap_, Parts_);
    FormUse use([&](QDialog& form) {
      for (int i = 1; i <= 3000; ++i) dialog.Further_Error(i, "error " + std::to_string(i));
      QCOMPARE(Label_Of(form, "lblErrCnt"), QString("Errors since the start: 3000"));
      QVERIFY(Text_Of(form, "txtFurther").endsWith("error 3000"));
      QVERIFY(Control<QPlainTextEdit>(form, "txtFurther")->blockCount() <= 1000);
      Press(Qt::Key_Escape);
    });
    dialog.Ask(Question_);
    QVERIFY(!use.Closed);
    // Nobody is there to be told.
    dialog.Further_Error(3001, "late");
  }

  void TheCallTreeShowsItsInnermostLevel() {
    Question_.CallTree.clear();
    for (int i = 1; i <= 1000; ++i) {
      Question_.CallTree.push_back(" " + std::to_string(i) + " : " +
                                   std::string(static_cast<size_t>(i) - 1, ' ') + "m.bas : Sub QuickSort : ");
    }
    Ask([](QDialog& form) {
      Pick_Page(form, 1);
      auto* list = Control<QListWidget>(form, "nsCtrlCalls");
      QCOMPARE(list->count(), 1000);
      QCOMPARE(list->currentRow(), 999);
      QVERIFY(list->viewport()->rect().intersects(list->visualItemRect(list->item(999))));
      QCOMPARE(list->item(0)->text(), QString(" 1 : m.bas : Sub QuickSort : "));
      QCOMPARE(list->item(24)->text(), " 25 : " + QString(24, ' ') + "m.bas : Sub QuickSort : ");
      // Deeper levels are not pushed out of sight by their indentation.
      QCOMPARE(list->item(999)->text(), " 1000 : " + QString(24, ' ') + "m.bas : Sub QuickSort : ");
    });
  }

  void ACallTreeTextThatSaysNoMoreThanTheListIsLeftOut() {
    Question_.CallTreeText = " 1 : global.bas : Sub Main : \n 2 :  frmmain1.frm : Sub Form_Unload : \n";
    Ask([](QDialog& form) {
      Pick_Page(form, 1);
      QVERIFY(!Control(form, "txtCalls")->isVisible());
      QVERIFY(Control(form, "nsCtrlCalls")->isVisible());
    });
  }

  void CompactItUnfoldsAtAPress() {
    Question_.Display = DisplayMode::Compact;
    Ask([](QDialog& form) {
      QVERIFY(!Control(form, "details")->isVisible());
      for (const char* name : {"lblMessage", "errText", "Text1", "nsCtrlContinue", "cmdDetails"})
        QVERIFY2(Control(form, name)->isVisible(), name);
      const int folded = form.height();
      Press(Qt::Key_D, Qt::AltModifier);
      QTRY_VERIFY(Control(form, "Combo1")->isVisible());
      QVERIFY(Control(form, "txtInformation")->isVisible());
      QTRY_VERIFY(form.height() > folded);
      Press(Qt::Key_D, Qt::AltModifier);
      QTRY_VERIFY(!Control(form, "details")->isVisible());
      QTRY_COMPARE(form.height(), folded);
    });
  }

  void OnTopItIsAboveAllWindows() {
    Question_.Display = DisplayMode::OnTop;
    Ask([](QDialog& form) {
      QVERIFY(form.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
      QVERIFY(Control(form, "details")->isVisible());
      QVERIFY(!Control(form, "cmdDetails")->isVisible());
    });
    Question_.Display = DisplayMode::Whole;
    Ask([](QDialog& form) { QVERIFY(!form.windowFlags().testFlag(Qt::WindowStaysOnTopHint)); });
  }

  void DuringTheStartItIsAboveTheSplash() {
    QWidget splash(nullptr, Qt::SplashScreen | Qt::WindowStaysOnTopHint);
    splash.show();
    Ask([](QDialog& form) { QVERIFY(form.windowFlags().testFlag(Qt::WindowStaysOnTopHint)); });
  }

  void ItBlocksTheOtherWindowsAndGivesTheFocusBack() {
    QWidget window;
    QVBoxLayout layout(&window);
    QLineEdit first;
    QLineEdit second;
    layout.addWidget(&first);
    layout.addWidget(&second);
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    second.setFocus();
    Ask([&](QDialog& form) {
      QVERIFY(form.isModal());
      QCOMPARE(form.windowModality(), Qt::ApplicationModal);
      QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, first.geometry().center());
      Type("abc");
      QCOMPARE(first.text() + second.text(), QString());
    });
    QTRY_VERIFY(window.isActiveWindow());
    QCOMPARE(QApplication::focusWidget(), &second);
  }

  void AnOpenListIsClosedFirst() {
    QComboBox box;
    box.addItems({"one", "two"});
    box.show();
    QVERIFY(QTest::qWaitForWindowActive(&box));
    box.showPopup();
    QVERIFY(QApplication::activePopupWidget() != nullptr);
    Ask([](QDialog& form) {
      QVERIFY(QApplication::activePopupWidget() == nullptr);
      Click(Control(form, "cmdCopy"));
      QVERIFY(Control(form, "txtOutcome")->isVisible());
    });
  }

  void ClosingTheOnlyWindowDoesNotEndTheProgram() {
    bool went_on = false;
    QTimer::singleShot(0, this, [&] {
      Ask([](QDialog&) {});
      QTimer::singleShot(50, this, [&] {
        went_on = true;
        QCoreApplication::exit(7);
      });
    });
    QCOMPARE(QApplication::exec(), 7);
    QVERIFY(went_on);
  }

  void TheEndOfTheProgramCountsAsContinue() {
    ErrorAnswer answer{99, ""};
    QTimer::singleShot(0, this, [&] {
      FormUse use([&](QDialog& form) {
        Control<QPlainTextEdit>(form, "Text1")->setPlainText("typed");
        use.Leave_Up = true;
        QCoreApplication::exit(3);
      });
      QtErrorDialog dialog(*Trap_, Parts_);
      answer = dialog.Ask(Question_);
    });
    QCOMPARE(QApplication::exec(), 3);
    QCOMPARE(answer.Choice, trap_choice::Continue);
    QCOMPARE(QString::fromStdString(answer.UserText), QString("typed"));
    QCOMPARE(Pauses_Cleared_, 1);
  }

  void HelpOpensAWindowThatWorksWhileTheDialogIsModal() {
    Ask([](QDialog& form) {
      Press(Qt::Key_H, Qt::AltModifier);
      QWidget* help = nullptr;
      QTRY_VERIFY((help = form.findChild<QWidget*>("error_help")) != nullptr);
      QTRY_COMPARE(QGuiApplication::focusWindow(), help->windowHandle());
      const auto* text = help->findChild<QTextBrowser*>();
      QVERIFY(text->toPlainText().startsWith("The error dialog"));
      for (const char* word :
           {"Continue", "Retry", "Ignore", "More", "Copy", "Print", "Mail", "Error Information",
            "Call Tree & Arguments", "System State Information", "FSCLIENT.INI"})
        QVERIFY2(text->toPlainText().contains(word), word);
      QCOMPARE(QApplication::focusWidget(), text);
      Press(Qt::Key_PageDown);
      QTRY_VERIFY(text->verticalScrollBar()->value() > 0);
      // Asked for again it is the same window.
      form.activateWindow();
      QTRY_COMPARE(QGuiApplication::focusWindow(), form.windowHandle());
      Press(Qt::Key_F1);
      QCOMPARE(form.findChildren<QWidget*>("error_help").size(), 1);
      QTRY_COMPARE(QGuiApplication::focusWindow(), help->windowHandle());
      // Escape closes the help, not the dialog.
      Press(Qt::Key_Escape);
      QTRY_VERIFY(!help->isVisible());
      QVERIFY(form.isVisible());
      form.activateWindow();
      QTRY_COMPARE(QGuiApplication::focusWindow(), form.windowHandle());
      Press(Qt::Key_F1);
      QVERIFY(help->isVisible());
    });
  }

  void TheReportIsOpenedByTheSystem() {
    std::vector<std::string> opened;
    Parts_.Open_File = [&](const std::string& path) {
      opened.push_back(path);
      return true;
    };
    QtErrorDialog dialog(*Trap_, Parts_);
    dialog.Show_Report("/a folder/fserror.log");
    QCOMPARE(opened, std::vector<std::string>{"/a folder/fserror.log"});
    QVERIFY(QApplication::activeModalWidget() == nullptr);
  }

  void AReportThatNoProgramOpensIsNamed() {
    Parts_.Open_File = [](const std::string&) { return false; };
    QtErrorDialog dialog(*Trap_, Parts_);
    dialog.Show_Report("/a folder/<fserror>.log");
    QMessageBox* box = nullptr;
    for (QWidget* window : QApplication::topLevelWidgets()) {
      if (window->isVisible()) box = qobject_cast<QMessageBox*>(window);
    }
    QVERIFY(box != nullptr);
    QVERIFY(box->text().contains("/a folder/<fserror>.log"));
    QCOMPARE(box->textFormat(), Qt::PlainText);
    QVERIFY(!box->isModal());
    box->close();
    Settle();
  }

  void TabGoesThroughTheControlsInTheirOrder() {
    Ask([](QDialog&) {
      const QStringList order{"nsCtrlContinue", "cmdRetry", "cmdIgnore",     "nsCtrlMore", "cmdCopy",
                              "fsPrint",        "cmdMail",  "cmdBreak",      "nsHelp",     "errText",
                              "Text1",          "Combo1",   "txtInformation"};
      for (qsizetype i = 0; i <= order.size(); ++i) {
        QCOMPARE(QApplication::focusWidget()->objectName(), order[i % order.size()]);
        Press(Qt::Key_Tab);
      }
    });
  }

  void AccessKeysAreEachUsedOnce() {
    Question_.Display = DisplayMode::Compact;
    Ask([](QDialog& form) {
      Press(Qt::Key_D, Qt::AltModifier);
      QTRY_VERIFY(Control(form, "Combo1")->isVisible());
      QStringList keys;
      for (const auto* button : form.findChildren<QPushButton*>()) {
        if (button->isVisible() && !button->shortcut().isEmpty()) keys << button->shortcut().toString();
      }
      for (const auto* label : form.findChildren<QLabel*>()) {
        if (label->buddy() == nullptr || !label->isVisible() || !label->text().contains('&')) continue;
        keys << QKeySequence::mnemonic(label->text()).toString();
      }
      keys.sort();
      QCOMPARE(keys, QStringList({"Alt+A", "Alt+B", "Alt+C", "Alt+D", "Alt+H", "Alt+I", "Alt+M", "Alt+P",
                                  "Alt+R", "Alt+W", "Alt+Y"}));
    });
  }

  void EveryControlThatTakesTheFocusHasAnAccessibleName() {
    Ask([](QDialog& form) {
      int seen = 0;
      for (int page = 0; page < 3; ++page) {
        Pick_Page(form, page);
        for (QWidget* widget : form.findChildren<QWidget*>()) {
          if (!(widget->focusPolicy() & Qt::TabFocus) || !widget->isVisible()) continue;
          QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
          QVERIFY(accessible != nullptr);
          QVERIFY2(!accessible->text(QAccessible::Name).isEmpty(), qPrintable(widget->objectName()));
          ++seen;
        }
      }
      QVERIFY(seen >= 3 * 12);
    });
  }

  void AProcedureThatWaitsForThePauseGoesOnAfterThePress_data() {
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("choice");
    QTest::newRow("continue") << "nsCtrlContinue" << trap_choice::Continue;
    QTest::newRow("retry") << "cmdRetry" << trap_choice::Retry;
    QTest::newRow("more") << "nsCtrlMore" << trap_choice::More;
  }
  void AProcedureThatWaitsForThePauseGoesOnAfterThePress() {
    QFETCH(QString, button);
    QFETCH(int, choice);
    QtMessageLoop loop;
    modFailSafe trap(&loop);
    QtErrorDialog dialog(trap, Parts_);
    AskingReporter reporter(trap, dialog);
    trap.Set_Reporter(&reporter);
    QStringList order;
    const auto traced = [&](const char* name) {
      order << QString("%1 waits").arg(name);
      Skip_Failing_Statements(trap, {"m.bas", name},
                              [&](SkippingStatements&) { order << QString("%1 runs").arg(name); });
      order << QString("%1 done").arg(name);
    };
    FormUse use([&](QDialog& form) {
      loop.Post([&] { traced("Sub One"); });
      // Served by the wait of the first one, inside the dialog's loop.
      QTimer::singleShot(30, &loop, [&] { traced("Sub Two"); });
      QTimer::singleShot(60, &form, [&] {
        QCOMPARE(order, QStringList({"Sub One waits", "Sub Two waits"}));
        // Its own handlers pass meanwhile.
        Control(form, "Combo1")->setFocus();
        Press(Qt::Key_Down);
        QCOMPARE(Page_Of(form), 1);
        Click(Control(form, qPrintable(button)));
        order << "pressed";
        QCOMPARE(order.size(), 3);
      });
      QTRY_VERIFY(!form.isVisible());
    });
    int runs = 0;
    Keep_Trap_Handler(trap, {"m.bas", "Sub Fails"}, [&](TrappedStatements& statement) {
      statement([&] {
        if (++runs == 1) throw RunTimeError(DiskFull);
        order << "runs again";
      });
    });
    order << "left";
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QStringList expected{"Sub One waits", "Sub Two waits", "pressed",     "Sub Two runs",
                         "Sub Two done",  "Sub One runs",  "Sub One done"};
    if (choice == trap_choice::Retry) expected << "runs again";
    expected << "left";
    QCOMPARE(order, expected);
    QCOMPARE(reporter.Answers.size(), size_t(1));
    QCOMPARE(reporter.Answers[0].Choice, choice);
    QCOMPARE(trap.Depth(), 0);
  }

  void AProcedureThatWaitsHoldsNeitherPrintNorBreakUp_data() {
    QTest::addColumn<QString>("name");
    QTest::newRow("print") << "fsPrint";
    QTest::newRow("break") << "cmdBreak";
  }
  void AProcedureThatWaitsHoldsNeitherPrintNorBreakUp() {
    QFETCH(QString, name);
#ifdef Q_OS_WIN
    if (name == "fsPrint") QSKIP("the system's print dialog is no window of Qt");
#endif
    const TempFolder folder;
    const QString file = QString::fromStdString(folder / "page.pdf");
    // The system's own print dialog.
    Parts_.Choose_Printer = [&](const Printer& printer, QWidget* owner, const Chosen& chosen) {
      printer->setOutputFormat(QPrinter::PdfFormat);
      printer->setOutputFileName(file);
      System_Error_Dialog_Parts().Choose_Printer(printer, owner, chosen);
    };
    QtMessageLoop loop;
    modFailSafe trap(&loop);
    QtErrorDialog dialog(trap, Parts_);
    AskingReporter reporter(trap, dialog);
    trap.Set_Reporter(&reporter);
    bool waits = false;
    bool ran = false;
    bool acted_in_time = false;
    QTimer steps;
    int step = 0;
    FormUse use([&](QDialog& form) {
      QPushButton* button = Control<QPushButton>(form, qPrintable(name));
      QTimer::singleShot(0, button, &QPushButton::click);
      connect(&steps, &QTimer::timeout, &form, [&] {
        auto* inner = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (step == 0 && inner != nullptr && inner != &form) {
          step = 1;
          loop.Post([&] {
            waits = true;
            Skip_Failing_Statements(trap, {"m.bas", "Sub Waits"}, [&](SkippingStatements&) { ran = true; });
          });
        } else if (step == 1 && waits) {
          step = 2;
          if (auto* box = qobject_cast<QMessageBox*>(inner))
            box->button(QMessageBox::Ok)->click();
          else
            inner->accept();
        } else if (step == 2 && (Breaks_ == 1 || Text_Of(form, "txtOutcome").contains("was printed"))) {
          step = 3;
          acted_in_time = !ran;
          Control<QPushButton>(form, "nsCtrlContinue")->click();
        }
      });
      steps.start(2);
    });
    use.Ends_By_Itself = true;
    trap.fsERROR("m.bas", "Sub Fails", RunTimeError(DiskFull));
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QVERIFY(acted_in_time);
    QVERIFY(ran);
    QCOMPARE(QFile::exists(file), name == "fsPrint");
    QCOMPARE(trap.Depth(), 0);
  }

  void AProcedureThatWaitedAndThenFailsIsAskedAbout() {
    QtMessageLoop loop;
    modFailSafe trap(&loop);
    QtErrorDialog dialog(trap, Parts_);
    AskingReporter reporter(trap, dialog);
    trap.Set_Reporter(&reporter);
    QStringList order;
    std::unique_ptr<FormUse> second;
    FormUse first([&](QDialog& form) {
      loop.Post([&] {
        Keep_Trap_Handler(trap, {"m.bas", "Sub Waits"}, [&](TrappedStatements& statement) {
          statement([&] { throw RunTimeError(Overflow); });
          order << "goes on";
        });
      });
      // After the event has begun to wait.
      QTimer::singleShot(30, &form, [&] {
        Click(Control(form, "nsCtrlMore"));
        order << "first answered";
        second = std::make_unique<FormUse>([&](QDialog& other) {
          QVERIFY(Text_Of(other, "errText").startsWith("Overflow"));
          order << "second shown";
          Click(Control(other, "cmdIgnore"));
        });
      });
      QTRY_VERIFY(!form.isVisible());
    });
    Keep_Trap_Handler(trap, {"m.bas", "Sub Fails"}, [&](TrappedStatements& statement) {
      statement([&] { throw RunTimeError(DiskFull); });
    });
    QCOMPARE(order, QStringList({"first answered", "second shown", "goes on"}));
    QCOMPARE(reporter.Answers.size(), size_t(2));
    // The one that was asked last has answered first.
    QCOMPARE(reporter.Answers[0].Choice, trap_choice::Ignore);
    QCOMPARE(reporter.Answers[1].Choice, trap_choice::More);
    QCOMPARE(trap.Depth(), 0);
    QVERIFY(!first.Closed);
    QVERIFY(!second->Closed);
  }

  void AnEndOfThePauseThatFailsDoesNotHoldTheProgram() {
    Question_.Clear_Pause = [] { throw RunTimeError(InternalError); };
    Trap_->Pause(true);
    const ErrorAnswer answer = Ask([](QDialog& form) { Click(Control(form, "cmdRetry")); }, Ends::ByItself);
    QCOMPARE(answer.Choice, trap_choice::Retry);
  }

  void TheProgramWorksOnAfterIt() {
    // The dialog inside the real program: an error while its window is up.
    Program program;
    program.Start();
    QtErrorDialog dialog(program.Global->Trap, Parts_);
    AskingReporter reporter(program.Global->Trap, dialog);
    program.Global->Trap.Set_Reporter(&reporter);
    FormUse use([](QDialog& form) {
      QCOMPARE(form.windowIcon().isNull(), false);
      Press(Qt::Key_Return);
    });
    program.Global->Trap.fsERROR("frmmain1.frm", "Sub Form_Resize", RunTimeError(Overflow));
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QTRY_VERIFY(program.Window().isActiveWindow());
    // And the program works on.
    Click(program.Get("txtnewstock"));
    Type("msft");
    Press(Qt::Key_Return);
    QVERIFY(program.Stocks().contains("MSFT"));
    program.Global->Trap.Set_Reporter(nullptr);
  }

 private:
  enum class Ends { ByTheHelper, ByItself };

  // In the next box.
  static void Press_Ok(BoxAnswers& boxes) {
    boxes.Expect(Qt::Key_O, [] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      QTimer::singleShot(0, box->button(QMessageBox::Ok), &QAbstractButton::click);
    });
  }

  static void Pick_Page(const QDialog& form, int page) {
    Control<QComboBox>(form, "Combo1")->setCurrentIndex(page);
  }

  // Asks the question; use works with the form. Unless it ends by itself the form is closed after use.
  ErrorAnswer Ask(std::function<void(QDialog&)> use, Ends ends = Ends::ByTheHelper) {
    QtErrorDialog dialog(*Trap_, Parts_);
    FormUse form(std::move(use));
    form.Ends_By_Itself = ends == Ends::ByItself;
    ErrorAnswer answer = dialog.Ask(Question_);
    if (!form.Used) qFatal("the form did not come up");
    if (form.Closed != (ends == Ends::ByTheHelper)) qFatal("the form did not end as expected");
    return answer;
  }

  std::unique_ptr<modFailSafe> Trap_;
  ErrorDialogParts Parts_;
  ErrorQuestion Question_;
  int Breaks_ = 0;
  int Pauses_Cleared_ = 0;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::ErrorDialogTest)
#include "error_dialog_test.moc"
