#include <windows.h>

#include "platform/program.h"

namespace hq {

std::string Program_Folder() {
  std::string path(MAX_PATH, '\0');
  for (;;) {
    const DWORD length = GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      break;
    }
    path.resize(2 * path.size());
  }
  // "C:\history-quotes.exe" lies in "C:".
  const size_t end = path.find_last_of('\\');
  return end == std::string::npos ? std::string(".") : path.substr(0, end);
}

int Error_Terminal_Width() {
  CONSOLE_SCREEN_BUFFER_INFO screen{};
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &screen) == 0) return 0;
  return screen.srWindow.Right - screen.srWindow.Left + 1;
}

void Suppress_System_Error_Boxes() {
  SetErrorMode(SetErrorMode(0) | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
}

}  // namespace hq
