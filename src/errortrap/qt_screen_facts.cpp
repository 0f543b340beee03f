#include "errortrap/qt_screen_facts.h"

#include <QGuiApplication>
#include <QInputDevice>
#include <QPointingDevice>
#include <QScreen>
#include <QSize>
#include <algorithm>

namespace hq {

namespace {

// Qt makes these up when the window system names no device.
bool Is_Made_Up(const QInputDevice& device) {
  return device.name() == QLatin1String("core pointer") || device.name() == QLatin1String("core keyboard");
}

}  // namespace

void Add_Screen_Facts(MachineFacts& facts) {
  const QList<QScreen*> screens = QGuiApplication::screens();
  if (!screens.isEmpty()) facts.Monitors = static_cast<int>(screens.size());
  if (const QScreen* screen = QGuiApplication::primaryScreen()) {
    if (screen->depth() > 0) facts.ColorBits = screen->depth();
    // The window system counts in units of its own on a fine screen.
    const QSize pixels = (QSizeF(screen->geometry().size()) * screen->devicePixelRatio()).toSize();
    if (!pixels.isEmpty()) {
      facts.ScreenSize = std::to_string(pixels.width()) + " x " + std::to_string(pixels.height());
    }
  }
  Add_Input_Facts(facts, QInputDevice::devices());
}

void Add_Input_Facts(MachineFacts& facts, const QList<const QInputDevice*>& devices) {
  for (const QInputDevice* device : devices) {
    if (Is_Made_Up(*device)) continue;
    const auto* pointer = qobject_cast<const QPointingDevice*>(device);
    if (pointer != nullptr && (device->type() == QInputDevice::DeviceType::Mouse ||
                               device->type() == QInputDevice::DeviceType::TouchPad)) {
      facts.Mouse = true;
      const int buttons = pointer->buttonCount();
      if (buttons > 0) facts.MouseButtons = std::max(facts.MouseButtons.value_or(0), buttons);
      // A device that scrolls without a mouse's type has no wheel.
      if (device->type() == QInputDevice::DeviceType::Mouse) {
        const bool wheel = device->capabilities().testFlag(QInputDevice::Capability::Scroll);
        facts.MouseWheel = facts.MouseWheel.value_or(false) || wheel;
      }
    } else if (device->type() == QInputDevice::DeviceType::Keyboard && facts.Keyboard.empty()) {
      facts.Keyboard = device->name().toLocal8Bit().toStdString();
    }
  }
}

}  // namespace hq
