#include "shell/frmicon.h"

#include "ui_frmicon.h"

namespace hq {

frmicon::frmicon(const QIcon& icon) : QWidget(nullptr, Qt::Window) {
  Ui::frmicon ui;
  ui.setupUi(this);
  setWindowIcon(icon);
}

}  // namespace hq
