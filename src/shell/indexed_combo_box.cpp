#include "shell/indexed_combo_box.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleWidget>
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

namespace {

// The box as a screen reader is told of it: the library's own interface would give the whole texts.
class AccessibleComboBox final : public QAccessibleWidget {
 public:
  explicit AccessibleComboBox(IndexedComboBox& box)
      : QAccessibleWidget(&box, QAccessible::ComboBox), box_(box) {}

  [[nodiscard]] int childCount() const override { return 1; }
  [[nodiscard]] QAccessibleInterface* child(int index) const override {
    return index == 0 ? QAccessible::queryAccessibleInterface(box_.view()) : nullptr;
  }
  [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override {
    return child != nullptr && child->object() == box_.view() ? 0 : -1;
  }
  [[nodiscard]] QAccessibleInterface* childAt(int, int) const override { return nullptr; }

  [[nodiscard]] QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Value) return box_.Shown_Text();
#ifndef Q_OS_WIN
    // Elsewhere readers take the name for what is chosen, and the label for what it is.
    if (kind == QAccessible::Name) return box_.Shown_Text();
#endif
    return QAccessibleWidget::text(kind);
  }
  [[nodiscard]] QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.expandable = true;
    state.expanded = box_.view()->isVisible();
    return state;
  }

  [[nodiscard]] QStringList actionNames() const override {
    return {showMenuAction(), pressAction()};
  }
  void doAction(const QString& action) override {
    if (action != showMenuAction() && action != pressAction()) return;
    if (box_.view()->isVisible()) {
      box_.hidePopup();
    } else {
      box_.showPopup();
    }
  }

 private:
  IndexedComboBox& box_;
};

QAccessibleInterface* Make_Accessible(const QString& /*class_name*/, QObject* object) {
  auto* box = dynamic_cast<IndexedComboBox*>(object);
  return box == nullptr ? nullptr : new AccessibleComboBox(*box);
}

}  // namespace

IndexedComboBox::IndexedComboBox(QWidget* parent) : QComboBox(parent) {
  setItemDelegate(new Delegate(*this));
  QAccessible::installFactory(Make_Accessible);
  // The library tells readers of a change with the whole text; this comes behind it.
  connect(
      this, &QComboBox::currentIndexChanged, this,
      [this] {
        QAccessibleValueChangeEvent changed(this, Shown_Text());
        QAccessible::updateAccessibility(&changed);
      },
      Qt::QueuedConnection);
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
