#include "errortrap/entry_text.h"

#include "base/strings.h"

namespace hq {

std::string_view Without_Argument(std::string_view entry) noexcept {
  size_t names = 0;
  if (const size_t end = entry.find(EntrySeparator); end != std::string_view::npos) {
    const std::string_view first = Trim(entry.substr(0, end));
    const bool depth = !first.empty() && first.find_first_not_of("0123456789") == std::string_view::npos;
    names = depth ? end + EntrySeparator.size() : 0;
  }
  const size_t module_end = entry.find(EntrySeparator, names);
  if (module_end == std::string_view::npos) return entry;
  return entry.substr(0, entry.find(EntrySeparator, module_end + EntrySeparator.size()));
}

}  // namespace hq
