#include "errortrap/error_help.h"

#include <QDialog>
#include <QScreen>
#include <QTextBrowser>
#include <QVBoxLayout>

// A library's resources are there only when somebody asks for them; the macro can't stand in a namespace.
static void Init_Help() {
  Q_INIT_RESOURCE(error_help);
}

namespace hq {

QWidget* Show_Error_Help(QWidget* owner) {
  Init_Help();
  // A dialog, so that Escape closes it.
  auto* window = new QDialog(owner, Qt::Window | (owner->windowFlags() & Qt::WindowStaysOnTopHint));
  window->setObjectName("error_help");
  window->setAttribute(Qt::WA_QuitOnClose, false);
  window->setWindowTitle("Help on the error dialog");
  window->setWindowIcon(owner->windowIcon());
  auto* text = new QTextBrowser(window);
  text->setAccessibleName("Help on the error dialog");
  text->setSource(QUrl("qrc:/errortrap/error-help.html"));
  auto* layout = new QVBoxLayout(window);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(text);
  const QFontMetrics font = window->fontMetrics();
  window->resize(QSize(90 * font.averageCharWidth(), 34 * font.lineSpacing())
                     .boundedTo(window->screen()->availableSize() * 9 / 10));
  window->show();
  text->setFocus();
  return window;
}

}  // namespace hq
