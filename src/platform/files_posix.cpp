#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "base/run_time_error.h"
#include "platform/files.h"
#include "platform/left_over_parts.h"

namespace hq {

namespace fs = std::filesystem;

namespace {

constexpr size_t WriteBufferBytes = 256 * 1024;
constexpr mode_t OwnerAlone = 0600;
constexpr mode_t AsTheMaskAllows = 0666;

RunTimeError Last_Error(const std::string& path) {
  return File_Error(std::error_code(errno, std::generic_category()), path);
}

RunTimeError Error_Of(std::errc reason, const std::string& path) {
  return File_Error(std::make_error_code(reason), path);
}

// An open file of the system, closed when the object goes.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  void Take(int number) { number_ = number; }
  [[nodiscard]] int Release() { return std::exchange(number_, -1); }
  [[nodiscard]] int Number() const { return number_; }
  [[nodiscard]] bool Is_Open() const { return number_ >= 0; }

 private:
  int number_;
};

void Refuse_Nul(const std::string& path) {
  // The system would cut the path short there and take another file.
  if (path.find('\0') != std::string::npos) throw Error_Of(std::errc::invalid_argument, path);
}

// Raises when a mode is not that of a file with bytes of its own.
void Refuse_No_File(mode_t mode, const std::string& name) {
  if (S_ISREG(mode)) return;
  const char* kind = S_ISDIR(mode)    ? "a folder"
                     : S_ISFIFO(mode) ? "a pipe"
                     : S_ISSOCK(mode) ? "a socket"
                                      : "a device";
  throw RunTimeError(PathFileAccessError, name + ": it is " + kind + ", not a file");
}

// A link was made on purpose: what it leads to is away, which is not the same as never made.
void Refuse_Dangling_Link(const std::string& path, const std::string& name) {
  std::error_code no_link;
  const fs::path target = fs::read_symlink(path, no_link);
  if (no_link) return;
  throw RunTimeError(PathNotFound, name + ": it is a link to " + target.native() + ", which is not there");
}

// The place that a path leads to when the file itself is a link, or a link to a link, whether or not there is
// a file yet.
fs::path Followed(const std::string& path) {
  constexpr int MostLinks = 40;
  fs::path place(path);
  for (int links = 0; links <= MostLinks; ++links) {
    std::error_code no_link;
    const fs::path next = fs::read_symlink(place, no_link);
    if (no_link) return place;
    place = place.parent_path() / next;
  }
  throw Error_Of(std::errc::too_many_symbolic_link_levels, path);
}

class PosixOutputFile final : public OutputFile {
 public:
  PosixOutputFile(std::string path, const fs::path& target, mode_t new_mode, SweptFolders& swept)
      : path_(std::move(path)), target_(target.string()), folder_(target.parent_path()), mode_(new_mode) {
    // A write takes no memory, so that it can't fail for want of it and leave a gap in the file.
    buffer_.reserve(WriteBufferBytes);
    struct stat existing {};
    const bool replaces = stat(target_.c_str(), &existing) == 0;
    if (!replaces && errno != ENOENT) throw Last_Error(path_);
    // Only a plain file is replaced: a device or a pipe would be gone afterwards.
    if (replaces && S_ISDIR(existing.st_mode)) throw Error_Of(std::errc::is_a_directory, path_);
    if (replaces && !S_ISREG(existing.st_mode)) throw Error_Of(std::errc::not_supported, path_);
    if (replaces && access(target_.c_str(), W_OK) != 0) throw Last_Error(path_);
    if (replaces) existing_ = existing;
    // What replaces a file is closed to others until it has the earlier one's owner and mode.
    if (replaces) mode_ = OwnerAlone;
    swept.Sweep(Folder());
    if (!Begin_Unnamed()) Begin_Named();
  }

  ~PosixOutputFile() override {
    if (!unfinished_.empty()) unlink(unfinished_.c_str());
  }

  void Write(std::string_view bytes) override {
    Check_Usable();
    if (buffer_.size() + bytes.size() > WriteBufferBytes) {
      Put(buffer_);
      buffer_.clear();
    }
    if (bytes.size() > WriteBufferBytes) {
      Put(bytes);
    } else {
      buffer_ += bytes;
    }
  }

