#include "errortrap/qt_accessible_role.h"

#include <QAccessibleWidget>
#include <QLabel>
#include <QVariant>

namespace hq {

namespace {

constexpr const char* RoleProperty = "accessibleRole";

class WidgetWithRole final : public QAccessibleWidget {
 public:
  using QAccessibleWidget::QAccessibleWidget;

  [[nodiscard]] QString text(QAccessible::Text kind) const override {
    const auto* label = qobject_cast<const QLabel*>(widget());
    if (kind == QAccessible::Name && label != nullptr && label->accessibleName().isEmpty())
      return label->text();
    return QAccessibleWidget::text(kind);
  }
};

QAccessibleInterface* Make_Interface(const QString& /*class_name*/, QObject* object) {
  auto* widget = qobject_cast<QWidget*>(object);
  const QVariant role = object->property(RoleProperty);
  if (widget == nullptr || !role.isValid()) return nullptr;
  return new WidgetWithRole(widget, static_cast<QAccessible::Role>(role.toInt()));
}

}  // namespace

void Set_Accessible_Role(QWidget& widget, QAccessible::Role role) {
  // Installed anew after each application object; a second call has no effect.
  QAccessible::installFactory(Make_Interface);
  widget.setProperty(RoleProperty, static_cast<int>(role));
  // One that was made by the widget's class alone would be kept.
  if (QAccessibleInterface* made = QAccessible::queryAccessibleInterface(&widget))
    QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(made));
}

}  // namespace hq
