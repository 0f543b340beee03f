#include "quotes/scripted_look_up.h"

#include <condition_variable>
#include <mutex>

namespace hq::test {

namespace {

struct State {
  std::mutex Mutex;
  std::condition_variable Changed;
  bool Held = false;
  int Hanging = 0;
};

State& Shared_State() {
  // Never destroyed, because a look-up may end after the tests.
  static State& state = *new State;
  return state;
}

}  // namespace

void Hang_While_Held() {
  State& state = Shared_State();
  std::unique_lock lock(state.Mutex);
  ++state.Hanging;
  state.Changed.notify_all();
  state.Changed.wait(lock, [&state] { return !state.Held; });
  --state.Hanging;
  state.Changed.notify_all();
}

HeldLookUp::HeldLookUp() {
  const std::lock_guard lock(Shared_State().Mutex);
  Shared_State().Held = true;
}

HeldLookUp::~HeldLookUp() {
  State& state = Shared_State();
  std::unique_lock lock(state.Mutex);
  state.Held = false;
  state.Changed.notify_all();
  state.Changed.wait(lock, [&state] { return state.Hanging == 0; });
}

bool HeldLookUp::WaitUntilItHangs(std::chrono::seconds deadline) {
  State& state = Shared_State();
  std::unique_lock lock(state.Mutex);
  return state.Changed.wait_for(lock, deadline, [&state] { return state.Hanging > 0; });
}

}  // namespace hq::test
