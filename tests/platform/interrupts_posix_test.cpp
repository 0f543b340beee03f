#include <array>
#include <csignal>
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
  explicit WaitingProcess(Action&& action) {
    std::array<int, 2> ready{};
    EXPECT_EQ(pipe(ready.data()), 0);
    process_ = fork();
    if (process_ == 0) {
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

}  // namespace
}  // namespace hq
