#include <atomic>
#include <cstdlib>
#include <pthread.h>
#include <signal.h>
#include <thread>
#include <utility>

#include "platform/interrupts.h"

namespace hq {

namespace {

constexpr int ExitAfterSecondInterrupt = 130;

sigset_t Watched_Signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, number);
  return signals;
}

}  // namespace

class InterruptWatch::Watcher {
 public:
  explicit Watcher(std::function<void()> on_interrupt)
      : signals_(Watched_Signals()), on_interrupt_(std::move(on_interrupt)) {
    // Blocked in every thread made from now on, so that only the watching thread ever takes them.
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
    pipe_before_ = signal(SIGPIPE, SIG_IGN);
    thread_ = std::thread([this] { Watch(); });
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  ~Watcher() {
    stopping_ = true;
    // Every thread blocks the signal; it only wakes the watching one.
    pthread_kill(thread_.native_handle(), SIGTERM);  // NOLINT(bugprone-bad-signal-to-kill-thread)
    thread_.join();
    signal(SIGPIPE, pipe_before_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  void Watch() {
    for (int wishes = 1;; ++wishes) {
      int number = 0;
      sigwait(&signals_, &number);
      if (stopping_) return;
      if (wishes > 1) std::_Exit(ExitAfterSecondInterrupt);
      on_interrupt_();
    }
  }

  sigset_t signals_;
  sigset_t before_{};
  void (*pipe_before_)(int) = SIG_DFL;
  std::function<void()> on_interrupt_;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

InterruptWatch::InterruptWatch(std::function<void()> on_interrupt)
    : watcher_(std::make_unique<Watcher>(std::move(on_interrupt))) {}

InterruptWatch::~InterruptWatch() = default;

}  // namespace hq
