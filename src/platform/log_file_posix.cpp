#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "base/run_time_error.h"
#include "platform/log_file.h"

namespace hq {

namespace {

RunTimeError Last_Error(const std::string& path) {
  return File_Error(std::error_code(errno, std::generic_category()), path);
}

RunTimeError No_Regular_File(const std::string& path) {
  return RunTimeError(PathFileAccessError, path + ": not a regular file");
}

int Number_Of(std::intptr_t handle) {
  return static_cast<int>(handle);
}

int Open(const std::string& path) {
  // The system would cut the path short at a NUL and take another file.
  if (path.empty() || path.find('\0') != std::string::npos) {
    throw File_Error(std::make_error_code(std::errc::invalid_argument), path);
  }
  // Looked at first, because opening some devices does something.
  struct stat state {};
  if (stat(path.c_str(), &state) == 0 && !S_ISREG(state.st_mode)) throw No_Regular_File(path);
  for (;;) {
    // Without O_NONBLOCK a pipe that took the file's place meanwhile would be waited for.
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
    if (file >= 0) return file;
    if (errno == EINTR) continue;
    if (errno == ENOENT) {
      throw RunTimeError(PathNotFound, path + ": " + std::generic_category().message(ENOENT));
    }
    throw Last_Error(path);
  }
}

std::uint64_t Size_Of(int file, const std::string& path) {
  struct stat state {};
  if (fstat(file, &state) != 0) throw Last_Error(path);
  return static_cast<std::uint64_t>(state.st_size);
}

void Cut_To(int file, std::uint64_t length, const std::string& path) {
  while (ftruncate(file, static_cast<off_t>(length)) != 0) {
    if (errno != EINTR) throw Last_Error(path);
  }
}

// Why a write took no more bytes, from what it gave.
RunTimeError Refused_Write(ssize_t result, const std::string& path) {
  return result == 0 ? File_Error(std::make_error_code(std::errc::no_space_on_device), path)
                     : Last_Error(path);
}

}  // namespace

LogFile::LogFile(std::string path, Begin begin)
    : path_(std::move(path)), handle_(Open(path_)), in_place_(begin == Begin::InPlace) {
  const int file = Number_Of(handle_);
  try {
    struct stat state {};
    if (fstat(file, &state) != 0) throw Last_Error(path_);
    if (!S_ISREG(state.st_mode)) throw No_Regular_File(path_);
    // Its owner could read what is written. The administrator may write to everybody's files.
    if (state.st_uid != geteuid() && geteuid() != 0) {
      throw RunTimeError(PermissionDenied, path_ + ": another user's file");
    }
    if (!in_place_) Make_Private();
    if (begin == Begin::Anew) Cut_To(file, 0, path_);
    if (!in_place_ && fcntl(file, F_SETFL, O_APPEND) != 0) throw Last_Error(path_);
  } catch (...) {
    close(file);
    throw;
  }
}

void LogFile::Make_Private() {
  struct stat state {};
  const int file = Number_Of(handle_);
  // A file system without modes keeps what it has.
  if (fstat(file, &state) == 0 && (state.st_mode & 07777) != 0600 && fchmod(file, 0600) != 0) errno = 0;
}

void LogFile::Lock() {
  while (flock(Number_Of(handle_), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) throw FileInUse(PermissionDenied, path_ + ": another program writes to it");
    if (errno != EINTR) return;  // a file system without locks
  }
}

bool LogFile::Is_At_Its_Path() const {
  struct stat ours {};
  struct stat there {};
  return fstat(Number_Of(handle_), &ours) == 0 && stat(path_.c_str(), &there) == 0 &&
         ours.st_dev == there.st_dev && ours.st_ino == there.st_ino;
}

LogFile::~LogFile() {
  close(Number_Of(handle_));
}

void LogFile::Append(std::string_view bytes) {
  if (in_place_) return Write_At(Size(), bytes);
  // The usual way asks the system once: a trace has thousands of records a second.
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t now = write(Number_Of(handle_), bytes.data() + written, bytes.size() - written);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) {
      const RunTimeError failure = Refused_Write(now, path_);
      // What another process has added behind it meanwhile is not cut off.
      const std::uint64_t size = Size();
      if (written > 0 && size >= written && Read_At(size - written, written) == bytes.substr(0, written)) {
        Cut_To(Number_Of(handle_), size - written, path_);
      }
      throw RunTimeError(failure);
    }
    written += static_cast<std::size_t>(now);
  }
}

void LogFile::Write_At(std::uint64_t offset, std::string_view bytes) {
  if (!in_place_) throw RunTimeError(InvalidProcedureCall, path_ + ": not opened to be written in place");
  const std::uint64_t size_before = Size();
  if (offset > size_before) throw RunTimeError(InvalidProcedureCall, path_ + ": a write beyond its end");
  const int file = Number_Of(handle_);
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t now =
        pwrite(file, bytes.data() + written, bytes.size() - written, static_cast<off_t>(offset + written));
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) {
      const RunTimeError failure = Refused_Write(now, path_);
      // What another process has added meanwhile is not cut off.
      const std::uint64_t size_now = Size();
      if (size_now > size_before && size_now <= size_before + written) Cut_To(file, size_before, path_);
      throw RunTimeError(failure);
    }
    written += static_cast<std::size_t>(now);
  }
}

std::string LogFile::Read_At(std::uint64_t offset, std::size_t length) const {
  const std::uint64_t size = Size();
  if (offset >= size) return {};
  std::string bytes(size - offset < length ? static_cast<std::size_t>(size - offset) : length, '\0');
  std::size_t got = 0;
  while (got < bytes.size()) {
    const ssize_t now =
        pread(Number_Of(handle_), bytes.data() + got, bytes.size() - got, static_cast<off_t>(offset + got));
    if (now < 0 && errno == EINTR) continue;
    if (now < 0) throw Last_Error(path_);
    if (now == 0) break;
    got += static_cast<std::size_t>(now);
  }
  bytes.resize(got);
  return bytes;
}

std::uint64_t LogFile::Size() const {
  return Size_Of(Number_Of(handle_), path_);
}

void LogFile::Cut(std::uint64_t length) {
  if (length > Size()) throw RunTimeError(InvalidProcedureCall, path_ + ": cut to more than it holds");
  Cut_To(Number_Of(handle_), length, path_);
}

}  // namespace hq
