#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "platform/interrupts.h"
#include "platform/thread_name.h"

namespace hq {

namespace {

constexpr int LastWish = 2;
constexpr std::array WatchedSignals = {SIGINT, SIGTERM, SIGHUP};

// A handler of signals is handed nothing of its own, so the pipe to the watching thread lies in a fixed
// place.
std::atomic<int> wishes_go_to = -1;

void Write_Byte(int pipe, char byte) {
  while (write(pipe, &byte, 1) < 0 && errno == EINTR) {
  }
}

extern "C" void On_Wish(int /*number*/) {
  const int error_before = errno;
  Write_Byte(wishes_go_to, 'w');
  errno = error_before;
}

extern "C" void On_Closed_Pipe(int /*number*/) {
  // The write that has raised it fails, which is all there is to know.
}

}  // namespace

// Signals are caught and not blocked: a program that this one starts would inherit the block, and could not
// be ended any more.
class InterruptWatch::Watcher {
 public:
  Watcher() {
    if (pipe2(pipe_.data(), O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "watch over interrupts");
    }
    // A full pipe holds more wishes than anybody needs.
    fcntl(pipe_[1], F_SETFL, O_NONBLOCK);
    Catch(SIGPIPE, On_Closed_Pipe, pipe_action_before_);
    try {
      thread_ = std::thread([this] { Watch(); });
    } catch (const std::system_error& error) {
      // Told by Ask. Until then a signal ends the program in the system's own way.
      refusal_ = error;
      return;
    }
    wishes_go_to = pipe_[1];
    for (std::size_t i = 0; i < WatchedSignals.size(); ++i) {
      Catch(WatchedSignals[i], On_Wish, actions_before_[i]);
    }
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  ~Watcher() {
    sigaction(SIGPIPE, &pipe_action_before_, nullptr);
    if (thread_.joinable()) {
      for (std::size_t i = 0; i < WatchedSignals.size(); ++i) {
        sigaction(WatchedSignals[i], &actions_before_[i], nullptr);
      }
      wishes_go_to = -1;
      Write_Byte(pipe_[1], 'e');
      thread_.join();
    }
    for (const int end : pipe_) close(end);
  }

  void Ask(std::function<void()> on_interrupt) {
    if (refusal_) throw std::system_error(refusal_->code(), "no thread to watch for interrupts");
    const std::lock_guard lock(mutex_);
    on_interrupt_ = std::move(on_interrupt);
  }

 private:
  // What was ignored when the program started stays so: that is how nohup protects a run.
  static void Catch(int number, void (*handler)(int), struct sigaction& before) {
    sigaction(number, nullptr, &before);
    if (before.sa_handler == SIG_IGN) return;
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
  }

  void Watch() {
    Name_This_Thread("interrupts");
    for (int wishes = 0;;) {
      char byte = 0;
      const ssize_t got = read(pipe_[0], &byte, 1);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0 || byte == 'e') return;
      const std::lock_guard lock(mutex_);
      if (!on_interrupt_ || ++wishes > LastWish) std::_Exit(ExitCode);
      on_interrupt_();
    }
  }

  std::array<int, 2> pipe_{};
  std::array<struct sigaction, WatchedSignals.size()> actions_before_{};
  struct sigaction pipe_action_before_ {};
  std::mutex mutex_;
  std::function<void()> on_interrupt_;
  std::optional<std::system_error> refusal_;
  std::thread thread_;
};

InterruptWatch::InterruptWatch() : watcher_(std::make_unique<Watcher>()) {}

InterruptWatch::~InterruptWatch() = default;

void InterruptWatch::Ask(std::function<void()> on_interrupt) {
  watcher_->Ask(std::move(on_interrupt));
}

}  // namespace hq
