// One session from the start of the program to its end: which procedures are entered and left, in which order
// and how deep.

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRegularExpression>
#include <functional>
#include <set>

#include "base/strings.h"
#include "forms/form_support.h"
#include "platform/clock.h"
#include "support/procedure_modes.h"

namespace hq::test {

namespace {

// Writes a session as an indented text: "NAME" for a procedure that calls none, "NAME {" and "}" round what a
// procedure calls.
class CallTree {
 public:
  // A level's text: its indentation, the module, the procedure and what follows them.
  void Keep(TraceRecord::Direction way, std::string text) {
    const size_t end = text.find(" : ", text.find(" : ") + 3);
    if (end == std::string::npos) return Fail("an entry text without its end: " + text);
    text.erase(end);
    if (Contains(text, "Sub Form_Resize")) return Keep_Resize(way, text);
    if (way == TraceRecord::Direction::Entry) {
      if (!lines_.empty() && last_was_entry_) lines_.back() += " {";
      lines_.push_back(text);
      open_.push_back(text);
      last_was_entry_ = true;
      Entered.insert(std::string(Trim(text)));
      return;
    }
    if (open_.empty() || open_.back() != text) return Fail("left without having been entered: " + text);
    open_.pop_back();
    if (!last_was_entry_) lines_.push_back(text.substr(0, text.find_first_not_of(' ')) + "}");
    last_was_entry_ = false;
  }

  // The text since the last call, behind a first empty line; nothing may be open.
  std::string Take() {
    std::string text = "\n";
    for (const std::string& line : lines_) text += line + "\n";
    if (!open_.empty()) text += "never left: " + open_.back() + "\n";
    lines_.clear();
    last_was_entry_ = false;
    return text;
  }

  std::set<std::string> Entered;

 private:
  // It comes with every move and size that the system gives a window, as often as the system likes. It calls
  // nothing, so only its own balance is looked at.
  void Keep_Resize(TraceRecord::Direction way, const std::string& text) {
    Entered.insert(std::string(Trim(text)));
    resizes_ += way == TraceRecord::Direction::Entry ? 1 : -1;
    if (resizes_ < 0) Fail("left too often: " + text);
  }
  void Fail(const std::string& what) { lines_.push_back("FAULT: " + what); }

  std::vector<std::string> lines_;
  std::vector<std::string> open_;
  bool last_was_entry_ = false;
  int resizes_ = 0;
};

}  // namespace

class CallTreeTest : public QObject {
  Q_OBJECT

 private slots:
  void ASessionGoesThroughEveryProcedure() {
    CallTree tree;
    Program program;
    Make_Without_Start(program);
    modFailSafe& trap = program.Global->Trap;
    trap.Write_Record = [&](const TraceRecord& record) {
      tree.Keep(record.Way, std::string(record.EntryText));
    };
    Go_Through_A_Session(program, [&](const char* expected) {
      Settle();
      QCOMPARE(tree.Take(), std::string(expected));
    });
    QCOMPARE(trap.Depth(), 0);
    QCOMPARE(tree.Entered, All_Procedures());
  }

