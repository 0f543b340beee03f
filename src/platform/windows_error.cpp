#include "platform/windows_error.h"

#include <array>

namespace hq {

namespace {

// MinGW's header lacks the name ERROR_DISK_QUOTA_EXCEEDED.
constexpr DWORD DiskQuotaExceeded = 1295;

int Number_Of(DWORD reason) {
  switch (reason) {
    case ERROR_FILE_NOT_FOUND:
      return FileNotFound;
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_DIRECTORY:
      return PathNotFound;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_NETWORK_ACCESS_DENIED:
    case ERROR_DELETE_PENDING:
    case ERROR_USER_MAPPED_FILE:
      return PermissionDenied;
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_DISK_FULL:
    case DiskQuotaExceeded:
    case ERROR_FILE_TOO_LARGE:
      return DiskFull;
    case ERROR_CRC:
    case ERROR_SEEK:
    case ERROR_SECTOR_NOT_FOUND:
    case ERROR_WRITE_FAULT:
    case ERROR_READ_FAULT:
    case ERROR_GEN_FAILURE:
    case ERROR_NOT_READY:
    case ERROR_IO_DEVICE:
      return DeviceIOError;
    case ERROR_TOO_MANY_OPEN_FILES:
      return TooManyFiles;
    case ERROR_INVALID_NAME:
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_BUFFER_OVERFLOW:
      return BadFileName;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
      return OutOfMemory;
    default:
      return PathFileAccessError;
  }
}

}  // namespace

std::string Windows_Error_Text(DWORD reason) {
  std::array<char, 512> text{};
  const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                      reason, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
  std::string words(text.data(), length);
  while (!words.empty() && (words.back() == '\r' || words.back() == '\n' || words.back() == '.')) {
    words.pop_back();
  }
  return words.empty() ? "error " + std::to_string(reason) : words;
}

RunTimeError Windows_File_Error(DWORD reason, const std::string& path) {
  // What the system says of a path that is too long depends on the call and leads astray.
  if (path.size() >= MAX_PATH) {
    return RunTimeError(BadFileName, path + ": the path is longer than Windows takes (" +
                                         std::to_string(MAX_PATH - 1) + " characters)");
  }
  return RunTimeError(Number_Of(reason), path + ": " + Windows_Error_Text(reason));
}

}  // namespace hq
