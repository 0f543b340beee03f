#include "platform/system_text.h"

namespace hq {

std::string System_Text(std::string_view utf8) {
  return std::string(utf8);
}

std::string Utf8_Of_System_Text(std::string_view text) {
  return std::string(text);
}

}  // namespace hq
