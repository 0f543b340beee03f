// The error dialog in the real program, with its own trap, logs and windows.

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <algorithm>
#include <filesystem>
#include <utility>

#include "built_places.h"
#include "forms/error_dialog_support.h"
#include "forms/form_support.h"

namespace hq::test {

namespace {

// Makes the days box's handler of the focus fail for the first so many times, as long as it exists.
class FailingFocus final : public QObject {
 public:
  explicit FailingFocus(Program& program, int failures = 1) : box_(program.Get<QLineEdit>("txtdays")) {
    connect(box_, &QLineEdit::selectionChanged, this, [this, &program, failures] {
      const std::vector<std::string> stack = program.Global->Trap.CallStack();
      if (stack.empty() || stack.back().find("txtdays_GotFocus") == std::string::npos) return;
      if (++Times <= failures) throw RunTimeError(OutOfMemory);
    });
  }
  // Gives the box the focus, in the window in front.
  void Bring_About() {
    box_->window()->activateWindow();
    if (!QTest::qWaitForWindowActive(box_->window())) qFatal("the window did not come to the front");
    box_->deselect();
    box_->setFocus(Qt::TabFocusReason);
    Settle();
  }
  int Times = 0;

 private:
  QLineEdit* box_;
};

// Presses Continue when it is time. What comes before may wait for that, so nobody else waits for it.
void Continue_When(QDialog& form, std::function<bool()> it_is_time) {
  auto* timer = new QTimer(&form);
  QObject::connect(timer, &QTimer::timeout, &form, [&form, timer, it_is_time = std::move(it_is_time)] {
    if (!it_is_time()) return;
    timer->stop();
    Control<QPushButton>(form, "nsCtrlContinue")->click();
  });
  timer->start(2);
}

}  // namespace

class ErrorSessionTest : public QObject {
  Q_OBJECT

 private slots:
  void init() { Program_ = std::make_unique<Program>(); }
  void cleanup() {
    QCOMPARE(Shown_Form(), nullptr);
    QCOMPARE(Program_->Boxes.Unexpected, 0);
    if (Program_->Global) QCOMPARE(Program_->Global->Trap.Depth(), 0);
    Program_.reset();
  }

  void ATraceLogThatCannotBeOpenedIsToldDuringTheStart() {
    Program_->Home.Write("FSCLIENT.INI", "[log file]\r\nCapture To Disk=1\r\nWrite To Disk=1\r\n");
    for (const char* name : {"trace.log", "trace.log.bak"}) {
      std::filesystem::create_directory(Program_->Home / name);
      Put_Bytes(Program_->Home / (std::string(name) + "/file"), "mine");
    }
    Make_Without_Start(*Program_);
    FormUse use([](QDialog& form) {
      QVERIFY(Control<QPlainTextEdit>(form, "errText")
                  ->toPlainText()
                  .contains("Could not open trace log file trace.log"));
      QCOMPARE(Control<QLabel>(form, "ErrModule")->text(), QString("modFailSafe.bas"));
      QCOMPARE(Control<QLabel>(form, "ErrProcedure")->text(), QString("Sub Open_Trace"));
      Press(Qt::Key_W, Qt::AltModifier);
      Type("started");
      Press(Qt::Key_C, Qt::AltModifier);
    });
    use.Ends_By_Itself = true;
    Program_->Global->Main();
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QVERIFY(QTest::qWaitForWindowActive(&Program_->Window()));
    QVERIFY(!Program_->Global->Test().isVisible());
    QCOMPARE(Program_->Global->Trap.ErrorCount(), 1);
    // And goes on without a trace.
    Program_->Global.reset();
    QCOMPARE(Bytes_Of(Program_->Home / "trace.log/file"), std::string("mine"));
    const std::string log = Bytes_Of(Program_->Home / "error.log");
    QVERIFY(log.find("Could not open trace log file trace.log") != std::string::npos);
    QVERIFY(log.find("started\r\n") != std::string::npos);
  }

