#include <cstdlib>
#include <mutex>
#include <utility>
#include <windows.h>

#include "platform/interrupts.h"

namespace hq {

namespace {

constexpr int LastWish = 2;
// The system ends a program by itself some seconds after its window was closed.
constexpr DWORD LongestEndMilliseconds = 30'000;

// The system hands its handler nothing to find the watch by.
std::mutex watch_mutex;
bool watched = false;
std::function<void()> watch_call;
int wishes = 0;

BOOL WINAPI On_Console_Event(DWORD kind) {
  {
    const std::lock_guard lock(watch_mutex);
    if (!watched) return FALSE;
    if (!watch_call || ++wishes > LastWish) std::_Exit(InterruptWatch::ExitCode);
    watch_call();
  }
  // After these the process ends as soon as the handler returns.
  if (kind == CTRL_CLOSE_EVENT || kind == CTRL_LOGOFF_EVENT || kind == CTRL_SHUTDOWN_EVENT) {
    Sleep(LongestEndMilliseconds);
  }
  return TRUE;
}

}  // namespace

class InterruptWatch::Watcher {
 public:
  Watcher() {
    {
      const std::lock_guard lock(watch_mutex);
      watched = true;
      wishes = 0;
    }
    SetConsoleCtrlHandler(On_Console_Event, TRUE);
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  ~Watcher() {
    SetConsoleCtrlHandler(On_Console_Event, FALSE);
    const std::lock_guard lock(watch_mutex);
    watched = false;
    watch_call = nullptr;
  }

  static void Ask(std::function<void()> on_interrupt) {
    const std::lock_guard lock(watch_mutex);
    watch_call = std::move(on_interrupt);
  }
};

InterruptWatch::InterruptWatch() : watcher_(std::make_unique<Watcher>()) {}

InterruptWatch::~InterruptWatch() = default;

void InterruptWatch::Ask(std::function<void()> on_interrupt) {
  Watcher::Ask(std::move(on_interrupt));
}

}  // namespace hq
