// The download log window.

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScrollBar>

#include "forms/form_support.h"

namespace hq::test {

class LogWindowTest : public QObject {
  Q_OBJECT

 private slots:
  void init() {
    Log_ = std::make_unique<frmlog>(Trap_);
    List_ = Log_->findChild<QListWidget*>("lstlog");
    QVERIFY(List_ != nullptr);
    Log_->show();
    Log_->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(Log_.get()));
  }
  void cleanup() {
    QCOMPARE(Trap_.Depth(), 0);
    Log_.reset();
  }

  void ItsTextsAreExact() {
    QCOMPARE(Log_->windowTitle(), QString("Quotes Download Log"));
    QCOMPARE(Log_->findChild<QLabel*>("Label1_0")->text(), QString("Mutual funds: Daily only"));
    QCOMPARE(Log_->findChild<QLabel*>("Label1_1")->text(), QString("Options: 5 minutes interval at least "));
    QCOMPARE(Log_->findChild<QPushButton*>("cmdClose")->text(), QString("&Close!"));
    QVERIFY(!List_->accessibleName().isEmpty());
    QCOMPARE(Log_->parentWidget(), nullptr);
    QVERIFY(!Log_->isModal());
  }

  void LinesStandInTheOrderOfTheirComing() {
    for (const char* line : {"b", "a", "b", ""}) Log_->Add(line);
    QCOMPARE(Lines(), QStringList({"b", "a", "b", ""}));
  }

  void ItFollowsItsLastLine() {
    Add_Lines(200);
    Settle();
    QVERIFY(Bar()->maximum() > 0);
    QCOMPARE(Bar()->value(), Bar()->maximum());
    Add_Lines(1);
    Settle();
    QCOMPARE(Bar()->value(), Bar()->maximum());
    QVERIFY(Last_In_Sight());
  }

  void ScrolledUpItStaysWhereItIs() {
    Add_Lines(200);
    Settle();
    List_->setFocus();
    Press(Qt::Key_Home);
    const int place = Bar()->value();
    QVERIFY(place < Bar()->maximum());
    Add_Lines(50);
    Settle();
    QCOMPARE(Bar()->value(), place);
    // Back at the end it follows again.
    Press(Qt::Key_End);
    Settle();
    QCOMPARE(Bar()->value(), Bar()->maximum());
    Add_Lines(50);
    Settle();
    QVERIFY(Last_In_Sight());
  }

  void ItFollowsAfterItWasClearedWhileScrolledUp() {
    Add_Lines(200);
    Settle();
    List_->setFocus();
    Press(Qt::Key_Home);
    Log_->Clear();
    Add_Lines(200);
    Settle();
    QVERIFY(Last_In_Sight());
  }

  void ItFollowsAlsoWhenItIsMadeSmaller() {
    Add_Lines(200);
    Settle();
    Log_->resize(Log_->width(), Log_->height() - 80);
    Settle();
    Add_Lines(1);
    Settle();
    QVERIFY(Last_In_Sight());
  }

