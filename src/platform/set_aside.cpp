#include "platform/set_aside.h"

namespace hq {

std::string Free_Backup_Name(Files& files, const std::string& path) {
  std::string name = path + ".bak";
  for (int number = 2; files.Exists(name); ++number) name = path + ".bak" + std::to_string(number);
  return name;
}

std::string Set_Aside(Files& files, const std::string& path) {
  std::string name = Free_Backup_Name(files, path);
  files.Rename(path, name);
  return name;
}

}  // namespace hq
