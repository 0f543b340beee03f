#include <algorithm>
#include <utility>
#include <windows.h>

#include "platform/log_file.h"
#include "platform/windows_error.h"

namespace hq {

namespace {

constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE Handle_Of(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

RunTimeError Last_Error(const std::string& path) {
  return Windows_File_Error(GetLastError(), path);
}

RunTimeError No_Regular_File(const std::string& path) {
  return RunTimeError(PathFileAccessError, path + ": not a regular file");
}

std::intptr_t Open(const std::string& path, bool anew) {
  // The system would cut the path short at a NUL and take another file.
  if (path.empty() || path.find('\0') != std::string::npos) {
    throw RunTimeError(BadFileName, path + ": no name of a file");
  }
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    throw No_Regular_File(path);
  }
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, ShareAll, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) throw Last_Error(path);
  const bool regular = GetFileType(file) == FILE_TYPE_DISK;
  if (regular && (!anew || SetEndOfFile(file) != 0)) return reinterpret_cast<std::intptr_t>(file);
  const RunTimeError failure = regular ? Last_Error(path) : No_Regular_File(path);
  CloseHandle(file);
  throw RunTimeError(failure);
}

OVERLAPPED Place(std::uint64_t offset) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(offset & 0xffffffffU);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32U);
  return place;
}

DWORD Length(std::size_t size) {
  return static_cast<DWORD>(std::min<std::size_t>(size, 1U << 30U));
}

bool Cut_To(HANDLE file, std::uint64_t length) {
  LARGE_INTEGER place;
  place.QuadPart = static_cast<LONGLONG>(length);
  return SetFilePointerEx(file, place, nullptr, FILE_BEGIN) != 0 && SetEndOfFile(file) != 0;
}

// Bytes that are locked for writes' turns and for good. Far behind every end, so that readers of the file are
// not kept out.
constexpr std::uint64_t LockedByte = std::uint64_t{1} << 62U;
constexpr std::uint64_t ByteLockedForGood = LockedByte + 1;

// The file for this process alone while the object lives, as far as others ask for it like this.
class Turn {
 public:
  explicit Turn(HANDLE file) : file_(file) {
    OVERLAPPED place = Place(LockedByte);
    held_ = LockFileEx(file_, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place) != 0;
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  ~Turn() {
    OVERLAPPED place = Place(LockedByte);
    if (held_) UnlockFileEx(file_, 0, 1, 0, &place);
  }

 private:
  HANDLE file_;
  bool held_ = false;
};

// Writes all bytes. When that fails the file loses what it has grown by.
void Put_All(HANDLE file, std::uint64_t offset, std::string_view bytes, std::uint64_t size_before,
             const std::string& path) {
  while (!bytes.empty()) {
    DWORD written = 0;
    OVERLAPPED place = Place(offset);
    if (WriteFile(file, bytes.data(), Length(bytes.size()), &written, &place) == 0) {
      const RunTimeError failure = Last_Error(path);
      if (offset > size_before) Cut_To(file, size_before);
      throw RunTimeError(failure);
    }
    bytes.remove_prefix(written);
    offset += written;
  }
}

}  // namespace

LogFile::LogFile(std::string path, Begin begin)
    : path_(std::move(path)),
      handle_(Open(path_, begin == Begin::Anew)),
      in_place_(begin == Begin::InPlace) {}

// A new file has the permissions of its folder, which is the user's.
void LogFile::Make_Private() {}

void LogFile::Lock() {
  OVERLAPPED place = Place(ByteLockedForGood);
  if (LockFileEx(Handle_Of(handle_), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) !=
      0) {
    return;
  }
  const DWORD reason = GetLastError();
  // Others are of file systems without locks.
  if (reason == ERROR_LOCK_VIOLATION || reason == ERROR_IO_PENDING) {
    throw FileInUse(PermissionDenied, path_ + ": another program writes to it");
  }
}

bool LogFile::Is_At_Its_Path() const {
  const HANDLE there =
      CreateFileA(path_.c_str(), 0, ShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (there == INVALID_HANDLE_VALUE) return false;
  BY_HANDLE_FILE_INFORMATION our_facts{};
  BY_HANDLE_FILE_INFORMATION its_facts{};
  const bool known = GetFileInformationByHandle(Handle_Of(handle_), &our_facts) != 0 &&
                     GetFileInformationByHandle(there, &its_facts) != 0;
  CloseHandle(there);
  return known && our_facts.dwVolumeSerialNumber == its_facts.dwVolumeSerialNumber &&
         our_facts.nFileIndexHigh == its_facts.nFileIndexHigh &&
         our_facts.nFileIndexLow == its_facts.nFileIndexLow;
}

LogFile::~LogFile() {
  CloseHandle(Handle_Of(handle_));
}

void LogFile::Append(std::string_view bytes) {
  const HANDLE file = Handle_Of(handle_);
  const Turn turn(file);
  const std::uint64_t end = Size();
  Put_All(file, end, bytes, end, path_);
}

void LogFile::Write_At(std::uint64_t offset, std::string_view bytes) {
  if (!in_place_) throw RunTimeError(InvalidProcedureCall, path_ + ": not opened to be written in place");
  const HANDLE file = Handle_Of(handle_);
  const Turn turn(file);
  const std::uint64_t size = Size();
  if (offset > size) throw RunTimeError(InvalidProcedureCall, path_ + ": a write beyond its end");
  Put_All(file, offset, bytes, size, path_);
}

std::string LogFile::Read_At(std::uint64_t offset, std::size_t length) const {
  const std::uint64_t size = Size();
  if (offset >= size) return {};
  std::string bytes(size - offset < length ? static_cast<std::size_t>(size - offset) : length, '\0');
  std::size_t got = 0;
  while (got < bytes.size()) {
    DWORD now = 0;
    OVERLAPPED place = Place(offset + got);
    if (ReadFile(Handle_Of(handle_), bytes.data() + got, Length(bytes.size() - got), &now, &place) == 0) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      throw Last_Error(path_);
    }
    if (now == 0) break;
    got += now;
  }
  bytes.resize(got);
  return bytes;
}

std::uint64_t LogFile::Size() const {
  LARGE_INTEGER size;
  if (GetFileSizeEx(Handle_Of(handle_), &size) == 0) throw Last_Error(path_);
  return static_cast<std::uint64_t>(size.QuadPart);
}

void LogFile::Cut(std::uint64_t length) {
  if (length > Size()) throw RunTimeError(InvalidProcedureCall, path_ + ": cut to more than it holds");
  if (!Cut_To(Handle_Of(handle_), length)) throw Last_Error(path_);
}

}  // namespace hq
