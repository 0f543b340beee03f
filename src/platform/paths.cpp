#include "platform/paths.h"

#include <system_error>

namespace hq {

std::string Utf8_Text(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

std::filesystem::path Place_Of(const std::filesystem::path& path) {
  namespace fs = std::filesystem;
  constexpr int MostLinks = 40;
  std::error_code error;
  fs::path place = fs::absolute(path, error);
  if (error) place = path;
  for (int links = 0; links < MostLinks; ++links) {
    const fs::path resolved = fs::weakly_canonical(place, error);
    if (!error) place = resolved;
    // A link to what is not there yet is not followed by that.
    const fs::path next = fs::read_symlink(place, error);
    if (error) break;
    place = place.parent_path() / next;
  }
  return place;
}

}  // namespace hq
