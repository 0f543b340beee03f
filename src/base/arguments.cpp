#include "base/arguments.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace hq {

std::optional<int> Number_Of_Digits(std::string_view text) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (text.empty() || !std::all_of(text.begin(), text.end(), is_digit)) return std::nullopt;
  int number = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc()) return std::nullopt;
  return number;
}

std::string Option_Without_Value(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--") break;
    if (argument.starts_with("--") && argument.find('=') == argument.size() - 1) return argument;
  }
  return {};
}

}  // namespace hq
