#include "platform/paths.h"

namespace hq {

std::string Utf8_Text(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

}  // namespace hq
