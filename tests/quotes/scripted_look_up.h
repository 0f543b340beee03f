#pragma once

#include <chrono>

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

}  // namespace hq::test
