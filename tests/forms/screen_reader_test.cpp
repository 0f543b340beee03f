// The windows as a screen reader is told of them, and the keys that reach what has no letter in its caption.

#include <QAbstractItemView>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QShortcut>

#include "forms/form_support.h"

namespace hq::test {

namespace {

QAccessibleInterface* Interface(QObject* object) {
  QAccessibleInterface* const interface = QAccessible::queryAccessibleInterface(object);
  if (interface == nullptr) qFatal("no accessible interface");
  return interface;
}

QString Name(QObject* object) {
  return Interface(object)->text(QAccessible::Name);
}

}  // namespace

class ScreenReaderTest : public QObject {
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

  void TheStatusLineIsCalledByItsText() {
    auto* const status = Program_->Get<QLabel>("lblstatus");
    QCOMPARE(Name(status), QString());
    Program_->Inet->State(ResolvingHost);
    QTRY_COMPARE(status->text(), QString("Lookup host name.."));
    QCOMPARE(Name(status), QString("Lookup host name.."));
    Program_->Inet->State(Connecting);
    QTRY_COMPARE(Name(status), QString("Connecting to the host computer .."));
    auto* const box = Interface(Program_->Get("Picture1"));
    QCOMPARE(box->role(), QAccessible::StatusBar);
    QCOMPARE(box->childCount(), 1);
    QCOMPARE(box->child(0)->object(), status);
    // A label with a name of its own tells nobody of another text.
    QCOMPARE(status->accessibleName(), QString());
#ifndef Q_OS_WIN
    // What is shown in this role, readers say.
    QCOMPARE(Interface(status)->role(), QAccessible::Notification);
#endif
  }

  void ThePickListsAreCalledByTheirCaptions_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("label");
    QTest::addColumn<int>("digits");
    QTest::newRow("interval") << "cmbInterval"
                              << "Quote Time Interval" << 1;
    QTest::newRow("format") << "cmbOutputFormat"
                            << "Output File Format" << 2;
  }
  void ThePickListsAreCalledByTheirCaptions() {
    QFETCH(QString, name);
    QFETCH(QString, label);
    QFETCH(int, digits);
    auto* const box = Program_->Get<QComboBox>(qPrintable(name));
    auto* const reader = Interface(box);
    QCOMPARE(reader->role(), QAccessible::ComboBox);
    for (int i = box->count() - 1; i >= 0; --i) {
      const QString caption = box->itemText(i).chopped(digits).trimmed();
      QVERIFY(!caption.contains("      "));
      box->setCurrentIndex(i);
      QCOMPARE(reader->text(QAccessible::Value), caption);
#ifdef Q_OS_WIN
      QCOMPARE(reader->text(QAccessible::Name), label);
#else
      QCOMPARE(reader->text(QAccessible::Name), caption);
#endif
    }
    QCOMPARE(box->accessibleName(), label);
    const auto labels = reader->relations(QAccessible::Label);
    QCOMPARE(labels.size(), 1);
    QCOMPARE(labels[0].first->text(QAccessible::Name), label);
  }

  void ThePickListsOpenForAReaderAndTellTheirCaptions() {
    auto* const box = Program_->Get<QComboBox>("cmbInterval");
    auto* const reader = Interface(box);
    QVERIFY(reader->state().expandable);
    QVERIFY(!reader->state().expanded);
    QCOMPARE(reader->childCount(), 1);
    QAccessibleInterface* const list = reader->child(0);
    QCOMPARE(list->object(), box->view());
    QCOMPARE(reader->indexOfChild(list), 0);
    QCOMPARE(list->text(QAccessible::Name), QString("Quote Time Interval"));
    for (int i = 0; i < box->count(); ++i)
      QCOMPARE(list->child(i)->text(QAccessible::Name), box->itemText(i).chopped(1).trimmed());
    reader->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
    QTRY_VERIFY(box->view()->isVisible());
    QVERIFY(reader->state().expanded);
    reader->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QTRY_VERIFY(!box->view()->isVisible());
  }

  void TheLogAndTheAboutBoxAreWindows() {
    QCOMPARE(Interface(&Program_->Window())->role(), QAccessible::Window);
    QCOMPARE(Name(&Program_->Window()), QString("Bravint History Quotes Downloader"));
    QCOMPARE(Interface(&Program_->Global->Log())->role(), QAccessible::Window);
    QCOMPARE(Name(&Program_->Global->Log()), QString("Quotes Download Log"));
    QCOMPARE(Interface(&Program_->Global->Test())->role(), QAccessible::Dialog);
    QCOMPARE(Name(&Program_->Global->Test()), QString("About"));
  }

