// Wishes to end the window program that do not come from its window: signals, and the end of the user's
// session. The program runs in a process of its own, which is this test started again.

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QLineEdit>
#include <csignal>
#include <cstdio>
#include <unistd.h>

#include "forms/form_support.h"
#include "shell/application.h"
#include "support/child_program.h"

namespace hq::test {

namespace {

// Says so when the program is where it is to be, as soon as a window of the kind is up.
void Say_Ready_When(const std::function<bool()>& there) {
  auto* timer = new QTimer(qApp);
  QObject::connect(timer, &QTimer::timeout, timer, [timer, there] {
    if (!there()) return;
    timer->stop();
    std::puts("ready");
    std::fflush(stdout);
  });
  timer->start(2);
}

bool Modal_Is_Up() {
  return QApplication::activeModalWidget() != nullptr && QApplication::activeModalWidget()->isVisible();
}

// In a run whose transfer gets no answer.
void Begin_A_Run(global& program, const std::string& output) {
  frmmain1& window = program.MainWindow();
  window.findChild<QComboBox*>("cmbInterval")->setCurrentIndex(6);
  window.findChild<QComboBox*>("cmbOutputFormat")->setCurrentIndex(14);
  window.findChild<QLineEdit*>("txtOutputfolder")->setText(QString::fromStdString(output));
  window.findChild<QLineEdit*>("txtnewstock")->setText("IBM");
  window.findChild<QAbstractButton*>("cmdAdd")->click();
  window.findChild<QAbstractButton*>("cmdselectall")->click();
  window.findChild<QAbstractButton*>("cmddownload")->click();
}

// Runs the program, brings it to a place by its name, and lets whoever started the process end it.
int Run_Program(int& count, char** arguments) {
  const std::string place = arguments[2];
  const std::string home = arguments[3];
  Application application(count, arguments);
  InterruptWatch watch;
  application.Listen_To(watch);
  SystemFiles files;
  const FakeClock clock;
  FakeFolders folders;
  RecordingMail mail;
  HeldTransfer* transfer = nullptr;
  ProgramParts parts{files,
                     clock,
                     folders,
                     mail,
                     [&](MessageLoop& loop) {
                       auto inet = std::make_unique<HeldTransfer>(loop);
                       transfer = inet.get();
                       return inet;
                     },
                     [](std::intptr_t, const std::string&) {}};
  parts.ProgramFolder = home;
  parts.RequestTemplate = "http://quotes.test/XXX/SSS?&Date=DDD";
  global program(std::move(parts));
  application.Serve(program);
  // Before the loop there is nothing that a wish could be handed to.
  if (place == "a start that hangs") {
    std::puts("ready");
    std::fflush(stdout);
    for (;;) pause();
  }
  const auto idle = [] { return QApplication::activeWindow() != nullptr; };
  // The timer that looks runs in the dialog's own loop then.
  const auto error_is_shown = [&] { return program.Trap.ErrorCount() > 0; };
  if (place == "a dialog at the start") {
    Say_Ready_When(error_is_shown);
    QTimer::singleShot(0, &application,
                       [&] { program.Trap.fsERROR("global.bas", "Sub Main", RunTimeError(6)); });
  }
  program.Main();
  const auto soon = [&](const std::function<void()>& action) { QTimer::singleShot(0, &application, action); };
  if (place == "an idle window") Say_Ready_When(idle);
  if (place == "a message box") {
    Say_Ready_When(Modal_Is_Up);
    soon([&] { program.Boxes.Show("A question?", "Title", MessageButtons::YesNoCancel, MessageIcon::None); });
  }
  if (place == "the question at the end") {
    Say_Ready_When(Modal_Is_Up);
    soon([&] { program.MainWindow().close(); });
  }
  if (place == "a dialog") {
    Say_Ready_When(Modal_Is_Up);
    soon([&] {
      const InnerLoop inner;
      QDialog dialog(&program.MainWindow());
      dialog.exec();
      // Whoever goes on behind it has been answered by the end of the program.
      files.Open_For_Output(home + "/went on")->Close();
    });
  }
  if (place == "the error dialog") {
    Say_Ready_When(error_is_shown);
    soon([&] { program.Trap.fsERROR("frmmain1.frm", "Sub mnuabout_Click", RunTimeError(6)); });
  }
  if (place == "a run") {
    soon([&] {
      transfer->Started = [](const std::string&) {
        std::puts("ready");
        std::fflush(stdout);
      };
      Begin_A_Run(program, home);
    });
  }
  if (place == "a run behind the error dialog") {
    soon([&] {
      transfer->Started = [&](const std::string&) {
        std::puts("ready");
        std::fflush(stdout);
        program.Trap.fsERROR("frmmain1.frm", "Sub mnuabout_Click", RunTimeError(6));
      };
      Begin_A_Run(program, home);
    });
  }
  if (place == "the end of the session") soon([] { QCoreApplication::quit(); });
  if (place == "an error in a handler") {
    soon([] { throw std::runtime_error("nobody has foreseen this"); });
    Say_Ready_When(error_is_shown);
  }
  return QApplication::exec();
}

}  // namespace

class EndingTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    home_ = std::make_unique<TempFolder>();
    home_->Write("FSCLIENT.INI", "[Log File]\r\nCapture To Disk=1\r\nWrite To Disk=1\r\n");
  }

  void ASignalEndsTheProgramWhereverItIs_data() {
    QTest::addColumn<QString>("place");
    QTest::addColumn<int>("number");
    for (const char* place :
         {"an idle window", "a dialog at the start", "a message box", "the question at the end", "a dialog",
          "the error dialog", "a run", "a run behind the error dialog"}) {
      QTest::newRow(place) << place << SIGTERM;
    }
    QTest::newRow("SIGHUP") << "an idle window" << SIGHUP;
    QTest::newRow("SIGINT") << "a message box" << SIGINT;
  }
  void ASignalEndsTheProgramWhereverItIs() {
    QFETCH(QString, place);
    QFETCH(int, number);
    ChildProgram program(Command(place));
    QVERIFY2(program.Wait_For_Output("ready"), program.Err().c_str());
    program.Signal(number);
    QVERIFY2(program.Wait() == 130, program.Err().c_str());
    Expect_Ended_Logs();
    // Nothing of the user's was saved, and nothing is left of what was under way.
    QVERIFY(!home_->Files().contains("user.cfg"));
    QVERIFY(!home_->Files().contains("went on"));
  }

  void ASignalEndsAStartThatHangs() {
    ChildProgram program(Command("a start that hangs"));
    QVERIFY2(program.Wait_For_Output("ready"), program.Err().c_str());
    program.Signal(SIGTERM);
    QCOMPARE(program.Wait(), 130);
  }

  void TheEndOfTheSessionEndsTheProgramWithoutAQuestion() {
    ChildProgram program(Command("the end of the session"));
    QVERIFY2(program.Wait() == 130, program.Err().c_str());
    Expect_Ended_Logs();
    QVERIFY(!home_->Files().contains("user.cfg"));
  }

  void AnIgnoredSignalStaysIgnored() {
    ChildProgram program(Command("an idle window"), [] { signal(SIGHUP, SIG_IGN); });
    QVERIFY2(program.Wait_For_Output("ready"), program.Err().c_str());
    program.Signal(SIGHUP);
    program.Signal(SIGTERM);
    QCOMPARE(program.Wait(), 130);
    const auto [first, last] = Lines_Of_Trace();
    QVERIFY(last.ends_with("] END PROGRAM "));
  }

  void AKillLosesNothingOfTheTrace() {
    ChildProgram program(Command("a run"));
    QVERIFY2(program.Wait_For_Output("ready"), program.Err().c_str());
    program.Signal(SIGKILL);
    QCOMPARE(program.Wait(), -SIGKILL);
    const auto [first, last] = Lines_Of_Trace();
    QVERIFY2(last.find("Sub Process_Onestock") != std::string::npos ||
                 last.find("Sub Inet1_StateChanged") != std::string::npos,
             last.c_str());
  }

  void AnErrorInAHandlerIsShownAndLoggedAndTheProgramGoesOn() {
    ChildProgram program(Command("an error in a handler"));
    QVERIFY2(program.Wait_For_Output("ready"), program.Err().c_str());
    program.Signal(SIGTERM);
    QCOMPARE(program.Wait(), 130);
    const std::string log = Bytes_Of(*home_ / "error.log");
    QVERIFY2(log.find("nobody has foreseen this\r\n") != std::string::npos, log.c_str());
    QVERIFY2(log.ends_with("\r\nUser Text- \r\n"), log.c_str());
  }

 private:
  [[nodiscard]] std::vector<std::string> Command(const QString& place) const {
    return {QCoreApplication::applicationFilePath().toStdString(), "--as-program", place.toStdString(),
            home_->Path()};
  }
  [[nodiscard]] std::pair<std::string, std::string> Lines_Of_Trace() const {
    QStringList lines = QString::fromStdString(Bytes_Of(*home_ / "trace.log")).split("\r\n");
    if (lines.size() < 3 || !lines.last().isEmpty()) return {};
    return {lines.first().toStdString(), lines[lines.size() - 2].toStdString()};
  }
  void Expect_Ended_Logs() const {
    const auto [first, last] = Lines_Of_Trace();
    QVERIFY2(last.ends_with("] END PROGRAM "), Bytes_Of(*home_ / "trace.log").c_str());
    for (const auto& [name, bytes] : home_->Files()) {
      if (name == "error.log") QVERIFY2(bytes.ends_with("User Text- \r\n"), bytes.c_str());
    }
  }

  std::unique_ptr<TempFolder> home_;
};

}  // namespace hq::test

int main(int count, char** arguments) {
  if (count == 4 && std::string_view(arguments[1]) == "--as-program") {
    return hq::test::Run_Program(count, arguments);
  }
  QApplication application(count, arguments);
  hq::test::EndingTest test;
  return QTest::qExec(&test, count, arguments);
}
#include "ending_test.moc"
