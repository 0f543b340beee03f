#include <array>
#include <clocale>
#include <ctime>
#include <filesystem>
#include <locale.h>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

#include "platform/program.h"

namespace hq {

std::string Program_Folder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  std::string folder = error ? std::filesystem::current_path(error).string() : program.parent_path().string();
  if (folder.ends_with('/')) folder.pop_back();
  return folder;
}

std::string System_Time_Text(std::chrono::seconds time_of_day) {
  std::tm parts{};
  const auto seconds = static_cast<int>(time_of_day.count());
  parts.tm_hour = seconds / 3600;
  parts.tm_min = seconds / 60 % 60;
  parts.tm_sec = seconds % 60;
  parts.tm_mday = 1;
  // The user's own locale, without changing the program's.
  const locale_t user = newlocale(LC_TIME_MASK, "", nullptr);
  std::array<char, 64> text{};
  const size_t length = user != nullptr ? strftime_l(text.data(), text.size(), "%X", &parts, user)
                                        : std::strftime(text.data(), text.size(), "%H:%M:%S", &parts);
  if (user != nullptr) freelocale(user);
  return {text.data(), length};
}

int Error_Terminal_Width() {
  if (isatty(STDERR_FILENO) == 0) return 0;
  constexpr int usual_width = 80;
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : usual_width;
}

// Only the other system shows such boxes.
void Suppress_System_Error_Boxes() {}

}  // namespace hq
