#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hq {

// The number that a text of digits alone stands for; nothing for other texts and beyond the largest int.
[[nodiscard]] std::optional<int> Number_Of_Digits(std::string_view text);

// The first argument in front of a "--" that names an option and gives it an empty value, "--name="; empty
// when there is none. The library for options would take the next argument for the value.
[[nodiscard]] std::string Option_Without_Value(const std::vector<std::string>& arguments);

}  // namespace hq
