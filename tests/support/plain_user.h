#pragma once

#include <sys/wait.h>
#include <unistd.h>

namespace hq::test {

// What action returns when a user without special rights does it, in a process of its own; -1 when it could
// not be tried.
template <class Action>
int As_Plain_User(Action&& action) {
  const pid_t child = fork();
  if (child == 0) {
    constexpr unsigned Nobody = 65534;
    if (geteuid() == 0 && (setgid(Nobody) != 0 || setuid(Nobody) != 0)) _exit(255);
    int result = 255;
    try {
      result = action();
    } catch (...) {
      result = 254;
    }
    _exit(result);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

}  // namespace hq::test
