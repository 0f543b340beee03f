#pragma once

#include <functional>
#include <memory>

namespace hq {

// Watches for the user's wish to end the program (Ctrl-C, a closed terminal, a polite kill) while it exists.
// One a process. It also keeps a closed output pipe from ending the program in the middle of a file. What was
// ignored when the program started stays ignored, and programs that this one starts know nothing of the
// watch.
class InterruptWatch {
 public:
  // Of a program that has followed a wish.
  static constexpr int ExitCode = 130;

  // Until Ask a wish ends the program at once, with exit code 130, whatever it waits for.
  InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;
  ~InterruptWatch();

  // From now on on_interrupt is called on a thread of the watch, once for each wish. A third wish that the
  // program has not followed ends it at once. Raises std::system_error when the system has refused the
  // thread.
  void Ask(std::function<void()> on_interrupt);

 private:
  class Watcher;
  std::unique_ptr<Watcher> watcher_;
};

}  // namespace hq
