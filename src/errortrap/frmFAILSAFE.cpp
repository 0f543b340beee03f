#include "errortrap/frmFAILSAFE.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QFileInfo>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPrinter>
#include <QScreen>
#include <QShortcut>
#include <QSignalBlocker>
#include <QStyle>
#include <QTextDocument>
#include <QWindow>
#include <QtMath>
#include <algorithm>

#include "errortrap/error_help.h"
#include "errortrap/procedure.h"
#include "errortrap/qt_message_boxes.h"
#include "errortrap/qt_message_loop.h"
#include "errortrap/report_text.h"
#include "ui_frmFAILSAFE.h"

namespace hq {

namespace {

enum Page : int { ErrorPage, CallsPage, SystemPage };

// Tool tips take what looks like HTML for HTML.
QString Plain_Tip(const QString& text) {
  return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

bool Is_Line_Number(const std::string& line) {
  return !line.empty() &&
         std::all_of(line.begin(), line.end(), [](char c) { return c == ' ' || (c >= '0' && c <= '9'); });
}

// The entry text of a level with no more of its indentation than leaves its names in sight.
QString Shown_Entry(const QString& entry, qsizetype level) {
  constexpr qsizetype most = 24;
  constexpr const char* separator = " : ";
  const qsizetype begin = entry.indexOf(separator) + 3;
  const qsizetype indents = level - 1;
  if (begin < 3 || indents <= most || entry.size() < begin + indents) return entry;
  const QStringView indent = QStringView(entry).mid(begin, indents);
  if (std::any_of(indent.begin(), indent.end(), [&](QChar c) { return c != indent.front(); })) return entry;
  return entry.left(begin + most) + entry.mid(begin + indents);
}

}  // namespace

frmFAILSAFE::frmFAILSAFE(modFailSafe& trap, const ErrorQuestion& question, const ErrorDialogParts& parts)
    : QDialog(nullptr, Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                           Qt::WindowCloseButtonHint | Qt::WindowMaximizeButtonHint),
      trap_(trap),
      question_(question),
      parts_(parts),
      ui_(std::make_unique<Ui::frmFAILSAFE>()) {
  ui_->setupUi(this);
  setSizeGripEnabled(true);
  setWindowModality(Qt::ApplicationModal);
  // The program goes on when this was its only window.
  setAttribute(Qt::WA_QuitOnClose, false);
  // The layout does not know that a narrower window needs more height.
  layout()->setSizeConstraint(QLayout::SetNoConstraint);
  Form_Load();
}

frmFAILSAFE::~frmFAILSAFE() = default;

void frmFAILSAFE::Form_Load() {
  bool on_top = question_.Display == DisplayMode::OnTop;
  const QWidget* active = QApplication::activeWindow();
  if (active != nullptr) setWindowIcon(active->windowIcon());
  for (const QWidget* window : QApplication::topLevelWidgets()) {
    if (window == this || !window->isVisible()) continue;
    if (windowIcon().isNull()) setWindowIcon(window->windowIcon());
    // Nothing may hide the dialog: the splash is above all windows while the program starts.
    on_top = on_top || window->windowFlags().testFlag(Qt::WindowStaysOnTopHint);
  }
  setWindowFlag(Qt::WindowStaysOnTopHint, on_top);

  QFont bold = font();
  bold.setBold(true);
  bold.setPointSizeF(bold.pointSizeF() * 1.15);
  ui_->lblMessage->setFont(bold);
  QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  if (font().pointSizeF() > 0) fixed.setPointSizeF(font().pointSizeF());
  for (QWidget* text : {static_cast<QWidget*>(ui_->txtInformation), static_cast<QWidget*>(ui_->nsCtrlCalls),
                        static_cast<QWidget*>(ui_->txtCalls), static_cast<QWidget*>(ui_->txtSystem)}) {
    text->setFont(fixed);
    text->setMinimumHeight(4 * QFontMetrics(fixed).lineSpacing());
  }
  for (QPlainTextEdit* text : {ui_->txtInformation, ui_->txtSystem})
    text->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  ui_->Text1->setMinimumHeight(4 * fontMetrics().lineSpacing());
  ui_->lblMessage->Set_Longest(5);
  ui_->errText->Set_Longest(12);
  ui_->txtFurther->Set_Longest(4);
  ui_->txtOutcome->Set_Longest(3);
  const int icon_size = 5 * fontMetrics().lineSpacing() / 2;
  ui_->picError->setPixmap(style()
                               ->standardIcon(QStyle::SP_MessageBoxCritical, nullptr, this)
                               .pixmap(QSize(icon_size, icon_size), devicePixelRatio()));
  Fill_In();
  Offer_Buttons();
  Connect();
}

void frmFAILSAFE::Fill_In() {
  const bool has_line = Is_Line_Number(question_.Line);
  const QString number = QString::number(question_.Number);
  QString where = To_QString(question_.Procedure) + " (" + To_QString(question_.Module) + ")";
  if (has_line) where += " on line " + To_QString(question_.Line).trimmed();
  ui_->lblMessage->Set_Text("An unexpected '" + To_QString(question_.Category) + "' error occurred in " +
                            where + ".");
  QString description = To_QString(question_.Description);
  if (!question_.Detail.empty()) description += '\n' + To_QString(question_.Detail);
  ui_->errText->Set_Text(description);
  ui_->lblErrCnt->setText("Errors since the start: " + QString::number(question_.ErrorCount));
  setWindowTitle("Runtime error " + number +
                 (question_.Project.empty() ? QString() : " - " + To_QString(question_.Project)));

  const auto fill = [](QLabel* field, const QString& text) {
    field->setText(text);
    field->setWordWrap(true);
    field->setToolTip(Plain_Tip(text));
  };
  fill(ui_->ErrType, To_QString(question_.Category));
  fill(ui_->errProject, To_QString(question_.Project));
  fill(ui_->ErrModule, To_QString(question_.Module));
  fill(ui_->ErrProcedure, To_QString(question_.Procedure));
  fill(ui_->ErrLine, To_QString(question_.Line));
  fill(ui_->ErrNo, number);
  fill(ui_->CodePointer, To_QString(question_.Module) + " : " + To_QString(question_.Procedure));
  for (QWidget* widget : {ui_->lblCodePointer, ui_->CodePointer}) widget->setVisible(!has_line);
  ui_->txtInformation->setPlainText(To_QString(question_.ErrorInformation));
  ui_->txtInformation->setVisible(!question_.ErrorInformation.empty());

  qsizetype level = 0;
  for (const std::string& entry : question_.CallTree)
    ui_->nsCtrlCalls->addItem(Shown_Entry(To_QString(entry), ++level));
  if (question_.CallTree.empty()) ui_->nsCtrlCalls->addItem(Unknown);
  // Where it happened.
  ui_->nsCtrlCalls->setCurrentRow(ui_->nsCtrlCalls->count() - 1);
  const QString calls = To_QString(question_.CallTreeText);
  ui_->txtCalls->setPlainText(calls);
  ui_->txtCalls->setHidden(calls.trimmed().isEmpty() ||
                           calls.trimmed() == To_QString(Joined_Lines(question_.CallTree)).trimmed());
}

void frmFAILSAFE::Offer_Buttons() {
  for (QWidget* widget : {static_cast<QWidget*>(ui_->lblText1), static_cast<QWidget*>(ui_->Text1)})
    widget->setVisible(question_.AsksUser);
  ui_->cmdRetry->setVisible(question_.CanGoOn);
  ui_->cmdIgnore->setVisible(question_.CanGoOn);
  ui_->cmdMail->setVisible(!question_.MailAddress.empty());
  ui_->cmdMail->setToolTip(
      Plain_Tip("Press to mail the report to " + To_QString(question_.MailAddress) + "."));
  ui_->cmdBreak->setVisible(question_.CanBreak && parts_.Break);
  ui_->cmdDetails->setVisible(question_.Display == DisplayMode::Compact);
}

void frmFAILSAFE::Connect() {
  const auto clicked = [this](QPushButton* button, const char* procedure, void (frmFAILSAFE::*handler)()) {
    connect(button, &QPushButton::clicked, this,
            [this, procedure, handler] { Guarded(procedure, [&] { (this->*handler)(); }); });
  };
  clicked(ui_->nsCtrlContinue, "Sub nsCtrlContinue_Click", &frmFAILSAFE::nsCtrlContinue_Click);
  clicked(ui_->nsCtrlMore, "Sub nsCtrlMore_Click", &frmFAILSAFE::nsCtrlMore_Click);
  clicked(ui_->cmdRetry, "Sub cmdRetry_Click", &frmFAILSAFE::cmdRetry_Click);
  clicked(ui_->cmdIgnore, "Sub cmdIgnore_Click", &frmFAILSAFE::cmdIgnore_Click);
  clicked(ui_->cmdDetails, "Sub cmdDetails_Click", &frmFAILSAFE::cmdDetails_Click);
  clicked(ui_->cmdCopy, "Sub cmdCopy_Click", &frmFAILSAFE::cmdCopy_Click);
  clicked(ui_->fsPrint, "Sub fsPrint_Click", &frmFAILSAFE::fsPrint_Click);
  clicked(ui_->cmdMail, "Sub cmdMail_Click", &frmFAILSAFE::cmdMail_Click);
  clicked(ui_->cmdBreak, "Sub cmdBreak_Click", &frmFAILSAFE::cmdBreak_Click);
  clicked(ui_->nsHelp, "Sub nsHelp_Click", &frmFAILSAFE::nsHelp_Click);
  connect(new QShortcut(QKeySequence::HelpContents, this), &QShortcut::activated, this,
          [this] { Guarded("Sub nsHelp_Click", [this] { nsHelp_Click(); }); });
  connect(ui_->Combo1, &QComboBox::currentIndexChanged, this,
          [this] { Guarded("Sub Combo1_Click", [this] { Combo1_Click(); }); });
  ui_->Combo1->installEventFilter(this);
}

// An error that went on from here would end the dialog's loop, and with it the question and what the user has
// typed. The trap adds it to the dialog.
void frmFAILSAFE::Guarded(const char* procedure, const std::function<void()>& handler) {
  try {
    handler();
  } catch (const std::exception&) {
    trap_.fsERROR(modFailSafe::DialogModule, procedure, Current_Error());
  }
}

ErrorAnswer frmFAILSAFE::Ask() {
  ensurePolished();
  Unfold(question_.Display != DisplayMode::Compact);
  ui_->nsCtrlContinue->setFocus();
  {
    const InnerLoop inner;
    exec();
  }
  if (!answered_) End_With(trap_choice::Continue);
  return answer_;
}

void frmFAILSAFE::Further_Error(std::int32_t error_count, const std::string& text) {
  ui_->lblErrCnt->setText("Errors since the start: " + QString::number(error_count));
  ui_->txtFurther->show();
  ui_->txtFurther->Add_Line(To_QString(text));
  QAccessibleEvent alert(ui_->txtFurther, QAccessible::Alert);
  QAccessible::updateAccessibility(&alert);
}

void frmFAILSAFE::End_With(int choice) {
  if (answered_) return;
  answered_ = true;
  answer_ = {choice, To_Text(ui_->Text1->toPlainText())};
  // Before the loop is left: it can't be, while a procedure inside it waits for the end of the pause.
  try {
    if (question_.Clear_Pause) question_.Clear_Pause();
  } catch (const std::exception&) {
    trap_.Pause(false);
  }
  // Hides the form and ends its loop.
  done(choice);
}

void frmFAILSAFE::nsCtrlContinue_Click() {
  End_With(trap_choice::Continue);
}

void frmFAILSAFE::nsCtrlMore_Click() {
  End_With(trap_choice::More);
}

void frmFAILSAFE::cmdRetry_Click() {
  End_With(trap_choice::Retry);
}

void frmFAILSAFE::cmdIgnore_Click() {
  End_With(trap_choice::Ignore);
}

void frmFAILSAFE::cmdDetails_Click() {
  Unfold(ui_->cmdDetails->isChecked());
}

void frmFAILSAFE::cmdCopy_Click() {
  QApplication::clipboard()->setText(Page_Text());
  Tell("\"" + ui_->Combo1->currentText() + "\" was copied.");
}

void frmFAILSAFE::fsPrint_Click() {
  const auto printer = std::make_shared<QPrinter>(QPrinter::HighResolution);
  const QString page = ui_->Combo1->currentText();
  const QString text = Page_Text();
  printer->setDocName(page);
  if (!parts_.Choose_Printer) return Print(*printer, page, text);
  parts_.Choose_Printer(printer, this, [this, printer, page, text](bool chosen) {
    Guarded("Sub fsPrint_Click", [&] {
      // Where no window manager does it.
      activateWindow();
      if (chosen) Print(*printer, page, text);
    });
  });
}

void frmFAILSAFE::Print(QPrinter& printer, const QString& page, const QString& text) {
  QTextDocument document;
  QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  fixed.setPointSizeF(9);
  document.setDefaultFont(fixed);
  document.setPlainText(page + "\n\n" + text);
  document.print(&printer);
  const QString file = printer.outputFileName();
  const bool failed =
      printer.printerState() == QPrinter::Error || (!file.isEmpty() && QFileInfo(file).size() == 0);
  if (failed) return Tell("\"" + page + "\" could not be printed.");
  Tell("\"" + page + "\" was printed" + (file.isEmpty() ? "." : " to the file " + file + "."));
}

void frmFAILSAFE::cmdMail_Click() {
  if (!question_.Send_Mail) return;
  try {
    Tell(To_QString(question_.Send_Mail(To_Text(ui_->Text1->toPlainText()))));
  } catch (const std::exception&) {
    const RunTimeError error = Current_Error();
    Tell("The report could not be mailed. " + To_QString(error.Description()) + '\n' +
         To_QString(error.Detail()));
  }
}

void frmFAILSAFE::cmdBreak_Click() {
  auto* box = new QMessageBox(this);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setIcon(QMessageBox::Question);
  box->setWindowTitle(windowTitle());
  box->setTextFormat(Qt::PlainText);
  box->setText("Break to the debugger?\nChoose CANCEL to continue with program.");
  box->setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
  box->setDefaultButton(QMessageBox::Cancel);
  connect(box, &QDialog::finished, this, [this](int pressed) {
    Guarded("Sub cmdBreak_Click", [&] {
      // Where no window manager does it.
      activateWindow();
      if (pressed == QMessageBox::Ok) parts_.Break();
    });
  });
  box->open();
}

void frmFAILSAFE::nsHelp_Click() {
  if (help_ == nullptr) {
    help_ = Show_Error_Help(this);
    return;
  }
  help_->showNormal();
  help_->raise();
  help_->activateWindow();
}

void frmFAILSAFE::Combo1_Click() {
  Show_Page(ui_->Combo1->currentIndex());
}

bool frmFAILSAFE::Combo1_KeyDown(int key, Qt::KeyboardModifiers modifiers) {
  bool taken = false;
  Keep_Trap_Handler(trap_, {modFailSafe::DialogModule, "Sub Combo1_KeyDown"},
                    [&](TrappedStatements& statement) {
                      const int last = ui_->Combo1->count() - 1;
                      int page = ui_->Combo1->currentIndex();
                      if (key == Qt::Key_Up || key == Qt::Key_Left)
                        page = std::max(page - 1, 0);
                      else if (key == Qt::Key_Down || key == Qt::Key_Right)
                        page = std::min(page + 1, last);
                      else if (key == Qt::Key_Home || key == Qt::Key_PageUp)
                        page = 0;
                      else if (key == Qt::Key_End || key == Qt::Key_PageDown)
                        page = last;
                      else
                        return;
                      // With Alt they open the list.
                      if (modifiers.testFlag(Qt::AltModifier)) return;
                      taken = true;
                      statement([&] { Choose_Page(page); });
                    });
  return taken;
}

bool frmFAILSAFE::Combo1_KeyPress(const QString& character) {
  bool taken = false;
  Keep_Trap_Handler(trap_, {modFailSafe::DialogModule, "Sub Combo1_KeyPress"},
                    [&](TrappedStatements& statement) {
                      const int page = ui_->Combo1->findText(character, Qt::MatchStartsWith);
                      if (page < 0) return;
                      taken = true;
                      statement([&] { Choose_Page(page); });
                    });
  return taken;
}

bool frmFAILSAFE::eventFilter(QObject* watched, QEvent* event) {
  if (watched != ui_->Combo1 || event->type() != QEvent::KeyPress)
    return QDialog::eventFilter(watched, event);
  // The error may be that the call stack is full; the box does by itself what the handlers do.
  if (trap_.Depth() >= modFailSafe::DeepestLevel) return false;
  const auto* key = static_cast<const QKeyEvent*>(event);
  if (Combo1_KeyDown(key->key(), key->modifiers())) return true;
  const bool types = !key->text().isEmpty() && key->text().front().isPrint();
  return types && Combo1_KeyPress(key->text());
}

void frmFAILSAFE::Choose_Page(int page) {
  {
    const QSignalBlocker quiet(ui_->Combo1);
    ui_->Combo1->setCurrentIndex(page);
  }
  Show_Page(page);
}

void frmFAILSAFE::Show_Page(int page) {
  ui_->pages->setCurrentIndex(page);
  if (page != SystemPage || system_known_) return;
  ui_->txtSystem->setPlainText(Unknown);
  if (question_.SystemInformation) {
    ui_->txtSystem->setPlainText(To_QString(question_.SystemInformation()));
    system_known_ = true;
  }
}

QString frmFAILSAFE::Page_Text() const {
  switch (ui_->Combo1->currentIndex()) {
    case CallsPage:
      return question_.CallTreeText.empty() ? To_QString(Joined_Lines(question_.CallTree))
                                            : To_QString(question_.CallTreeText);
    case SystemPage:
      return ui_->txtSystem->toPlainText();
    default:
      return question_.ErrorInformation.empty()
                 ? ui_->lblMessage->toPlainText() + '\n' + ui_->errText->toPlainText() + '\n'
                 : To_QString(question_.ErrorInformation);
  }
}

void frmFAILSAFE::Tell(const QString& outcome) {
  ui_->txtOutcome->Set_Text(outcome.trimmed());
  ui_->txtOutcome->setVisible(!outcome.trimmed().isEmpty());
  QAccessibleEvent alert(ui_->txtOutcome, QAccessible::Alert);
  QAccessible::updateAccessibility(&alert);
}

void frmFAILSAFE::Unfold(bool whole) {
  ui_->details->setVisible(whole);
  ui_->cmdDetails->setChecked(whole);
  // Lays out anew what has been shown or hidden; before that the old heights hold.
  layout()->invalidate();
  layout()->activate();
  QSize size = First_Size();
  if (isVisible()) size.setWidth(width());
  setMinimumHeight(0);
  if (!whole) size.setHeight(layout()->minimumHeightForWidth(size.width()));
  resize(size);
  Keep_Whole();
  if (isVisible()) Widen_For_Text();
}

// The pages' lines of a usual length are not broken where the screen has the room.
void frmFAILSAFE::Widen_For_Text() {
  constexpr qsizetype usual = 90;
  const QPlainTextEdit* page = ui_->txtInformation;
  if (!page->isVisible()) return;
  const int margins = 2 * qCeil(page->document()->documentMargin()) + 2;
  const int text = page->fontMetrics().horizontalAdvance(QString(usual, 'x'));
  const int missing = text + margins - page->viewport()->width();
  const int room = screen()->availableSize().width() * 9 / 10 - width();
  if (missing > 0 && room > 0) resize(width() + std::min(missing, room), height());
}

// Whatever the width, no text may lose its lines.
void frmFAILSAFE::Keep_Whole() {
  setMinimumWidth(layout()->totalMinimumSize().width());
  setMinimumHeight(layout()->totalMinimumHeightForWidth(width()));
}

QSize frmFAILSAFE::First_Size() const {
  const QSize wished(115 * fontMetrics().averageCharWidth(), 42 * fontMetrics().lineSpacing());
  return wished.boundedTo(screen()->availableSize() * 9 / 10);
}

bool frmFAILSAFE::event(QEvent* event) {
  const bool result = QDialog::event(event);
  if (event->type() == QEvent::LayoutRequest) Keep_Whole();
  return result;
}

void frmFAILSAFE::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (!event->spontaneous()) Widen_For_Text();
}

void frmFAILSAFE::resizeEvent(QResizeEvent* event) {
  QDialog::resizeEvent(event);
  Keep_Whole();
}

}  // namespace hq
