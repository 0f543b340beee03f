#include <windows.h>

#include "platform/files.h"
#include "platform/private_folder.h"

namespace hq {

std::string Private_Folder_Path() {
  return Temporary_Folder();
}

bool Make_Private_Folder(const char* path) noexcept {
  const DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace hq
