#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "base/run_time_error.h"
#include "platform/files.h"

namespace hq {

namespace fs = std::filesystem;

namespace {

constexpr size_t WriteBufferBytes = 256 * 1024;
constexpr size_t LargestFileToRead = 64 * 1024 * 1024;

RunTimeError Last_Error(const std::string& path) {
  return File_Error(std::error_code(errno, std::generic_category()), path);
}

RunTimeError Error_Of(std::errc reason, const std::string& path) {
  return File_Error(std::make_error_code(reason), path);
}

// A name for the unfinished file that no other file of this or another process has.
std::string Unfinished_Name() {
  static std::atomic<unsigned> count = 0;
  return ".history-quotes-" + std::to_string(getpid()) + "-" + std::to_string(++count) + ".part";
}

class PosixOutputFile final : public OutputFile {
 public:
  PosixOutputFile(std::string path, const fs::path& target)
      : path_(std::move(path)), target_(target.string()) {
    struct stat existing {};
    const bool replaces = stat(target_.c_str(), &existing) == 0;
    if (replaces && S_ISDIR(existing.st_mode)) throw Error_Of(std::errc::is_a_directory, path_);
    if (replaces && access(target_.c_str(), W_OK) != 0) throw Last_Error(path_);
    unfinished_ = (target.parent_path() / Unfinished_Name()).string();
    descriptor_ = open(unfinished_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ < 0 && errno == ENOENT) {
      throw RunTimeError(PathNotFound, path_ + ": " + std::generic_category().message(ENOENT));
    }
    if (descriptor_ < 0) throw Last_Error(path_);
    // An earlier file's permissions are the user's choice. Where they can't be kept the new file's own will
    // do.
    if (replaces && fchmod(descriptor_, existing.st_mode & 07777) != 0) errno = 0;
  }

  ~PosixOutputFile() override {
    if (descriptor_ >= 0) close(descriptor_);
    if (!unfinished_.empty()) unlink(unfinished_.c_str());
  }

  void Write(std::string_view bytes) override {
    buffer_ += bytes;
    if (buffer_.size() >= WriteBufferBytes) Flush();
  }

  void Close() override {
    Flush();
    if (fsync(descriptor_) != 0 && errno != EINVAL) throw Last_Error(path_);
    const int closed = close(std::exchange(descriptor_, -1));
    if (closed != 0) throw Last_Error(path_);
    if (rename(unfinished_.c_str(), target_.c_str()) != 0) throw Last_Error(path_);
    unfinished_.clear();
  }

 private:
  void Flush() {
    if (failed_) throw RunTimeError(DeviceIOError, path_ + ": an earlier write failed");
    std::string_view rest = buffer_;
    while (!rest.empty()) {
      const ssize_t written = write(descriptor_, rest.data(), rest.size());
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) {
        failed_ = true;
        throw Last_Error(path_);
      }
      rest.remove_prefix(static_cast<size_t>(written));
    }
    buffer_.clear();
  }

  std::string path_;
  std::string target_;
  std::string unfinished_;
  std::string buffer_;
  int descriptor_ = -1;
  bool failed_ = false;
};

}  // namespace

std::unique_ptr<OutputFile> SystemFiles::Open_For_Output(const std::string& path) {
  if (path.find('\0') != std::string::npos) throw Error_Of(std::errc::invalid_argument, path);
  // A link stays a link: the file it names is replaced.
  std::error_code error;
  const bool link = fs::is_symlink(path, error);
  return std::make_unique<PosixOutputFile>(path, link ? fs::weakly_canonical(path, error) : fs::path(path));
}

std::string SystemFiles::Read(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw Last_Error(path);
  std::string bytes;
  ssize_t got = 1;
  while (got > 0 && bytes.size() <= LargestFileToRead) {
    const size_t before = bytes.size();
    bytes.resize(before + 64 * 1024);
    do {
      got = read(descriptor, bytes.data() + before, bytes.size() - before);
    } while (got < 0 && errno == EINTR);
    bytes.resize(before + static_cast<size_t>(std::max<ssize_t>(got, 0)));
  }
  const int reason = errno;
  close(descriptor);
  errno = reason;
  if (got < 0) throw Last_Error(path);
  if (bytes.size() > LargestFileToRead) throw Error_Of(std::errc::file_too_large, path);
  return bytes;
}

}  // namespace hq
