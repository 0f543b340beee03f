#include <atomic>
#include <exception>
#include <windows.h>

#include "platform/left_over_parts.h"

namespace hq {

std::string Part_Name() {
  static std::atomic<unsigned> count = 0;
  return ".history-quotes-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++count) + ".part";
}

void Remove_Left_Over_Parts(const std::string& folder) noexcept {
  try {
    WIN32_FIND_DATAA found{};
    const HANDLE search = FindFirstFileA((folder + ".history-quotes-*.part").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
      // Shared with nobody, which the system refuses while anybody has the file open, on whatever computer.
      const HANDLE file =
          CreateFileA((folder + static_cast<const char*>(found.cFileName)).c_str(), DELETE, 0, nullptr,
                      OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
      if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    } while (FindNextFileA(search, &found) != 0);
    FindClose(search);
  } catch (const std::exception&) {
    // No memory: the next write tries again.
  }
}

}  // namespace hq
