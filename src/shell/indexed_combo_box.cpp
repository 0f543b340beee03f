#include "shell/indexed_combo_box.h"

#include <QAbstractItemView>
#include <QKeyEvent>
#include <QStyleOptionComboBox>
#include <QStylePainter>
#include <QStyledItemDelegate>
#include <QWheelEvent>
#include <algorithm>
#include <utility>

namespace hq {

// Draws the items of the opened list.
class IndexedComboBox::Delegate final : public QStyledItemDelegate {
 public:
  explicit Delegate(IndexedComboBox& box) : QStyledItemDelegate(&box), box_(box) {}

  [[nodiscard]] QString displayText(const QVariant& value, const QLocale&) const override {
    return box_.Shown(value.toString());
  }

 private:
  IndexedComboBox& box_;
};

IndexedComboBox::IndexedComboBox(QWidget* parent) : QComboBox(parent) {
  setItemDelegate(new Delegate(*this));
}

void IndexedComboBox::Set_Index_Digits(int digits) {
  index_digits_ = digits;
  for (int i = 0; i < count(); ++i) setItemData(i, Shown(itemText(i)), Qt::AccessibleTextRole);
  updateGeometry();
}

void IndexedComboBox::Discard_Keys(std::function<void()> on_key) {
  on_key_ = std::move(on_key);
  view()->installEventFilter(this);
}

QSize IndexedComboBox::sizeHint() const {
  return Size_For_Shown_Texts();
}

QSize IndexedComboBox::minimumSizeHint() const {
  return Size_For_Shown_Texts();
}

void IndexedComboBox::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  painter.setPen(palette().color(QPalette::Text));
  QStyleOptionComboBox option;
  initStyleOption(&option);
  option.currentText = Shown(currentText());
  painter.drawComplexControl(QStyle::CC_ComboBox, option);
  painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

void IndexedComboBox::keyPressEvent(QKeyEvent* event) {
  if (!on_key_) return QComboBox::keyPressEvent(event);
  on_key_();
  // Access keys are the form's.
  event->setAccepted(event->modifiers() != Qt::AltModifier);
}

void IndexedComboBox::wheelEvent(QWheelEvent* event) {
  if (!on_key_) return QComboBox::wheelEvent(event);
  event->accept();
}

bool IndexedComboBox::eventFilter(QObject* watched, QEvent* event) {
  const bool key = event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride;
  if (watched == view() && key && static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape) {
    if (event->type() == QEvent::KeyPress) on_key_();
    event->accept();
    return true;
  }
  return QComboBox::eventFilter(watched, event);
}

QString IndexedComboBox::Shown(const QString& text) const {
  return text.chopped(std::min<qsizetype>(index_digits_, text.size())).trimmed();
}

QSize IndexedComboBox::Size_For_Shown_Texts() const {
  int width = 0;
  for (int i = 0; i < count(); ++i)
    width = std::max(width, fontMetrics().horizontalAdvance(Shown(itemText(i))));
  QStyleOptionComboBox option;
  initStyleOption(&option);
  option.currentText.clear();
  const QSize contents(width + 2, fontMetrics().height());
  return style()->sizeFromContents(QStyle::CT_ComboBox, &option, contents, this);
}

}  // namespace hq
