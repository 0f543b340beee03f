#pragma once

#include <QObject>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "errortrap/message_loop.h"

class QEventLoop;

namespace hq {

// Put around a loop of the windows that may run inside another one. On Windows the outer one is told to end
// by a message that the inner one can take from it, and would wait for the next of any kind: it is woken up
// afterwards.
class InnerLoop {
 public:
  InnerLoop() = default;
  InnerLoop(const InnerLoop&) = delete;
  InnerLoop& operator=(const InnerLoop&) = delete;
  ~InnerLoop();
};

// The message loop of the window program: posted events and the window's own. Made on the user-interface
// thread after the application object; its waits keep every window alive.
class QtMessageLoop final : public QObject, public MessageLoop {
 public:
  // Runs the posted events and lets the windows have theirs. Throws Interrupted after End.
  void DoEvents() override;

  // Serves window events for the time, and posted ones not at all: they end the wait. Throws Interrupted
  // after End.
  void Sleep(std::chrono::milliseconds time) override;

  // An event posted while nothing waits runs as soon as the windows are idle.
  void Post(std::function<void()> event) override;

  // The program ends: every wait under way and to come throws Interrupted.
  void End();
  [[nodiscard]] bool Ended() const { return ended_; }

 private:
  struct Posted {
    std::uint64_t Serial;
    std::function<void()> Run;
  };

  void Wake();
  void Run_Posted();
  [[nodiscard]] bool Has_Posted();
  void Check_Ended() const;

  std::mutex mutex_;
  std::deque<Posted> posted_;
  std::uint64_t posts_ = 0;
  std::vector<QEventLoop*> waits_;
  bool ended_ = false;
};

}  // namespace hq
