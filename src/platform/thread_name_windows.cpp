#include <algorithm>
#include <cstring>
#include <windows.h>

#include "platform/thread_name.h"

namespace hq {

namespace {

// The system's own names of threads are handed out in memory that must be freed.
DWORD Slot() noexcept {
  static const DWORD slot = TlsAlloc();
  return slot;
}

}  // namespace

void Name_This_Thread(const char* name) noexcept {
  TlsSetValue(Slot(), const_cast<char*>(name));
}

ThreadIdentity ThreadIdentity::Mine() noexcept {
  ThreadIdentity mine;
  mine.Number = static_cast<int>(GetCurrentThreadId());
  if (const auto* name = static_cast<const char*>(TlsGetValue(Slot()))) {
    std::copy_n(name, std::min(std::strlen(name), sizeof mine.Name - 1), mine.Name);
  }
  return mine;
}

}  // namespace hq