  void LinesAreSelectedAndCopied() {
    for (const char* line : {"one", "two", "three", "four"}) Log_->Add(line);
    Settle();
    Click_Item(List_, 1);
    Press(Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), QString("two"));
    Click_Item(List_, 3, Qt::ShiftModifier);
    Press(Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), QString("two\nthree\nfour"));
    Click_Item(List_, 2, Qt::ControlModifier);
    Press(Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), QString("two\nfour"));
    Press(Qt::Key_A, Qt::ControlModifier);
    Press(Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), QString("one\ntwo\nthree\nfour"));
  }

  void LinesAreCopiedInTheirOrderWhateverTheOrderOfSelecting() {
    for (const char* line : {"one", "two", "three"}) Log_->Add(line);
    Settle();
    Click_Item(List_, 2);
    Click_Item(List_, 0, Qt::ControlModifier);
    Press(Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), QString("one\nthree"));
  }

  void LinesCannotBeEdited() {
    Log_->Add("one");
    Click_Item(List_, 0);
    Press(Qt::Key_F2);
    Type("x");
    Press(Qt::Key_Return);
    QCOMPARE(Lines(), QStringList({"one"}));
  }

  void TheButtonEmptiesAndHides() {
    Add_Lines(3);
    Click(Log_->findChild<QPushButton*>("cmdClose"));
    QVERIFY(!Log_->isVisible());
    QCOMPARE(Lines(), QStringList());
  }

  void TheAccessKeyEmptiesAndHides() {
    Add_Lines(3);
    List_->setFocus();
    Press(Qt::Key_C, Qt::AltModifier);
    QTRY_VERIFY(!Log_->isVisible());
    QCOMPARE(Lines(), QStringList());
  }

  void EscapeEmptiesAndHides() {
    Add_Lines(3);
    Press(Qt::Key_Escape);
    QTRY_VERIFY(!Log_->isVisible());
    QCOMPARE(Lines(), QStringList());
  }

  void TheTitleBarEmptiesAndHides() {
    Add_Lines(3);
    Log_->close();
    QVERIFY(!Log_->isVisible());
    QCOMPARE(Lines(), QStringList());
  }

  void ClosingIsTraced() {
    std::vector<std::string> entered;
    Trap_.Write_Record = [&](const TraceRecord& record) {
      if (record.Way == TraceRecord::Direction::Entry) entered.emplace_back(record.EntryText);
    };
    Press(Qt::Key_C, Qt::AltModifier);
    QTRY_VERIFY(!Log_->isVisible());
    Trap_.Write_Record = nullptr;
    QCOMPARE(entered.size(), 1U);
    QVERIFY(QString::fromStdString(entered[0]).contains("Sub cmdClose_Click"));
    QVERIFY(QString::fromStdString(entered[0]).contains("frmlog.frm"));
  }

  void LinesAddedWhileHiddenDoNotShowIt() {
    Click(Log_->findChild<QPushButton*>("cmdClose"));
    Log_->Add("late");
    Settle();
    QVERIFY(!Log_->isVisible());
    QCOMPARE(Lines(), QStringList({"late"}));
  }

  void ALongLineCanBeReadByScrolling() {
    Log_->Add("exporting to " + std::string(400, 'x'));
    Settle();
    QVERIFY(List_->horizontalScrollBar()->maximum() > 0);
    QCOMPARE(List_->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
  }

  void NothingIsCutOff() {
    for (const auto* widget : Log_->findChildren<QWidget*>()) {
      if (qobject_cast<const QLabel*>(widget) == nullptr &&
          qobject_cast<const QPushButton*>(widget) == nullptr)
        continue;
      QVERIFY2(widget->width() >= widget->sizeHint().width(), qPrintable(widget->objectName()));
      QVERIFY2(widget->height() >= widget->sizeHint().height(), qPrintable(widget->objectName()));
    }
  }

  void ItMayBePlacedAnywhereAndMadeLarger() {
    Log_->move(300, 200);
    Log_->resize(700, 500);
    Settle();
    QCOMPARE(Log_->pos(), QPoint(300, 200));
    QCOMPARE(Log_->size(), QSize(700, 500));
  }

 private:
  QScrollBar* Bar() { return List_->verticalScrollBar(); }
  bool Last_In_Sight() {
    return List_->viewport()->rect().contains(
        List_->visualItemRect(List_->item(List_->count() - 1)).center());
  }
  QStringList Lines() {
    QStringList lines;
    for (int i = 0; i < List_->count(); ++i) lines << List_->item(i)->text();
    return lines;
  }
  void Add_Lines(int count) {
    for (int i = 0; i < count; ++i) Log_->Add("downloading symbol   S" + std::to_string(i));
  }

  modFailSafe Trap_;
  std::unique_ptr<frmlog> Log_;
  QListWidget* List_ = nullptr;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::LogWindowTest)
#include "log_window_test.moc"
