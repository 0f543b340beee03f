#include "shell/program_icon.h"

#include <QBuffer>
#include <QImageReader>
#include <QPixmap>
#include <algorithm>
#include <utility>

#include "errortrap/qt_message_boxes.h"
#include "shell/form_looks.h"

namespace hq {

namespace {

// The pictures of an icon file in all their sizes.
QIcon Read_Icon(Files& files, const std::string& path) {
  QByteArray bytes = QByteArray::fromStdString(files.Read(path));
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::ReadOnly);
  QImageReader reader(&buffer);
  QIcon icon;
  const int pictures = std::max(reader.imageCount(), 1);
  for (int i = 0; i < pictures; ++i) {
    if (i > 0 && !reader.jumpToImage(i)) break;
    const QImage picture = reader.read();
    if (picture.isNull()) break;
    icon.addPixmap(QPixmap::fromImage(picture));
  }
  if (icon.isNull()) {
    throw RunTimeError(PathFileAccessError, path + ": " + To_Text(reader.errorString()));
  }
  return icon;
}

}  // namespace

ProgramIcon::ProgramIcon(Files& files, const std::string& folder) {
  try {
    icon_ = Read_Icon(files, Join_Path(folder, "t8.ico"));
  } catch (const std::exception&) {
    fault_ = Current_Error();
    icon_ = Picture("t8");
  }
}

void ProgramIcon::Note_Fault(modFailSafe& trap, const ProcedureName& here) {
  if (fault_) trap.Note(here.Module, here.Procedure, *std::exchange(fault_, std::nullopt));
}

}  // namespace hq