  void Close() override {
    Check_Usable();
    Put(buffer_);
    buffer_.clear();
    // Some file systems have nothing to hand on and say so. After any other failure bytes may be lost, and a
    // second try would not notice.
    if (fsync(descriptor_.Number()) != 0 && errno != EINVAL) Fail();
    // What a close tells is heard here, before the earlier file is gone. The file itself stays open and
    // locked.
    const int second = dup(descriptor_.Number());
    if (second >= 0 && close(second) != 0) Fail();
    const Descriptor written(descriptor_.Release());
    if (unfinished_.empty() && Link(written)) return;
    if (unfinished_.empty()) Copy_To_Named(written);
    const Descriptor copy(descriptor_.Release());
    if (rename(unfinished_.c_str(), target_.c_str()) != 0) throw Place_Error();
    unfinished_.clear();
  }

 private:
  [[nodiscard]] std::string Folder() const { return folder_.empty() ? "." : folder_.string(); }

  // A file without a name, which goes with its process whatever ends it. False where the system has none.
  bool Begin_Unnamed() {
#ifdef O_TMPFILE
    descriptor_.Take(open(Folder().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode_));
    if (!descriptor_.Is_Open()) return false;
    // For the moment that it has a name but not yet its place. A file system may have no locks.
    flock(descriptor_.Number(), LOCK_EX | LOCK_NB);
    Take_Over();
    return true;
#else
    return false;
#endif
  }

  void Begin_Named() {
    int file = -1;
    do {
      // A process that was killed may have left an unfinished file, and a later one may have its number.
      unfinished_ = (folder_ / Part_Name()).string();
      file = open(unfinished_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode_);
    } while (file >= 0 ? !Is_Ours(file) : errno == EEXIST);
    if (file < 0) {
      const RunTimeError error = Place_Error();
      unfinished_.clear();
      throw RunTimeError(error);
    }
    descriptor_.Take(file);
    Take_Over();
  }

  // Locks a new file, which somebody may have taken for a left-over one before it was locked; then it is
  // closed and gone.
  [[nodiscard]] bool Is_Ours(int file) const {
    const bool is_taken = flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    struct stat named {};
    if (!is_taken && lstat(unfinished_.c_str(), &named) == 0) return true;
    if (is_taken) unlink(unfinished_.c_str());
    close(file);
    return false;
  }

  // Gives a file without a name its place, or, where there is a file, a name beside it; neither when the
  // system refuses to. True when it has its place.
  bool Link(const Descriptor& file) {
    const std::string itself = "/proc/self/fd/" + std::to_string(file.Number());
    const auto named = [&itself](const std::string& name) {
      return linkat(AT_FDCWD, itself.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    };
    if (named(target_)) return true;
    while (errno == EEXIST) {
      std::string beside = (folder_ / Part_Name()).string();
      if (!named(beside)) continue;
      unfinished_ = std::move(beside);
      break;
    }
    return false;
  }

  // The same bytes in a file with a name.
  void Copy_To_Named(const Descriptor& file) {
    Begin_Named();
    off_t done = 0;
    buffer_.resize(WriteBufferBytes);
    for (;;) {
      const ssize_t got = pread(file.Number(), buffer_.data(), buffer_.size(), done);
      if (got < 0 && errno != EINTR) Fail();
      if (got == 0) break;
      Put(std::string_view(buffer_).substr(0, static_cast<size_t>(std::max<ssize_t>(got, 0))));
      done += std::max<ssize_t>(got, 0);
    }
    if (fsync(descriptor_.Number()) != 0 && errno != EINVAL) Fail();
  }

  // Who has an earlier file and who may do what with it are the user's choice, kept where the system lets it.
  void Take_Over() const {
    if (!existing_) return;
    const int file = descriptor_.Number();
    const bool keeps_owner = fchown(file, existing_->st_uid, existing_->st_gid) == 0;
    const bool keeps_group = keeps_owner || fchown(file, static_cast<uid_t>(-1), existing_->st_gid) == 0;
    mode_t mode = existing_->st_mode & 07777;
    // To run as somebody else was never granted by these.
    if (!keeps_owner) mode &= 0777;
    // Another group is told apart from everybody no more.
    const mode_t shared = (mode >> 3) & mode & 07;
    if (!keeps_group) mode = (mode & 0700) | (shared << 3) | shared;
    // Last, because a change of owner takes bits away. A file system without modes keeps what it has.
    if (fchmod(file, mode) != 0) errno = 0;
  }

  // The system's last error, where a missing file means that the folder is missing.
  [[nodiscard]] RunTimeError Place_Error() const {
    if (errno != ENOENT) return Last_Error(path_);
    return RunTimeError(PathNotFound, path_ + ": " + std::generic_category().message(ENOENT));
  }

  void Check_Usable() const {
    if (failure_) throw RunTimeError(*failure_);
    if (!descriptor_.Is_Open()) throw RunTimeError(BadFileName, path_ + ": the file is closed");
  }

  [[noreturn]] void Fail() {
    failure_ = Last_Error(path_);
    throw RunTimeError(*failure_);
  }

  void Put(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t written = write(descriptor_.Number(), bytes.data(), bytes.size());
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) Fail();
      bytes.remove_prefix(static_cast<size_t>(written));
    }
  }

