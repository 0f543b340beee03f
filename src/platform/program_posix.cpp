#include <filesystem>
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
