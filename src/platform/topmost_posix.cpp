#include <QWidget>

#include "platform/topmost.h"

namespace hq {

void Set_Topmost(QWidget& window, bool topmost) {
  window.setWindowFlag(Qt::WindowStaysOnTopHint, topmost);
}

}  // namespace hq
