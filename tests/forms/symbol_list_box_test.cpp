// Editing the list of symbols by keyboard and mouse.

#include <QApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>

#include "forms/form_support.h"

namespace hq::test {

class SymbolListBoxTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Program_ = std::make_unique<Program>();
    Program_->Write_Settings("|A|B|C|D|E\r\n6\r\n13\r\n\r\n500\r\n");
    Program_->Start();
  }
  void cleanup() {
    QCOMPARE(Program_->Boxes.Unexpected, 0);
    QCOMPARE(Program_->Global->Trap.Depth(), 0);
    Program_.reset();
  }

  void AddingStoresTheSymbolTrimmedAndInUpperCase() {
    Enter(" msft ");
    Click(Get("cmdAdd"));
    QCOMPARE(Program_->Stocks(), QStringList({"A", "B", "C", "D", "E", "MSFT"}));
  }

  void AddingPutsTheSymbolAtItsSortedPlaceAndDoesNotSelectIt() {
    Enter("bb");
    Click(Get("cmdAdd"));
    QCOMPARE(Program_->Stocks(), QStringList({"A", "B", "BB", "C", "D", "E"}));
    QCOMPARE(Program_->Selected_Stocks(), QStringList());
  }

  void AddingKeepsTheSelectionOfTheOthers() {
    Click_Item(Get("lstStock"), 2);
    Enter("bb");
    Click(Get("cmdAdd"));
    QCOMPARE(Program_->Selected_Stocks(), QStringList({"C"}));
  }

  void AfterAddingTheBoxIsEmptyHasTheFocusAndThePointerIsNoHourglass() {
    Enter("msft");
    Click(Get("cmdAdd"));
    QCOMPARE(Program_->Text("txtnewstock"), QString());
    QVERIFY(Get("txtnewstock")->hasFocus());
    QCOMPARE(Program_->Window().cursor().shape(), Qt::ArrowCursor);
  }

  void EnterInTheBoxAdds_data() {
    QTest::addColumn<int>("key");
    QTest::newRow("Return") << int(Qt::Key_Return);
    QTest::newRow("Enter of the number pad") << int(Qt::Key_Enter);
  }
  void EnterInTheBoxAdds() {
    QFETCH(int, key);
    Enter("ibm");
    Press(static_cast<Qt::Key>(key));
    QCOMPARE(Program_->Stocks(), QStringList({"A", "B", "C", "D", "E", "IBM"}));
    QCOMPARE(Program_->Text("txtnewstock"), QString());
    QVERIFY(Get("txtnewstock")->hasFocus());
  }

  void OtherKeysAreLeftToTheBox() {
    Enter("abc");
    Press(Qt::Key_Backspace);
    Press(Qt::Key_Home);
    Type("x");
    QCOMPARE(Program_->Text("txtnewstock"), QString("xab"));
    QCOMPARE(Program_->Stocks().size(), 5);
  }

  void TheAccessKeyAddsAndTypesNothing() {
    Enter("msft");
    Press(Qt::Key_A, Qt::AltModifier);
    QTRY_COMPARE(Program_->Stocks(), QStringList({"A", "B", "C", "D", "E", "MSFT"}));
    QCOMPARE(Program_->Text("txtnewstock"), QString());
  }

  void TheAccessKeyAddsFromEveryControl() {
    for (const char* from : {"txtdays", "txtOutputfolder", "lstStock", "cmbOutputFormat", "cmdlookup"}) {
      Get<QLineEdit>("txtnewstock")->setText("NEW");
      if (QWidget* widget = Program_->Window().findChild<QWidget*>(from)) widget->setFocus();
      Press(Qt::Key_A, Qt::AltModifier);
      QTRY_COMPARE(Program_->Stocks().last(), QString("NEW"));
      QVERIFY(!Program_->Global->Test().isVisible());
      delete Get<QListWidget>("lstStock")->takeItem(5);
      QCOMPARE(Program_->Text("txtdays"), QString("500"));
    }
  }

  void MarkersAreLowerCaseTheRestIsUpperCase_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("stored");
    QTest::newRow("mutual") << "Mutual:ABC"
                            << "mutual:ABC";
    QTest::newRow("mutual fund") << "mutual fund"
                                 << "mutual FUND";
    QTest::newRow("index") << "index:dji"
                           << "index:DJI";
    QTest::newRow("option") << "opra:xyzab"
                            << "opra:XYZAB";
    QTest::newRow("no marker without its colon") << "index"
                                                 << "INDEX";
  }
  void MarkersAreLowerCaseTheRestIsUpperCase() {
    QFETCH(QString, typed);
    QFETCH(QString, stored);
    Enter(typed);
    Press(Qt::Key_Return);
    QVERIFY(Program_->Stocks().contains(stored));
  }

  void ASymbolThatIsThereAlreadyIsRefused() {
    Enter(" c ");
    Program_->Boxes.Expect(Qt::Key_Return, [this] {
      QCOMPARE(Program_->Window().cursor().shape(), Qt::WaitCursor);
      QCOMPARE(Program_->Text("txtnewstock"), QString(" c "));
    });
    Press(Qt::Key_Return);
    QCOMPARE(Program_->Boxes.Texts(), QStringList({"Stock symbol C already exists."}));
    Expect_Plain_Box();
    QCOMPARE(Program_->Stocks(), QStringList({"A", "B", "C", "D", "E"}));
    QCOMPARE(Program_->Selected_Stocks(), QStringList());
    QCOMPARE(Program_->Text("txtnewstock"), QString());
    QTRY_VERIFY(Get("txtnewstock")->hasFocus());
    QCOMPARE(Program_->Window().cursor().shape(), Qt::ArrowCursor);
  }

  void ALoadedSymbolInUpperCaseIsNoDuplicateOfTheMarkedOne() {
    Get<QListWidget>("lstStock")->addItem("INDEX:SPX");
    Enter("index:spx");
    Press(Qt::Key_Return);
    QCOMPARE(Program_->Stocks().count("INDEX:SPX"), 1);
    QCOMPARE(Program_->Stocks().count("index:SPX"), 1);
  }

  void BlanksAloneAreRefusedAndStay() {
    Enter("   ");
    Program_->Boxes.Expect(Qt::Key_Escape, [this] {
      // Told only when the pointer is itself again.
      QCOMPARE(Program_->Window().cursor().shape(), Qt::ArrowCursor);
    });
    Click(Get("cmdAdd"));
    QCOMPARE(Program_->Boxes.Texts(),
             QStringList({"Enter a valid stock symbol into 'Stock Symbol' box first"}));
    Expect_Plain_Box();
    QCOMPARE(Program_->Text("txtnewstock"), QString("   "));
    QVERIFY(!Get("txtnewstock")->hasFocus());
    QCOMPARE(Program_->Stocks().size(), 5);
  }

  void NothingTypedIsRefused() {
    Program_->Boxes.Expect(Qt::Key_Return);
    Click(Get("cmdAdd"));
    QCOMPARE(Program_->Boxes.Texts(),
             QStringList({"Enter a valid stock symbol into 'Stock Symbol' box first"}));
  }

  void RemovingTakesAllSelectedOnesAndKeepsTheOrder() {
    Click_Item(Get("lstStock"), 1);
    Click_Item(Get("lstStock"), 3, Qt::ControlModifier);
    Click_Item(Get("lstStock"), 4, Qt::ControlModifier);
    Click(Get("cmddel"));
    QCOMPARE(Program_->Stocks(), QStringList({"A", "C"}));
    QCOMPARE(Program_->Selected_Stocks(), QStringList());
  }

  void RemovingWithNothingSelectedDoesNothing() {
    Click(Get("cmddel"));
    QCOMPARE(Program_->Stocks(), QStringList({"A", "B", "C", "D", "E"}));
  }

  void RemovingAllLeavesAnEmptyList() {
    Click(Get("cmdselectall"));
    Press(Qt::Key_R, Qt::AltModifier);
    QTRY_COMPARE(Program_->Stocks(), QStringList());
    Click(Get("cmddel"));
    QCOMPARE(Program_->Stocks(), QStringList());
  }

  void SelectAllSelectsAll() {
    Click(Get("cmdselectall"));
    QCOMPARE(Program_->Selected_Stocks(), QStringList({"A", "B", "C", "D", "E"}));
  }

  void SelectAllOnAnEmptyListDoesNothing() {
    Get<QListWidget>("lstStock")->clear();
    Press(Qt::Key_S, Qt::AltModifier);
    QTRY_VERIFY(!Get<QPushButton>("cmdselectall")->isDown());
    QCOMPARE(Program_->Stocks(), QStringList());
  }

  void AClickSelectsOneCtrlTogglesShiftExtends() {
    Click_Item(Get("lstStock"), 1);
    Click_Item(Get("lstStock"), 3);
    QCOMPARE(Program_->Selected_Stocks(), QStringList({"D"}));
    Click_Item(Get("lstStock"), 0, Qt::ControlModifier);
    QCOMPARE(Program_->Selected_Stocks(), QStringList({"A", "D"}));
    Click_Item(Get("lstStock"), 3, Qt::ControlModifier);
    QCOMPARE(Program_->Selected_Stocks(), QStringList({"A"}));
    Click_Item(Get("lstStock"), 1);
    Click_Item(Get("lstStock"), 3, Qt::ShiftModifier);
    QCOMPARE(Program_->Selected_Stocks(), QStringList({"B", "C", "D"}));
  }

  void LookUpOpensTheSearchPage() {
    Click(Get("cmdlookup"));
    QCOMPARE(Program_->Opened.size(), 1U);
    QCOMPARE(Program_->Opened[0], std::string("http://quotes.test/home/misc/symbol_search.asp"));
    Press(Qt::Key_L, Qt::AltModifier);
    QTRY_COMPARE(Program_->Opened.size(), 2U);
  }

  void ABrowserThatCannotBeOpenedIsNotTold() {
    Program_->Global->Parts.Open_Address = [](std::intptr_t, const std::string&) {
      throw RunTimeError(FileNotFound);
    };
    Click(Get("cmdlookup"));
    QCOMPARE(Program_->Boxes.Texts(), QStringList());
  }

 private:
  template <class Widget = QWidget>
  Widget* Get(const char* name) {
    return Program_->Get<Widget>(name);
  }
  void Enter(const QString& text) {
    Click(Get("txtnewstock"));
    Type(text);
  }
  void Expect_Plain_Box() {
    const BoxAnswers::Box& box = Program_->Boxes.Seen.back();
    QCOMPARE(box.Title, QString("Bravint History Quotes Downloader"));
    QCOMPARE(box.Buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(box.Icon, QMessageBox::NoIcon);
  }

  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::SymbolListBoxTest)
#include "symbol_list_box_test.moc"
