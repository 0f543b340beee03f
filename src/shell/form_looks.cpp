#include "shell/form_looks.h"

#include <QApplication>
#include <QFileInfo>

// A library's pictures are there only when somebody asks for them; the macro can't stand in a namespace.
static void Init_Pictures() {
  Q_INIT_RESOURCE(pictures);
}

namespace hq {

QFont Form_Font() {
  QFont font = QApplication::font();
  font.setFamilies({"MS Sans Serif", "Microsoft Sans Serif", "Liberation Sans", "Arial", font.family()});
  // 8 points where the system's own text has 9, and as much larger as the user has made that.
  constexpr double part_of_system_size = 8.0 / 9.0;
  if (font.pointSizeF() > 0) font.setPointSizeF(font.pointSizeF() * part_of_system_size);
  return font;
}

QIcon Picture(const char* name) {
  Init_Pictures();
  QIcon icon;
  for (const int size : {16, 32, 48, 64, 96, 128, 256}) {
    const QString file = QString(":/pictures/%1_%2.png").arg(name).arg(size);
    if (QFileInfo::exists(file)) icon.addFile(file, QSize(size, size));
  }
  return icon;
}

}  // namespace hq
