#include <windows.h>

// Needs the names of windows.h.
#include <shellapi.h>

#include "platform/open_address.h"

namespace hq {

void Open_Address(std::intptr_t owner, const std::string& address) {
  ShellExecuteA(reinterpret_cast<HWND>(owner), nullptr, address.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

}  // namespace hq
