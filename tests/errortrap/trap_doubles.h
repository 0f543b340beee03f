#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "errortrap/message_loop.h"
#include "errortrap/modFailSafe.h"

namespace hq::test {

// A message loop that runs one posted event a turn and does not spend time. A wait that nothing can end is an
// error.
class ScriptedLoop final : public MessageLoop {
 public:
  void DoEvents() override {
    ++Turns;
    if (events_.empty()) {
      if (++idle_turns_ > 1000) throw std::logic_error("waits for ever");
      return;
    }
    idle_turns_ = 0;
    const auto event = std::move(events_.front());
    events_.pop_front();
    event();
  }
  void Sleep(std::chrono::milliseconds time) override { Slept += time; }
  void Post(std::function<void()> event) override { events_.push_back(std::move(event)); }

  int Turns = 0;
  std::chrono::milliseconds Slept{0};

 private:
  std::deque<std::function<void()>> events_;
  int idle_turns_ = 0;
};

// A reporter that keeps what it is told and gives the choices it was set up with, the last one again and
// again.
class ScriptedReporter final : public ErrorReporter {
 public:
  int Report(const TrappedError& error) override {
    if (!error.Asks) {
      Notes.push_back(error);
      return trap_choice::Continue;
    }
    Errors.push_back(error);
    if (WhileShown) WhileShown();
    if (Choices.empty()) return trap_choice::Continue;
    const int choice = Choices.front();
    if (Choices.size() > 1) Choices.pop_front();
    return choice;
  }

  std::vector<TrappedError> Errors;
  std::vector<TrappedError> Notes;  // what nobody is asked about
  std::deque<int> Choices;
  std::function<void()> WhileShown;
};

// What may interrupt any wait and belongs to no error handler.
struct Interruption {};

}  // namespace hq::test
