#pragma once

#include <cstddef>

namespace hq::test {

// While it exists, the first allocation of this thread of so many bytes, from least to most, fails.
class FailingAllocation {
 public:
  FailingAllocation(std::size_t least, std::size_t most);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();
};

}  // namespace hq::test
