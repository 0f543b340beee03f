// The error dialog in the real program, with its own trap, logs and windows.

#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <algorithm>

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
    QCOMPARE(Program_->Global->Trap.Depth(), 0);
    Program_.reset();
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
    if (!resized) QCOMPARE(Program_->Window().pos(), QPoint(changes, 2 * changes));
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
