#pragma once

#include <string_view>

namespace hq {

// What stands between the parts of an entry text of the call stack, "depth : module : procedure : argument".
inline constexpr std::string_view EntrySeparator = " : ";

// The entry text up to its procedure; the depth in front may be missing. A text with fewer parts comes back
// whole.
[[nodiscard]] std::string_view Without_Argument(std::string_view entry) noexcept;

}  // namespace hq
