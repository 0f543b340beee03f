#include <windows.h>

#include "platform/directory_search.h"

namespace hq {

bool Wildcard_Finds(const std::string& path) {
  if (path.find_first_of("*?") == std::string::npos) return false;
  WIN32_FIND_DATAA found;
  const HANDLE search = FindFirstFileA(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  return true;
}

}  // namespace hq
