#include <array>
#include <cerrno>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/interrupts.h"

namespace hq {
namespace {

// A process of its own that does something with a watch, then says so and waits for ever.
class WaitingProcess {
 public:
  template <class Action>
  explicit WaitingProcess(
      Action&& action, const std::function<void()>& before = [] {}) {
    std::array<int, 2> ready{};
    EXPECT_EQ(pipe(ready.data()), 0);
    process_ = fork();
    if (process_ == 0) {
      before();
      InterruptWatch watch;
      action(watch);
      if (write(ready[1], "r", 1) != 1) _exit(99);
      for (;;) pause();
    }
    close(ready[1]);
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
  }
  WaitingProcess(const WaitingProcess&) = delete;
  WaitingProcess& operator=(const WaitingProcess&) = delete;
  ~WaitingProcess() {
    if (process_ > 0) kill(process_, SIGKILL);
  }

  void Signal(int number) const { kill(process_, number); }

  // Its exit code once it has ended.
  int End() {
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t process_ = -1;
};

TEST(InterruptWatch, EndsAStartThatHangs) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    WaitingProcess process([](InterruptWatch&) {});
    process.Signal(signal);
    EXPECT_EQ(process.End(), 130) << signal;
  }
}

TEST(InterruptWatch, AsksTwiceAndEndsTheProgramAtTheThirdWish) {
  std::array<int, 2> asked{};
  ASSERT_EQ(pipe(asked.data()), 0);
  WaitingProcess process([&](InterruptWatch& watch) {
    watch.Ask([&asked] {
      if (write(asked[1], "a", 1) != 1) _exit(98);
    });
  });
  for (int wish = 1; wish <= 2; ++wish) {
    process.Signal(SIGTERM);
    char byte = 0;
    ASSERT_EQ(read(asked[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'a');
  }
  process.Signal(SIGTERM);
  EXPECT_EQ(process.End(), 130);
  close(asked[0]);
  close(asked[1]);
}

// Starts cat under a watch, sends it a signal once it runs, and returns how it ended.
int End_Of_A_Started_Program(int signal_number) {
  const InterruptWatch watch;
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  EXPECT_EQ(pipe(in.data()), 0);
  EXPECT_EQ(pipe(out.data()), 0);
  const pid_t process = fork();
  if (process == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    for (const int end : {in[0], in[1], out[0], out[1]}) close(end);
    execl("/bin/cat", "cat", static_cast<char*>(nullptr));
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  char byte = 'a';
  EXPECT_EQ(write(in[1], &byte, 1), 1);
  EXPECT_EQ(read(out[0], &byte, 1), 1);
  kill(process, signal_number);
  // Ends a program that the signal has not ended.
  close(in[1]);
  close(out[0]);
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(InterruptWatch, LeavesSignalsToTheProgramsThatThisOneStarts) {
  for (const int number : {SIGTERM, SIGHUP, SIGPIPE}) {
    EXPECT_EQ(End_Of_A_Started_Program(number), -number);
  }
}

TEST(InterruptWatch, LeavesIgnoredSignalsIgnored) {
  for (const int number : {SIGINT, SIGHUP}) {
    WaitingProcess process(
        [number](InterruptWatch&) {
          struct sigaction now {};
          if (sigaction(number, nullptr, &now) != 0 || now.sa_handler != SIG_IGN) _exit(97);
        },
        [number] { signal(number, SIG_IGN); });
    process.Signal(number);
    process.Signal(SIGKILL);
    EXPECT_EQ(process.End(), -SIGKILL) << number;
  }
}

TEST(InterruptWatch, KeepsAClosedPipeFromEndingTheProgram) {
  const InterruptWatch watch;
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  close(ends[0]);
  EXPECT_EQ(write(ends[1], "x", 1), -1);
  EXPECT_EQ(errno, EPIPE);
  close(ends[1]);
}

}  // namespace
}  // namespace hq
