#include "platform/paths.h"

namespace hq {

std::filesystem::path System_Path(std::string_view text) {
  return text;
}

}  // namespace hq
