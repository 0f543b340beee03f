// The main window's size, place, texts and order.

#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QStyleOptionComboBox>
#include <QToolButton>

#include "forms/form_support.h"
#include "output/format_catalogue.h"
#include "shell/twips.h"

namespace hq::test {

class MainWindowLooksTest : public QObject {
  Q_OBJECT

 private slots:
  void init() { Font_ = QApplication::font(); }
  void cleanup() {
    if (Program_) {
      QCOMPARE(Program_->Boxes.Unexpected, 0);
      QCOMPARE(Program_->Global->Trap.Depth(), 0);
    }
    Program_.reset();
    QApplication::setFont(Font_);
  }

  void TheTitleAndTheFont() {
    Start();
    QCOMPARE(Window().windowTitle(), QString("Bravint History Quotes Downloader"));
    QCOMPARE(Window().font().families().first(), QString("MS Sans Serif"));
    for (const QWidget* widget : Window().findChildren<QWidget*>()) {
      // Qt's own, for entries that find no room in the menu bar.
      if (qobject_cast<const QMenu*>(widget) != nullptr) continue;
      QVERIFY2(widget->font().families().first() == "MS Sans Serif", qPrintable(widget->objectName()));
    }
    QCOMPARE(Window().objectName(), QString("frmmain1"));
  }

  void TheSizeIsItsTwips() {
    Start();
    QCOMPARE(Window().frameGeometry().size(), Whole());
    QCOMPARE(Window().frameGeometry().topLeft(), QPoint(1, 1));
  }

  void ADraggedBorderSpringsBack_data() {
    QTest::addColumn<QSize>("size");
    QTest::newRow("larger") << QSize(800, 700);
    QTest::newRow("wider") << QSize(900, 366);
    QTest::newRow("a little") << QSize(430, 370);
    QTest::newRow("smaller") << QSize(100, 100);
  }
  void ADraggedBorderSpringsBack() {
    QFETCH(QSize, size);
    Start();
    Window().resize(size);
    QTRY_COMPARE(Window().frameGeometry().size(), Whole());
    // As the window system does it.
    Window().windowHandle()->resize(size);
    QTRY_COMPARE(Window().frameGeometry().size(), Whole());
  }

  void MaximisedItStaysSoAndRestoredItHasItsSize() {
    Start();
    if (Window().screen()->size().width() <= Whole().width()) QSKIP("the screen is smaller than the window");
    Window().showMaximized();
    QTRY_VERIFY(Window().isMaximized());
    QTRY_VERIFY(Window().width() > Whole().width());
    Settle();
    QVERIFY(Window().isMaximized());
    QVERIFY(Window().width() > Whole().width());
    Expect_Nothing_Cut_Off();
    Window().showNormal();
    QTRY_COMPARE(Window().frameGeometry().size(), Whole());
  }

  void MinimisedAndBackItHasItsSize() {
    Start();
    Window().showMinimized();
    QTRY_VERIFY(Window().isMinimized());
    Settle();
    Window().showNormal();
    QTRY_COMPARE(Window().frameGeometry().size(), Whole());
  }

  void MaximisedTheListUsesTheRoom() {
    Start();
    if (Window().screen()->size().width() <= Whole().width()) QSKIP("the screen is smaller than the window");
    const auto* list = Program_->Get<QListWidget>("lstStock");
    const QSize before = list->size();
    Window().showMaximized();
    QTRY_VERIFY(list->height() > before.height() + 50);
  }