  void TheTraceLogHoldsTheWholeSession() {
    Program program;
    program.Home.Write("FSCLIENT.INI", "[log file]\r\nCapture To Disk=1\r\n");
    Make_Without_Start(program);
    std::string expected = "\n";
    Go_Through_A_Session(program, [&](const char* text) {
      Settle();
      expected += text + 1;
    });
    const std::int32_t records = program.Global->Trap.RecordCount();
    program.Global.reset();

    QStringList lines = QString::fromStdString(Bytes_Of(program.Home / "trace.log")).split("\r\n");
    QCOMPARE(lines.takeLast(), QString());
    const std::string begun = " <" + System_Date_Text(std::chrono::year(2003) / 3 / 14) + ", " +
                              System_Time_Text(std::chrono::hours(10)) + ">";
    QVERIFY2(lines.takeFirst().endsWith(QString::fromLocal8Bit(begun)), "the first line");
    QVERIFY2(lines.takeLast().endsWith("] END PROGRAM "), "the last line");
    CallTree tree;
    const QRegularExpression form(R"(^\[[^\]]+\] \[(\d{5,})\] \[(\d{5,}\.\d{4})\] (->|<-)( *\S.*)$)");
    std::int32_t number = 0;
    double milliseconds = 0;
    for (const QString& line : lines) {
      const QRegularExpressionMatch parts = form.match(line);
      QVERIFY2(parts.hasMatch(), qPrintable(line));
      QCOMPARE(parts.captured(1).toInt(), ++number);
      QVERIFY2(parts.captured(2).toDouble() >= milliseconds, qPrintable(line));
      milliseconds = parts.captured(2).toDouble();
      tree.Keep(parts.captured(3) == "->" ? TraceRecord::Direction::Entry : TraceRecord::Direction::Exit,
                parts.captured(4).toStdString());
    }
    QCOMPARE(number, records);
    QCOMPARE(tree.Take(), expected);
    QCOMPARE(tree.Entered, All_Procedures());
  }

 private:
  static std::set<std::string> All_Procedures() {
    std::set<std::string> all;
    for (const ProcedureMode& mode : ProcedureModes) {
      all.insert(std::string(mode.Module) + " : " + std::string(mode.Procedure));
    }
    return all;
  }

  // Uses everything there is, and tells step by step what was to be entered since the step before.
  static void Go_Through_A_Session(Program& program, const std::function<void(const char*)>& expect) {
    program.Global->Main();
    QVERIFY(QTest::qWaitForWindowActive(&program.Window()));
    expect(Start);

    Click(program.Get("txtnewstock"));
    Type("ib");
    Press(Qt::Key_Return);
    expect(Adding);

    Click(program.Get("cmdselectall"));
    Click(program.Get("cmddel"));
    expect(SelectingAndRemoving);
    Click(program.Get("txtnewstock"));
    Type("msft");
    Press(Qt::Key_Return);
    Click(program.Get("cmdselectall"));
    expect(AddingAnother);

    program.Pick("cmbInterval", 5);
    program.Pick("cmbInterval", 6);
    expect(Intervals);

    program.Get("cmbOutputFormat")->setFocus();
    Press(Qt::Key_X);
    program.Pick("cmbOutputFormat", 14);
    program.Boxes.Expect(Qt::Key_Return);
    Click(program.Get("Command2"));
    expect(Formats);

    program.Folders.Chosen = FolderDialog::Item{"out", program.Output.Path()};
    Click(program.Get("cmdfolder"));
    expect(Folder);

    Click(program.Get("txtdays"));
    Settle();
    Type("5x");
    Click(program.Get("txtenddate_1"));
    Settle();
    Type("4");
    Click(program.Get("cmdlookup"));
    expect(Boxes);
    QCOMPARE(program.Opened.size(), 1U);

    // The rows of an answer that are not in the order of time.
    program.Inet->Started = [&](const std::string&) {
      for (const int state : {ResolvingHost, HostResolved, Connecting}) program.Inet->State(state);
      program.Inet->Answer("030314,0930,3,4,2.5,3.5,300\n030313,0930,2,3,1.5,2.5,200\n");
    };
    Click(program.Get("cmddownload"));
    expect(Download);
    QCOMPARE(program.Output.Names().size(), 1U);

    Click(program.Global->Log().findChild<QWidget*>("cmdClose"));
    expect(ClosingTheLog);
    program.Window().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&program.Window()));

    program.Window().findChild<QAction*>("mnuabout")->trigger();
    QVERIFY(QTest::qWaitForWindowActive(&program.Global->Test()));
    Click(program.Global->Test().findChild<QWidget*>("cmdok"));
    expect(About);

    program.Boxes.Expect(Qt::Key_Y);
    program.Window().close();
    expect(End);

    QCOMPARE(program.Boxes.Unexpected, 0);
  }

  static constexpr const char* Start = R"(
