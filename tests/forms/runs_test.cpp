// Download runs through the main window, and everything that may happen in the middle of one.

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QToolButton>

#include "base/strings.h"
#include "forms/form_support.h"
#include "platform/clock.h"
#include "quotes/curl_transfer.h"
#include "support/socket_server.h"

namespace hq::test {

class RunsTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Program_ = std::make_unique<Program>();
    Program_->Start();
  }
  void cleanup() {
    QCOMPARE(Program_->Boxes.Unexpected, 0);
    QCOMPARE(Program_->Global->Trap.Depth(), 0);
    Program_.reset();
  }

  void ARunWritesOneFileForEverySelectedSymbol() {
    Program_->Prepare_Run({"aa", "bb", "cc", "dd", "ee"});
    Click_Item(Stocks(), 1);
    Click_Item(Stocks(), 2, Qt::ControlModifier);
    Click_Item(Stocks(), 4, Qt::ControlModifier);
    Click(Download());
    QCOMPARE(Files(), QStringList({File("BB"), File("CC"), File("EE")}));
    QCOMPARE(Program_->Output.Files()[To_Text(File("BB"))], std::string(Written));
    QCOMPARE(
        Program_->Log_Lines(),
        QStringList({"Start download at " + Now(), "downloading symbol   BB", Exporting("BB"),
                     "Recorded 2 lines", "downloading symbol   CC", Exporting("CC"), "Recorded 2 lines",
                     "downloading symbol   EE", Exporting("EE"), "Recorded 2 lines", "Finish at " + Now()}));
    QVERIFY(Program_->Global->Log().isVisible());
    QCOMPARE(Program_->Selected_Stocks(), QStringList({"BB", "CC", "EE"}));
    QVERIFY(Program_->Inet->Cancels >= 3);
  }

  void TheRunTakesItsSettingsFromTheControls() {
    Program_->Prepare_Run({"aa"});
    Program_->Pick("cmbInterval", 4);
    Program_->Pick("cmbOutputFormat", 7);
    Set("txtenddate_0", "12");
    Set("txtenddate_1", "31");
    Set("txtenddate_2", "02");
    Click(Download());
    const RunSettings& settings = Program_->Global->State.Settings;
    QCOMPARE(settings.IntervalCode, 30);
    QCOMPARE(settings.CurrentFormat, 7);
    QCOMPARE(settings.DayCount, 38);
    QCOMPARE(settings.OutputFolder, Program_->Output.Path());
    QCOMPARE(settings.CurrentSymbol, std::string("AA"));
    QCOMPARE(Program_->Inet->Addresses, std::vector<std::string>({"http://quotes.test/30/AA?&Date=010103"}));
  }

  void TheNextRunHasOnlyItsOwnLines() {
    Program_->Prepare_Run({"aa", "bb"});
    Click(Download());
    QCOMPARE(Program_->Log_Lines().size(), 8);
    Click_Item(Stocks(), 0);
    Click(Download());
    QCOMPARE(Program_->Log_Lines().size(), 5);
    QCOMPARE(Program_->Log_Lines()[1], QString("downloading symbol   AA"));
  }

  void TheAccessKeyStartsARun() {
    Program_->Prepare_Run({"aa"});
    Press(Qt::Key_D, Qt::AltModifier);
    QTRY_COMPARE(Files(), QStringList({File("AA")}));
  }

  void TheStatusLineTellsEveryStateOfTheTransfer() {
    Program_->Prepare_Run({"aa"});
    const auto* status = Program_->Get<QLabel>("lblstatus");
    QCOMPARE(status->text(), QString());
    QStringList shown;
    Program_->Inet->Started = [&](const std::string&) {
      for (int state = 1; state <= 10; ++state) {
        Program_->Inet->StateChanged(state);
        shown << status->text();
      }
      Program_->Inet->Answer(Quotes);
    };
    Click(Download());
    QCOMPARE(shown,
             QStringList({"Lookup host name..", "Host IP found ..", "Connecting to the host computer ..",
                          "host computer connected...", "Sending request to host ...",
                          "Requests sent successfully", "Waiting for server response...", "Downloading...",
                          "Disconnecting from the server", "disconnected from the server"}));
    QCOMPARE(status->text(), QString("Procsss AA"));
  }

  void ASymbolThatFailsIsToldAndTheRunGoesOn() {
    Program_->Prepare_Run({"aa", "bb"});
    QStringList shown;
    Program_->Inet->Started = [&](const std::string& address) {
      shown << Program_->Get<QLabel>("lblstatus")->text();
      if (hq::Contains(address, "/AA")) return Program_->Inet->State(TransferError);
      Program_->Inet->Answer(Quotes);
    };
    Click(Download());
    QCOMPARE(shown.last(), QString("Failed to download data! Try another time at night!"));
    QCOMPARE(Files(), QStringList({File("BB")}));
    QVERIFY(Program_->Log_Lines().contains("Recorded 0 lines"));
  }

  void EntriesThatAreRefusedStartNoRun_data() {
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("icon");
    const int none = QMessageBox::NoIcon;
    const int stop = QMessageBox::Critical;
    QTest::newRow("nothing selected") << "selection"
                                      << "You need to pick at least one stock to start download!" << none;
    QTest::newRow("intraday interval, daily format")
        << "intraday"
        << "You chose an intraday time interval with a daily output format.\nMake both the same(Intraday or "
           "Daily)!\nIf you are not sure about the output format to use, try 'Text with header-Intraday' or "
           "'Text "
           "with header-Daily'"
        << stop;
    QTest::newRow("daily interval, intraday format")
        << "daily"
        << "You chose a Daily time interval with an intraday output format.\n\nMake both the same(Intraday "
           "or "
           "Daily)!\nIf you are not sure about the output format to use, try 'Text with header-Intraday' or "
           "'Text "
           "with header-Daily'"
        << stop;
    const QString how = "\nClick the small button '...' next to 'Output Folder' box to choose a folder";
    QTest::newRow("no folder") << "no folder"
                               << "Missing output folder!" + how << none;
    QTest::newRow("folder missing") << "folder missing"
                                    << "Output folder doesn't exist!" + how << none;
    QTest::newRow("days") << "days"
                          << "Based on time interval chosen, 'Days' has to be between 1 and 500" << none;
  }
  void EntriesThatAreRefusedStartNoRun() {
    QFETCH(QString, fault);
    QFETCH(QString, message);
    QFETCH(int, icon);
    Program_->Prepare_Run({"aa"});
    if (fault == "selection") {
      Stocks()->clearSelection();
      Set("txtOutputfolder", "");  // selection is looked at first
    }
    if (fault == "intraday") Program_->Pick("cmbInterval", 0);
    if (fault == "daily") Program_->Pick("cmbOutputFormat", 11);
    if (fault == "no folder") Set("txtOutputfolder", "");
    if (fault == "folder missing") Set("txtOutputfolder", "/no/such/folder");
    if (fault == "days") Set("txtdays", "");
    Program_->Boxes.Expect(Qt::Key_Return);
    Click(Download());
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
    const BoxAnswers::Box& box = Program_->Boxes.Seen[0];
    QCOMPARE(box.Text, message);
    QCOMPARE(box.Title, QString("Bravint History Quotes Downloader"));
    QCOMPARE(box.Buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(int(box.Icon), icon);
    QVERIFY(Program_->Inet->Addresses.empty());
    QCOMPARE(Program_->Global->State.Settings.CurrentFormat, 11);
    for (const QWidget* window : QApplication::topLevelWidgets()) {
      QVERIFY(window->objectName() != "frmlog" || !window->isVisible());
    }
    Settle();
    QCOMPARE(Program_->Get("txtdays")->hasFocus(), fault == "days");
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
  }

  void AFileNamedAsTheFolderPassesTheCheckAndNothingIsWritten() {
    Program_->Prepare_Run({"aa"});
    Program_->Output.Write("file", "mine");
    Set("txtOutputfolder", QString::fromStdString(Program_->Output / "file"));
    Click(Download());
    QCOMPARE(Program_->Inet->Addresses.size(), 1U);
    QCOMPARE(Program_->Output.Files(), (std::map<std::string, std::string>{{"file", "mine"}}));
  }

  // In the middle of a run -------------------------------------------------------------------------

  void TheWindowTakesClicksAndKeysInTheMiddleOfARun() {
    Program_->Prepare_Run({"aa"});
    In_The_Middle([this] {
      Bring_Main_Window_To_Front();
      Click(Program_->Get("txtnewstock"));
      Type("new");
      Press(Qt::Key_Return);
      Program_->Pick("cmbOutputFormat", 2);
      Program_->Window().move(200, 100);
      Click(Program_->Get("cmdlookup"));
    });
    Click(Download());
    QVERIFY(Ran_);
    QCOMPARE(Program_->Stocks(), QStringList({"AA", "NEW"}));
    QCOMPARE(Program_->Get<QComboBox>("cmbOutputFormat")->currentIndex(), 2);
    QCOMPARE(Program_->Opened.size(), 1U);
    // The choice is for the next run.
    QCOMPARE(Program_->Global->State.Settings.CurrentFormat, 14);
    QCOMPARE(Files(), QStringList({File("AA")}));
  }

  void TheWindowIsPaintedInTheMiddleOfARun() {
    Program_->Prepare_Run({"aa"});
    PaintCounter counter;
    Program_->Get("lblstatus")->installEventFilter(&counter);
    int painted = 0;
    Program_->Inet->Started = [&](const std::string&) {
      counter.Paints = 0;
      Program_->Inet->State(Connecting);
      Wait_For([&] { return counter.Paints > 0; },
               [&] {
                 painted = counter.Paints;
                 Program_->Inet->Answer(Quotes);
               });
    };
    Click(Download());
    QVERIFY(painted > 0);
  }

  void ASecondClickOnDownloadRunsASecondRunInsideTheFirst() {
    Program_->Prepare_Run({"aa", "bb"});
    In_The_Middle([this] { Click(Download()); });
    Click(Download());
    QVERIFY(Ran_);
    QCOMPARE(Files(), QStringList({File("AA"), File("BB")}));
    for (const QString& file : Files())
      QCOMPARE(Program_->Output.Files()[To_Text(file)], std::string(Written));
    QCOMPARE(Program_->Log_Lines().filter("Start download at ").size(), 1);
    QCOMPARE(Program_->Log_Lines().filter("Finish at ").size(), 2);
  }

  void RemovingTheVerySymbolThatIsFetched() {
    Program_->Prepare_Run({"aa", "bb", "cc"});
    In_The_Middle([this] {
      Click_Item(Stocks(), 0);
      Click(Program_->Get("cmddel"));
    });
    Click(Download());
    QVERIFY(Ran_);
    QCOMPARE(Program_->Stocks(), QStringList({"BB", "CC"}));
    // The click has left no other symbol selected.
    QCOMPARE(Files(), QStringList({File("AA")}));
    QVERIFY(Program_->Log_Lines().last().startsWith("Finish at "));
  }

  void RemovingAllSymbols() {
    Program_->Prepare_Run({"aa", "bb", "cc"});
    In_The_Middle([this] { Click(Program_->Get("cmddel")); });
    Click(Download());
    QCOMPARE(Program_->Stocks(), QStringList());
    QCOMPARE(Files(), QStringList({File("AA")}));
    QVERIFY(Program_->Log_Lines().last().startsWith("Finish at "));
  }

  void SelectingOtherSymbols() {
    Program_->Prepare_Run({"aa", "bb", "cc"});
    In_The_Middle([this] { Click_Item(Stocks(), 2); });
    Click(Download());
    QCOMPARE(Files(), QStringList({File("AA"), File("CC")}));
  }

  void AddingASymbolDoesNotPutItIntoTheRun() {
    Program_->Prepare_Run({"bb"});
    In_The_Middle([this] {
      Bring_Main_Window_To_Front();
      Click(Program_->Get("txtnewstock"));
      Type("cc");
      Press(Qt::Key_Return);
      Click(Program_->Get("cmdselectall"));
    });
    Click(Download());
    QCOMPARE(Files(), QStringList({File("BB")}));
  }

  void ClosingTheLogKeepsItClosedAndLaterLinesComeIntoTheHiddenList() {
    Program_->Prepare_Run({"aa"});
    In_The_Middle([this] { Click(Program_->Global->Log().findChild<QPushButton*>("cmdClose")); });
    Click(Download());
    QVERIFY(Ran_);
    Settle();
    QVERIFY(!Program_->Global->Log().isVisible());
    QCOMPARE(Program_->Log_Lines(), QStringList({Exporting("AA"), "Recorded 2 lines", "Finish at " + Now()}));
    // The next run shows it again, with its own lines.
    Program_->Inet->Started = nullptr;
    Click(Download());
    QVERIFY(Program_->Global->Log().isVisible());
    QCOMPARE(Program_->Log_Lines().size(), 5);
  }

  void ChangingTheFolderCountsForTheNextRun() {
    Program_->Prepare_Run({"aa", "bb"});
    const TempFolder other;
    Program_->Folders.Chosen = FolderDialog::Item{"other", other.Path()};
    In_The_Middle([this] { Click(Program_->Get("cmdfolder")); });
    Click(Download());
    QCOMPARE(Program_->Text("txtOutputfolder"), QString::fromStdString(other.Path()));
    QCOMPARE(Files(), QStringList({File("AA"), File("BB")}));
    QVERIFY(other.Names().empty());
  }

  void OpeningAboutAndClosingIt() {
    Program_->Prepare_Run({"aa"});
    In_The_Middle([this] {
      Program_->Window().findChild<QAction*>("mnuabout")->trigger();
      QVERIFY(Program_->Global->Test().isVisible());
      Click(Program_->Global->Test().findChild<QPushButton*>("cmdok"));
    });
    Click(Download());
    QVERIFY(Ran_);
    QVERIFY(!Program_->Global->Test().isVisible());
    QCOMPARE(Files(), QStringList({File("AA")}));
  }

  void AMessageBoxHoldsTheRunUpUntilItIsAnswered() {
    Program_->Prepare_Run({"aa", "bb"});
    Program_->Inet->Started = [this](const std::string& address) {
      if (hq::Contains(address, "/BB")) return Program_->Inet->Answer(Quotes);
      Program_->Boxes.Expect(Qt::Key_Return, [this] {
        // The answer comes while the box is up.
        Program_->Inet->Answer(Quotes);
        Settle();
        QCOMPARE(Files(), QStringList());
      });
      Click(Program_->Get("Command2"));
    };
    Click(Download());
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
    QCOMPARE(Files(), QStringList({File("AA"), File("BB")}));
  }

  void ABadDayBoxIsToldInTheMiddleOfARun() {
    Program_->Prepare_Run({"aa"});
    In_The_Middle([this] {
      Bring_Main_Window_To_Front();
      Click(Program_->Get("txtdays"));
      Press(Qt::Key_A, Qt::ControlModifier);
      Type("0");
      Program_->Boxes.Expect(Qt::Key_Return);
      Press(Qt::Key_Tab);
    });
    Click(Download());
    QTRY_COMPARE(Program_->Boxes.Seen.size(), 1U);
    QTRY_VERIFY(Program_->Get("txtdays")->hasFocus());
    QCOMPARE(Files(), QStringList({File("AA")}));
  }

  void ClosingTheProgramAndYesOrNoEndTheRunAndTheLoop_data() {
    QTest::addColumn<int>("key");
    QTest::newRow("yes") << int(Qt::Key_Y);
    QTest::newRow("no") << int(Qt::Key_N);
  }
  void ClosingTheProgramAndYesOrNoEndTheRunAndTheLoop() {
    QFETCH(int, key);
    Program_->Prepare_Run({"aa", "bb", "cc"});
    Program_->Inet->Started = [this, key](const std::string& address) {
      if (hq::Contains(address, "/AA")) return Program_->Inet->Answer(Quotes);
      Program_->Boxes.Expect(static_cast<Qt::Key>(key));
      Program_->Window().close();
    };
    QTimer::singleShot(0, qApp, [this] { Click(Download()); });
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(QApplication::exec(), 0);
    // A wait that were not ended would take its thirty seconds.
    QVERIFY(clock.elapsed() < 15000);
    QCOMPARE(Files(), QStringList({File("AA")}));
    QCOMPARE(Program_->Inet->Addresses.size(), 2U);
    QCOMPARE(Program_->Settings() != "<none>", key == Qt::Key_Y);
    for (const QWidget* window : QApplication::topLevelWidgets()) QVERIFY(!window->isVisible());
    QCOMPARE(Program_->Boxes.Texts(), QStringList({"Do you want to save your screen choices?"}));
  }

  void ClosingTheProgramInTheMiddleOfTwoNestedRunsEndsBoth() {
    Program_->Prepare_Run({"aa", "bb"});
    int started = 0;
    Program_->Inet->Started = [&](const std::string&) {
      if (++started == 1) return Click(Download());
      Program_->Boxes.Expect(Qt::Key_N);
      Program_->Window().close();
    };
    QTimer::singleShot(0, qApp, [this] { Click(Download()); });
    QApplication::exec();
    QCOMPARE(started, 2);
    QCOMPARE(Files(), QStringList());
    QVERIFY(!Program_->Window().isVisible());
  }

  void ClosingTheProgramAndCancelLetsTheRunGoOn() {
    Program_->Prepare_Run({"aa", "bb"});
    In_The_Middle([this] {
      Program_->Boxes.Expect(Qt::Key_Escape);
      QVERIFY(!Program_->Window().close());
    });
    Click(Download());
    QVERIFY(Ran_);
    QCOMPARE(Files(), QStringList({File("AA"), File("BB")}));
    QVERIFY(Program_->Log_Lines().last().startsWith("Finish at "));
    QVERIFY(Program_->Window().isVisible());
  }

  void ClosingTheProgramBetweenTwoPiecesOfAnAnswerLeavesNoFile() {
    Program_->Prepare_Run({"aa"});
    std::string long_answer;
    for (int day = 1; day <= 28; ++day) {
      for (int hour = 10; hour <= 15; ++hour) {
        long_answer += "0302" + std::string(day < 10 ? "0" : "") + std::to_string(day) + "," +
                       std::to_string(hour) + "00,2,3,1.5,2.5,200\n";
      }
    }
    QVERIFY(long_answer.size() > 3000);
    Program_->Inet->Started = [&](const std::string&) {
      Program_->Boxes.Expect(Qt::Key_N);
      // Comes between the first pieces, because each lets the windows have their events.
      QTimer::singleShot(0, qApp, [this] { Program_->Window().close(); });
      Program_->Inet->Answer(long_answer);
    };
    QTimer::singleShot(0, qApp, [this] { Click(Download()); });
    QApplication::exec();
    QCOMPARE(Files(), QStringList());
  }

  // With a real transfer ---------------------------------------------------------------------------

  void AWholeRunOverASocket() {
    const SocketServer server([](SocketConnection& connection) {
      if (!connection.ReadRequest().empty()) connection.Send(Http_Answer(Quotes));
    });
    Use_Sockets(server.Address());
    Program_->Prepare_Run({"aa", "bb", "cc"});
    Click(Download());
    QCOMPARE(Files(), QStringList({File("AA"), File("BB"), File("CC")}));
    for (const QString& file : Files())
      QCOMPARE(Program_->Output.Files()[To_Text(file)], std::string(Written));
    QCOMPARE(Program_->Get<QLabel>("lblstatus")->text(), QString("Procsss CC"));
    QCOMPARE(Program_->Log_Lines().filter("Recorded 2 lines").size(), 3);
  }

  void NobodyAnswersAtThePort() {
    const RefusingPort nobody;
    Use_Sockets(nobody.Address());
    Program_->Prepare_Run({"aa"});
    Click(Download());
    QCOMPARE(Program_->Get<QLabel>("lblstatus")->text(),
             QString("Failed to download data! Try another time at night!"));
    QCOMPARE(Files(), QStringList());
  }

  void ClosingTheProgramWhileAServerHoldsItsAnswerBack() {
    const SocketServer server([](SocketConnection& connection) {
      connection.ReadRequest();
      connection.Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n030313,0930,2,3,1.5");
      connection.WaitForEnd();
    });
    Use_Sockets(server.Address());
    Program_->Prepare_Run({"aa"});
    QTimer::singleShot(0, qApp, [this] { Click(Download()); });
    Wait_For([&] { return Program_->Get<QLabel>("lblstatus")->text() == "Downloading..."; },
             [this] {
               Program_->Boxes.Expect(Qt::Key_N);
               Program_->Window().close();
             });
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(QApplication::exec(), 0);
    QVERIFY(clock.elapsed() < 15000);
    QCOMPARE(Files(), QStringList());
    QVERIFY(!Program_->Window().isVisible());
    // The transfer goes with the window, while the server still holds on.
    Program_->Global.reset();
    Program_ = std::make_unique<Program>();
    Program_->Start();
  }

 private:
  static constexpr const char* Written =
      "03/13/03,2.000,3.000,1.500,2.500,200\r\n03/14/03,3.000,4.000,2.500,3.500,300\r\n";

  class PaintCounter final : public QObject {
   public:
    int Paints = 0;

   protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
      if (event->type() == QEvent::Paint) ++Paints;
      return QObject::eventFilter(watched, event);
    }
  };

  QToolButton* Download() { return Program_->Get<QToolButton>("cmddownload"); }
  QListWidget* Stocks() { return Program_->Get<QListWidget>("lstStock"); }
  void Set(const char* box, const QString& text) { Program_->Get<QLineEdit>(box)->setText(text); }
  QStringList Files() {
    QStringList names;
    for (const std::string& name : Program_->Output.Names()) names << QString::fromStdString(name);
    return names;
  }
  static QString File(const QString& symbol) { return "031303-031403" + symbol + "1D.txt"; }
  QString Exporting(const QString& symbol) {
    return "exporting to " + QString::fromStdString(Program_->Output / To_Text(File(symbol)));
  }

  static QString Now() { return QString::fromStdString(System_Time_Text(std::chrono::hours(10))); }

  // A window manager gives the focus to the log when it comes up.
  void Bring_Main_Window_To_Front() {
    for (QWidget* window :
         {static_cast<QWidget*>(&Program_->Global->Log()), static_cast<QWidget*>(&Program_->Window())}) {
      window->activateWindow();
      QVERIFY(QTest::qWaitForWindowActive(window));
    }
  }

  // Does something when the first transfer of a run is under way, then lets the answers come.
  void In_The_Middle(std::function<void()> action) {
    Ran_ = false;
    Program_->Inet->Started = [this, action = std::move(action)](const std::string&) {
      if (!Ran_) {
        Ran_ = true;
        action();
        if (Program_->Inet->Addresses.size() > 1) return;
      }
      Program_->Inet->Answer(Quotes);
    };
  }
  // Looks again and again through the windows' own loop, and acts once.
  static void Wait_For(std::function<bool()> condition, std::function<void()> action) {
    QTimer::singleShot(1, qApp, [condition = std::move(condition), action = std::move(action)]() mutable {
      if (condition()) return action();
      Wait_For(std::move(condition), std::move(action));
    });
  }
  void Use_Sockets(const std::string& address) {
    Program_ = std::make_unique<Program>();
    Program_->RequestTemplate = address + "/XXX/SSS?&Date=DDD";
    Program_->Make_Inet = [](MessageLoop& loop) { return std::make_unique<CurlTransfer>(loop); };
    Program_->Start();
  }

  std::unique_ptr<Program> Program_;
  bool Ran_ = false;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::RunsTest)
#include "runs_test.moc"
