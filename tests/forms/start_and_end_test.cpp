// The start of the program, its end, and the order of what it does in between.

#include <QApplication>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTimer>
#include <filesystem>

#include "built_places.h"
#include "forms/form_support.h"

namespace hq::test {

class StartAndEndTest : public QObject {
  Q_OBJECT

 private slots:
  void init() { Program_ = std::make_unique<Program>(); }
  void cleanup() {
    QCOMPARE(Program_->Boxes.Unexpected, 0);
    QCOMPARE(Program_->Global->Trap.Depth(), 0);
    Program_.reset();
  }

  void TheSplashSaysWhatGoesOnAndGivesWayToTheMainWindow() {
    Make_Without_Start(*Program_);
    QStringList captions;
    auto* caption = Program_->Global->Test().findChild<QLabel*>("Label2");
    const auto* button = Program_->Global->Test().findChild<QPushButton*>("cmdok");
    bool button_seen = false;
    CaptionWatch watch([&] {
      if (!Program_->Global->Test().isVisible()) return;
      button_seen = button_seen || button->isVisible();
      if (captions.isEmpty() || captions.last() != caption->text()) captions << caption->text();
    });
    caption->installEventFilter(&watch);
    Program_->Global->Main();
    QCOMPARE(captions,
             QStringList({"Initializing application. Please wait...", "Creating application window...",
                          "Finalizing settings...", "Initializing application. Please wait..."}));
    QVERIFY(!button_seen);
    QVERIFY(!Program_->Global->Test().isVisible());
    QVERIFY(Program_->Window().isVisible());
    QVERIFY(QTest::qWaitForWindowActive(&Program_->Window()));
  }

  void ASessionGoesThroughItsProceduresInOrder() {
    Make_Without_Start(*Program_);
    QStringList entered;
    int open = 0;
    Program_->Global->Trap.Write_Record = [&](const TraceRecord& record) {
      open += record.Way == TraceRecord::Direction::Entry ? 1 : -1;
      if (record.Way == TraceRecord::Direction::Entry) entered << Name_In(record.EntryText);
    };
    Program_->Global->Main();
    QVERIFY(QTest::qWaitForWindowActive(&Program_->Window()));
    // Form_Resize comes with every move of the window.
    entered.removeAll("frmmain1.frm Sub Form_Resize");
    QCOMPARE(entered, QStringList({"global.bas Sub Main", "frmtest.frm Sub Form_Load",
                                   "frmtest.frm Sub Display_About", "global.bas Sub Load_Config",
                                   "frmtest.frm Sub Display_About", "frmmain1.frm Sub Form_Load",
                                   "disk.bas Sub Load_Format", "frmmain1.frm Sub cmbInterval_Click"}));
    entered.clear();

    Program_->Prepare_Run({"ibm"});
    entered.removeAll("frmmain1.frm Sub Form_Resize");
    QStringList adding;
    for (int i = 0; i < 4; ++i) adding << "frmmain1.frm Sub txtnewstock_KeyDown";
    adding << "frmmain1.frm Sub cmdAdd_Click"
           << "frmmain1.frm Sub cmdselectall_Click";
    QCOMPARE(entered, adding);
    entered.clear();

    Click(Program_->Get("cmddownload"));
    entered.removeAll("frmmain1.frm Sub Form_Resize");
    QCOMPARE(entered.mid(0, 4),
             QStringList({"frmmain1.frm Sub cmddownload_Click", "frmmain1.frm Function Valid_Entry",
                          "frmmain1.frm Sub Process_Onestock", "frmmain1.frm Sub Inet1_StateChanged"}));
    QVERIFY(entered.indexOf("global.bas Sub Process_Interday") < entered.indexOf("disk.bas Sub Write_File"));
    entered.clear();

    Program_->Boxes.Expect(Qt::Key_Y);
    Program_->Window().close();
    entered.removeAll("frmmain1.frm Sub Form_Resize");
    QCOMPARE(entered, QStringList({"frmmain1.frm Sub Form_QueryUnload", "frmmain1.frm Function Save_Config",
                                   "frmmain1.frm Sub Form_Unload", "global.bas Sub Exit_Program"}));
    QCOMPARE(open, 0);
  }

