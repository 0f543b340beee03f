#include "base/strings.h"

#include <algorithm>

namespace hq {

namespace {

char Upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string Upper_Case(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), Upper);
  return result;
}

bool Equal_Without_Case(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return Upper(a) == Upper(b); });
}

std::string Replace_All(std::string_view text, std::string_view what, std::string_view with) {
  std::string result;
  result.reserve(text.size());
  for (;;) {
    const size_t found = text.find(what);
    result += text.substr(0, found);
    if (found == std::string_view::npos) return result;
    result += with;
    text.remove_prefix(found + what.size());
  }
}

}  // namespace hq
