// The two pick lists: what they hold and what of it is in sight, the format list's deafness to keys and
// wheel, and the samples button.

#include <QAbstractItemView>
#include <QComboBox>
#include <QStyledItemDelegate>
#include <QWheelEvent>

#include "base/strings.h"
#include "entry/interval_choice.h"
#include "forms/form_support.h"
#include "output/format_catalogue.h"

namespace hq::test {

class FormatListTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Program_ = std::make_unique<Program>();
    Program_->Start();
    Formats_ = Program_->Get<QComboBox>("cmbOutputFormat");
  }
  void cleanup() {
    QCOMPARE(Program_->Boxes.Unexpected, 0);
    QCOMPARE(Program_->Global->Trap.Depth(), 0);
    Program_.reset();
  }

  void TheItemsHoldTheWholeTexts() {
    QCOMPARE(Formats_->count(), 15);
    for (int i = 0; i < 15; ++i) {
      QCOMPARE(To_Text(Formats_->itemText(i)), Format_Items()[static_cast<size_t>(i)]);
    }
    const auto* intervals = Program_->Get<QComboBox>("cmbInterval");
    QCOMPARE(intervals->count(), 7);
    const QList<int> minutes{1, 5, 10, 20, 30, 60, 1440};
    for (int i = 0; i < 7; ++i) {
      QCOMPARE(To_Text(intervals->itemText(i)), Interval_Choices()[static_cast<size_t>(i)].Text);
      QCOMPARE(intervals->itemData(i).toInt(), minutes[i]);
    }
    QCOMPARE(intervals->itemText(0), "Intraday:1 Minute - 1 day at most" + QString(25, ' ') + "0");
    QCOMPARE(Formats_->itemText(0), "Aget -Daily" + QString(57, ' ') + "00");
  }

  // The box draws the same picture as one that holds the visible part alone.
  void TheClosedBoxDrawsNeitherBlanksNorIndex() {
    for (const char* name : {"cmbInterval", "cmbOutputFormat"}) {
      auto* box = Program_->Get<QComboBox>(name);
      for (int i = 0; i < box->count(); ++i) {
        box->setCurrentIndex(i);
        const QImage shown = Picture_Of(box);
        const QString whole = box->itemText(i);
        const int digits = box->count() == 7 ? 1 : 2;
        const QString visible = whole.chopped(digits).trimmed();
        box->setItemText(i, visible + QString(digits, '#'));
        QCOMPARE(Picture_Of(box), shown);
        box->setItemText(i, whole);
      }
    }
  }

  void TheOpenedListShowsNeitherBlanksNorIndex() {
    for (const char* name : {"cmbInterval", "cmbOutputFormat"}) {
      auto* box = Program_->Get<QComboBox>(name);
      const auto* delegate = qobject_cast<QStyledItemDelegate*>(box->view()->itemDelegate());
      QVERIFY(delegate != nullptr);
      for (int i = 0; i < box->count(); ++i) {
        const int digits = box->count() == 7 ? 1 : 2;
        const QString visible = box->itemText(i).chopped(digits).trimmed();
        QCOMPARE(delegate->displayText(box->itemText(i), QLocale()), visible);
        QVERIFY(!visible.contains("      "));
        QCOMPARE(box->itemData(i, Qt::AccessibleTextRole).toString(), visible);
      }
      Click(box);
      QTRY_VERIFY(box->view()->isVisible());
      QCOMPARE(box->view()->itemDelegate(), delegate);
      // All texts fit into the opened list.
      const auto* view = box->view();
      for (int i = 0; i < box->count(); ++i) {
        const QModelIndex index = box->model()->index(i, 0);
        QVERIFY(view->viewport()->width() >= view->sizeHintForIndex(index).width());
        QVERIFY(view->viewport()->rect().contains(view->visualRect(index)));
      }
      Press(Qt::Key_Escape);
      QTRY_VERIFY(!box->view()->isVisible());
    }
  }

  void KeysChangeNothingInTheClosedBox() {
    Program_->Pick("cmbOutputFormat", 5);
    Formats_->setFocus();
    for (const Qt::Key key : All_Keys()) {
      Press(key);
      QCOMPARE(Formats_->currentIndex(), 5);
      QVERIFY(Formats_->hasFocus());
      QVERIFY(!Formats_->view()->isVisible());
    }
    Press(Qt::Key_Down, Qt::AltModifier);
    Press(Qt::Key_T, Qt::ShiftModifier);
    Press(Qt::Key_End, Qt::ControlModifier);
    QCOMPARE(Formats_->currentIndex(), 5);
    QVERIFY(!Formats_->view()->isVisible());
  }

  void KeysChangeNothingInTheOpenedList() {
    Program_->Pick("cmbOutputFormat", 5);
    Click(Formats_);
    QTRY_VERIFY(Formats_->view()->isVisible());
    for (const Qt::Key key : All_Keys()) {
      Press(key);
      QCOMPARE(Formats_->currentIndex(), 5);
      QCOMPARE(Formats_->view()->currentIndex().row(), 5);
      QVERIFY(Formats_->view()->isVisible());
    }
    Press(Qt::Key_Escape);
    QTRY_VERIFY(!Formats_->view()->isVisible());
    QCOMPARE(Formats_->currentIndex(), 5);
  }

  void EveryKeyIsTracedAndDiscarded() {
    std::vector<std::string> entered;
    Program_->Global->Trap.Write_Record = [&](const TraceRecord& record) {
      if (record.Way == TraceRecord::Direction::Entry && hq::Contains(record.EntryText, "cmbOutputFormat")) {
        entered.emplace_back(record.EntryText);
      }
    };
    Formats_->setFocus();
    Press(Qt::Key_T);
    Program_->Global->Trap.Write_Record = nullptr;
    QCOMPARE(entered.size(), 2U);
    QVERIFY(hq::Contains(entered[0], "Sub cmbOutputFormat_KeyDown"));
    QVERIFY(hq::Contains(entered[1], "Sub cmbOutputFormat_KeyPress"));
  }

  void TheWheelChangesNothing() {
    Program_->Pick("cmbOutputFormat", 5);
    for (const int turn : {-120, 120, -1200}) {
      Turn_Wheel(Formats_, turn);
      QCOMPARE(Formats_->currentIndex(), 5);
    }
    Formats_->setFocus();
    Turn_Wheel(Formats_, -120);
    QCOMPARE(Formats_->currentIndex(), 5);
    Click(Formats_);
    QTRY_VERIFY(Formats_->view()->isVisible());
    Turn_Wheel(Formats_->view()->viewport(), -240);
    QCOMPARE(Formats_->currentIndex(), 5);
    Press(Qt::Key_Escape);
    QTRY_VERIFY(!Formats_->view()->isVisible());
    QCOMPARE(Formats_->currentIndex(), 5);
  }

  void AMousePickChangesIt() {
    for (const int row : {0, 14, 7}) {
      Program_->Pick("cmbOutputFormat", row);
      QCOMPARE(Formats_->currentIndex(), row);
    }
  }

  void TabMovesOnAndBack() {
    Formats_->setFocus();
    Press(Qt::Key_Tab);
    QVERIFY(Program_->Get("Command2")->hasFocus());
    Press(Qt::Key_Backtab, Qt::ShiftModifier);
    QVERIFY(Formats_->hasFocus());
    Press(Qt::Key_Backtab, Qt::ShiftModifier);
    QVERIFY(Program_->Get("cmbInterval")->hasFocus());
  }

  void TheChoiceReachesTheRunSettingsOnlyInARun() {
    QCOMPARE(Program_->Global->State.Settings.CurrentFormat, 11);
    Program_->Pick("cmbOutputFormat", 3);
    QCOMPARE(Program_->Global->State.Settings.CurrentFormat, 11);
  }

  void TheSamplesButtonShowsTheSamplesOfTheFormat_data() {
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("prompt");
    QTest::newRow("first") << 0 << "Samples: Aget -Daily"
                           << "03/10/03,23.040,23.140,22.980,23.010,5875387,0\n"
                              "03/11/03,23.060,23.270,22.900,23.150,14456329,0\n . . . ";
    QTest::newRow("angle brackets") << 3 << "Samples: Metastock Downloader-Intraday"
                                    << "<ticker>,<per>,<date>,<time>,<open>,<high>,<low>,<close>,<vol>\n"
                                       "MSFT,D,20030310,13:30,23.040,23.140,22.980,23.010,5875387\n"
                                       "MSFT,D,20030310,14:30,23.010,23.140,22.980,23.030,6617375\n . . . ";
    QTest::newRow("one line") << 12 << "Samples: Text without header-Intraday"
                              << "03/10/03,13:30,23.040,23.140,22.980,23.010,5875387\n . . . ";
    QTest::newRow("empty first line") << 14 << "Samples: Text without header-Daily"
                                      << "\n03/10/03,23.040,23.140,22.980,23.010,5875387\n . . . ";
  }
  void TheSamplesButtonShowsTheSamplesOfTheFormat() {
    QFETCH(int, row);
    QFETCH(QString, title);
    QFETCH(QString, prompt);
    Program_->Pick("cmbOutputFormat", row);
    Program_->Boxes.Expect(Qt::Key_Return);
    Click(Program_->Get("Command2"));
    QCOMPARE(Program_->Boxes.Seen.size(), 1U);
    const BoxAnswers::Box& box = Program_->Boxes.Seen[0];
    QCOMPARE(box.Title, title);
    QCOMPARE(box.Text, prompt);
    QCOMPARE(box.Buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(box.Icon, QMessageBox::NoIcon);
    QCOMPARE(Program_->Global->State.Settings.CurrentFormat, 11);
    QCOMPARE(Formats_->currentIndex(), row);
  }

  void EveryFormatHasItsSamples() {
    for (int row = 0; row < 15; ++row) {
      Formats_->setCurrentIndex(row);
      Program_->Boxes.Expect(Qt::Key_Escape);
      Click(Program_->Get("Command2"));
      QCOMPARE(Program_->Boxes.Seen.back().Title, "Samples: " + Formats_->itemText(row).chopped(2).trimmed());
    }
    QCOMPARE(Program_->Boxes.Seen.size(), 15U);
  }

 private:
  static QImage Picture_Of(QWidget* widget) { return widget->grab().toImage(); }
  static std::vector<Qt::Key> All_Keys() {
    return {Qt::Key_Up,    Qt::Key_Down,      Qt::Key_Left,     Qt::Key_Right,  Qt::Key_Home,
            Qt::Key_End,   Qt::Key_PageUp,    Qt::Key_PageDown, Qt::Key_Return, Qt::Key_Enter,
            Qt::Key_Space, Qt::Key_F4,        Qt::Key_A,        Qt::Key_T,      Qt::Key_S,
            Qt::Key_0,     Qt::Key_Backspace, Qt::Key_Delete};
  }
  static void Turn_Wheel(QWidget* widget, int turn) {
    const QPointF at = widget->rect().center();
    QWheelEvent event(at, widget->mapToGlobal(at), {}, {0, turn}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(widget, &event);
  }

  std::unique_ptr<Program> Program_;
  QComboBox* Formats_ = nullptr;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::FormatListTest)
#include "format_list_test.moc"
