// What the main window says about where its quotes come from.

#include <QAccessible>
#include <QHBoxLayout>
#include <QLabel>
#include <QTimer>
#include <QToolTip>
#include <chrono>
#include <utility>

#include "errortrap/qt_accessible_role.h"
#include "shell/frmmain1.h"
#include "shell/global.h"
#include "shell/quotes_note.h"
#include "ui_frmmain1.h"

namespace hq {

namespace {

// A text above all, gone at a click.
class PassingNote final : public QLabel {
 public:
  PassingNote(const QString& text, QWidget* parent) : QLabel(text, parent, Qt::ToolTip) {
    setAttribute(Qt::WA_DeleteOnClose);
  }

 protected:
  void mousePressEvent(QMouseEvent*) override { close(); }
};

}  // namespace

// A line of menu and note, and not a note in the menu's corner, where no screen reader finds it.
void frmmain1::Make_Menu_Line() {
  auto* const line = new QWidget;
  auto* const row = new QHBoxLayout(line);
  row->setContentsMargins(0, 0, 6, 0);
  row->setSpacing(6);
  layout()->setMenuBar(nullptr);
  row->addWidget(ui_->menubar, 1);
  lblquotes_ = new QuotesNote;
  lblquotes_->setObjectName("lblquotes");
  row->addWidget(lblquotes_, 0, Qt::AlignVCenter);
  setMenuWidget(line);
  QFont bold = font();
  bold.setBold(true);
  lblquotes_->setFont(bold);
  setTabOrder(ui_->cmddownload, lblquotes_);
  if (program_.Parts.Set_Up_Quotes) {
    lblquotes_->setToolTip("Choose where quotes come from (Alt+Q)");
    lblquotes_->setCursor(Qt::PointingHandCursor);
    connect(lblquotes_, &QPushButton::clicked, this, [this] { Set_Up_Quotes(); });
  } else {
    lblquotes_->setFocusPolicy(Qt::NoFocus);
  }
}

void frmmain1::Show_Quotes_Note() {
  lblquotes_->setText(To_QString(program_.Parts.QuotesNote));
  lblquotes_->setVisible(!program_.Parts.QuotesNote.empty());
}

void frmmain1::Set_Up_Quotes() {
  // It would lie over the form.
  if (auto* const note = findChild<QLabel*>("lblfirststart")) note->close();
  const std::optional<QuotePlace> place = program_.Parts.Set_Up_Quotes(this);
  if (!place) return;
  program_.Use_Quotes(*place);
  Show_Quotes_Note();
}

void frmmain1::Show_First_Start_Note() {
  constexpr std::chrono::seconds Time_To_Read{20};
  const std::string text = std::exchange(program_.Parts.FirstStartNote, {});
  if (text.empty()) return;
  // Below the window, where it hides nothing; it takes no keys, and goes by itself or at a click.
  auto* const note = new PassingNote(To_QString(text), this);
  Set_Accessible_Role(*note, QAccessible::Notification);
  note->setObjectName("lblfirststart");
  note->setTextFormat(Qt::PlainText);
  note->setWordWrap(true);
  note->setFrameShape(QFrame::Box);
  note->setMargin(8);
  note->setFont(font());
  note->setPalette(QToolTip::palette());
  note->setFixedWidth(frameGeometry().width());
  note->adjustSize();
  note->move(frameGeometry().bottomLeft() + QPoint(0, 4));
  note->show();
  // The library keeps windows of this kind from screen readers.
  QAccessibleEvent shown(note, QAccessible::ObjectShow);
  QAccessible::updateAccessibility(&shown);
  QTimer::singleShot(Time_To_Read, note, &QWidget::close);
}

}  // namespace hq
