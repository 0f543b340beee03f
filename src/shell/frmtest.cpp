#include "shell/frmtest.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QScreen>
#include <QShortcut>
#include <QWindow>
#include <chrono>
#include <thread>

#include "errortrap/procedure.h"
#include "errortrap/qt_accessible_role.h"
#include "errortrap/qt_message_boxes.h"
#include "platform/topmost.h"
#include "shell/form_looks.h"
#include "shell/twips.h"
#include "ui_frmtest.h"

namespace hq {

frmtest::frmtest(modFailSafe& trap, ProgramIcon& icon, const std::string& program_folder)
    : QWidget(nullptr, Qt::Dialog | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      trap_(trap),
      ui_(std::make_unique<Ui::frmtest>()) {
  Set_Accessible_Role(*this, QAccessible::Dialog);
  ui_->setupUi(this);
  setFont(Form_Font());
  QFont title = font();
  title.setPointSizeF(title.pointSizeF() * 1.5);
  title.setBold(true);
  ui_->Label1->setFont(title);
  ui_->Image1->setPixmap(Picture("logo").pixmap(QSize(96, 96)));
  connect(ui_->cmdok, &QPushButton::clicked, this, [this] { cmdok_Click(); });
  for (const auto key : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Enter}) {
    connect(new QShortcut(key, this), &QShortcut::activated, this, [this] {
      if (!ui_->cmdok->isHidden()) cmdok_Click();
    });
  }
  Name_Folder(program_folder);
  Form_Load(icon);
}

frmtest::~frmtest() = default;

void frmtest::Name_Folder(const std::string& program_folder) {
  const QString folder = To_QString(program_folder);
  const QString title = "Program folder:";
  ui_->lblfolder->setFont(font());
  ui_->lblfolder->setText(
      title + "\n" +
      ui_->lblfolder->fontMetrics().elidedText(folder, Qt::ElideMiddle, ui_->lblfolder->maximumWidth()));
  // The box is placed as the splash and must not grow after that.
  for (QWidget* shown_later : {static_cast<QWidget*>(ui_->lblfolder), static_cast<QWidget*>(ui_->cmdok)}) {
    QSizePolicy policy = shown_later->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    shown_later->setSizePolicy(policy);
  }
  ui_->lblfolder->setToolTip(folder);
  ui_->lblfolder->setAccessibleName(title + " " + folder);
}

void frmtest::Form_Load(ProgramIcon& icon) {
  const ProcedureName here{"frmtest.frm", "Sub Form_Load"};
  Skip_Failing_Statements(trap_, here, [&](SkippingStatements& statement) {
    statement([&] { setWindowIcon(icon.Icon()); });
    statement([&] { icon.Note_Fault(trap_, here); });
  });
}

void frmtest::Display_About() {
  With_Own_Handler(
      trap_, {"frmtest.frm", "Sub Display_About"},
      [&] {
        Set_Caption("Initializing application. Please wait...");
        Hide_Button();
        ui_->lblfolder->hide();
        Place();
        Set_Topmost(*this, true);
        show();
        Wait_Until_Exposed();
        repaint();
      },
      [](const RunTimeError&) {});
}

// A window manager puts a window on the screen only some time after show, and until then nothing is painted.
void frmtest::Wait_Until_Exposed() const {
  constexpr int longest_wait = 100;  // milliseconds
  QElapsedTimer clock;
  clock.start();
  while (!windowHandle()->isExposed() && !clock.hasExpired(longest_wait)) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void frmtest::Show_About(int major, int minor) {
  Set_Caption("Version " + std::to_string(major) + "." + std::to_string(minor));
  ui_->lblfolder->show();
  ui_->cmdok->show();
  show();
  raise();
  activateWindow();
  ui_->cmdok->setFocus();
}

void frmtest::Set_Caption(const std::string& text) {
  ui_->Label2->setText(To_QString(text));
  repaint();
}

void frmtest::Hide_Button() {
  ui_->cmdok->hide();
}

void frmtest::cmdok_Click() {
  Skip_Failing_Statements(trap_, {"frmtest.frm", "Sub cmdok_Click"}, [&](SkippingStatements& statement) {
    statement([&] { Place(); });
    statement([&] { Set_Topmost(*this, false); });
    statement([&] { hide(); });
  });
}

void frmtest::Place() {
  const int dpi = logicalDpiX();
  const QRect screen = QGuiApplication::primaryScreen()->geometry();
  const QSize box = sizeHint() + frameGeometry().size() - geometry().size();
  const auto [left, top] =
      About_Box_Place(Pixels_To_Twips(screen.width(), dpi), Pixels_To_Twips(screen.height(), dpi),
                      Pixels_To_Twips(box.width(), dpi), Pixels_To_Twips(box.height(), dpi));
  move(screen.left() + Twips_To_Pixels(left, dpi), screen.top() + Twips_To_Pixels(top, dpi));
}

}  // namespace hq
