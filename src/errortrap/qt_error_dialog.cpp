#include "errortrap/qt_error_dialog.h"

#include <QApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPointer>
#include <QPrintDialog>
#include <QUrl>
#include <utility>

#include "errortrap/qt_message_boxes.h"

namespace hq {

ErrorDialogParts System_Error_Dialog_Parts() {
  return {.Choose_Printer =
              [](const std::shared_ptr<QPrinter>& printer, QWidget* owner,
                 const std::function<void(bool)>& chosen) {
                auto* dialog = new QPrintDialog(printer.get(), owner);
                dialog->setAttribute(Qt::WA_DeleteOnClose);
                QObject::connect(dialog, &QDialog::finished, owner,
                                 [printer, chosen](int pressed) { chosen(pressed == QDialog::Accepted); });
                dialog->open();
              },
          .Open_File =
              [](const std::string& path) {
                return QDesktopServices::openUrl(QUrl::fromLocalFile(To_QString(path)));
              },
          .Break = nullptr};
}

QtErrorDialog::QtErrorDialog(modFailSafe& trap, ErrorDialogParts parts)
    : trap_(trap), parts_(std::move(parts)) {}

ErrorAnswer QtErrorDialog::Ask(const ErrorQuestion& question) {
  // An open list or menu, and a box that follows the mouse, would keep all input to themselves.
  while (QWidget* popup = QApplication::activePopupWidget()) {
    if (!popup->close()) break;
  }
  if (QWidget* grabber = QWidget::mouseGrabber()) grabber->releaseMouse();
  const QPointer<QWidget> before = QApplication::activeWindow();
  frmFAILSAFE form(trap_, question, parts_);
  struct Waiting {
    Waiting(frmFAILSAFE*& latest, frmFAILSAFE& form) : latest_(latest), before_(latest) { latest_ = &form; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { latest_ = before_; }
    frmFAILSAFE*& latest_;
    frmFAILSAFE* const before_;
  };
  ErrorAnswer answer;
  {
    const Waiting waiting(form_, form);
    answer = form.Ask();
  }
  if (before && before->isVisible()) before->activateWindow();
  return answer;
}

void QtErrorDialog::Further_Error(std::int32_t error_count, const std::string& text) {
  if (form_ != nullptr) form_->Further_Error(error_count, text);
}

void QtErrorDialog::Show_Report(const std::string& path) {
  if (parts_.Open_File && parts_.Open_File(path)) return;
  auto* box = new QMessageBox(QApplication::activeWindow());
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setWindowModality(Qt::NonModal);
  box->setWindowTitle(DefaultTitle);
  box->setTextFormat(Qt::PlainText);
  box->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  box->setText("The complete report is in the file\n" + To_QString(path));
  box->show();
}

}  // namespace hq
