#include <system_error>

#include "base/unicode.h"
#include "platform/paths.h"

namespace hq {

std::filesystem::path System_Path(std::string_view text) {
  return text;
}

bool Is_System_Text(std::string_view text) {
  return Is_Utf8(text);
}

std::string File_Name_Key(const std::filesystem::path& name) {
  return name.string();
}

bool Others_Can_Read(const std::filesystem::path& file) {
  using std::filesystem::perms;
  std::error_code unknown;
  const perms allowed = std::filesystem::status(file, unknown).permissions();
  return !unknown && (allowed & (perms::group_read | perms::others_read)) != perms::none;
}

}  // namespace hq
