#include "quotes/scripted_look_up.h"

#include <condition_variable>
#include <dlfcn.h>
#include <mutex>
#include <netdb.h>
#include <string_view>

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

void Hang() {
  State& state = Shared_State();
  std::unique_lock lock(state.Mutex);
  ++state.Hanging;
  state.Changed.notify_all();
  state.Changed.wait(lock, [&state] { return !state.Held; });
  --state.Hanging;
  state.Changed.notify_all();
}

int Look_Up(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  const std::string_view name = node == nullptr ? "" : node;
  if (name == "hanging.example") {
    Hang();
    return EAI_NONAME;
  }
  if (name == "unknown.example") return EAI_NONAME;
  if (name == "two.example") {
    if (const int error = system("127.0.0.2", service, hints, result); error != 0) return error;
    addrinfo* last = *result;
    while (last->ai_next != nullptr) last = last->ai_next;
    return system("127.0.0.1", service, hints, &last->ai_next);
  }
  return system(node, service, hints, result);
}

}  // namespace

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

// libcurl finds this one in front of the C library's.
extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
  return hq::test::Look_Up(node, service, hints, result);
}