global.bas : Sub Main {
 frmtest.frm : Sub Form_Load
 frmtest.frm : Sub Display_About
 global.bas : Sub Load_Config
 frmtest.frm : Sub Display_About
 frmmain1.frm : Sub Form_Load {
  disk.bas : Sub Load_Format
  frmmain1.frm : Sub cmbInterval_Click
 }
}
)";
  static constexpr const char* Adding = R"(
frmmain1.frm : Sub txtnewstock_KeyDown
frmmain1.frm : Sub txtnewstock_KeyDown
frmmain1.frm : Sub txtnewstock_KeyDown {
 frmmain1.frm : Sub cmdAdd_Click
}
)";
  static constexpr const char* SelectingAndRemoving = R"(
frmmain1.frm : Sub cmdselectall_Click
frmmain1.frm : Sub cmddel_Click
)";
  static constexpr const char* AddingAnother = R"(
frmmain1.frm : Sub txtnewstock_KeyDown
frmmain1.frm : Sub txtnewstock_KeyDown
frmmain1.frm : Sub txtnewstock_KeyDown
frmmain1.frm : Sub txtnewstock_KeyDown
frmmain1.frm : Sub txtnewstock_KeyDown {
 frmmain1.frm : Sub cmdAdd_Click
}
frmmain1.frm : Sub cmdselectall_Click
)";
  static constexpr const char* Intervals = R"(
frmmain1.frm : Sub cmbInterval_Click
frmmain1.frm : Sub cmbInterval_Click
)";
  static constexpr const char* Formats = R"(
frmmain1.frm : Sub cmbOutputFormat_KeyDown
frmmain1.frm : Sub cmbOutputFormat_KeyPress
frmmain1.frm : Sub Command2_Click
)";
  static constexpr const char* Folder = R"(
frmmain1.frm : Sub cmdfolder_Click {
 filebrowse.bas : Function BrowseForFolder
}
)";
  static constexpr const char* Boxes = R"(
frmmain1.frm : Sub txtdays_GotFocus
frmmain1.frm : Sub txtdays_KeyPress {
 global.bas : Function Keyin_Number
}
frmmain1.frm : Sub txtdays_KeyPress {
 global.bas : Function Keyin_Number
}
frmmain1.frm : Sub txtdays_LostFocus
frmmain1.frm : Sub txtenddate_GotFocus
frmmain1.frm : Sub txtenddate_KeyPress {
 global.bas : Function Keyin_Number
}
frmmain1.frm : Sub cmdlookup_Click
frmmain1.frm : Sub txtenddate_LostFocus
)";
  static constexpr const char* Download = R"(
frmmain1.frm : Sub cmddownload_Click {
 frmmain1.frm : Function Valid_Entry
 frmmain1.frm : Sub Process_Onestock {
  frmmain1.frm : Sub Inet1_StateChanged
  frmmain1.frm : Sub Inet1_StateChanged
  frmmain1.frm : Sub Inet1_StateChanged
  frmmain1.frm : Sub Inet1_StateChanged
  global.bas : Sub Process_Interday
  global.bas : Function Need_Sort
  global.bas : Sub QuickSort
  global.bas : Sub Set_StartIndex
  disk.bas : Function Create_FileName
  disk.bas : Function Create_FileName
  disk.bas : Function Create_FileName
  disk.bas : Sub Write_File {
   disk.bas : Function FormatOneLine
   disk.bas : Function FormatOneLine
  }
 }
}
)";
  static constexpr const char* ClosingTheLog = R"(
frmlog.frm : Sub cmdClose_Click
)";
  static constexpr const char* About = R"(
frmmain1.frm : Sub mnuabout_Click
frmtest.frm : Sub cmdok_Click
)";
  static constexpr const char* End = R"(
frmmain1.frm : Sub Form_QueryUnload {
 frmmain1.frm : Function Save_Config
}
frmmain1.frm : Sub Form_Unload {
 global.bas : Sub Exit_Program
}
)";
};

}  // namespace hq::test

QTEST_MAIN(hq::test::CallTreeTest)
#include "call_tree_test.moc"