  void ClosingTakesEveryWindowAwayAndEndsTheLoopOfTheProgram() {
    Program_->Start();
    Program_->Global->Log().show();
    Program_->Global->Test().Show_About(1, 0);
    Program_->Boxes.Expect(Qt::Key_N);
    QTimer::singleShot(0, qApp, [this] { Program_->Window().close(); });
    QCOMPARE(QApplication::exec(), 0);
    for (const QWidget* window : QApplication::topLevelWidgets()) QVERIFY(!window->isVisible());
  }

  void ClosingTheOtherWindowsDoesNotEndTheProgram() {
    Program_->Start();
    Program_->Global->Log().show();
    Program_->Global->Test().Show_About(1, 0);
    bool still_there = false;
    QTimer::singleShot(0, qApp, [&] {
      Program_->Global->Log().close();
      Program_->Global->Test().close();
      Settle();
      still_there = Program_->Window().isVisible();
      Program_->Boxes.Expect(Qt::Key_N);
      Program_->Window().close();
    });
    QApplication::exec();
    QVERIFY(still_there);
  }

  void AnErrorAtTheStartIsToldAndEndsTheProgram() {
    Program_->Make_Inet = [](MessageLoop&) -> std::unique_ptr<TransferControl> {
      throw RunTimeError(UnableToCompleteRequest);
    };
    Make_Without_Start(*Program_);
    Program_->Boxes.Expect(Qt::Key_Return);
    Program_->Global->Main();
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
    QCOMPARE(Program_->Boxes.Seen[0].Text,
             QString("Err " + QString::fromStdString(RunTimeError(UnableToCompleteRequest).Description()) +
                     " inside Main(). Report!"));
    QCOMPARE(Program_->Boxes.Seen[0].Title, QString("Bravint History Quotes Downloader"));
    QCOMPARE(Program_->Boxes.Seen[0].Buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    for (const QWidget* window : QApplication::topLevelWidgets()) QVERIFY(!window->isVisible());
    // There is no loop yet to be ended, so the program must not begin one.
    QVERIFY(Program_->Global->Loop.Ended());
  }

  void APoorlyMadeSettingsFileIsToldBeforeTheMainWindowComes() {
    Program_->Write_Settings("|A\r\n");
    Make_Without_Start(*Program_);
    bool main_window = true;
    Program_->Boxes.Expect(Qt::Key_Return, [&] {
      main_window = false;
      for (const QWidget* window : QApplication::topLevelWidgets()) {
        if (window->objectName() == "frmmain1") main_window = true;
      }
    });
    Program_->Global->Main();
    QVERIFY(!main_window);
    QVERIFY(Program_->Window().isVisible());
    QVERIFY(!Program_->Global->Loop.Ended());
  }

  void TheIconComesFromTheProgramFolder() {
    QImage red(32, 32, QImage::Format_RGB32);
    red.fill(Qt::red);
    QVERIFY(red.save(QString::fromStdString(Program_->Home / "t8.ico"), "PNG"));
    Program_->Start();
    const QImage shown = Program_->Window().windowIcon().pixmap(32, 32).toImage();
    QCOMPARE(shown.pixelColor(16, 16), QColor(Qt::red));
  }

  void WithoutTheIconFileTheOneInsideIsUsed() {
    Program_->Start();
    QVERIFY(!Program_->Window().windowIcon().isNull());
    QVERIFY(!QApplication::windowIcon().isNull());
  }

  void AnIconFileThatCannotBeTakenIsLoggedOnceAndNotShown_data() {
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("logged");
    QTest::newRow("missing") << "missing"
                             << "Description- File not found: ";
    QTest::newRow("no picture") << "no picture"
                                << "Description- Path/File access error: ";
    QTest::newRow("a folder") << "a folder"
                              << "Description- Path/File access error: ";
  }
  void AnIconFileThatCannotBeTakenIsLoggedOnceAndNotShown() {
    QFETCH(const QString, kind);
    QFETCH(const QString, logged);
    if (kind == "no picture") Program_->Home.Write("t8.ico", "no picture at all");
    if (kind == "a folder") std::filesystem::create_directory(Program_->Home / "t8.ico");
    Program_->Home.Write("FSCLIENT.INI", "[log file]\nWrite To Disk=1\n");
    bool asked = false;
    QTimer watch;
    // A dialog would wait for its answer.
    connect(&watch, &QTimer::timeout, [&] {
      for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->objectName() != "frmFAILSAFE" || !window->isVisible()) continue;
        asked = true;
        window->close();
      }
    });
    watch.start(5);
    Program_->Start();
    Program_->Window().findChild<QAction*>("mnuabout")->trigger();
    QVERIFY(!asked);
    QVERIFY(!Program_->Window().windowIcon().isNull());
    QVERIFY(!QApplication::windowIcon().isNull());
    const QString log = QString::fromStdString(Bytes_Of(Program_->Home / "error.log"));
    QCOMPARE(log.count("Category- "), 1);
    QVERIFY2(log.contains(logged + QString::fromStdString(Program_->Home / "t8.ico")), qPrintable(log));
    QVERIFY2(log.contains("Module- frmtest.frm : Sub Form_Load"), qPrintable(log));
  }

