#pragma once

#include <QAccessible>

class QWidget;

namespace hq {

// Tells screen readers what a widget is, where its class does not: a window, a status line. A label keeps its
// text as its name. To be called in the constructor of the widget's form, before a reader sees it.
void Set_Accessible_Role(QWidget& widget, QAccessible::Role role);

}  // namespace hq
