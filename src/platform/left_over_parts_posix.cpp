#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/left_over_parts.h"

namespace hq {

namespace {

constexpr std::string_view Beginning = ".history-quotes-";
constexpr std::string_view Ending = ".part";

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Tells this computer from others that share a folder with it.
std::string Host_Mark() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  std::uint32_t sum = 2166136261;
  for (const char c : std::string_view(name.data())) sum = (sum ^ static_cast<unsigned char>(c)) * 16777619;
  std::array<char, 8> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), sum, 16).ptr;
  return "h" + std::string(digits.data(), end);
}

// Whether a free lock on a file of this name, without beginning and ending, tells that its process is gone.
bool Lock_Is_Proof(std::string_view name) {
  const size_t dash = name.find('-');
  const std::string_view first = name.substr(0, dash);
  // Some shares keep the locks of each computer to itself.
  if (first.starts_with('h')) return first == Host_Mark();
  // Without a host in its name: its process may not lock what it writes.
  pid_t process = 0;
  const auto read = std::from_chars(first.data(), first.data() + first.size(), process);
  return dash != std::string_view::npos && read.ptr == first.data() + first.size() && process > 0 &&
         kill(process, 0) != 0 && errno == ESRCH;
}

void Remove_If_Left_Over(int folder, const char* name) {
  const int file = openat(folder, name, O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return;
  struct stat opened {};
  struct stat named {};
  // Who writes holds a lock. Once it is ours nobody renames the file or begins one of its name.
  const bool is_free =
      fstat(file, &opened) == 0 && S_ISREG(opened.st_mode) && flock(file, LOCK_EX | LOCK_NB) == 0;
  if (is_free && fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && named.st_dev == opened.st_dev &&
      named.st_ino == opened.st_ino) {
    unlinkat(folder, name, 0);
  }
  close(file);
}

}  // namespace

std::string Part_Name() {
  static std::atomic<unsigned> count = 0;
  return std::string(Beginning) + Host_Mark() + "-" + std::to_string(getpid()) + "-" +
         std::to_string(++count) + std::string(Ending);
}

void Remove_Left_Over_Parts(const std::string& folder) noexcept {
  const std::unique_ptr<DIR, FolderCloser> opened(opendir(folder.c_str()));
  if (!opened) return;
  try {
    while (const dirent* entry = readdir(opened.get())) {
      std::string_view name = static_cast<const char*>(entry->d_name);
      if (!name.starts_with(Beginning) || !name.ends_with(Ending)) continue;
      if (name.size() < Beginning.size() + Ending.size()) continue;
      name.remove_prefix(Beginning.size());
      name.remove_suffix(Ending.size());
      if (Lock_Is_Proof(name))
        Remove_If_Left_Over(dirfd(opened.get()), static_cast<const char*>(entry->d_name));
    }
  } catch (const std::exception&) {
    // No memory: the next write tries again.
  }
}

}  // namespace hq
