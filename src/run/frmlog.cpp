#include "run/frmlog.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QScrollBar>
#include <QShortcut>
#include <QStringList>

#include "errortrap/procedure.h"
#include "errortrap/qt_accessible_role.h"
#include "errortrap/qt_message_boxes.h"
#include "ui_frmlog.h"

namespace hq {

frmlog::frmlog(modFailSafe& trap)
    : QWidget(nullptr, Qt::Window), trap_(trap), ui_(std::make_unique<Ui::frmlog>()) {
  Set_Accessible_Role(*this, QAccessible::Window);
  ui_->setupUi(this);
  connect(ui_->cmdClose, &QPushButton::clicked, this, [this] { cmdClose_Click(); });
  connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, [this] { cmdClose_Click(); });
  connect(new QShortcut(QKeySequence("Alt+L"), this), &QShortcut::activated, ui_->lstlog,
          [this] { ui_->lstlog->setFocus(Qt::ShortcutFocusReason); });
  // The range grows some time after a line has come, and with the window's size.
  QScrollBar* bar = ui_->lstlog->verticalScrollBar();
  connect(bar, &QScrollBar::rangeChanged, this, [this, bar] {
    if (follows_) bar->setValue(bar->maximum());
  });
  connect(bar, &QScrollBar::valueChanged, this, [this, bar] { follows_ = bar->value() == bar->maximum(); });
  auto* copy = new QAction("Copy", this);
  copy->setShortcut(QKeySequence::Copy);
  copy->setShortcutContext(Qt::WidgetShortcut);
  connect(copy, &QAction::triggered, this, [this] { Copy_Selected(); });
  ui_->lstlog->addAction(copy);
}

frmlog::~frmlog() = default;

void frmlog::Clear() {
  ui_->lstlog->clear();
  // Now, so that the bar is at the end of an empty list whatever comes next.
  ui_->lstlog->doItemsLayout();
  follows_ = true;
}

void frmlog::Add(const std::string& line) {
  ui_->lstlog->addItem(To_QString(line));
}

void frmlog::cmdClose_Click() {
  Skip_Failing_Statements(trap_, {"frmlog.frm", "Sub cmdClose_Click"}, [&](SkippingStatements& statement) {
    statement([&] { Clear(); });
    statement([&] { hide(); });
  });
}

void frmlog::closeEvent(QCloseEvent* event) {
  Clear();
  event->accept();
}

void frmlog::Copy_Selected() const {
  QStringList lines;
  for (int row = 0; row < ui_->lstlog->count(); ++row) {
    if (ui_->lstlog->item(row)->isSelected()) lines << ui_->lstlog->item(row)->text();
  }
  QApplication::clipboard()->setText(lines.join('\n'));
}

}  // namespace hq
