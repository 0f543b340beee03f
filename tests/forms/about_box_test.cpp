// The small box that is the splash at the start and the about box later.

#include <QApplication>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>

#include "forms/form_support.h"
#include "shell/twips.h"

namespace hq::test {

static_assert(Twips_To_Pixels(6348, 96) == 423);
static_assert(Twips_To_Pixels(5484, 96) == 366);
static_assert(Twips_To_Pixels(6348, 120) == 529);
static_assert(Twips_To_Pixels(5484, 144) == 548);
static_assert(Twips_To_Pixels(6348, 192) == 846);
static_assert(Twips_To_Pixels(20, 96) == 1);
static_assert(Twips_To_Pixels(0, 96) == 0);
static_assert(Twips_To_Pixels(-500, 96) == -33);
static_assert(Twips_To_Pixels(-15, 96) == -1);

class AboutBoxTest : public QObject {
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

  void LengthsAreTwipsOfTheScreensDpi_data() {
    QTest::addColumn<int>("twips");
    QTest::addColumn<int>("dpi");
    QTest::addColumn<int>("pixels");
    QTest::newRow("inch at 96") << 1440 << 96 << 96;
    QTest::newRow("inch at 192") << 1440 << 192 << 192;
    QTest::newRow("half up") << 8 << 90 << 1;
    QTest::newRow("half below zero up") << -8 << 90 << 0;
    QTest::newRow("below zero") << -500 << 144 << -50;
  }
  void LengthsAreTwipsOfTheScreensDpi() {
    QFETCH(int, twips);
    QFETCH(int, dpi);
    QFETCH(int, pixels);
    QCOMPARE(Twips_To_Pixels(twips, dpi), pixels);
  }

  void PixelsBecomeWholeTwips() {
    QCOMPARE(Pixels_To_Twips(800, 96), 12000);
    QCOMPARE(Pixels_To_Twips(1, 96), 15);
    QCOMPARE(Pixels_To_Twips(1, 192), 7);
    QCOMPARE(Pixels_To_Twips(3840, 192), 28800);
  }

  void TheBoxStandsInTheMiddleAnd500TwipsAboveIt() {
    QCOMPARE(About_Box_Place(12000, 9000, 5000, 2600).Left, 3500);
    QCOMPARE(About_Box_Place(12000, 9000, 5000, 2600).Top, 2700);
    QCOMPARE(About_Box_Place(12001, 9001, 5000, 2600).Left, 3500);
    QCOMPARE(About_Box_Place(12001, 9001, 5000, 2600).Top, 2700);
  }

  void OnALowScreenTheTopEdgeIsAboveTheScreen() {
    QCOMPARE(About_Box_Place(12000, 3000, 5000, 2600).Top, -300);
    QCOMPARE(About_Box_Place(12000, 3600, 5000, 2600).Top, 0);
    QCOMPARE(About_Box_Place(4000, 2000, 5000, 2600).Left, -500);
  }

  void AboutShowsTheVersionAndAnOkButton() {
    Open();
    QCOMPARE(Box().windowTitle(), QString("About"));
    QCOMPARE(Label("Label1")->text(), "Bravint History Quotes" + QString(12, ' ') + "Downloader");
    QCOMPARE(Label("Label2")->text(), QString("Version 1.7"));
    QVERIFY(Ok()->isVisible());
    QCOMPARE(Ok()->text(), QString("OK"));
    QVERIFY(!Label("Image1")->pixmap().isNull());
    QVERIFY(!Box().isModal());
    QVERIFY(!Box().windowIcon().isNull());
  }

  void AboutNamesTheProgramFolder() {
    Open();
    QVERIFY(Label("lblfolder")->isVisible());
    QVERIFY(Label("lblfolder")->text().startsWith("Program folder:\n"));
    QCOMPARE(Label("lblfolder")->toolTip(), QString::fromStdString(Program_->Home.Path()));
    QCOMPARE(Label("lblfolder")->accessibleName(),
             "Program folder: " + QString::fromStdString(Program_->Home.Path()));
    Expect_Not_Cut_Off(Label("lblfolder"));
  }

  void TheMainWindowStaysUsableBesideIt() {
    Open();
    Program_->Window().activateWindow();
    QTRY_VERIFY(Program_->Window().isActiveWindow());
    Click(Program_->Get("txtnewstock"));
    Type("msft");
    Press(Qt::Key_Return);
    QVERIFY(Program_->Stocks().contains("MSFT"));
    QVERIFY(Box().isVisible());
  }

