#include "allocation_count.h"

#include <cstdlib>
#include <new>

namespace hq::benchmarks {

namespace {

Allocations total;

}  // namespace

Allocations Allocations_So_Far() {
  return total;
}

}  // namespace hq::benchmarks

// The array forms, and those without exceptions, come here through the library's own.
void* operator new(std::size_t size) {
  ++hq::benchmarks::total.Count;
  hq::benchmarks::total.Bytes += size;
  if (void* const room = std::malloc(size)) return room;
  throw std::bad_alloc();
}

void operator delete(void* room) noexcept {
  std::free(room);
}

void operator delete(void* room, std::size_t) noexcept {
  std::free(room);
}
