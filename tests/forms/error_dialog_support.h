#pragma once

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <QWindow>
#include <functional>
#include <string>

#include "errortrap/error_dialog.h"

namespace hq::test {

// An error as the trap shows it, with everything the dialog can offer.
inline ErrorQuestion Full_Question() {
  ErrorQuestion question;
  question.Category = "File System (disk, directory or file) access";
  question.Project = "Bravint History Quotes Downloader";
  question.Module = "frmmain1.frm";
  question.Procedure = "Sub Form_Unload";
  question.Line = " <unavailable: line numbers not used>";
  question.Number = 75;
  question.Description = "Path/File access error";
  question.Detail = "user.cfg: Read-only file system";
  question.CallTree = {" 1 : global.bas : Sub Main : ", " 2 :  frmmain1.frm : Sub Form_Unload : "};
  question.ErrorCount = 3;
  question.ErrorInformation = "the error's page\n";
  question.CallTreeText = "the call tree's page\n";
  question.SystemInformation = [] { return std::string("the system's page\n"); };
  question.MailAddress = "support@quotes.test";
  question.CanBreak = true;
  return question;
}

// The form that is on the screen; null when there is none.
inline QDialog* Shown_Form() {
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (window->objectName() == "frmFAILSAFE" && window->isVisible()) return qobject_cast<QDialog*>(window);
  }
  return nullptr;
}

// Uses the next form that comes up, as soon as it takes keys. A form that is still up afterwards is closed,
// so that no test hangs; Closed tells that it was.
class FormUse final : public QObject {
 public:
  explicit FormUse(std::function<void(QDialog&)> use) : use_(std::move(use)) {
    connect(&timer_, &QTimer::timeout, this, [this] { Look(); });
    timer_.start(2);
  }

  bool Leave_Up = false;        // set by a use after which the form is to end by other means
  bool Ends_By_Itself = false;  // a button pressed by its access key acts a moment later
  bool Used = false;
  bool Closed = false;

 private:
  void Look() {
    if (Used) return Look_After_Use();
    form_ = Shown_Form();
    if (form_ == nullptr || QGuiApplication::focusWindow() != form_->windowHandle()) return;
    // What the form's coming has set going begins first: a handler that waits for the answer inside of a
    // press would hold it.
    if (++looks_ < 3) return;
    Used = true;
    use_(*form_);
    since_use_.start();
    Look_After_Use();
  }

  // By the timer, too: what the form waits for may be done by a loop that this is called in.
  void Look_After_Use() {
    if (!since_use_.isValid() || Leave_Up || Closed || !form_ || !form_->isVisible()) return;
    if (Ends_By_Itself && !since_use_.hasExpired(5000)) return;
    Closed = true;
    form_->reject();
  }

  QTimer timer_;
  QPointer<QDialog> form_;
  QElapsedTimer since_use_;
  int looks_ = 0;
  std::function<void(QDialog&)> use_;
};

// A control of the form.
template <class Widget = QWidget>
Widget* Control(const QWidget& form, const char* name) {
  auto* widget = form.findChild<Widget*>(name);
  if (widget == nullptr) qFatal("no control %s", name);
  return widget;
}

}  // namespace hq::test
