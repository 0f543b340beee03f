// What is restored at the start from the settings file and what the close question saves.

#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <filesystem>

#include "forms/form_support.h"

namespace hq::test {

class SettingsTest : public QObject {
  Q_OBJECT

 private slots:
  void init() { Program_ = std::make_unique<Program>(); }
  void cleanup() {
    QCOMPARE(Program_->Boxes.Unexpected, 0);
    if (Program_->Global) QCOMPARE(Program_->Global->Trap.Depth(), 0);
    Program_.reset();
  }

  void WithoutAFileTheDefaultsStand() {
    Program_->Start();
    QCOMPARE(Program_->Stocks(), QStringList({""}));
    QCOMPARE(Interval(), 6);
    QCOMPARE(Format(), 13);
    QCOMPARE(Folder(), QString());
    QCOMPARE(Program_->Text("txtdays"), QString("500"));
    QCOMPARE(Program_->Boxes.Texts(), QStringList());
  }

  void AFileIsRestoredWhateverItsLineEnds_data() {
    QTest::addColumn<QString>("end");
    QTest::newRow("CR LF") << "\r\n";
    QTest::newRow("LF") << "\n";
  }
  void AFileIsRestoredWhateverItsLineEnds() {
    QFETCH(QString, end);
    const QStringList lines{"|MSFT|IBM", "5", "3", QString::fromStdString(Program_->Output.Path()), "17", ""};
    Program_->Write_Settings(lines.join(end).toStdString());
    Program_->Start();
    QCOMPARE(Program_->Stocks(), QStringList({"IBM", "MSFT"}));
    QCOMPARE(Program_->Selected_Stocks(), QStringList());
    QCOMPARE(Interval(), 5);
    QCOMPARE(Format(), 3);
    QCOMPARE(Folder(), lines[3]);
    // The saved days are not read: restoring the interval fills them.
    QCOMPARE(Program_->Text("txtdays"), QString("71"));
  }

  void TheEndDateIsTodayAndNeverTheSavedOne() {
    Program_->Time.Day = std::chrono::year(2003) / 12 / 31;
    Program_->Start();
    QCOMPARE(Program_->Text("txtenddate_0"), QString("12"));
    QCOMPARE(Program_->Text("txtenddate_1"), QString("31"));
    QCOMPARE(Program_->Text("txtenddate_2"), QString("03"));
  }

  void OnTheFourthOfJulyTheEndDateHasItsZeros() {
    Program_->Time.Day = std::chrono::year(2003) / 7 / 4;
    Program_->Start();
    QCOMPARE(Program_->Text("txtenddate_0"), QString("07"));
    QCOMPARE(Program_->Text("txtenddate_1"), QString("04"));
    QCOMPARE(Program_->Text("txtenddate_2"), QString("03"));
  }

  void PositionsMinusOneRestoreTheDefaults() {
    Program_->Write_Settings("|A\r\n-1\r\n-1\r\n\r\n\r\n");
    Program_->Start();
    QCOMPARE(Interval(), 6);
    QCOMPARE(Format(), 13);
  }

  void PositionsThatNoItemHasRestoreTheDefaults_data() {
    QTest::addColumn<QString>("interval");
    QTest::addColumn<QString>("format");
    QTest::newRow("one too many") << "7"
                                  << "15";
    QTest::newRow("far out") << "32767"
                             << "32767";
    QTest::newRow("below none") << "-2"
                                << "-32768";
  }
  void PositionsThatNoItemHasRestoreTheDefaults() {
    QFETCH(QString, interval);
    QFETCH(QString, format);
    Program_->Write_Settings(("|A\r\n" + interval + "\r\n" + format + "\r\n\r\n\r\n").toStdString());
    Program_->Start();
    QCOMPARE(Interval(), 6);
    QCOMPARE(Format(), 13);
    QCOMPARE(Program_->Stocks(), QStringList({"A"}));
    QCOMPARE(Program_->Boxes.Texts(), QStringList());
  }

  void AFolderThatIsGoneBecomesTheDriveRoot() {
    Program_->Write_Settings("|A\r\n6\r\n13\r\n/no/such/folder/anywhere\r\n500\r\n");
    Program_->Start();
    QCOMPARE(Folder(), QString("c:"));
  }

  void AFolderWithBlanksAroundItIsTrimmed() {
    Program_->Write_Settings("|A\r\n6\r\n13\r\n  " + Program_->Output.Path() + "  \r\n500\r\n");
    Program_->Start();
    QCOMPARE(Folder(), QString::fromStdString(Program_->Output.Path()));
  }

  void MarkersAreRestoredInLowerCaseButForTheLastItem() {
    Program_->Write_Settings("|MUTUAL:ABCDX|INDEX:DJI|OPRA:XYZ|MUTUAL:LAST\r\n6\r\n13\r\n\r\n500\r\n");
    Program_->Start();
    QCOMPARE(Program_->Stocks(), QStringList({"MUTUAL:LAST", "index:DJI", "mutual:ABCDX", "opra:XYZ"}));
  }