  void OpenedTwiceItIsTheSameBoxWithTheSameText() {
    Open();
    QWidget* first = &Box();
    const auto windows = QApplication::topLevelWidgets().size();
    Open();
    QCOMPARE(&Box(), first);
    QCOMPARE(QApplication::topLevelWidgets().size(), windows);
    QCOMPARE(Label("Label2")->text(), QString("Version 1.7"));
    Click(Ok());
    QTRY_VERIFY(!Box().isVisible());
    Open();
    QCOMPARE(&Box(), first);
    QCOMPARE(Label("Label2")->text(), QString("Version 1.7"));
    QVERIFY(Ok()->isVisible());
  }

  void AKeyClosesIt_data() {
    QTest::addColumn<int>("key");
    QTest::newRow("Return") << int(Qt::Key_Return);
    QTest::newRow("Enter of the number pad") << int(Qt::Key_Enter);
    QTest::newRow("Escape") << int(Qt::Key_Escape);
    QTest::newRow("Space") << int(Qt::Key_Space);
  }
  void AKeyClosesIt() {
    QFETCH(int, key);
    Open();
    QVERIFY(Ok()->hasFocus());
    Press(static_cast<Qt::Key>(key));
    QTRY_VERIFY(!Box().isVisible());
    QVERIFY(Program_->Window().isVisible());
  }

  void ItIsTopmostUntilOkIsPressedForTheFirstTime() {
    QVERIFY(Box().windowFlags() & Qt::WindowStaysOnTopHint);
    Open();
    QVERIFY(Box().windowFlags() & Qt::WindowStaysOnTopHint);
    Click(Ok());
    QVERIFY(!(Box().windowFlags() & Qt::WindowStaysOnTopHint));
    Open();
    QVERIFY(!(Box().windowFlags() & Qt::WindowStaysOnTopHint));
  }

  void OkPutsItBackToItsPlace() {
    Open();
    const QPoint place = Place_By_Rule();
    Box().move(50, 70);
    QTRY_COMPARE(Box().pos(), QPoint(50, 70));
    Settle();
    Click(Ok());
    QTRY_VERIFY(!Box().isVisible());
    QCOMPARE(Box().pos(), place);
    Open();
    QCOMPARE(Box().pos(), place);
  }

  void TheAboutBoxStandsWhereTheRuleSays() {
    Open();
    QCOMPARE(Box().pos(), Place_By_Rule());
  }

  void TheSplashHasNoButtonAndItsText() {
    frmtest splash(Program_->Global->Trap, Program_->Global->Icon, Program_->Home.Path());
    splash.Display_About();
    QVERIFY(splash.isVisible());
    auto* ok = splash.findChild<QPushButton*>("cmdok");
    QVERIFY(!ok->isVisible());
    QCOMPARE(splash.findChild<QLabel*>("Label2")->text(),
             QString("Initializing application. Please wait..."));
    QVERIFY(!splash.findChild<QLabel*>("lblfolder")->isVisible());
    QVERIFY(splash.windowFlags() & Qt::WindowStaysOnTopHint);
    splash.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&splash));
    Press(Qt::Key_Escape);
    Press(Qt::Key_Return);
    Settle();
    QVERIFY(splash.isVisible());
  }

  void ClosedByItsTitleBarItOpensAgain() {
    Open();
    Box().close();
    QVERIFY(!Box().isVisible());
    QVERIFY(Program_->Window().isVisible());
    Open();
    QCOMPARE(Label("Label2")->text(), QString("Version 1.7"));
  }

 private:
  frmtest& Box() { return Program_->Global->Test(); }
  QLabel* Label(const char* name) { return Box().findChild<QLabel*>(name); }
  QPushButton* Ok() { return Box().findChild<QPushButton*>("cmdok"); }

  // By a click on the menu entry.
  void Open() {
    Program_->Window().activateWindow();
    QTRY_VERIFY(Program_->Window().isActiveWindow());
    auto* bar = Program_->Window().findChild<QMenuBar*>();
    auto* about = Program_->Window().findChild<QAction*>("mnuabout");
    QCOMPARE(about->text(), QString("&About"));
    Click(bar, bar->actionGeometry(about).center());
    QTRY_VERIFY(Box().isVisible());
    QVERIFY(QTest::qWaitForWindowActive(&Box()));
  }

  QPoint Place_By_Rule() {
    const QRect screen = QApplication::primaryScreen()->geometry();
    const QSize box = Box().frameGeometry().size();
    const int dpi = Box().logicalDpiX();
    const int left = ((screen.width() - box.width()) * 1440 / dpi) / 2;
    const int top = ((screen.height() - box.height()) * 1440 / dpi) / 2 - 500;
    return {Twips_To_Pixels(left, dpi), Twips_To_Pixels(top, dpi)};
  }

  std::unique_ptr<Program> Program_;
};

}  // namespace hq::test

QTEST_MAIN(hq::test::AboutBoxTest)
#include "about_box_test.moc"
