// The interval, the number boxes and the folder box: what can be typed, what is filled in, and the checks
// when the focus moves on.

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QToolButton>

#include "entry/interval_choice.h"
#include "forms/form_support.h"

namespace hq::test {

class EntryBoxesTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Program_ = std::make_unique<Program>();
    Program_->Start();
  }
  void cleanup() {
    Settle();
    QCOMPARE(Program_->Boxes.Unexpected, 0);
    QCOMPARE(Program_->Global->Trap.Depth(), 0);
    Program_.reset();
  }

  void PickingAnIntervalWithTheMouseFillsTheDays_data() {
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("days");
    const QStringList days{"1", "6", "12", "24", "38", "71", "500"};
    for (int row = 0; row < days.size(); ++row) QTest::newRow(qPrintable(days[row])) << row << days[row];
  }
  void PickingAnIntervalWithTheMouseFillsTheDays() {
    QFETCH(int, row);
    QFETCH(QString, days);
    Get<QComboBox>("cmbInterval")->setCurrentIndex(row == 0 ? 1 : 0);
    Program_->Pick("cmbInterval", row);
    QCOMPARE(Get<QComboBox>("cmbInterval")->currentIndex(), row);
    QCOMPARE(Program_->Text("txtdays"), days);
  }

  void WalkingThroughTheIntervalsWithTheKeysFillsTheDays() {
    Get("cmbInterval")->setFocus();
    QStringList days;
    for (int i = 0; i < 6; ++i) {
      Press(Qt::Key_Up);
      days << Program_->Text("txtdays");
    }
    QCOMPARE(days, QStringList({"71", "38", "24", "12", "6", "1"}));
    Press(Qt::Key_End);
    QCOMPARE(Program_->Text("txtdays"), QString("500"));
  }

  void PickingAnIntervalOverwritesWhatWasTyped() {
    Type_Into("txtdays", "3");
    Program_->Pick("cmbInterval", 5);
    QCOMPARE(Program_->Text("txtdays"), QString("71"));
  }

  void LettersAndSignsCannotBeTyped_data() { Add_Number_Boxes(); }
  void LettersAndSignsCannotBeTyped() {
    QFETCH(QString, box);
    Type_Into(box, "1a/-.  +b,:Z2");
    QCOMPARE(Text(box), QString("12"));
    for (const auto modifiers :
         {Qt::KeyboardModifiers(Qt::AltModifier), Qt::KeyboardModifiers(Qt::MetaModifier),
          Qt::AltModifier | Qt::ControlModifier, Qt::AltModifier | Qt::ShiftModifier}) {
      Press(Qt::Key_X, modifiers);
      QCOMPARE(Text(box), QString("12"));
    }
  }

  void BackspaceDeleteAndTheArrowsWork_data() { Add_Number_Boxes(); }
  void BackspaceDeleteAndTheArrowsWork() {
    QFETCH(QString, box);
    Type_Into(box, "123");
    Press(Qt::Key_Backspace);
    QCOMPARE(Text(box), QString("12"));
    Press(Qt::Key_Home);
    Press(Qt::Key_Delete);
    QCOMPARE(Text(box), QString("2"));
    Type("1");
    QCOMPARE(Text(box), QString("12"));
    Press(Qt::Key_Right);
    Press(Qt::Key_Backspace);
    Press(Qt::Key_Backspace);
    Type("5");
    QCOMPARE(Text(box), QString("5"));
  }

  void EnterAndEscapeAreSwallowed_data() { Add_Number_Boxes(); }
  void EnterAndEscapeAreSwallowed() {
    QFETCH(QString, box);
    Type_Into(box, "7");
    Press(Qt::Key_Return);
    Press(Qt::Key_Escape);
    QCOMPARE(Text(box), QString("7"));
    QVERIFY(Program_->Window().isVisible());
  }

  void CopyAndPasteWork_data() { Add_Number_Boxes(); }
  void CopyAndPasteWork() {
    QFETCH(QString, box);
    Type_Into(box, "9");
    Press(Qt::Key_A, Qt::ControlModifier);
    Press(Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), QString("9"));
    QApplication::clipboard()->setText("11");
    Press(Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(Text(box), QString("11"));
  }

  void PastedTextIsReadByItsLeadingNumber() {
    QApplication::clipboard()->setText("12 days");
    Focus("txtdays");
    Press(Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(Program_->Text("txtdays"), QString("12 days"));
    Press(Qt::Key_Tab);
    Settle();
    QCOMPARE(Program_->Boxes.Texts(), QStringList());
  }

  void TabSelectsTheWholeText() {
    Focus("txtdays");
    for (const char* box : {"txtenddate_0", "txtenddate_1", "txtenddate_2"}) {
      Press(Qt::Key_Tab);
      QTRY_COMPARE(Get<QLineEdit>(box)->selectedText(), Program_->Text(box));
      QVERIFY(Get(box)->hasFocus());
    }
    for (const char* box : {"txtenddate_1", "txtenddate_0", "txtdays"}) {
      Press(Qt::Key_Backtab, Qt::ShiftModifier);
      QTRY_COMPARE(Get<QLineEdit>(box)->selectedText(), Program_->Text(box));
    }
  }

  void AClickSelectsTheWholeTextAndTypingReplacesIt_data() { Add_Number_Boxes(); }
  void AClickSelectsTheWholeTextAndTypingReplacesIt() {
    QFETCH(QString, box);
    Focus("txtnewstock");
    auto* edit = Get<QLineEdit>(box.toLatin1());
    Mouse_Down(edit);
    QTRY_COMPARE(edit->selectedText(), edit->text());
    Mouse_Up(edit);
    Settle();
    QCOMPARE(edit->selectedText(), edit->text());
    Type("8");
    QCOMPARE(edit->text(), QString("8"));
    // A second click is for putting the caret somewhere.
    Click(edit);
    Settle();
    QCOMPARE(edit->selectedText(), QString());
  }

  void ComingBackFromAnotherProgramKeepsTheCaret() {
    Type_Into("txtdays", "12");
    Press(Qt::Key_Home);
    { const OtherProgram other; }
    Settle();
    QVERIFY(Get("txtdays")->hasFocus());
    QCOMPARE(Get<QLineEdit>("txtdays")->selectedText(), QString());
    QCOMPARE(Get<QLineEdit>("txtdays")->cursorPosition(), 0);
  }

  void ABoxWithABadValueIsNotLeft_data() {
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("message");
    const QString days = "Based on time interval chosen, 'Days' has to be between 1 and 500";
    QTest::newRow("no days") << "txtdays"
                             << "" << days;
    QTest::newRow("days 0") << "txtdays"
                            << "0" << days;
    QTest::newRow("days 501") << "txtdays"
                              << "501" << days;
    const QString month = "Invalid month value! Enter between 1 to 12";
    QTest::newRow("month 13") << "txtenddate_0"
                              << "13" << month;
    QTest::newRow("month 0") << "txtenddate_0"
                             << "0" << month;
    QTest::newRow("no month") << "txtenddate_0"
                              << "" << month;
    const QString day = "Invalid day value. Enter between 1 to 31";
    QTest::newRow("day 32") << "txtenddate_1"
                            << "32" << day;
    QTest::newRow("day 0") << "txtenddate_1"
                           << "0" << day;
    QTest::newRow("no day") << "txtenddate_1"
                            << "" << day;
    const QString year = "Invalid day value. Enter between 00 to 99";
    QTest::newRow("year 100") << "txtenddate_2"
                              << "100" << year;
    QTest::newRow("no year") << "txtenddate_2"
                             << "" << year;
  }
  void ABoxWithABadValueIsNotLeft() {
    QFETCH(QString, box);
    QFETCH(QString, value);
    QFETCH(QString, message);
    Enter_Value(box, value);
    Program_->Boxes.Expect(Qt::Key_Return);
    Press(Qt::Key_Tab);
    Expect_One_Message(message);
    auto* edit = Get<QLineEdit>(box.toLatin1());
    QTRY_VERIFY(edit->hasFocus());
    QTRY_COMPARE(edit->selectedText(), value);
    Settle();
    QVERIFY(edit->hasFocus());
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
    // It is checked again on the next leave.
    Program_->Boxes.Expect(Qt::Key_Escape);
    Click(Get("txtnewstock"));
    QTRY_COMPARE(Program_->Boxes.Seen.size(), 2U);
    QTRY_VERIFY(edit->hasFocus());
    // A good value lets go.
    Type("5");
    Press(Qt::Key_Tab);
    Settle();
    QVERIFY(!edit->hasFocus());
    QCOMPARE(Program_->Boxes.Seen.size(), 2U);
  }

  void AGoodValueIsLeftWithoutAMessage_data() {
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("value");
    QTest::newRow("days 1") << "txtdays"
                            << "1";
    QTest::newRow("days 500") << "txtdays"
                              << "500";
    QTest::newRow("month 1") << "txtenddate_0"
                             << "1";
    QTest::newRow("month 12") << "txtenddate_0"
                              << "12";
    QTest::newRow("month 012") << "txtenddate_0"
                               << "012";
    QTest::newRow("day 31") << "txtenddate_1"
                            << "31";
    QTest::newRow("year 00") << "txtenddate_2"
                             << "00";
    QTest::newRow("year 99") << "txtenddate_2"
                             << "99";
    QTest::newRow("year of one digit") << "txtenddate_2"
                                       << "5";
  }
  void AGoodValueIsLeftWithoutAMessage() {
    QFETCH(QString, box);
    QFETCH(QString, value);
    Enter_Value(box, value);
    Press(Qt::Key_Tab);
    Settle();
    QVERIFY(!Get(box.toLatin1())->hasFocus());
    QCOMPARE(Program_->Boxes.Texts(), QStringList());
  }

  void NoCheckTiesTheBoxesTogether() {
    Enter_Value("txtenddate_0", "02");
    Enter_Value("txtenddate_1", "31");
    Press(Qt::Key_Tab);
    Settle();
    QCOMPARE(Program_->Boxes.Texts(), QStringList());
  }

  void TheDaysMessageNamesTheLimitOfTheInterval() {
    Program_->Pick("cmbInterval", 4);
    Type_Into("txtdays", "39");
    Program_->Boxes.Expect(Qt::Key_Return);
    Press(Qt::Key_Tab);
    Expect_One_Message("Based on time interval chosen, 'Days' has to be between 1 and 38");
    QTRY_VERIFY(Get("txtdays")->hasFocus());
    Type("38");
    Press(Qt::Key_Tab);
    Settle();
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
  }

  void DaysBeyondSixteenBitsAreLeftWithoutAMessage() {
    // The conversion fails, and a failing statement is passed over.
    Type_Into("txtdays", "99999");
    Press(Qt::Key_Tab);
    Settle();
    QVERIFY(Program_->Window().isVisible());
    QCOMPARE(Program_->Boxes.Texts(), QStringList());
  }

  void TwoBadBoxesNeverFight() {
    Get<QLineEdit>("txtenddate_0")->setText("13");
    Type_Into("txtdays", "0");
    Program_->Boxes.Expect(Qt::Key_Return);
    Press(Qt::Key_Tab);
    Expect_One_Message("Based on time interval chosen, 'Days' has to be between 1 and 500");
    QTRY_VERIFY(Get("txtdays")->hasFocus());
    Settle();
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
    // With the days put right the month has its turn.
    Type("5");
    Press(Qt::Key_Tab);
    Settle();
    QVERIFY(Get("txtenddate_0")->hasFocus());
    Program_->Boxes.Expect(Qt::Key_Return);
    Press(Qt::Key_Tab);
    QTRY_COMPARE(Program_->Boxes.Texts().last(), QString("Invalid month value! Enter between 1 to 12"));
    QTRY_VERIFY(Get("txtenddate_0")->hasFocus());
    Settle();
    QCOMPARE(Program_->Boxes.Seen.size(), 2U);
  }

  void FourBadBoxesAskOneMessageALeave() {
    for (const char* box : {"txtdays", "txtenddate_0", "txtenddate_1", "txtenddate_2"}) {
      Get<QLineEdit>(box)->clear();
    }
    Focus("txtenddate_2");
    for (size_t leave = 1; leave <= 3; ++leave) {
      Program_->Boxes.Expect(Qt::Key_Return);
      Click(Get("txtenddate_1"));
      QTRY_COMPARE(Program_->Boxes.Seen.size(), leave);
      QTRY_VERIFY(Get("txtenddate_2")->hasFocus());
      Settle();
      QCOMPARE(Program_->Boxes.Seen.size(), leave);
    }
  }

  void AnotherProgramInFrontCausesNoCheck() {
    Type_Into("txtdays", "0");
    {
      const OtherProgram other;
      Settle();
      QCOMPARE(Program_->Boxes.Texts(), QStringList());
    }
    Settle();
    QCOMPARE(Program_->Boxes.Texts(), QStringList());
    QVERIFY(Get("txtdays")->hasFocus());
  }

  void AMessageBoxCausesNoCheck() {
    Type_Into("txtdays", "0");
    // The samples by their access key: the focus leaves the box for the message only.
    Program_->Boxes.Expect(Qt::Key_Return);
    Press(Qt::Key_M, Qt::AltModifier);
    QTRY_COMPARE(Program_->Boxes.Seen.size(), 1U);
    QVERIFY(Program_->Boxes.Seen[0].Title.startsWith("Samples: "));
    Settle();
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
  }

  void ABadValueNeverKeepsTheWindowFromClosing_data() { Add_Number_Boxes(); }
  void ABadValueNeverKeepsTheWindowFromClosing() {
    QFETCH(QString, box);
    Enter_Value(box, "");
    Program_->Boxes.Expect(Qt::Key_N);
    QVERIFY(Program_->Window().close());
    Settle();
    QVERIFY(!Program_->Window().isVisible());
    QCOMPARE(Program_->Boxes.Texts(), QStringList({"Do you want to save your screen choices?"}));
  }

  void CancellingTheCloseLeavesTheFocusInTheBadBoxWithoutAMessage() {
    Type_Into("txtdays", "0");
    Program_->Boxes.Expect(Qt::Key_Escape);
    QVERIFY(!Program_->Window().close());
    QTRY_VERIFY(Get("txtdays")->hasFocus());
    Settle();
    QCOMPARE(Program_->Boxes.Texts(), QStringList({"Do you want to save your screen choices?"}));
  }

  void LeavingABadBoxForAPickListIsRefusedAndTheListIsUsableAfterwards() {
    Type_Into("txtdays", "0");
    Program_->Boxes.Expect(Qt::Key_Return);
    Click(Get("cmbInterval"));
    Expect_One_Message("Based on time interval chosen, 'Days' has to be between 1 and 500");
    Settle();
    QCOMPARE(QApplication::activePopupWidget(), nullptr);
    QTRY_VERIFY(Get("txtdays")->hasFocus());
    Type("4");
    Program_->Pick("cmbInterval", 2);
    QCOMPARE(Program_->Text("txtdays"), QString("12"));
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
  }

  void LeavingABadBoxByPressingAButtonLeavesTheButtonUp() {
    Type_Into("txtdays", "0");
    auto* button = Get<QToolButton>("cmddownload");
    Program_->Boxes.Expect(Qt::Key_Return);
    Mouse_Down(button);
    QTRY_COMPARE(Program_->Boxes.Seen.size(), 1U);
    Mouse_Up(button);
    Settle();
    QVERIFY(!button->isDown());
    QTRY_VERIFY(Get("txtdays")->hasFocus());
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
    Type("5");
    Program_->Boxes.Expect(Qt::Key_Return);
    Click(button);
    QTRY_COMPARE(Program_->Boxes.Texts().last(),
                 QString("You need to pick at least one stock to start download!"));
  }

  void LeavingABadBoxForTheAboutBoxIsChecked() {
    Type_Into("txtdays", "0");
    Program_->Boxes.Expect(Qt::Key_Return);
    Program_->Window().findChild<QAction*>("mnuabout")->trigger();
    Expect_One_Message("Based on time interval chosen, 'Days' has to be between 1 and 500");
    QTRY_VERIFY(Get("txtdays")->hasFocus());
    Settle();
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
  }

  void CancellingTheFolderDialogTrimsTheBox() {
    Get<QLineEdit>("txtOutputfolder")->setText("  /some/where  ");
    Click(Get("cmdfolder"));
    QCOMPARE(Program_->Folders.Shown, 1);
    QCOMPARE(Program_->Text("txtOutputfolder"), QString("/some/where"));
    QCOMPARE(Program_->Folders.Root, 0);
    QCOMPARE(Program_->Folders.Flags, 1);
    QCOMPARE(Program_->Folders.Prompt, std::string("Select a folder:"));
    QCOMPARE(Program_->Folders.Start, std::string("/some/where"));
  }

  void AChosenFolderReplacesTheText() {
    Get<QLineEdit>("txtOutputfolder")->setText("old");
    Program_->Folders.Chosen = FolderDialog::Item{"quotes", "/home/trader/quotes"};
    Click(Get("cmdfolder"));
    QCOMPARE(Program_->Text("txtOutputfolder"), QString("/home/trader/quotes"));
  }

  void AnItemWithoutAPathPutsItsDisplayNameIntoTheBox() {
    Program_->Folders.Chosen = FolderDialog::Item{"Network", std::nullopt};
    Click(Get("cmdfolder"));
    QCOMPARE(Program_->Text("txtOutputfolder"), QString("Network"));
  }

  void ARootThatIsNotLocatedEmptiesTheBox() {
    Get<QLineEdit>("txtOutputfolder")->setText("/some/where");
    Program_->Folders.Located = false;
    Click(Get("cmdfolder"));
    QCOMPARE(Program_->Folders.Shown, 0);
    QCOMPARE(Program_->Text("txtOutputfolder"), QString());
  }

  void ADriveRootKeepsItsSeparator() {
    Program_->Folders.Chosen = FolderDialog::Item{"C:", "C:\\"};
    Press(Qt::Key_F, Qt::AltModifier);
    QTRY_COMPARE(Program_->Text("txtOutputfolder"), QString("C:\\"));
  }

  void AFolderNameInAnotherAlphabetIsKept() {
#ifdef Q_OS_WIN
    QSKIP("the system's text has the letters of one code page");
#endif
    const QString folder = QString::fromUtf8("/home/händler/котировки");
    Program_->Folders.Chosen = FolderDialog::Item{"x", To_Text(folder)};
    Click(Get("cmdfolder"));
    QCOMPARE(Program_->Text("txtOutputfolder"), folder);
  }

 private:
  static void Add_Number_Boxes() {
    QTest::addColumn<QString>("box");
    for (const char* box : {"txtdays", "txtenddate_0", "txtenddate_1", "txtenddate_2"}) {
      QTest::newRow(box) << box;
    }
  }
  template <class Widget = QWidget>
  Widget* Get(const char* name) {
    return Program_->Get<Widget>(name);
  }
  QString Text(const QString& box) {
    return Program_->Text(box.toLatin1());
  }
  void Focus(const QString& box) {
    Click(Get(box.toLatin1()));
    QTRY_VERIFY(Get(box.toLatin1())->hasFocus());
    Settle();
  }
  // Replaces what a box holds.
  void Type_Into(const QString& box, const QString& text) {
    Focus(box);
    Press(Qt::Key_A, Qt::ControlModifier);
    Type(text);
  }
  void Enter_Value(const QString& box, const QString& value) {
    Focus(box);
    Press(Qt::Key_A, Qt::ControlModifier);
    Press(Qt::Key_Delete);
    Type(value);
  }
  void Expect_One_Message(const QString& text) {
    QTRY_COMPARE(Program_->Boxes.Seen.size(), 1U);
    const BoxAnswers::Box& box = Program_->Boxes.Seen[0];
    QCOMPARE(box.Text, text);
    QCOMPARE(box.Title, QString("Bravint History Quotes Downloader"));
    QCOMPARE(box.Buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(box.Icon, QMessageBox::NoIcon);
  }

  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::EntryBoxesTest)
#include "entry_boxes_test.moc"