  void AnEmptyListLineGivesOneEmptyItem() {
    Program_->Write_Settings("\r\n6\r\n13\r\n\r\n500\r\n");
    Program_->Start();
    QCOMPARE(Program_->Stocks(), QStringList({""}));
  }

  void EmptyItemsButTheLastAreDropped() {
    Program_->Write_Settings("|A||  |B|\r\n6\r\n13\r\n\r\n500\r\n");
    Program_->Start();
    QCOMPARE(Program_->Stocks(), QStringList({"", "A", "B"}));
  }

  void AThousandSymbolsAreThereAtOnce() {
    std::string line;
    QStringList symbols;
    for (int i = 0; i < 1000; ++i) {
      symbols << QString("S%1").arg((i * 7919) % 100000, 5, 10, QChar('0'));
      line += "|" + symbols.last().toStdString();
    }
    symbols.sort();
    Program_->Write_Settings(line + "\r\n6\r\n13\r\n\r\n500\r\n");
    Program_->Start();
    QCOMPARE(Program_->Stocks(), symbols);
    Click(Program_->Get("cmdselectall"));
    QCOMPARE(Program_->Selected_Stocks().size(), 1000);
    Program_->Boxes.Expect(Qt::Key_Y);
    Program_->Window().close();
    QString saved;
    for (const QString& symbol : symbols) saved += "|" + symbol;
    QVERIFY(QString::fromStdString(Program_->Settings()).startsWith(saved + "\r\n"));
  }

