#pragma once

#include <chrono>
#include <string_view>

// The test program's own getaddrinfo. It answers these names and hands all others to the system, so that no
// test depends on a name server:
//   hanging.example   hangs for as long as a HeldLookUp lives, and is unknown otherwise
//   unknown.example   is unknown
//   two.example       has the addresses 127.0.0.2 and 127.0.0.1, in this order

namespace hq::test {

class HeldLookUp {
 public:
  HeldLookUp();
  HeldLookUp(const HeldLookUp&) = delete;
  HeldLookUp& operator=(const HeldLookUp&) = delete;
  // Lets the hanging look-ups go on and waits until they have.
  ~HeldLookUp();

  // Waits until a look-up hangs. False when none does in time.
  bool WaitUntilItHangs(std::chrono::seconds deadline);
};

// Hangs for as long as a HeldLookUp lives.
void Hang_While_Held();

// The answer of the test program's getaddrinfo. system is the system's own.
template <class System, class Info>
int Scripted_Answer(System* system, int unknown, const char* node, const char* service, const Info* hints,
                    Info** result) {
  const std::string_view name = node == nullptr ? "" : node;
  if (name == "hanging.example") {
    Hang_While_Held();
    return unknown;
  }
  if (name == "unknown.example") return unknown;
  if (name == "two.example") {
    if (const int error = system("127.0.0.2", service, hints, result); error != 0) return error;
    Info* last = *result;
    while (last->ai_next != nullptr) last = last->ai_next;
    return system("127.0.0.1", service, hints, &last->ai_next);
  }
  return system(node, service, hints, result);
}

}  // namespace hq::test
