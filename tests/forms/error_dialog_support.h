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
    const QPointer<QDialog> form = Shown_Form();
    if (Used || form == nullptr || QGuiApplication::focusWindow() != form->windowHandle()) return;
    Used = true;
    // The timer goes on: a press serves events, as an inner loop does, and the form's own may have to be
    // woken up.
    use_(*form);
    if (Ends_By_Itself) static_cast<void>(QTest::qWaitFor([&] { return !form || !form->isVisible(); }));
    if (!Leave_Up && form && form->isVisible()) {
      Closed = true;
      form->reject();
    }
  }

  QTimer timer_;
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
