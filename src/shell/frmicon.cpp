#include "shell/frmicon.h"

#include "shell/form_looks.h"
#include "ui_frmicon.h"

namespace hq {

frmicon::frmicon(const std::string& program_folder) : QWidget(nullptr, Qt::Window) {
  Ui::frmicon ui;
  ui.setupUi(this);
  setWindowIcon(Program_Icon(program_folder));
}

}  // namespace hq
