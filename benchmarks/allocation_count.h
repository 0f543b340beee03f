#pragma once

#include <cstddef>

namespace hq::benchmarks {

// What the program has asked of the heap since it started; never given back. Single-threaded programs only.
struct Allocations {
  std::size_t Count = 0;
  std::size_t Bytes = 0;
};

[[nodiscard]] Allocations Allocations_So_Far();

}  // namespace hq::benchmarks
