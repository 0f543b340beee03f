#include <atomic>
#include <cstdlib>
#include <mutex>
#include <pthread.h>
#include <signal.h>
#include <thread>
#include <utility>

#include "platform/interrupts.h"

namespace hq {

namespace {

constexpr int ExitCode = 130;
constexpr int LastWish = 2;

sigset_t Watched_Signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    // What was ignored when the program started stays so: that is how nohup protects a run.
    const bool ignored = sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
    if (!ignored) sigaddset(&signals, number);
  }
  // Wakes the watching thread when the watch ends.
  sigaddset(&signals, SIGUSR1);
  return signals;
}

}  // namespace

class InterruptWatch::Watcher {
 public:
  Watcher() : signals_(Watched_Signals()) {
    // Blocked in every thread made from now on, so that only the watching thread ever takes them.
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
    pipe_before_ = signal(SIGPIPE, SIG_IGN);
    thread_ = std::thread([this] { Watch(); });
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  ~Watcher() {
    stopping_ = true;
    pthread_kill(thread_.native_handle(), SIGUSR1);
    thread_.join();
    signal(SIGPIPE, pipe_before_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

  void Ask(std::function<void()> on_interrupt) {
    const std::lock_guard lock(mutex_);
    on_interrupt_ = std::move(on_interrupt);
  }

 private:
  void Watch() {
    for (int wishes = 1;; ++wishes) {
      int number = 0;
      sigwait(&signals_, &number);
      if (stopping_) return;
      const std::lock_guard lock(mutex_);
      if (!on_interrupt_ || wishes > LastWish) std::_Exit(ExitCode);
      on_interrupt_();
    }
  }

  sigset_t signals_;
  sigset_t before_{};
  void (*pipe_before_)(int) = SIG_DFL;
  std::mutex mutex_;
  std::function<void()> on_interrupt_;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

InterruptWatch::InterruptWatch() : watcher_(std::make_unique<Watcher>()) {}

InterruptWatch::~InterruptWatch() = default;

void InterruptWatch::Ask(std::function<void()> on_interrupt) {
  watcher_->Ask(std::move(on_interrupt));
}

}  // namespace hq