  void WhileTheSplashIsUpItIsAboveIt() {
    Make_Without_Start(*Program_);
    bool above_splash = false;
    FormUse use([&](QDialog& form) {
      above_splash =
          Program_->Global->Test().isVisible() && form.windowFlags().testFlag(Qt::WindowStaysOnTopHint);
      Press(Qt::Key_Return);
    });
    Program_->Global->Loop.Post(
        [this] { Program_->Global->Trap.fsERROR("global.bas", "Sub Main", RunTimeError(Overflow)); });
    Program_->Global->Main();
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QVERIFY(above_splash);
    QVERIFY(QTest::qWaitForWindowActive(&Program_->Window()));
    QVERIFY(!Program_->Global->Test().isVisible());
  }

  void AnErrorInTheMiddleOfARunLeavesTheRunAlone_data() {
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("tries");
    QTest::newRow("continue") << "nsCtrlContinue" << 1;
    QTest::newRow("ignore") << "cmdIgnore" << 1;
    QTest::newRow("retry") << "cmdRetry" << 2;
  }
  void AnErrorInTheMiddleOfARunLeavesTheRunAlone() {
    QFETCH(QString, button);
    QFETCH(int, tries);
    Program_->Start();
    Program_->Prepare_Run({"aa"});
    FailingFocus failing(*Program_);
    FormUse use([&](QDialog& form) {
      for (const int state : {ResolvingHost, HostResolved, Connecting}) Program_->Inet->State(state);
      QTimer::singleShot(0, this, [this] { Program_->Window().move(50, 60); });
      QTimer::singleShot(10, &form, [this] { Program_->Inet->Answer(Quotes); });
      QTimer::singleShot(30, &form, [&] { Control<QPushButton>(form, qPrintable(button))->click(); });
    });
    use.Ends_By_Itself = true;
    bool in_flight = false;
    Program_->Inet->Started = [&](const std::string&) {
      in_flight = !Shown_Form();
      failing.Bring_About();
    };
    Click(Program_->Get("cmddownload"));
    QVERIFY(in_flight);
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QVERIFY(failing.Times >= tries);
    QCOMPARE(Program_->Inet->Addresses.size(), size_t(1));
    QVERIFY(Program_->Log_Lines().contains("Recorded 2 lines"));
    QVERIFY(Program_->Log_Lines().last().startsWith("Finish at "));
    QCOMPARE(Program_->Output.Names().size(), size_t(1));
  }

  void TheErrorLogHoldsTheErrorAndWhatTheUserSaid() {
    // Its lack would be logged, too.
    std::filesystem::copy_file(HQ_TEST_DATA "/../../packaging/icons/t8.ico", Program_->Home / "t8.ico");
    Program_->Home.Write("FSCLIENT.INI", "[log file]\r\nWrite To Disk=1\r\n");
    Program_->Start();
    FailingFocus failing(*Program_);
    std::string before_the_answer;
    FormUse use([&](QDialog&) {
      before_the_answer = Bytes_Of(Program_->Home / "error.log");
      Press(Qt::Key_W, Qt::AltModifier);
      Type("clicked the days");
      Press(Qt::Key_C, Qt::AltModifier);
    });
    use.Ends_By_Itself = true;
    failing.Bring_About();
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    const std::string log = Bytes_Of(Program_->Home / "error.log");
    const std::string time = General_Date_Text(Program_->Time);
    QVERIFY(log.starts_with(time + "\r\nCategory- General run-time\r\n"));
    for (const char* line :
         {"Code Pointer = frmmain1.frm : Sub txtdays_GotFocus\r\n", "Error Number- 7\r\n",
          "Description- Out of memory\r\n", " 1 : frmmain1.frm : Sub txtdays_GotFocus : \r\n"})
      QVERIFY2(log.find(line) != std::string::npos, line);
    QVERIFY(log.find("clicked the days\r\n") != std::string::npos);
    // All but the user's text is there already while the user is asked.
    QVERIFY(before_the_answer.find("Description- Out of memory\r\n") != std::string::npos);
    QVERIFY(log.starts_with(before_the_answer));
  }

