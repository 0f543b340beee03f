#include "shell/failing_allocation.h"

#include <cstdlib>
#include <new>

namespace hq::test {

namespace {

thread_local std::size_t failing_from = 0;
thread_local std::size_t failing_to = 0;

bool Fails(std::size_t size) {
  if (failing_to == 0 || size < failing_from || size > failing_to) return false;
  failing_to = 0;
  return true;
}

}  // namespace

FailingAllocation::FailingAllocation(std::size_t least, std::size_t most) {
  failing_from = least;
  failing_to = most;
}

FailingAllocation::~FailingAllocation() {
  failing_to = 0;
}

}  // namespace hq::test

// The array forms, and those without exceptions, come here through the library's own.
void* operator new(std::size_t size) {
  void* const room = hq::test::Fails(size) ? nullptr : std::malloc(size);
  if (room == nullptr) throw std::bad_alloc();
  return room;
}

void operator delete(void* room) noexcept {
  std::free(room);
}

void operator delete(void* room, std::size_t) noexcept {
  std::free(room);
}
