#pragma once

#include <QDialog>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "errortrap/error_dialog.h"
#include "errortrap/modFailSafe.h"

class QPrinter;

namespace Ui {
class frmFAILSAFE;
}

namespace hq {

// What the error dialog asks of the system.
struct ErrorDialogParts {
  // Lets the user choose the printer and set it up, and calls chosen when that is done; false: nothing is to
  // be printed. Must not wait for the user in a loop of its own: a procedure that waits inside of it for the
  // end of the pause would hold it up. Without it the default printer prints.
  std::function<void(const std::shared_ptr<QPrinter>& printer, QWidget* owner,
                     const std::function<void(bool)>& chosen)>
      Choose_Printer;
  // Opens a text file with the program that the system has for it; false when it has none.
  std::function<bool(const std::string& path)> Open_File;
  // Stops in the debugger that watches the program. When it is not set the dialog offers no such thing.
  std::function<void()> Break;
};

// The error dialog: one trapped error, and what the program is to do next. Made for one error.
class frmFAILSAFE final : public QDialog {
 public:
  // trap, question and parts outlive the form.
  frmFAILSAFE(modFailSafe& trap, const ErrorQuestion& question, const ErrorDialogParts& parts);
  ~frmFAILSAFE() override;

  // Shows the form above all other windows of the program, which take no input meanwhile, and waits for the
  // answer. An end of the program counts as Continue.
  ErrorAnswer Ask();

  // Adds a line about an error that came while the form is up. Its texts are plain.
  void Further_Error(std::int32_t error_count, const std::string& text);

 protected:
  bool event(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
  // Escape and the window's frame.
  void reject() override { nsCtrlContinue_Click(); }

 private:
  void Form_Load();
  void Fill_In();
  void Offer_Buttons();
  void Connect();

  void nsCtrlContinue_Click();
  void nsCtrlMore_Click();
  void cmdRetry_Click();
  void cmdIgnore_Click();
  void cmdDetails_Click();
  void cmdCopy_Click();
  void fsPrint_Click();
  void cmdMail_Click();
  void cmdBreak_Click();
  void nsHelp_Click();
  void Combo1_Click();
  // True when the key was theirs.
  bool Combo1_KeyDown(int key, Qt::KeyboardModifiers modifiers);
  bool Combo1_KeyPress(const QString& character);

  // Runs a handler of the form; an error of it goes to the trap.
  void Guarded(const char* procedure, const std::function<void()>& handler);
  void End_With(int choice);
  void Choose_Page(int page);
  void Show_Page(int page);
  [[nodiscard]] QString Page_Text() const;
  void Print(QPrinter& printer, const QString& page, const QString& text);
  void Tell(const QString& outcome);
  void Unfold(bool whole);
  void Keep_Whole();
  void Widen_For_Text();
  [[nodiscard]] QSize First_Size() const;

  modFailSafe& trap_;
  const ErrorQuestion& question_;
  const ErrorDialogParts& parts_;
  std::unique_ptr<Ui::frmFAILSAFE> ui_;
  QWidget* help_ = nullptr;
  ErrorAnswer answer_;
  bool answered_ = false;
  bool system_known_ = false;  // the page of the system has its text
};

}  // namespace hq
