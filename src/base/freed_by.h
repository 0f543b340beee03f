#pragma once

namespace hq {

// A deleter that calls a library's own function, for std::unique_ptr.
template <auto Free>
struct Freed_By {
  template <class Object>
  void operator()(Object* object) const {
    Free(object);
  }
};

}  // namespace hq
