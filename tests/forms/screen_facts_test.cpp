// What the window system tells of screens, mouse and keyboard.

#include <QGuiApplication>
#include <QInputDevice>
#include <QPointingDevice>
#include <QScreen>

#include "errortrap/qt_screen_facts.h"
#include "forms/form_support.h"

namespace hq::test {

namespace {

using Capability = QInputDevice::Capability;
using DeviceType = QInputDevice::DeviceType;

QPointingDevice Pointer(DeviceType type, QInputDevice::Capabilities capabilities, int buttons) {
  return {"Pointer", 100, type, QPointingDevice::PointerType::Generic, capabilities, 1, buttons};
}

}  // namespace

class ScreenFactsTest : public QObject {
  Q_OBJECT

 private slots:
  void TheScreensAreTheWindowSystems() {
    MachineFacts facts;
    Add_Screen_Facts(facts);
    QCOMPARE(facts.Monitors.value_or(0), static_cast<int>(QGuiApplication::screens().size()));
    QCOMPARE(facts.ColorBits.value_or(0), QGuiApplication::primaryScreen()->depth());
    // Of the offscreen platform's screen the size is known.
    const bool offscreen = QGuiApplication::platformName() == "offscreen";
    const QSize size = offscreen ? QSize(800, 800) : QGuiApplication::primaryScreen()->size();
    QCOMPARE(QString::fromStdString(facts.ScreenSize),
             QString("%1 x %2").arg(size.width()).arg(size.height()));
  }

  void NothingElseIsTouched() {
    MachineFacts facts;
    facts.SystemVersion = "A system";
    facts.Processors = 3;
    Add_Screen_Facts(facts);
    QCOMPARE(facts.SystemVersion, std::string("A system"));
    QCOMPARE(facts.Processors.value_or(0), 3);
  }

  void WithoutDevicesNothingIsKnown() {
    MachineFacts facts;
    Add_Input_Facts(facts, {});
    QVERIFY(!facts.Mouse.has_value());
    QVERIFY(!facts.MouseButtons.has_value());
    QVERIFY(!facts.MouseWheel.has_value());
    QVERIFY(facts.Keyboard.empty());
  }

  void AMouseTellsItsButtonsAndItsWheel() {
    const QPointingDevice plain = Pointer(DeviceType::Mouse, Capability::Position, 2);
    MachineFacts facts;
    Add_Input_Facts(facts, {&plain});
    QVERIFY(facts.Mouse == true);
    QCOMPARE(facts.MouseButtons.value_or(0), 2);
    QVERIFY(facts.MouseWheel == false);
    const QPointingDevice wheel = Pointer(DeviceType::Mouse, Capability::Position | Capability::Scroll, 5);
    MachineFacts both;
    Add_Input_Facts(both, {&wheel, &plain});
    QCOMPARE(both.MouseButtons.value_or(0), 5);
    QVERIFY(both.MouseWheel == true);
  }

  void ATouchPadIsAMouseWithoutAWheel() {
    const QPointingDevice pad = Pointer(DeviceType::TouchPad, Capability::Position | Capability::Scroll, 0);
    MachineFacts facts;
    Add_Input_Facts(facts, {&pad});
    QVERIFY(facts.Mouse == true);
    QVERIFY(!facts.MouseButtons.has_value());
    QVERIFY(!facts.MouseWheel.has_value());
  }

  void ATouchScreenIsNoMouse() {
    const QPointingDevice screen = Pointer(DeviceType::TouchScreen, Capability::Position, 3);
    MachineFacts facts;
    Add_Input_Facts(facts, {&screen});
    QVERIFY(!facts.Mouse.has_value());
  }

  void DevicesThatQtMakesUpDoNotCount() {
    // Asking for them makes them.
    QVERIFY(QPointingDevice::primaryPointingDevice() != nullptr);
    QVERIFY(QInputDevice::primaryKeyboard() != nullptr);
    MachineFacts facts;
    Add_Input_Facts(facts, {QPointingDevice::primaryPointingDevice(), QInputDevice::primaryKeyboard()});
    QVERIFY(!facts.Mouse.has_value());
    QVERIFY(!facts.MouseButtons.has_value());
    QVERIFY(facts.Keyboard.empty());
  }

  void TheFirstKeyboardIsNamed() {
    const QInputDevice one("A keyboard", 1, DeviceType::Keyboard);
    const QInputDevice other("Another", 2, DeviceType::Keyboard);
    MachineFacts facts;
    Add_Input_Facts(facts, {&one, &other});
    QCOMPARE(facts.Keyboard, std::string("A keyboard"));
    QVERIFY(!facts.Mouse.has_value());
  }
};

}  // namespace hq::test

QTEST_MAIN(hq::test::ScreenFactsTest)
#include "screen_facts_test.moc"
