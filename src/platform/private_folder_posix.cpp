#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/private_folder.h"

namespace hq {

std::string Private_Folder_Path() {
  return Join_Path(Temporary_Folder(), "history-quotes-" + std::to_string(geteuid()));
}

bool Make_Private_Folder(const char* path) noexcept {
  if (mkdir(path, 0700) != 0 && errno != EEXIST) return false;
  const int folder = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) return false;
  struct stat state {};
  // Where others could ever write there may be links of theirs.
  const bool is_private =
      fstat(folder, &state) == 0 && state.st_uid == geteuid() && (state.st_mode & 0077) == 0;
  close(folder);
  return is_private;
}

}  // namespace hq