  void AnErrorOfTheDialogsOwnKeysIsLoggedAndAddedAndGoesOn() {
    Program_->Home.Write("FSCLIENT.INI", "[log file]\r\nWrite To Disk=1\r\n");
    Program_->Start();
    [[maybe_unused]] const LibraryLeaks leaks;
    FormUse use([&](QDialog& form) {
      bool failed = false;
      connect(Control<QStackedWidget>(form, "pages"), &QStackedWidget::currentChanged, this, [&] {
        if (!std::exchange(failed, true)) throw RunTimeError(OutOfMemory);
      });
      Control(form, "Combo1")->setFocus();
      Press(Qt::Key_Down);
      QVERIFY(failed);
      QCOMPARE(Control<QPlainTextEdit>(form, "txtFurther")->toPlainText(),
               QString("Out of memory (frmFAILSAFE.frm : Sub Combo1_KeyDown)"));
      QVERIFY(form.isVisible());
      Press(Qt::Key_S);
      QCOMPARE(Control<QStackedWidget>(form, "pages")->currentIndex(), 2);
      QCOMPARE(Program_->Global->Trap.ErrorCount(), 2);
      Press(Qt::Key_Escape);
    });
    QCOMPARE(Program_->Global->Trap.fsERROR("m.bas", "Sub Fails", RunTimeError(Overflow)),
             trap_choice::Continue);
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    const std::string log = Bytes_Of(Program_->Home / "error.log");
    QVERIFY(log.find("Code Pointer = m.bas : Sub Fails\r\n") != std::string::npos);
    QVERIFY(log.find("Code Pointer = frmFAILSAFE.frm : Sub Combo1_KeyDown\r\n") != std::string::npos);
  }

  void AMovedWindowWaitsForTheAnswerOnce_data() {
    QTest::addColumn<bool>("resized");
    QTest::newRow("moved") << false;
    QTest::newRow("resized") << true;
  }
  void AMovedWindowWaitsForTheAnswerOnce() {
    QFETCH(bool, resized);
    constexpr int changes = 50;
    Program_->Start();
    const QSize size = Program_->Window().size();
    int done = 0;
    int waiting = 0;
    int most = 0;
    const auto change = [&](int i) {
      most = std::max(most, waiting);
      ++waiting;
      if (resized)
        Program_->Window().resize(size + QSize(i, i));
      else
        Program_->Window().move(i, 2 * i);
      --waiting;
      ++done;
    };
    FormUse use([&](QDialog& form) {
      for (int i = 1; i <= changes; ++i) QTimer::singleShot(0, this, [&change, i] { change(i); });
      Continue_When(form, [&] { return done + waiting == changes; });
    });
    use.Ends_By_Itself = true;
    Program_->Global->Trap.fsERROR("frmmain1.frm", "Sub Form_Resize", RunTimeError(Overflow));
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QTRY_COMPARE(done, changes);
    QVERIFY(most <= 1);
    Settle();
    QCOMPARE(Program_->Window().size(), size);
    if (!resized) QTRY_COMPARE(Program_->Window().pos(), QPoint(changes, 2 * changes));
  }

  void StatesOfATransferThatComeMeanwhileKeepTheirOrder() {
    Program_->Start();
    Program_->Prepare_Run({"aa"});
    FailingFocus failing(*Program_);
    int waiting = 0;
    int most = 0;
    int came = 0;
    const auto handler = Program_->Inet->StateChanged;
    Program_->Inet->StateChanged = [&](int state) {
      most = std::max(most, waiting);
      ++waiting;
      ++came;
      // Each comes while the one before it waits.
      QTimer::singleShot(0, this, [this, state] {
        if (state < Disconnected) Program_->Inet->State(state + 1);
        if (state == Disconnected) Program_->Inet->Answer(Quotes);
      });
      handler(state);
      --waiting;
    };
    FormUse use([&](QDialog& form) {
      Program_->Inet->State(ResolvingHost);
      Continue_When(form, [&] { return came == ResponseCompleted - 1; });
    });
    use.Ends_By_Itself = true;
    Program_->Inet->Started = [&](const std::string&) {
      // Not while the run sleeps, but when it lets events through: then those of the transfer come, too.
      Program_->Global->Loop.Post([&] { failing.Bring_About(); });
    };
    Click(Program_->Get("cmddownload"));
    QVERIFY(use.Used);
    QVERIFY(!use.Closed);
    QCOMPARE(failing.Times, 1);
    QCOMPARE(most, 1);
    QVERIFY(Program_->Log_Lines().contains("Recorded 2 lines"));
    QCOMPARE(Program_->Output.Names().size(), size_t(1));
  }

 private:
  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::ErrorSessionTest)
#include "error_session_test.moc"
