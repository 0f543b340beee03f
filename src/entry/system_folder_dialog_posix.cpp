#include <QApplication>
#include <QDir>
#include <QFileDialog>

#include "entry/system_folder_dialog.h"
#include "errortrap/qt_message_boxes.h"

namespace hq {

struct SystemFolderDialog::Root {};

SystemFolderDialog::SystemFolderDialog() = default;

SystemFolderDialog::~SystemFolderDialog() = default;

bool SystemFolderDialog::Locate_Root(std::int32_t root_folder) {
  return root_folder == 0;
}

std::optional<FolderDialog::Item> SystemFolderDialog::Browse(std::int32_t, std::intptr_t,
                                                             const std::string& prompt,
                                                             const std::string& start) {
  const QString before = To_QString(start);
  const QString first = QDir(before).exists() && !before.isEmpty() ? before : QDir::homePath();
  const QString chosen =
      QFileDialog::getExistingDirectory(QApplication::activeWindow(), To_QString(prompt), first);
  if (chosen.isEmpty()) return std::nullopt;
  const std::string path = To_Text(QDir::toNativeSeparators(chosen));
  return Item{To_Text(QDir(chosen).dirName()), path};
}

}  // namespace hq
