#include <cerrno>
#include <pthread.h>
#include <unistd.h>

#if defined(__linux__)
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

#include "platform/thread_name.h"

namespace hq {

void Name_This_Thread(const char* name) noexcept {
#if defined(__linux__)
  pthread_setname_np(pthread_self(), name);
#else
  static_cast<void>(name);
#endif
}

ThreadIdentity ThreadIdentity::Mine() noexcept {
  ThreadIdentity mine;
#if defined(__linux__)
  mine.Number = static_cast<int>(syscall(SYS_gettid));
  if (prctl(PR_GET_NAME, mine.Name) != 0) mine.Name[0] = 0;
#endif
  return mine;
}

}  // namespace hq
