#include <cerrno>
#include <pwd.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "base/run_time_error.h"
#include "platform/files.h"
#include "platform/program_places.h"

namespace hq::detail {

namespace {

RunTimeError Last_Error(const std::string& path) {
  return File_Error(std::error_code(errno, std::generic_category()), path);
}

std::string Home_Of_User() {
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> texts(16 * 1024);
  getpwuid_r(geteuid(), &entry, texts.data(), texts.size(), &found);
  return found == nullptr || found->pw_dir == nullptr ? std::string() : std::string(found->pw_dir);
}

}  // namespace

std::string User_Program_Folder(const Variables& variables) {
  const auto absolute = [&](const char* name) {
    std::string folder = variables(name).value_or("");
    while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
    return folder.starts_with('/') ? folder : std::string();
  };
  std::string data = absolute("XDG_DATA_HOME");
  if (data.empty()) {
    std::string home = absolute("HOME");
    if (home.empty()) home = Home_Of_User();
    data = (home == "/" ? std::string() : home) + "/.local/share";
  }
  return (data == "/" ? std::string() : data) + "/history-quotes";
}

void Make_Closed_Folder(const std::string& folder) {
  for (size_t end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
    const std::string part = folder.substr(0, end);
    struct stat state {};
    // Asked first: what can't be made because nothing may be written there may be there all the same.
    const bool is_folder = stat(part.c_str(), &state) == 0 && S_ISDIR(state.st_mode);
    if (!is_folder && mkdir(part.c_str(), 0700) != 0) {
      if (errno == EEXIST) errno = ENOTDIR;
      throw Last_Error(part);
    }
    if (end == std::string::npos) return;
  }
}

void Check_Writable(const std::string& folder) {
  if (access(folder.c_str(), W_OK | X_OK) != 0) throw Last_Error(folder);
}

}  // namespace hq::detail
