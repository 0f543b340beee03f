// How each procedure of the windows treats an error of one of its statements. A statement that has no
// stand-in behind it is made to fail by what it sets off: a signal or an event of a control whose receiver
// fails.

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <map>
#include <set>

#include "base/strings.h"
#include "errortrap/trap_doubles.h"
#include "forms/form_support.h"
#include "support/procedure_modes.h"

namespace hq::test {

namespace {

// Message boxes that can't be shown: those with FailingText so many times.
class FailingBoxes final : public MessageBoxes {
 public:
  MessageAnswer Show(const std::string& text, const std::string&, MessageButtons, MessageIcon) override {
    Texts.push_back(text);
    if (Contains(text, FailingText) && FailuresLeft > 0) {
      --FailuresLeft;
      throw RunTimeError(OutOfMemory);
    }
    return Answer;
  }
  std::vector<std::string> Texts;
  std::string FailingText;
  int FailuresLeft = 0;
  MessageAnswer Answer = MessageAnswer::No;
};

// Makes the next event of a kind fail that a widget of this name gets inside of a procedure.
class FailingEvent final : public QObject {
 public:
  FailingEvent(QEvent::Type type, const char* widget, modFailSafe& trap, const char* procedure)
      : type_(type), widget_(widget), trap_(trap), procedure_(procedure) {
    qApp->installEventFilter(this);
  }
  bool Came = false;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (Came || event->type() != type_ || watched->objectName() != widget_) return false;
    const std::vector<std::string> stack = trap_.CallStack();
    if (stack.empty() || !Contains(stack.back(), procedure_)) return false;
    Came = true;
    throw RunTimeError(OutOfMemory);
  }

 private:
  QEvent::Type type_;
  QString widget_;
  modFailSafe& trap_;
  std::string procedure_;
};

// Fails when a signal comes for the first time; connected for as long as it exists.
class FailingReceiver final : public QObject {
 public:
  template <class Sender, class Signal>
  FailingReceiver(const Sender* sender, Signal signal) {
    connect(sender, signal, this, [this] {
      if (++Times == 1) throw RunTimeError(OutOfMemory);
    });
  }
  int Times = 0;
};

}  // namespace

class ModesTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Program_ = std::make_unique<Program>();
    Reporter_.Errors.clear();
    Reporter_.Choices.clear();
    Boxes_.Texts.clear();
    Boxes_.Answer = MessageAnswer::No;
    Fail_Box("", 0);
    Records_.clear();
    Failing_Entry_.clear();
    Program_->No_Desktop_Boxes = &Boxes_;
    Make_Without_Start(*Program_);
    Program_->Global->Trap.Set_Reporter(&Reporter_);
    Program_->Global->Trap.Read_Options = [] {
      TraceOptions options;
      options.CheckBalance = true;
      return options;
    };
    Program_->Global->Trap.Write_Record = [this](const TraceRecord& record) { Keep(record); };
  }
  void cleanup() {
    Settle();
    QCOMPARE(Program_->Global->Trap.Depth(), 0);
    QCOMPARE(Program_->Boxes.Unexpected, 0);
    Program_.reset();
  }

  void AnErrorOfAStatementGoesToTheTrapAndItsChoiceIsDone_data() {
    QTest::addColumn<QString>("procedure");
    QTest::addColumn<int>("choice");
    for (const auto& [procedure, call] : Keeping()) {
      for (const int choice : {trap_choice::Retry, trap_choice::Ignore, trap_choice::Continue}) {
        QTest::newRow(qPrintable(procedure + " " + QString::number(choice))) << procedure << choice;
      }
    }
  }
  void AnErrorOfAStatementGoesToTheTrapAndItsChoiceIsDone() {
    QFETCH(QString, procedure);
    QFETCH(int, choice);
    Start();
    Reporter_.Choices = {choice};
    (this->*Keeping()[procedure])(choice);
    if (QTest::currentTestFailed()) return;
    QCOMPARE(Reporter_.Errors.size(), 1U);
    const ProcedureMode mode = Listed(procedure);
    QCOMPARE(int(mode.How), int(Mode::KeepsTrapHandler));
    QCOMPARE(Reporter_.Errors[0].Module, std::string(mode.Module));
    QCOMPARE(Reporter_.Errors[0].Procedure, std::string(mode.Procedure));
    QCOMPARE(Reporter_.Errors[0].Number, int(OutOfMemory));
    QVERIFY(Contains(Reporter_.Errors[0].CallStack.back(), std::string(mode.Procedure)));
    Require_Left(mode);
  }

  void AnErrorOfAStatementIsNotToldToTheTrap_data() {
    QTest::addColumn<QString>("procedure");
    for (const auto& [procedure, call] : Others()) QTest::newRow(qPrintable(procedure)) << procedure;
  }
  void AnErrorOfAStatementIsNotToldToTheTrap() {
    QFETCH(QString, procedure);
    (this->*Others()[procedure])();
    if (QTest::currentTestFailed()) return;
    const ProcedureMode mode = Listed(procedure);
    QVERIFY(mode.How != Mode::KeepsTrapHandler);
    QVERIFY(Reporter_.Errors.empty());
    Require_Left(mode);
  }

  // All that these do is to call a procedure that lets no error out; only their hooks can fail.
  void AnErrorOfTheEntryHookOfAKeyGoesToTheTrap_data() {
    QTest::addColumn<QString>("procedure");
    QTest::addColumn<QString>("box");
    QTest::addColumn<int>("choice");
    QTest::addColumn<QString>("text");
    for (const char* name : {"txtdays", "txtenddate_0"}) {
      const QString procedure =
          QString("frmmain1.frm : Sub %1_KeyPress").arg(QString(name).section('_', 0, 0));
      QTest::newRow(name) << procedure << name << trap_choice::Retry << "7";
      QTest::newRow(name) << procedure << name << trap_choice::Ignore << "7";
      QTest::newRow(name) << procedure << name << trap_choice::Continue << "";
    }
  }
  void AnErrorOfTheEntryHookOfAKeyGoesToTheTrap() {
    QFETCH(QString, procedure);
    QFETCH(QString, box);
    QFETCH(int, choice);
    QFETCH(QString, text);
    Start();
    auto* edit = Program_->Get<QLineEdit>(qPrintable(box));
    edit->setFocus();
    edit->clear();
    Settle();
    Fail_Entry(procedure);
    Reporter_.Choices = {choice};
    Type("7");
    QCOMPARE(edit->text(), text);
    QCOMPARE(Reporter_.Errors.size(), 1U);
    QCOMPARE(Reporter_.Errors[0].Procedure, std::string(Listed(procedure).Procedure));
    Require_Left(Listed(procedure));
    edit->setText("7");  // which passes the check when the focus goes
  }

  void AllProceduresOfTheListAreTested() {
    std::set<QString> tested{"frmmain1.frm : Sub txtdays_KeyPress", "frmmain1.frm : Sub txtenddate_KeyPress"};
    for (const auto& [procedure, call] : Keeping()) tested.insert(procedure);
    for (const auto& [procedure, call] : Others()) tested.insert(procedure);
    std::set<QString> listed;
    for (const ProcedureMode& mode : ProcedureModes) {
      if (mode.NeedsWindow) listed.insert(Name(mode));
    }
    QCOMPARE(tested, listed);
  }

  void ARefusedSaveAsksNothingAgainWhenItsMessageIsTriedAgain() {
    Program_->Memory.OpenError = DiskFull;
    Program_->In_Memory = true;
    Make_Without_Start(*Program_);
    Program_->Global->Trap.Set_Reporter(&Reporter_);
    Start();
    Boxes_.Answer = MessageAnswer::Yes;
    Fail_Box("Can't save your choices to disk.", 2);
    Reporter_.Choices = {trap_choice::Retry};
    Program_->Window().close();
    QCOMPARE(Boxes_.Texts,
             std::vector<std::string>({"Do you want to save your screen choices?",
                                       "Err: Disk full in Save_Config(). Can't save user choices",
                                       "Can't save your choices to disk.", "Can't save your choices to disk.",
                                       "Can't save your choices to disk."}));
    QCOMPARE(Reporter_.Errors.size(), 2U);
    QVERIFY(!Program_->Window().isVisible());
  }

 private:
  using KeepingCall = void (ModesTest::*)(int choice);
  using OtherCall = void (ModesTest::*)();

  static std::map<QString, KeepingCall> Keeping() {
    return {{"frmmain1.frm : Sub Form_QueryUnload", &ModesTest::Form_QueryUnload},
            {"frmmain1.frm : Sub Form_Unload", &ModesTest::Form_Unload},
            {"frmmain1.frm : Sub txtnewstock_KeyDown", &ModesTest::txtnewstock_KeyDown},
            {"frmmain1.frm : Sub txtdays_GotFocus", &ModesTest::txtdays_GotFocus},
            {"frmmain1.frm : Sub txtenddate_GotFocus", &ModesTest::txtenddate_GotFocus},
            {"frmmain1.frm : Sub cmbOutputFormat_KeyDown", &ModesTest::cmbOutputFormat_KeyDown},
            {"frmmain1.frm : Sub cmbOutputFormat_KeyPress", &ModesTest::cmbOutputFormat_KeyPress}};
  }
  static std::map<QString, OtherCall> Others() {
    return {{"global.bas : Sub Main", &ModesTest::Main},
            {"frmtest.frm : Sub Display_About", &ModesTest::Display_About},
            {"frmmain1.frm : Sub Form_Load", &ModesTest::Form_Load},
            {"global.bas : Sub Exit_Program", &ModesTest::Exit_Program},
            {"frmlog.frm : Sub cmdClose_Click", &ModesTest::cmdClose_Click},
            {"frmtest.frm : Sub cmdok_Click", &ModesTest::cmdok_Click},
            {"frmtest.frm : Sub Form_Load", &ModesTest::About_Form_Load},
            {"frmmain1.frm : Sub cmbInterval_Click", &ModesTest::cmbInterval_Click},
            {"frmmain1.frm : Sub cmdAdd_Click", &ModesTest::cmdAdd_Click},
            {"frmmain1.frm : Sub mnuabout_Click", &ModesTest::mnuabout_Click},
            {"frmmain1.frm : Sub txtdays_LostFocus", &ModesTest::txtdays_LostFocus},
            {"frmmain1.frm : Sub txtenddate_LostFocus", &ModesTest::txtenddate_LostFocus},
            {"frmmain1.frm : Sub cmddel_Click", &ModesTest::cmddel_Click},
            {"frmmain1.frm : Sub cmdfolder_Click", &ModesTest::cmdfolder_Click},
            {"frmmain1.frm : Sub cmdlookup_Click", &ModesTest::cmdlookup_Click},
            {"frmmain1.frm : Sub cmdselectall_Click", &ModesTest::cmdselectall_Click},
            {"frmmain1.frm : Sub Command2_Click", &ModesTest::Command2_Click},
            {"frmmain1.frm : Sub Form_Resize", &ModesTest::Form_Resize}};
  }

  // Procedures that keep the trap's handler -------------------------------------------------------------

  void Form_QueryUnload(int choice) {
    Boxes_.Answer = MessageAnswer::Cancel;
    Fail_Box("Do you want to save", 1);
    Program_->Window().close();
    // The question is asked again and answered; otherwise the close goes on without an answer.
    QCOMPARE(Boxes_.Texts.size(), choice == trap_choice::Retry ? 2U : 1U);
    QCOMPARE(Program_->Window().isVisible(), choice == trap_choice::Retry);
  }

  // Its one statement lets no error out; only its hook can fail.
  void Form_Unload(int choice) {
    Fail_Entry("frmmain1.frm : Sub Form_Unload");
    Program_->Window().close();
    QCOMPARE(Program_->Global->Loop.Ended(), choice != trap_choice::Continue);
  }

  // Likewise.
  void txtnewstock_KeyDown(int choice) {
    Program_->Get<QLineEdit>("txtnewstock")->setText("ibm");
    Program_->Get("txtnewstock")->setFocus();
    Fail_Entry("frmmain1.frm : Sub txtnewstock_KeyDown");
    Press(Qt::Key_Return);
    QCOMPARE(Program_->Stocks().contains("IBM"), choice != trap_choice::Continue);
  }

  void txtdays_GotFocus(int choice) { Fail_Selection("txtdays", choice); }
  void txtenddate_GotFocus(int choice) { Fail_Selection("txtenddate_1", choice); }

  // These have no statement at all.
  void cmbOutputFormat_KeyDown(int /*choice*/) { Fail_Key("frmmain1.frm : Sub cmbOutputFormat_KeyDown"); }
  void cmbOutputFormat_KeyPress(int /*choice*/) { Fail_Key("frmmain1.frm : Sub cmbOutputFormat_KeyPress"); }

  void Fail_Selection(const char* name, int choice) {
    auto* box = Program_->Get<QLineEdit>(name);
    Program_->Get("cmdAdd")->setFocus();
    Settle();
    box->deselect();
    int selections = 0;
    const QMetaObject::Connection failing = connect(box, &QLineEdit::selectionChanged, this, [&] {
      if (!Inside("_GotFocus")) return;
      ++selections;
      if (selections == 1) throw RunTimeError(OutOfMemory);
    });
    box->setFocus(Qt::TabFocusReason);
    box->deselect();
    Settle();
    disconnect(failing);
    QVERIFY(selections >= 1);
    if (choice == trap_choice::Retry) QCOMPARE(box->selectedText(), box->text());
    QVERIFY(box->hasFocus());
  }

  void Fail_Key(const char* procedure) {
    auto* box = Program_->Get<QComboBox>("cmbOutputFormat");
    box->setFocus();
    const int before = box->currentIndex();
    Fail_Entry(procedure);
    Press(Qt::Key_Down);
    QCOMPARE(box->currentIndex(), before);
  }

  // Procedures with a handler of their own ---------------------------------------------------------------

  void Main() {
    Program_->Global->Parts.Make_Inet = [](MessageLoop&) -> std::unique_ptr<TransferControl> {
      throw RunTimeError(OutOfMemory);
    };
    Program_->Global->Main();
    QCOMPARE(Boxes_.Texts, std::vector<std::string>({"Err Out of memory inside Main(). Report!"}));
    QVERIFY(Program_->Global->Loop.Ended());
  }

  void Display_About() {
    FailingEvent failing(QEvent::Show, "frmtest", Program_->Global->Trap, "Sub Display_About");
    Start();
    QVERIFY(failing.Came);
    QVERIFY(Boxes_.Texts.empty());
    QVERIFY(Program_->Window().isVisible());
  }

  void Form_Load() {
    Program_->Time.TodayError = Overflow;
    Start();
    QCOMPARE(Boxes_.Texts, std::vector<std::string>({"unhandled err 6 Overflow inside form_load()!"}));
    QCOMPARE(Program_->Text("txtenddate_0"), QString());
    QCOMPARE(Program_->Text("txtdays"), QString("500"));
  }

  // Procedures that skip failing statements --------------------------------------------------------------

  void Exit_Program() {
    Start();
    Program_->Global->Log().show();
    FailingEvent failing(QEvent::Hide, "frmmain1", Program_->Global->Trap, "Sub Exit_Program");
    Program_->Window().close();
    QVERIFY(failing.Came);
    QVERIFY(!Program_->Global->Log().isVisible());
    QVERIFY(Program_->Global->Loop.Ended());
  }

  void cmdClose_Click() {
    Start();
    Program_->Global->Log().show();
    Program_->Global->Log().Add("a line");
    auto* list = Program_->Global->Log().findChild<QListWidget*>("lstlog");
    const FailingReceiver failing(list->model(), &QAbstractItemModel::modelReset);
    Program_->Global->Log().cmdClose_Click();
    QCOMPARE(failing.Times, 1);
    QVERIFY(!Program_->Global->Log().isVisible());
  }

  void cmdok_Click() {
    Start();
    frmtest& about = Program_->Global->Test();
    about.Show_About(1, 0);
    about.move(0, 0);
    Settle();
    FailingEvent failing(QEvent::Move, "frmtest", Program_->Global->Trap, "Sub cmdok_Click");
    about.cmdok_Click();
    QVERIFY(failing.Came);
    QVERIFY(!about.isVisible());
    QVERIFY(!about.windowFlags().testFlag(Qt::WindowStaysOnTopHint));
  }

  void About_Form_Load() {
    FailingEvent failing(QEvent::WindowIconChange, "frmtest", Program_->Global->Trap, "Sub Form_Load");
    Start();
    QVERIFY(failing.Came);
    QVERIFY(Boxes_.Texts.empty());
    QVERIFY(Program_->Window().isVisible());
  }

  void cmbInterval_Click() {
    Start();
    auto* box = Program_->Get<QComboBox>("cmbInterval");
    box->addItem("Daily - 99999 days at most7");
    box->setCurrentIndex(box->count() - 1);
    QCOMPARE(Program_->Text("txtdays"), QString("500"));
    QVERIFY(Boxes_.Texts.empty());
  }

  void cmdAdd_Click() {
    Start();
    auto* box = Program_->Get<QLineEdit>("txtnewstock");
    for (int i = 0; i < 2; ++i) {
      box->setText("ibm");
      Fail_Box("Stock symbol IBM already exists.", 1);
      Click(Program_->Get("cmdAdd"));
    }
    QCOMPARE(Boxes_.Texts, std::vector<std::string>({"Stock symbol IBM already exists."}));
    QCOMPARE(Boxes_.FailuresLeft, 0);
    QCOMPARE(box->text(), QString());
    QVERIFY(box->hasFocus());
    QCOMPARE(Program_->Window().cursor().shape(), Qt::ArrowCursor);
  }

  void mnuabout_Click() {
    Start();
    FailingEvent failing(QEvent::Show, "frmtest", Program_->Global->Trap, "Sub mnuabout_Click");
    Program_->Window().findChild<QAction*>("mnuabout")->trigger();
    QVERIFY(failing.Came);
    QVERIFY(Boxes_.Texts.empty());
  }

  void txtdays_LostFocus() { Fail_Check("txtdays", "'Days' has to be between 1 and 500"); }
  void txtenddate_LostFocus() { Fail_Check("txtenddate_0", "Invalid month value! Enter between 1 to 12"); }

  void cmddel_Click() {
    Start();
    Fill({"aa", "bb", "cc"});
    Program_->Get<QListWidget>("lstStock")->selectAll();
    const FailingReceiver failing(Program_->Get<QListWidget>("lstStock")->model(),
                                  &QAbstractItemModel::rowsAboutToBeRemoved);
    Click(Program_->Get("cmddel"));
    QCOMPARE(failing.Times, 3);
    QCOMPARE(Program_->Stocks(), QStringList({"CC"}));
  }

  void cmdfolder_Click() {
    Start();
    auto* box = Program_->Get<QLineEdit>("txtOutputfolder");
    Program_->Folders.Chosen = FolderDialog::Item{"out", "/some/folder"};
    const FailingReceiver failing(box, &QLineEdit::textChanged);
    const LibraryLeaks leaks;
    Click(Program_->Get("cmdfolder"));
    QCOMPARE(failing.Times, 1);
    QVERIFY(Boxes_.Texts.empty());
  }

  void cmdlookup_Click() {
    Start();
    int calls = 0;
    Program_->Global->Parts.Open_Address = [&](const std::string&) {
      ++calls;
      throw RunTimeError(FileNotFound);
    };
    Click(Program_->Get("cmdlookup"));
    QCOMPARE(calls, 1);
    QVERIFY(Boxes_.Texts.empty());
  }

  void cmdselectall_Click() {
    Start();
    Fill({"aa", "bb"});
    const FailingReceiver failing(Program_->Get<QListWidget>("lstStock"), &QListWidget::itemSelectionChanged);
    const LibraryLeaks leaks;
    Click(Program_->Get("cmdselectall"));
    QCOMPARE(failing.Times, 1);
    QVERIFY(Boxes_.Texts.empty());
  }

  void Command2_Click() {
    Start();
    auto* box = Program_->Get<QComboBox>("cmbOutputFormat");
    Fail_Box("", 1);
    Click(Program_->Get("Command2"));
    QCOMPARE(Boxes_.Texts.size(), 1U);
    // An index that names no format, and a text that is too short for one.
    for (const char* text : {"Nothing        99", "x"}) {
      box->addItem(text);
      box->setCurrentIndex(box->count() - 1);
      Click(Program_->Get("Command2"));
    }
    QCOMPARE(Boxes_.Texts.size(), 1U);
  }

  void Form_Resize() {
    Start();
    const QSize before = Program_->Window().size();
    FailingEvent failing(QEvent::Resize, "frmmain1", Program_->Global->Trap, "Sub Form_Resize");
    Program_->Window().resize(before + QSize(50, 50));
    QVERIFY(failing.Came);
    Program_->Window().resize(before + QSize(60, 60));
    QTRY_COMPARE(Program_->Window().size(), before);
    QVERIFY(Boxes_.Texts.empty());
  }

  void Fail_Check(const char* name, const char* message) {
    Start();
    auto* box = Program_->Get<QLineEdit>(name);
    box->setFocus();
    Settle();
    box->setText("99999");
    if (QString(name) == "txtdays") box->setText("501");
    Fail_Box(message, 1);
    Program_->Get("cmdAdd")->setFocus();
    Settle();
    QCOMPARE(Boxes_.Texts.size(), 1U);
    QVERIFY(Contains(Boxes_.Texts[0], message));
    QCOMPARE(Boxes_.FailuresLeft, 0);
    // The next statement puts the focus back all the same.
    QVERIFY(box->hasFocus());
    QCOMPARE(box->selectedText(), box->text());
    box->setText("1");
  }

  // -----------------------------------------------------------------------------------------------------

  void Start() {
    Program_->Global->Main();
    QVERIFY(QTest::qWaitForWindowActive(&Program_->Window()));
  }
  void Fill(const QStringList& symbols) {
    auto* list = Program_->Get<QListWidget>("lstStock");
    list->clear();
    for (const QString& symbol : symbols) {
      Program_->Get<QLineEdit>("txtnewstock")->setText(symbol);
      Click(Program_->Get("cmdAdd"));
    }
  }
  void Fail_Box(const std::string& text, int times) {
    Boxes_.FailingText = text;
    Boxes_.FailuresLeft = times;
  }
  void Fail_Entry(const QString& procedure) { Failing_Entry_ = procedure.toStdString(); }
  bool Inside(const char* procedure) {
    const std::vector<std::string> stack = Program_->Global->Trap.CallStack();
    return !stack.empty() && Contains(stack.back(), procedure);
  }

  void Keep(const TraceRecord& record) {
    const bool entry = record.Way == TraceRecord::Direction::Entry;
    const std::string name(Trim(record.EntryText.substr(0, record.EntryText.rfind(" : "))));
    Records_.push_back((entry ? "-> " : "<- ") + name);
    if (entry && name == Failing_Entry_) {
      Failing_Entry_.clear();
      throw RunTimeError(OutOfMemory, "trace log");
    }
  }
  // Every entry of the procedure was followed by an exit, and there was one.
  void Require_Left(const ProcedureMode& mode) {
    const std::string name = Name(mode).toStdString();
    const auto exits = std::count(Records_.begin(), Records_.end(), "<- " + name);
    const auto entries = std::count(Records_.begin(), Records_.end(), "-> " + name);
    QVERIFY(exits > 0);
    // An entry that is tried again is written twice.
    QVERIFY(entries == exits ||
            (entries == exits + 1 && Reporter_.Choices == std::deque{trap_choice::Retry}));
    QCOMPARE(Program_->Global->Trap.Depth(), 0);
  }

  static QString Name(const ProcedureMode& mode) {
    return QString::fromStdString(std::string(mode.Module) + " : " + std::string(mode.Procedure));
  }
  static ProcedureMode Listed(const QString& name) {
    for (const ProcedureMode& mode : ProcedureModes) {
      if (Name(mode) == name) return mode;
    }
    qFatal("not in the list: %s", qPrintable(name));
  }

  std::unique_ptr<Program> Program_;
  ScriptedReporter Reporter_;
  FailingBoxes Boxes_;
  std::vector<std::string> Records_;
  std::string Failing_Entry_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::ModesTest)
#include "modes_test.moc"
