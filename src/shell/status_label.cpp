#include "shell/status_label.h"

#include <QAccessible>
#include <chrono>

#include "errortrap/qt_accessible_role.h"

namespace hq {

StatusLabel::StatusLabel(QWidget* parent) : QLabel(parent) {
  using namespace std::chrono_literals;
  setTextFormat(Qt::PlainText);
#ifndef Q_OS_WIN
  // Readers say a notification when it is shown; on Windows the role means nothing.
  Set_Accessible_Role(*this, QAccessible::Notification);
#endif
  standing_.setSingleShot(true);
  standing_.setInterval(500ms);
  connect(&standing_, &QTimer::timeout, this, [this] {
    QAccessibleEvent shown(this, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&shown);
  });
}

void StatusLabel::Show_Status(const QString& text) {
  setText(text);
  // The line has no room for a long reason.
  setToolTip(text.toHtmlEscaped());
  standing_.start();
}

}  // namespace hq
