#pragma once

#include <cstddef>
#include <new>

namespace hq {

// Whether so many bytes of memory are to be had. Tells a library's own limits, which some report as a lack of
// memory, from a real lack.
[[nodiscard]] inline bool Memory_Left_For(std::size_t bytes) {
  void* const memory = ::operator new(bytes, std::nothrow);
  ::operator delete(memory);
  return memory != nullptr;
}

}  // namespace hq