  void AnIconFileThatIsTakenLeavesNothingInTheLog() {
    QImage red(32, 32, QImage::Format_RGB32);
    red.fill(Qt::red);
    QVERIFY(red.save(QString::fromStdString(Program_->Home / "t8.ico"), "PNG"));
    Program_->Home.Write("FSCLIENT.INI", "[log file]\nWrite To Disk=1\n");
    Program_->Start();
    QVERIFY(!std::filesystem::exists(Program_->Home / "error.log"));
  }

  void AllSizesOfTheIconFileAreTaken() {
    std::filesystem::copy_file(HQ_TEST_DATA "/../../packaging/icons/t8.ico", Program_->Home / "t8.ico");
    Program_->Start();
    const QList<QSize> sizes = Program_->Window().windowIcon().availableSizes();
    for (const int size : {16, 32, 48, 256})
      QVERIFY2(sizes.contains(QSize(size, size)), qPrintable(QString::number(size)));
  }

  void TheFirstSymbolCanBeTypedAtOnce() {
    Program_->Start();
    Type("msft");
    Press(Qt::Key_Return);
    QVERIFY(Program_->Stocks().contains("MSFT"));
  }

  void TwoProgramsAfterEachOtherDoNotDisturbEachOther() {
    Program_->Start();
    Program_->Boxes.Expect(Qt::Key_N);
    Program_->Window().close();
    Program_ = std::make_unique<Program>();
    Program_->Start();
    Program_->Prepare_Run({"ibm"});
    Click(Program_->Get("cmddownload"));
    QCOMPARE(Program_->Output.Names().size(), 1U);
  }

 private:
  class CaptionWatch final : public QObject {
   public:
    explicit CaptionWatch(std::function<void()> look) : look_(std::move(look)) {}

   protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
      if (event->type() == QEvent::Paint) look_();
      return QObject::eventFilter(watched, event);
    }

   private:
    std::function<void()> look_;
  };

  static QString Name_In(std::string_view entry) {
    const QStringList parts = QString::fromUtf8(entry.data(), qsizetype(entry.size())).split(" : ");
    return parts.value(0).trimmed() + " " + parts.value(1).trimmed();
  }

  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::StartAndEndTest)
#include "start_and_end_test.moc"