  void EveryControlHasItsKindAndText_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, const char* kind, const QString& text) {
      QTest::newRow(name) << name << QByteArray(kind) << text;
    };
    row("Frame1", "QGroupBox", "Stock Lists");
    row("lstStock", "QListWidget", {});
    row("txtnewstock", "QLineEdit", {});
    row("cmdAdd", "QPushButton", "&Add");
    row("cmddel", "QPushButton", "&Remove Selected");
    row("cmdselectall", "QPushButton", "&Select All");
    row("cmdlookup", "QPushButton", "Symbol &Lookup");
    row("Label1", "QLabel", "Symbol:");
    row("Label2_0", "QLabel", "*Only selected stock(s) will be downloaded!");
    row("Label2_1", "QLabel", "*Hold <Ctrl> key and click an item to select / de-select.");
    row("Label2_2", "QLabel",
        "Quotes will be  downloaded upto this 'End Date' with the number of trading days entered in 'Days'.");
    row("Picture1", "QFrame", {});
    row("lblstatus", "QLabel", "");
    row("cmbInterval", "QComboBox", {});
    row("cmbOutputFormat", "QComboBox", {});
    row("txtOutputfolder", "QLineEdit", {});
    row("cmdfolder", "QAbstractButton", "...");
    row("Command2", "QAbstractButton", {});
    row("Frame2", "QGroupBox", "");
    row("txtdays", "QLineEdit", {});
    row("txtenddate_0", "QLineEdit", {});
    row("txtenddate_1", "QLineEdit", {});
    row("txtenddate_2", "QLineEdit", {});
    row("cmddownload", "QAbstractButton", {});
    row("Label3_0", "QLabel", "Days");
    row("Label3_1", "QLabel", "End Date(mm/dd/yy)");
    row("Label3_2", "QLabel", "/");
    row("Label3_3", "QLabel", "/");
    row("Label3_4", "QLabel", "Quote Time Interval");
    row("Label3_5", "QLabel", "Output File Format");
    row("Label3_6", "QLabel", "Output Folder");
  }
  void EveryControlHasItsKindAndText() {
    QFETCH(QString, name);
    QFETCH(QByteArray, kind);
    QFETCH(QString, text);
    Start();
    const auto widgets = Window().findChildren<QWidget*>(name);
    QCOMPARE(widgets.size(), 1);
    const QWidget* widget = widgets.first();
    QVERIFY(widget->inherits(kind));
    QVERIFY(widget->isVisible());
    if (text.isNull()) return;
    const char* property = kind == "QGroupBox" ? "title" : "text";
    QCOMPARE(widget->property(property).toString(), text);
    // "<Ctrl>" must not be taken for a tag.
    if (const auto* label = qobject_cast<const QLabel*>(widget)) {
      QVERIFY(label->textFormat() == Qt::PlainText || !Qt::mightBeRichText(label->text()));
    }
  }

  void ThePictureButtonsHavePictures() {
    Start();
    QVERIFY(!Program_->Get<QToolButton>("Command2")->icon().isNull());
    QVERIFY(!Program_->Get<QToolButton>("cmddownload")->icon().isNull());
  }

  void TheControlsLieInTheirFrames() {
    Start();
    for (const char* name :
         {"lstStock", "txtnewstock", "cmdAdd", "cmddel", "cmdselectall", "cmdlookup", "Label1"}) {
      QVERIFY2(Program_->Get("Frame1")->isAncestorOf(Program_->Get(name)), name);
    }
    for (const char* name :
         {"txtdays", "txtenddate_0", "txtenddate_1", "txtenddate_2", "Label3_0", "Label3_1"}) {
      QVERIFY2(Program_->Get("Frame2")->isAncestorOf(Program_->Get(name)), name);
    }
    QVERIFY(Program_->Get("Picture1")->isAncestorOf(Program_->Get("lblstatus")));
  }

  void TheMenuHoldsAboutAndWhereQuotesComeFrom() {
    Start();
    const auto* bar = Window().findChild<QMenuBar*>();
    QCOMPARE(bar->actions().size(), 2);
    QCOMPARE(bar->actions().last()->text(), QString("&Quote Server..."));
    // There is nothing to choose here.
    QVERIFY(!bar->actions().last()->isVisible());
    QCOMPARE(bar->actions().first()->objectName(), QString("mnuabout"));
    QCOMPARE(bar->actions().first()->text(), QString("&About"));
  }

  void TheMenuIsReachedByTheKeyboard() {
    Start();
    const auto* bar = Window().findChild<QMenuBar*>();
    QTest::keyPress(Window().windowHandle(), Qt::Key_Alt, Qt::AltModifier);
    QTest::keyRelease(Window().windowHandle(), Qt::Key_Alt);
    if (bar->activeAction() == nullptr)
      QSKIP("the style of this platform does not open menus with Alt alone");
    Press(Qt::Key_Return);
    QTRY_VERIFY(Program_->Global->Test().isVisible());
  }

  void LabelsAreTheBuddiesOfTheirBoxes() {
    Start();
    const std::map<const char*, const char*> buddies{
        {"Label1", "txtnewstock"},   {"Label3_0", "txtdays"},         {"Label3_1", "txtenddate_0"},
        {"Label3_4", "cmbInterval"}, {"Label3_5", "cmbOutputFormat"}, {"Label3_6", "txtOutputfolder"}};
    for (const auto& [label, box] : buddies) {
      QCOMPARE(Program_->Get<QLabel>(label)->buddy(), Program_->Get(box));
    }
  }

  void TabGoesThroughTheControlsInTheirOrder() {
    Start();
    const QStringList order{"txtnewstock",  "cmdAdd",          "lstStock",     "cmdselectall",
                            "cmddel",       "cmdlookup",       "cmbInterval",  "cmbOutputFormat",
                            "Command2",     "txtOutputfolder", "cmdfolder",    "txtdays",
                            "txtenddate_0", "txtenddate_1",    "txtenddate_2", "cmddownload"};
    QCOMPARE(QApplication::focusWidget()->objectName(), order.first());
    for (qsizetype i = 1; i <= order.size(); ++i) {
      Press(Qt::Key_Tab);
      QCOMPARE(QApplication::focusWidget()->objectName(), order[i % order.size()]);
    }
    for (qsizetype i = order.size() - 1; i >= 0; --i) {
      Press(Qt::Key_Backtab, Qt::ShiftModifier);
      QCOMPARE(QApplication::focusWidget()->objectName(), order[i]);
    }
  }

  void EveryControlThatTakesTheFocusHasAnAccessibleName() {
    Start();
    int seen = 0;
    for (QWidget* widget : Window().findChildren<QWidget*>()) {
      if (widget->focusPolicy() == Qt::NoFocus || !widget->isVisible()) continue;
      QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
      QVERIFY(accessible != nullptr);
      QVERIFY2(!accessible->text(QAccessible::Name).isEmpty(),
               qPrintable(widget->metaObject()->className() + (" " + widget->objectName())));
      ++seen;
    }
    QVERIFY(seen >= 16);
  }

  void AccessKeysAreEachUsedOnceButForAddAndAbout() {
    Start();
    QStringList keys;
    for (const auto* button : Window().findChildren<QAbstractButton*>()) {
      if (!button->shortcut().isEmpty()) keys << button->shortcut().toString();
    }
    keys.sort();
    QCOMPARE(keys, QStringList({"Alt+A", "Alt+D", "Alt+F", "Alt+L", "Alt+M", "Alt+R", "Alt+S"}));
  }

  void TheNoteOnTheQuotesStandsInTheMenuLine() {
    Program_ = std::make_unique<Program>();
    Make_Without_Start(*Program_);
    Program_->Global->Parts.QuotesNote = "Simulated market, not real quotes";
    Program_->Global->Main();
    QVERIFY(QTest::qWaitForWindowActive(&Window()));
    const auto* note = Window().findChild<QPushButton*>("lblquotes");
    QVERIFY(note != nullptr);
    QCOMPARE(note->text(), QString("Simulated market, not real quotes"));
    QVERIFY(note->isVisible());
    Expect_Nothing_Cut_Off();
    QCOMPARE(Window().frameGeometry().size(), Whole());
  }

  void NothingIsCutOff_data() {
    QTest::addColumn<double>("larger");
    QTest::newRow("normal font") << 1.0;
    QTest::newRow("20 percent larger") << 1.2;
  }
  void NothingIsCutOff() {
    QFETCH(double, larger);
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * larger);
    QApplication::setFont(font);
    Start();
    QCOMPARE(Window().frameGeometry().size(), Whole());
    Expect_Nothing_Cut_Off();
    // Texts that change.
    for (const char* name : {"cmbInterval", "cmbOutputFormat"}) {
      auto* box = Program_->Get<QComboBox>(name);
      QStyleOptionComboBox option;
      option.initFrom(box);
      const QRect field =
          box->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, box);
      for (int i = 0; i < box->count(); ++i) {
        const QString text = box->itemText(i).chopped(box->count() == 7 ? 1 : 2).trimmed();
        QVERIFY2(box->fontMetrics().horizontalAdvance(text) <= field.width(), qPrintable(text));
      }
      QVERIFY(box->fontMetrics().height() <= field.height());
    }
    const auto* symbol = Program_->Get<QLineEdit>("txtnewstock");
    QVERIFY(symbol->fontMetrics().horizontalAdvance("GOOGL") + 8 <= symbol->width());
    const auto* status = Program_->Get<QLabel>("lblstatus");
    for (const char* text :
         {"Failed to download data! Try another time at night!", "Internet request failed! Check connection",
          "Connecting to the host computer ..", "Unexpected error 32767 inside Process_Onestock()",
          "Server returns no data. try later!", "Start downloading mutual:ABCDEFGHIJ"}) {
      QVERIFY2(status->fontMetrics().horizontalAdvance(text) <= status->width(), text);
    }
    QVERIFY(status->height() >= status->fontMetrics().height());
    for (const char* name : {"txtdays", "txtenddate_0", "txtenddate_1", "txtenddate_2"}) {
      auto* box = Program_->Get<QLineEdit>(name);
      // The text area is narrower than the box by its frame and margins of two pixels.
      QVERIFY2(box->fontMetrics().horizontalAdvance("500") + 8 <= box->width(), name);
      QVERIFY2(box->fontMetrics().height() <= box->height() - 4, name);
    }
    QVERIFY(Program_->Get<QListWidget>("lstStock")->height() >= 3 * status->fontMetrics().height());
  }

  void TheAboutBoxCutsNothingOff_data() { NothingIsCutOff_data(); }
  void TheAboutBoxCutsNothingOff() {
    QFETCH(double, larger);
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * larger);
    QApplication::setFont(font);
    Start();
    frmtest& box = Program_->Global->Test();
    box.Show_About(1, 0);
    for (const char* caption : {"Initializing application. Please wait...", "Version 1.0"}) {
      box.Set_Caption(caption);
      Settle();
      for (QLabel* label : box.findChildren<QLabel*>()) Expect_Not_Cut_Off(label);
      Expect_Not_Cut_Off(box.findChild<QPushButton*>("cmdok"));
    }
    // The run of blanks breaks the name over two lines.
    const auto* title = box.findChild<QLabel*>("Label1");
    QVERIFY(title->height() >= 2 * title->fontMetrics().height());
  }

  void ControlsDoNotOverlap_data() { NothingIsCutOff_data(); }
  void ControlsDoNotOverlap() {
    QFETCH(double, larger);
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * larger);
    QApplication::setFont(font);
    Start();
    QList<QWidget*> leaves;
    for (QWidget* widget : Window().findChildren<QWidget*>()) {
      const bool control =
          qobject_cast<QLabel*>(widget) != nullptr || qobject_cast<QAbstractButton*>(widget) != nullptr ||
          qobject_cast<QLineEdit*>(widget) != nullptr || qobject_cast<QComboBox*>(widget) != nullptr ||
          qobject_cast<QListWidget*>(widget) != nullptr;
      if (control && widget->isVisible()) leaves << widget;
    }
    Expect_Apart(Window(), leaves);
  }

 private:
  void Start() {
    Program_ = std::make_unique<Program>();
    Program_->Start();
  }
  frmmain1& Window() { return Program_->Window(); }
  QSize Whole() {
    return {Twips_To_Pixels(6348, Window().logicalDpiX()), Twips_To_Pixels(5484, Window().logicalDpiY())};
  }
  void Expect_Nothing_Cut_Off() {
    for (const QWidget* widget : Window().findChildren<QWidget*>()) {
      const bool has_text = qobject_cast<const QLabel*>(widget) != nullptr ||
                            qobject_cast<const QPushButton*>(widget) != nullptr;
      // The status line's text changes; the add button has its width from the form.
      if (!has_text || !widget->isVisible() || widget->objectName() == "lblstatus") continue;
      if (widget->objectName() == "cmdAdd") {
        QVERIFY(widget->width() >= widget->fontMetrics().horizontalAdvance("Add") + 8);
        continue;
      }
      Expect_Not_Cut_Off(widget);
    }
    for (const QGroupBox* box : Window().findChildren<QGroupBox*>()) {
      QVERIFY(box->width() >= box->minimumSizeHint().width());
      QVERIFY(box->height() >= box->minimumSizeHint().height());
    }
  }

  QFont Font_;
  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::MainWindowLooksTest)
#include "main_window_looks_test.moc"
