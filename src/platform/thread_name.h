#pragma once

#include <string_view>

namespace hq {

// Names the calling thread for debuggers and for the record of a crash. name: a literal of up to 15 bytes.
void Name_This_Thread(const char* name) noexcept;

// The calling thread's name and number, for a process that crashes: nothing is allocated and nobody waited
// for. Where threads have names of the system's own, an unnamed one has that of its program.
struct ThreadIdentity {
  int Number = 0;
  char Name[16] = {};  // ends in a NUL

  [[nodiscard]] static ThreadIdentity Mine() noexcept;
};

}  // namespace hq