  void AFileThatIsCutOffIsToldAndDeleted() {
    Program_->Write_Settings("|A|B\r\n5\r\n");
    Program_->Boxes.Expect(Qt::Key_Return);
    Program_->Start();
    QCOMPARE(Program_->Boxes.Texts(),
             QStringList({"Unexpected error in initializing! Please restart to let program fix itself."}));
    QCOMPARE(Program_->Boxes.Seen[0].Title, QString("Bravint History Quotes Downloader"));
    QCOMPARE(Program_->Boxes.Seen[0].Buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(Program_->Settings(), std::string("<none>"));
    // What was read before the error stays.
    QCOMPARE(Program_->Stocks(), QStringList({"A", "B"}));
    QCOMPARE(Interval(), 5);
    QCOMPARE(Format(), 13);
  }

  void APositionBeyondSixteenBitsIsToldAndTheWindowComesUp() {
    Program_->Write_Settings("|A\r\n40000\r\n3\r\n\r\n500\r\n");
    Program_->Boxes.Expect(Qt::Key_Escape);
    Program_->Start();
    QVERIFY(Program_->Window().isVisible());
    QCOMPARE(Interval(), 6);
    QCOMPARE(Program_->Settings(), std::string("<none>"));
  }

  void TheCloseQuestionHasItsTextTitleAndButtons() {
    Program_->Start();
    Program_->Boxes.Expect(Qt::Key_Escape);
    Program_->Window().close();
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
    const BoxAnswers::Box& box = Program_->Boxes.Seen[0];
    QCOMPARE(box.Text, QString("Do you want to save your screen choices?"));
    QCOMPARE(box.Title, QString("Exiting program"));
    QCOMPARE(box.Buttons, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
    QCOMPARE(box.Default, QMessageBox::Yes);
    QCOMPARE(box.Icon, QMessageBox::NoIcon);
  }

  void YesSavesAndCloses_data() {
    QTest::addColumn<int>("key");
    QTest::newRow("Y") << int(Qt::Key_Y);
    QTest::newRow("Enter") << int(Qt::Key_Return);
  }
  void YesSavesAndCloses() {
    QFETCH(int, key);
    Program_->Start();
    Program_->Get<QListWidget>("lstStock")->clear();
    for (const char* symbol : {"msft", "ibm"}) {
      Click(Program_->Get("txtnewstock"));
      Type(symbol);
      Press(Qt::Key_Return);
    }
    Program_->Pick("cmbInterval", 2);
    Program_->Pick("cmbOutputFormat", 14);
    Program_->Get<QLineEdit>("txtOutputfolder")->setText(" /some/where ");
    Program_->Get<QLineEdit>("txtdays")->setText("9");
    Program_->Boxes.Expect(static_cast<Qt::Key>(key));
    QVERIFY(Program_->Window().close());
    QVERIFY(!Program_->Window().isVisible());
    QCOMPARE(Program_->Settings(), std::string("|IBM|MSFT\r\n2\r\n14\r\n /some/where \r\n9\r\n"));
    QCOMPARE(Program_->Home.Names(), std::vector<std::string>({"user.cfg"}));
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
  }

  void NoClosesAndSavesNothing() {
    Program_->Write_Settings("|A\r\n6\r\n13\r\n\r\n500\r\n");
    Program_->Start();
    Program_->Pick("cmbInterval", 2);
    Program_->Boxes.Expect(Qt::Key_N);
    QVERIFY(Program_->Window().close());
    QVERIFY(!Program_->Window().isVisible());
    QCOMPARE(Program_->Settings(), std::string("|A\r\n6\r\n13\r\n\r\n500\r\n"));
  }

  void CancelLeavesEveryWindowAsItWas() {
    Program_->Start();
    Program_->Global->Log().show();
    Program_->Global->Log().Add("line");
    Program_->Global->Test().Show_About(1, 0);
    Program_->Boxes.Expect(Qt::Key_Escape);
    QVERIFY(!Program_->Window().close());
    Settle();
    QVERIFY(Program_->Window().isVisible());
    QVERIFY(Program_->Global->Log().isVisible());
    QVERIFY(Program_->Global->Test().isVisible());
    QCOMPARE(Program_->Log_Lines(), QStringList({"line"}));
    QCOMPARE(Program_->Settings(), std::string("<none>"));
    // The program goes on, and asks again.
    Program_->Boxes.Expect(Qt::Key_N);
    QVERIFY(Program_->Window().close());
    QVERIFY(!Program_->Global->Log().isVisible());
    QVERIFY(!Program_->Global->Test().isVisible());
  }

  void SavingThatFailsIsToldTwiceAndTheWindowClosesAllTheSame() {
    Program_->In_Memory = true;
    Program_->Start();
    Program_->Memory.OpenError = PermissionDenied;
    Program_->Boxes.Expect(Qt::Key_Y);
    Program_->Boxes.Expect(Qt::Key_Return);
    Program_->Boxes.Expect(Qt::Key_Return);
    QVERIFY(Program_->Window().close());
    QCOMPARE(Program_->Boxes.Texts(),
             QStringList({"Do you want to save your screen choices?",
                          "Err: Permission denied in Save_Config(). Can't save user choices",
                          "Can't save your choices to disk."}));
    QCOMPARE(Program_->Boxes.Seen[1].Title, QString("Bravint History Quotes Downloader"));
    QCOMPARE(Program_->Boxes.Seen[2].Title, QString("Exiting program"));
    QCOMPARE(Program_->Boxes.Seen[2].Buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QVERIFY(!Program_->Window().isVisible());
  }

  void SavingThatFailsHalfWayKeepsTheEarlierFile() {
    Program_->In_Memory = true;
    Program_->Start();
    const std::string path = Program_->Home / "user.cfg";
    Program_->Memory.Contents[path] = "earlier";
    Program_->Memory.WriteError = DiskFull;
    Program_->Boxes.Expect(Qt::Key_Y);
    Program_->Boxes.Expect(Qt::Key_Return);
    Program_->Boxes.Expect(Qt::Key_Return);
    QVERIFY(Program_->Window().close());
    QCOMPARE(Program_->Boxes.Texts()[1], QString("Err: Disk full in Save_Config(). Can't save user choices"));
    QCOMPARE(Program_->Memory.Contents[path], std::string("earlier"));
  }

#ifndef _WIN32
  void AFolderThatNoTextBoxCanHoldIsUsedAndSavedAsItIs() {
    const std::string folder = Program_->Output / "caf\xE9";
    std::filesystem::create_directory(folder);
    const std::string text = "|A\r\n6\r\n14\r\n" + folder + "\r\n500\r\n";
    Program_->Write_Settings(text);
    Program_->Start();
    Program_->Boxes.Expect(Qt::Key_Y);
    QVERIFY(Program_->Window().close());
    QCOMPARE(Program_->Settings(), text);
  }
#endif

  void ARestartRestoresWhatWasSaved() {
    Program_->Start();
    Program_->Prepare_Run({"mutual:abc", "zz", "ibm"});
    Program_->Pick("cmbInterval", 3);
    Program_->Boxes.Expect(Qt::Key_Y);
    QVERIFY(Program_->Window().close());
    const std::string saved = Program_->Settings();
    const QStringList stocks = Program_->Stocks();
    const QString folder = Folder();

    auto again = std::make_unique<Program>();
    again->Write_Settings(saved);
    again->Start();
    QCOMPARE(again->Stocks(), stocks);
    QCOMPARE(again->Stocks(), QStringList({"IBM", "ZZ", "mutual:ABC"}));
    QCOMPARE(again->Get<QComboBox>("cmbInterval")->currentIndex(), 3);
    QCOMPARE(again->Get<QComboBox>("cmbOutputFormat")->currentIndex(), 14);
    QCOMPARE(again->Text("txtOutputfolder"), folder);
    QCOMPARE(again->Text("txtdays"), QString("24"));
    QCOMPARE(again->Boxes.Unexpected, 0);
  }

 private:
  int Interval() {
    return Program_->Get<QComboBox>("cmbInterval")->currentIndex();
  }
  int Format() {
    return Program_->Get<QComboBox>("cmbOutputFormat")->currentIndex();
  }
  QString Folder() {
    return Program_->Text("txtOutputfolder");
  }

  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::SettingsTest)
#include "settings_test.moc"
