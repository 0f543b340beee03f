#include <filesystem>
#include <string_view>
#include <system_error>

#include "platform/directory_search.h"

namespace hq {

namespace fs = std::filesystem;

namespace {

// Whether name fits a pattern in which "*" stands for any characters and "?" for any one.
bool Fits(std::string_view name, std::string_view pattern) {
  size_t n = 0;
  size_t p = 0;
  size_t star = std::string_view::npos;
  size_t after_star = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n]) && pattern[p] != '*') {
      ++n;
      ++p;
    } else if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      after_star = n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      n = ++after_star;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

}  // namespace

bool Wildcard_Finds(const std::string& path) {
  const fs::path pattern(path);
  const std::string name = pattern.filename().string();
  if (name.find_first_of("*?") == std::string::npos) return false;
  std::error_code error;
  const fs::path folder = pattern.has_parent_path() ? pattern.parent_path() : fs::path(".");
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (Fits(entry->path().filename().string(), name)) return true;
  }
  return false;
}

}  // namespace hq
