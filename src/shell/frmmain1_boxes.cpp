// The number boxes of the main window: what may be typed, and what is checked when one is left.

#include <QApplication>
#include <algorithm>

#include "errortrap/procedure.h"
#include "errortrap/qt_message_boxes.h"
#include "shell/frmmain1.h"
#include "shell/global.h"
#include "shell/number_box.h"
#include "ui_frmmain1.h"

namespace hq {

namespace {

constexpr const char* Module = "frmmain1.frm";

}  // namespace

void frmmain1::txtdays_GotFocus() {
  Keep_Trap_Handler(program_.Trap, {Module, "Sub txtdays_GotFocus"},
                    [&](TrappedStatements& statement) { statement([&] { ui_->txtdays->selectAll(); }); });
}

std::int16_t frmmain1::txtdays_KeyPress(std::int16_t key) {
  return Skip_Failing_Statements(program_.Trap, {Module, "Sub txtdays_KeyPress"},
                                 [&](SkippingStatements& statement) {
                                   std::int16_t result = key;
                                   statement([&] { result = Keyin_Number(program_.Trap, key); });
                                   return result;
                                 });
}

void frmmain1::txtdays_LostFocus() {
  Skip_Failing_Statements(
      program_.Trap, {Module, "Sub txtdays_LostFocus"}, [&](SkippingStatements& statement) {
        std::string fault;
        statement([&] {
          fault = Days_Fault(To_Text(ui_->cmbInterval->currentText()), To_Text(ui_->txtdays->text()));
        });
        if (fault.empty()) return;
        statement([&] { program_.Boxes.Show(fault); });
        statement([&] { Return_To(ui_->txtdays); });
        statement([&] { program_.Loop.DoEvents(); });
      });
}

void frmmain1::txtenddate_GotFocus(int index) {
  Keep_Trap_Handler(program_.Trap, {Module, "Sub txtenddate_GotFocus"}, [&](TrappedStatements& statement) {
    statement([&] { txtenddate_[static_cast<size_t>(index)]->selectAll(); });
  });
}

std::int16_t frmmain1::txtenddate_KeyPress(int /*index*/, std::int16_t key) {
  return Skip_Failing_Statements(program_.Trap, {Module, "Sub txtenddate_KeyPress"},
                                 [&](SkippingStatements& statement) {
                                   std::int16_t result = key;
                                   statement([&] { result = Keyin_Number(program_.Trap, key); });
                                   return result;
                                 });
}

void frmmain1::txtenddate_LostFocus(int index) {
  Skip_Failing_Statements(program_.Trap, {Module, "Sub txtenddate_LostFocus"},
                          [&](SkippingStatements& statement) {
                            NumberBox* box = txtenddate_[static_cast<size_t>(index)];
                            std::string fault;
                            statement([&] { fault = End_Date_Fault(index, To_Text(box->text())); });
                            if (!fault.empty()) {
                              statement([&] { program_.Boxes.Show(fault); });
                              statement([&] { Return_To(box); });
                            }
                            statement([&] { program_.Loop.DoEvents(); });
                          });
}

// Puts the focus back into a box without having the box that loses it checked: two boxes with bad values
// would send the user to and fro for ever.
void frmmain1::Return_To(NumberBox* box) {
  returning_focus_ = true;
  // A box that a message has taken the focus from was not left by the user, also when that shows only now.
  ++returns_;
  activateWindow();
  box->setFocus();
  // Also when the window comes to the front only later, which is no reason to select anything.
  box->selectAll();
  returning_focus_ = false;
}

void frmmain1::Got_Focus(QObject* box) {
  if (box == ui_->txtdays) return txtdays_GotFocus();
  const auto found = std::find(txtenddate_.begin(), txtenddate_.end(), box);
  if (found != txtenddate_.end()) txtenddate_GotFocus(static_cast<int>(found - txtenddate_.begin()));
}

void frmmain1::Lost_Focus(QObject* box) {
  if (box == ui_->txtdays) return txtdays_LostFocus();
  const auto found = std::find(txtenddate_.begin(), txtenddate_.end(), box);
  if (found != txtenddate_.end()) txtenddate_LostFocus(static_cast<int>(found - txtenddate_.begin()));
}

void frmmain1::Check_After_Focus_Moved(QObject* box) {
  // No check when the user went to another program, came back, answers a message, or ends the program.
  const QWidget* now = QApplication::focusWidget();
  if (unloaded_ || now == nullptr || now == box || QApplication::activeModalWidget() != nullptr) return;
  try {
    Lost_Focus(box);
  } catch (const Interrupted&) {
    return;
  }
}

}  // namespace hq
