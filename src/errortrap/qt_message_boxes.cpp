#include "errortrap/qt_message_boxes.h"

#include <QApplication>
#include <QMessageBox>
#include <QPointer>

#include "errortrap/qt_message_loop.h"

namespace hq {

QString To_QString(const std::string& text) {
  return QString::fromLocal8Bit(text.data(), static_cast<qsizetype>(text.size()));
}

std::string To_Text(const QString& text) {
  return text.toLocal8Bit().toStdString();
}

MessageAnswer QtMessageBoxes::Show(const std::string& text, const std::string& title, MessageButtons buttons,
                                   MessageIcon icon) {
  const QPointer<QWidget> owner = QApplication::activeWindow();
  QMessageBox box(owner);
  box.setTextFormat(Qt::PlainText);
  box.setText(To_QString(text));
  box.setWindowTitle(To_QString(title));
  if (icon == MessageIcon::CriticalStop) box.setIcon(QMessageBox::Critical);
  if (buttons == MessageButtons::Ok) {
    box.setStandardButtons(QMessageBox::Ok);
  } else {
    box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
    box.setDefaultButton(QMessageBox::Yes);
    box.setEscapeButton(QMessageBox::Cancel);
  }
  int pressed = 0;
  {
    const InnerLoop inner;
    pressed = box.exec();
  }
  // Where no window manager does it.
  if (owner && owner->isVisible()) owner->activateWindow();
  switch (pressed) {
    case QMessageBox::Yes:
      return MessageAnswer::Yes;
    case QMessageBox::No:
      return MessageAnswer::No;
    case QMessageBox::Cancel:
      return MessageAnswer::Cancel;
    default:
      return buttons == MessageButtons::Ok ? MessageAnswer::Ok : MessageAnswer::Cancel;
  }
}

}  // namespace hq
