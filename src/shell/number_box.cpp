#include "shell/number_box.h"

#include <QKeyEvent>
#include <QStyleOptionFrame>

namespace hq {

NumberBox::NumberBox(QWidget* parent) : QLineEdit(parent) {
  // Composed characters would come in beside the keys.
  setAttribute(Qt::WA_InputMethodEnabled, false);
}

QSize NumberBox::sizeHint() const {
  // Room for three digits, the most that a sensible entry has. What the style would add is meant for boxes
  // with a button in them.
  constexpr int margin = 2;  // that a line edit keeps on both sides of its text
  QStyleOptionFrame option;
  initStyleOption(&option);
  return {fontMetrics().horizontalAdvance("0000") + 2 * (margin + option.lineWidth),
          QLineEdit::sizeHint().height()};
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
