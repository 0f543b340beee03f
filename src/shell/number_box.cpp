#include "shell/number_box.h"

#include <QKeyEvent>

namespace hq {

NumberBox::NumberBox(QWidget* parent) : QLineEdit(parent) {
  // Composed characters would come in beside the keys.
  setAttribute(Qt::WA_InputMethodEnabled, false);
}

QSize NumberBox::sizeHint() const {
  // Room for three digits, the most that a sensible entry has.
  const int spare = QLineEdit::minimumSizeHint().width() - fontMetrics().maxWidth();
  return {fontMetrics().horizontalAdvance("0000") + spare, QLineEdit::sizeHint().height()};
}

QSize NumberBox::minimumSizeHint() const {
  return sizeHint();
}

void NumberBox::keyPressEvent(QKeyEvent* event) {
  const QString text = event->text();
  // Ctrl alone makes commands. With Alt or both held keys type characters too.
  const bool command = event->modifiers() == Qt::ControlModifier ||
                       event->modifiers() == (Qt::ControlModifier | Qt::ShiftModifier);
  const bool typed = !text.isEmpty() && !command && event->key() != Qt::Key_Delete;
  if (typed && KeyPress && KeyPress(static_cast<std::int16_t>(text.at(0).unicode())) == 0) {
    event->accept();
    return;
  }
  QLineEdit::keyPressEvent(event);
}

}  // namespace hq