  void EveryBoxHasItsName() {
    const std::map<const char*, QString> names{{"txtnewstock", "Symbol to add"},
                                               {"lstStock", "Stock list"},
                                               {"txtOutputfolder", "Output Folder"},
                                               {"txtdays", "Days"},
                                               {"txtenddate_0", "End date, month"},
                                               {"txtenddate_1", "End date, day"},
                                               {"txtenddate_2", "End date, two-digit year"},
                                               {"cmdfolder", "Choose the output folder"},
                                               {"Command2", "Format samples"},
                                               {"cmddownload", "Download"}};
    for (const auto& [box, name] : names)
      QCOMPARE(Interface(Program_->Get(box))->text(QAccessible::Name), name);
    QCOMPARE(Name(Program_->Global->Log().findChild<QListWidget*>("lstlog")), QString("Download log"));
  }

  void AKeyReachesWhatHasNoLetterInItsCaption_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("key");
    QTest::newRow("symbol") << "txtnewstock" << int(Qt::Key_B);
    QTest::newRow("symbols") << "lstStock" << int(Qt::Key_K);
    QTest::newRow("interval") << "cmbInterval" << int(Qt::Key_I);
    QTest::newRow("folder") << "txtOutputfolder" << int(Qt::Key_O);
    QTest::newRow("days") << "txtdays" << int(Qt::Key_Y);
    QTest::newRow("end date") << "txtenddate_0" << int(Qt::Key_E);
  }
  void AKeyReachesWhatHasNoLetterInItsCaption() {
    QFETCH(QString, name);
    QFETCH(int, key);
    auto* const control = Program_->Get(qPrintable(name));
    // From every other place, also from the list that takes no keys and from a box that takes only digits.
    for (const char* from : {"cmdlookup", "cmbOutputFormat", "txtenddate_2", "cmbInterval", "lstStock"}) {
      Program_->Get(from)->setFocus();
      Press(static_cast<Qt::Key>(key), Qt::AltModifier);
      QVERIFY2(control->hasFocus(), from);
      Settle();
    }
    Expect_Told(control, QString("Alt+") + QChar(key));
    QCOMPARE(Program_->Text("txtenddate_2"), QString("03"));
  }

  void ButtonsWithoutALetterTellTheirKeys() {
    Expect_Told(Program_->Get("cmddownload"), "Alt+D");
    Expect_Told(Program_->Get("cmdfolder"), "Alt+F");
    Expect_Told(Program_->Get("Command2"), "Alt+M");
    Expect_Told(Program_->Get("txtenddate_1"), "Alt+E");
    Expect_Told(Program_->Get("txtenddate_2"), "Alt+E");
    Expect_Told(Program_->Global->Test().findChild<QPushButton*>("cmdok"), "Enter");
    // Only a pick changes it.
    QCOMPARE(Interface(Program_->Get("cmbOutputFormat"))->text(QAccessible::Description), QString());
  }

  void AKeyReachesTheLinesOfTheLog() {
    frmlog& log = Program_->Global->Log();
    log.show();
    log.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&log));
    auto* const list = log.findChild<QListWidget*>("lstlog");
    log.findChild<QPushButton*>("cmdClose")->setFocus();
    Press(Qt::Key_L, Qt::AltModifier);
    QVERIFY(list->hasFocus());
    Expect_Told(list, "Alt+L");
  }

  void NoKeyOfTheWindowIsUsedTwiceButForAddAndAbout() {
    QStringList keys;
    for (const auto* button : Program_->Window().findChildren<QAbstractButton*>()) {
      if (!button->shortcut().isEmpty()) keys << button->shortcut().toString();
    }
    for (const auto* shortcut : Program_->Window().findChildren<QShortcut*>())
      keys << shortcut->key().toString();
    for (const QAction* action : Program_->Window().findChild<QMenuBar*>()->actions())
      keys << QKeySequence::mnemonic(action->text()).toString();
    QCOMPARE(keys.count("Alt+A"), 2);
    keys.removeOne("Alt+A");
    QVERIFY(keys.size() >= 14);
    QCOMPARE(QSet<QString>(keys.begin(), keys.end()).size(), keys.size());
  }

  void TheNoteOfTheFirstStartIsSaid() {
    Program_ = std::make_unique<Program>();
    Make_Without_Start(*Program_);
    Program_->Global->Parts.FirstStartNote = "Quotes are simulated.";
    Program_->Global->Main();
    auto* const note = Program_->Get<QLabel>("lblfirststart");
    QCOMPARE(Interface(note)->role(), QAccessible::Notification);
    QCOMPARE(Name(note), QString("Quotes are simulated."));
  }

 private:
  static void Expect_Told(QWidget* control, const QString& key) {
    QVERIFY2(control->toolTip().contains(key), qPrintable(control->toolTip()));
    const QString description = Interface(control)->text(QAccessible::Description);
    QVERIFY2(description.contains(key), qPrintable(description));
  }

  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::ScreenReaderTest)
#include "screen_reader_test.moc"