  std::string path_;
  std::string target_;
  fs::path folder_;
  mode_t mode_;
  std::optional<struct stat> existing_;
  std::string unfinished_;  // the file's name as long as it is not in its place; none without a name
  std::string buffer_;
  Descriptor descriptor_;
  std::optional<RunTimeError> failure_;
};

std::unique_ptr<OutputFile> Opened(const std::string& path, mode_t new_mode, SweptFolders& swept) {
  Refuse_Nul(path);
  if (path.empty()) throw Error_Of(std::errc::invalid_argument, path);
  // A link stays a link: the file it names is replaced.
  return std::make_unique<PosixOutputFile>(path, Followed(path), new_mode, swept);
}

}  // namespace

std::unique_ptr<OutputFile> SystemFiles::Open_For_Output(const std::string& path) {
  return Opened(path, AsTheMaskAllows, swept_);
}

std::unique_ptr<OutputFile> SystemFiles::Open_For_Private_Output(const std::string& path) {
  return Opened(path, OwnerAlone, swept_);
}

std::string Read_File(const fs::path& file, const std::string& name, std::uintmax_t most_bytes) {
  const std::string& path = file.native();
  Refuse_Nul(path);
  // Looked at first, because opening some devices does something.
  struct stat state {};
  if (stat(path.c_str(), &state) == 0) {
    Refuse_No_File(state.st_mode, name);
  } else if (errno == ENOENT) {
    Refuse_Dangling_Link(path, name);
  }
  int number = -1;
  do {
    // Without O_NONBLOCK a pipe that took the file's place meanwhile would be waited for.
    number = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  } while (number < 0 && errno == EINTR);
  const Descriptor opened(number);
  if (!opened.Is_Open() || fstat(number, &state) != 0) throw Last_Error(name);
  Refuse_No_File(state.st_mode, name);
  std::string bytes;
  constexpr size_t Piece = 64 * 1024;
  bytes.reserve(
      static_cast<size_t>(std::min<std::uintmax_t>(static_cast<std::uintmax_t>(state.st_size), most_bytes)) +
      Piece);
  for (;;) {
    const size_t before = bytes.size();
    bytes.resize(before + Piece);
    const ssize_t got = read(number, bytes.data() + before, Piece);
    if (got < 0 && errno != EINTR) throw Last_Error(name);
    bytes.resize(before + static_cast<size_t>(std::max<ssize_t>(got, 0)));
    if (got == 0) return bytes;
    if (bytes.size() > most_bytes) {
      throw RunTimeError(PathFileAccessError,
                         name + ": larger than " + std::to_string(most_bytes >> 20U) + " MiB");
    }
  }
}

void SystemFiles::Rename(const std::string& from, const std::string& to) {
  for (const std::string& path : {from, to}) {
    Refuse_Nul(path);
    std::error_code ignored;
    if (fs::is_directory(fs::symlink_status(path, ignored))) {
      throw File_Error(std::make_error_code(std::errc::is_a_directory), path);
    }
  }
  std::error_code error;
  if (!fs::exists(fs::symlink_status(from, error))) {
    throw File_Error(std::make_error_code(std::errc::no_such_file_or_directory), from);
  }
  fs::rename(from, to, error);
  if (!error) return;
  // The file is there: what is missing is the folder that it is to go to.
  throw error == std::errc::no_such_file_or_directory ? RunTimeError(PathNotFound, to)
                                                      : File_Error(error, to);
}

void SystemFiles::Delete(const std::string& path) {
  Refuse_Nul(path);
  std::error_code error;
  // remove() would take an empty folder as well.
  if (fs::is_directory(fs::symlink_status(path, error))) throw Error_Of(std::errc::is_a_directory, path);
  if (fs::remove(path, error)) return;
  throw File_Error(error ? error : std::make_error_code(std::errc::no_such_file_or_directory), path);
}

bool SystemFiles::Exists(const std::string& path) {
  if (path.find('\0') != std::string::npos) return false;
  std::error_code error;
  return fs::exists(path, error);
}

}  // namespace hq
