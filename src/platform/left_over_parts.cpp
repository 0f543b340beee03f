#include "platform/left_over_parts.h"

#include <exception>

namespace hq {

void SweptFolders::Sweep(const std::string& folder) noexcept {
  try {
    const std::lock_guard lock(mutex_);
    if (!folders_.insert(folder).second) return;
  } catch (const std::exception&) {
    // No memory: it is listed once more than it need be.
  }
  Remove_Left_Over_Parts(folder);
}

}  // namespace hq
