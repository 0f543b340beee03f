#pragma once

#include <sys/wait.h>
#include <unistd.h>

namespace hq::test {

// What action returns in a process of its own; -1 when it could not be tried.
template <class Action>
int In_A_Process(Action&& action) {
  const pid_t child = fork();
  if (child == 0) {
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

// The same when a user without special rights does it; 255 when the rights can't be given up.
template <class Action>
int As_Plain_User(Action&& action) {
  return In_A_Process([&action] {
    constexpr unsigned Nobody = 65534;
    if (geteuid() == 0 && (setgid(Nobody) != 0 || setuid(Nobody) != 0)) return 255;
    return static_cast<int>(action());
  });
}

}  // namespace hq::test
