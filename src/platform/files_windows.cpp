#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>
#include <vector>
#include <windows.h>
// After the header that it needs.
#include <sddl.h>

#include "base/run_time_error.h"
#include "platform/files.h"
#include "platform/left_over_parts.h"
#include "platform/windows_error.h"

namespace hq {

namespace {

constexpr size_t WriteBufferBytes = 256 * 1024;
constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

RunTimeError Error_Of(std::errc reason, const std::string& path) {
  return File_Error(std::make_error_code(reason), path);
}

// An open file of the system, closed when the object goes.
class Handle {
 public:
  explicit Handle(HANDLE value = INVALID_HANDLE_VALUE) : value_(value) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (Is_Open()) CloseHandle(value_);
  }

  void Take(HANDLE value) { value_ = value; }
  [[nodiscard]] HANDLE Release() { return std::exchange(value_, INVALID_HANDLE_VALUE); }
  [[nodiscard]] HANDLE Value() const { return value_; }
  [[nodiscard]] bool Is_Open() const { return value_ != INVALID_HANDLE_VALUE; }

 private:
  HANDLE value_;
};

void Refuse_Nul(const std::string& path) {
  // The system would cut the path short there and take another file.
  if (path.find('\0') != std::string::npos) throw Error_Of(std::errc::invalid_argument, path);
}

bool Is_Folder(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The part of a path before its last component, with the separator; empty when there is none.
std::string Folder_Part(const std::string& path) {
  const size_t end = path.find_last_of("\\/:");
  return end == std::string::npos ? std::string() : path.substr(0, end + 1);
}

// The system's last error on a file that should be there. A missing folder means that there is no file, a
// file in the folder's place that there is no path.
RunTimeError Missing_Error(DWORD reason, const std::string& path) {
  if (reason != ERROR_PATH_NOT_FOUND || path.size() >= MAX_PATH) return Windows_File_Error(reason, path);
  std::string folder = Folder_Part(path);
  while (!folder.empty() && (folder.back() == '\\' || folder.back() == '/')) folder.pop_back();
  const DWORD attributes = folder.empty() ? INVALID_FILE_ATTRIBUTES : GetFileAttributesA(folder.c_str());
  const bool file_in_place = attributes != INVALID_FILE_ATTRIBUTES && !Is_Folder(attributes);
  return Windows_File_Error(file_in_place ? ERROR_DIRECTORY : ERROR_FILE_NOT_FOUND, path);
}

// The place that a path leads to when the file itself is a link, or a link to a link.
std::string Followed(const std::string& path) {
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return path;
  const Handle file(
      CreateFileA(path.c_str(), 0, ShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!file.Is_Open()) throw Windows_File_Error(GetLastError(), path);
  std::string place(GetFinalPathNameByHandleA(file.Value(), nullptr, 0, FILE_NAME_NORMALIZED), '\0');
  const DWORD length = GetFinalPathNameByHandleA(file.Value(), place.data(), static_cast<DWORD>(place.size()),
                                                 FILE_NAME_NORMALIZED);
  if (length == 0 || length >= place.size()) throw Windows_File_Error(GetLastError(), path);
  place.resize(length);
  return place;
}

// Who may do what with a file, as the system keeps it; empty when it does not tell.
std::vector<unsigned char> Access_List(const std::string& path) {
  DWORD size = 0;
  GetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
  std::vector<unsigned char> list(size);
  if (size == 0 || GetFileSecurityA(path.c_str(), DACL_SECURITY_INFORMATION, list.data(), size, &size) == 0) {
    list.clear();
  }
  return list;
}

struct LocalMemory {
  void operator()(void* memory) const { LocalFree(memory); }
};

// Lets the user of the process, the administrators and the system at a file, and nobody else. Nothing when
// the system does not tell who the user is.
std::unique_ptr<void, LocalMemory> User_Alone() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) return nullptr;
  const Handle closed_later(token);
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  std::vector<unsigned char> user(size);
  if (size == 0 || GetTokenInformation(token, TokenUser, user.data(), size, &size) == 0) return nullptr;
  TOKEN_USER named{};
  std::memcpy(&named, user.data(), sizeof named);
  char* name = nullptr;
  if (ConvertSidToStringSidA(named.User.Sid, &name) == 0) return nullptr;
  const std::unique_ptr<void, LocalMemory> freed_later(name);
  const std::string rights = "D:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;" + std::string(name) + ")";
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorA(rights.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
  return std::unique_ptr<void, LocalMemory>(descriptor);
}

class WindowsOutputFile final : public OutputFile {
 public:
  WindowsOutputFile(std::string path, std::string target, bool is_private, SweptFolders& swept)
      : path_(std::move(path)), target_(std::move(target)) {
    // A write takes no memory, so that it can't fail for want of it and leave a gap in the file.
    buffer_.reserve(WriteBufferBytes);
    Look_At_Existing();
    const std::string folder = Folder_Part(target_);
    swept.Sweep(folder);
    const std::unique_ptr<void, LocalMemory> owner = is_private ? User_Alone() : nullptr;
    SECURITY_ATTRIBUTES security{sizeof security, owner.get(), FALSE};
    do {
      // A process that was killed may have left an unfinished file, and a later one may have its number.
      unfinished_ = folder + Part_Name();
      file_.Take(CreateFileA(unfinished_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, owner ? &security : nullptr,
                             CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    } while (!file_.Is_Open() && GetLastError() == ERROR_FILE_EXISTS);
    if (!file_.Is_Open()) {
      const DWORD reason = GetLastError();
      const bool too_long = unfinished_.size() >= MAX_PATH;
      unfinished_.clear();
      throw Windows_File_Error(too_long ? ERROR_FILENAME_EXCED_RANGE : reason, path_);
    }
  }

  ~WindowsOutputFile() override {
    if (file_.Is_Open()) CloseHandle(file_.Release());
    if (!unfinished_.empty()) DeleteFileA(unfinished_.c_str());
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
    // After a failure bytes may be lost, and a second try would not notice.
    if (FlushFileBuffers(file_.Value()) == 0) Fail();
    // A file that is open is not taken for a left-over one: this keeps it so until it has its place.
    const Handle in_use(
        CreateFileA(unfinished_.c_str(), GENERIC_READ, ShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
    if (CloseHandle(file_.Release()) == 0) throw Windows_File_Error(GetLastError(), path_);
    Take_Over();
    if (!Move()) throw Windows_File_Error(GetLastError(), path_);
    unfinished_.clear();
  }

 private:
  // Raises when what is there can't be replaced, or something there keeps it in use.
  void Look_At_Existing() {
    attributes_ = GetFileAttributesA(target_.c_str());
    if (Is_Folder(attributes_)) throw Error_Of(std::errc::is_a_directory, path_);
    const bool read_only =
        attributes_ != INVALID_FILE_ATTRIBUTES && (attributes_ & FILE_ATTRIBUTE_READONLY) != 0;
    if (read_only) throw Windows_File_Error(ERROR_ACCESS_DENIED, path_);
    const Handle existing(
        CreateFileA(target_.c_str(), GENERIC_WRITE, ShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!existing.Is_Open()) {
      const DWORD reason = GetLastError();
      if (reason != ERROR_FILE_NOT_FOUND) throw Windows_File_Error(reason, path_);
    } else if (GetFileType(existing.Value()) != FILE_TYPE_DISK) {
      // A device's name, such as NUL or COM1.
      throw Error_Of(std::errc::not_supported, path_);
    }
  }

  // An earlier file's attributes and permissions are the user's choice. Where they can't be kept the new
  // file's own will do.
  void Take_Over() const {
    if (attributes_ == INVALID_FILE_ATTRIBUTES) return;
    constexpr DWORD Kept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
    if ((attributes_ & Kept) != 0) {
      SetFileAttributesA(unfinished_.c_str(), (attributes_ & Kept) | FILE_ATTRIBUTE_ARCHIVE);
    }
    std::vector<unsigned char> list = Access_List(target_);
    if (!list.empty()) SetFileSecurityA(unfinished_.c_str(), DACL_SECURITY_INFORMATION, list.data());
  }

  [[nodiscard]] bool Move() const {
    // Programs that look at every new file, such as virus scanners, hold it for moments.
    constexpr int Tries = 10;
    constexpr DWORD PauseMilliseconds = 20;
    for (int left = Tries;; --left) {
      if (MoveFileExA(unfinished_.c_str(), target_.c_str(),
                      MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0) {
        return true;
      }
      const DWORD reason = GetLastError();
      const bool held = reason == ERROR_ACCESS_DENIED || reason == ERROR_SHARING_VIOLATION;
      if (!held || left == 1) return false;
      Sleep(PauseMilliseconds);
    }
  }

  void Check_Usable() const {
    if (failure_) throw RunTimeError(*failure_);
    if (!file_.Is_Open()) throw RunTimeError(BadFileName, path_ + ": the file is closed");
  }

  [[noreturn]] void Fail() {
    failure_ = Windows_File_Error(GetLastError(), path_);
    throw RunTimeError(*failure_);
  }

  void Put(std::string_view bytes) {
    while (!bytes.empty()) {
      constexpr size_t Most = 1U << 30U;
      DWORD written = 0;
      const auto size = static_cast<DWORD>(std::min(bytes.size(), Most));
      if (WriteFile(file_.Value(), bytes.data(), size, &written, nullptr) == 0) Fail();
      bytes.remove_prefix(written);
    }
  }

  std::string path_;
  std::string target_;
  std::string unfinished_;
  std::string buffer_;
  DWORD attributes_ = INVALID_FILE_ATTRIBUTES;
  Handle file_;
  std::optional<RunTimeError> failure_;
};

std::unique_ptr<OutputFile> Opened(const std::string& path, bool is_private, SweptFolders& swept) {
  Refuse_Nul(path);
  if (path.empty()) throw Error_Of(std::errc::invalid_argument, path);
  // A link stays a link: the file it names is replaced.
  return std::make_unique<WindowsOutputFile>(path, Followed(path), is_private, swept);
}

}  // namespace

std::unique_ptr<OutputFile> SystemFiles::Open_For_Output(const std::string& path) {
  return Opened(path, false, swept_);
}

std::unique_ptr<OutputFile> SystemFiles::Open_For_Private_Output(const std::string& path) {
  return Opened(path, true, swept_);
}

std::string Read_File(const std::filesystem::path& file, const std::string& name, std::uintmax_t most_bytes) {
  if (file.native().find(L'\0') != std::wstring::npos) throw Error_Of(std::errc::invalid_argument, name);
  const DWORD attributes = GetFileAttributesW(file.c_str());
  if (Is_Folder(attributes)) throw RunTimeError(PathFileAccessError, name + ": it is a folder, not a file");
  const Handle opened(CreateFileW(file.c_str(), GENERIC_READ, ShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!opened.Is_Open()) {
    const DWORD reason = GetLastError();
    const bool is_link =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    // A link was made on purpose: what it leads to is away, which is not the same as never made.
    if (is_link && (reason == ERROR_FILE_NOT_FOUND || reason == ERROR_PATH_NOT_FOUND)) {
      throw RunTimeError(PathNotFound, name + ": it is a link to what is not there");
    }
    throw Missing_Error(reason, name);
  }
  // A device's name, such as CON or COM1, or that of a pipe.
  if (GetFileType(opened.Value()) != FILE_TYPE_DISK) {
    throw RunTimeError(PathFileAccessError, name + ": it is a device or a pipe, not a file");
  }
  std::string bytes;
  for (;;) {
    constexpr DWORD Piece = 64 * 1024;
    const size_t before = bytes.size();
    bytes.resize(before + Piece);
    DWORD got = 0;
    if (ReadFile(opened.Value(), bytes.data() + before, Piece, &got, nullptr) == 0) {
      throw Windows_File_Error(GetLastError(), name);
    }
    bytes.resize(before + got);
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
    if (Is_Folder(GetFileAttributesA(path.c_str()))) throw Error_Of(std::errc::is_a_directory, path);
  }
  if (from.empty()) throw Error_Of(std::errc::no_such_file_or_directory, from);
  if (GetFileAttributesA(from.c_str()) == INVALID_FILE_ATTRIBUTES) throw Missing_Error(GetLastError(), from);
  if (MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0) return;
  throw Windows_File_Error(GetLastError(), to);
}

void SystemFiles::Delete(const std::string& path) {
  Refuse_Nul(path);
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (Is_Folder(attributes)) throw Error_Of(std::errc::is_a_directory, path);
  if (DeleteFileA(path.c_str()) != 0) return;
  throw path.empty() ? Error_Of(std::errc::no_such_file_or_directory, path)
                     : Missing_Error(GetLastError(), path);
}

bool SystemFiles::Exists(const std::string& path) {
  if (path.empty() || path.find('\0') != std::string::npos) return false;
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    // A file that another program keeps to itself tells no attributes.
    return GetLastError() == ERROR_SHARING_VIOLATION;
  }
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return true;
  const Handle file(
      CreateFileA(path.c_str(), 0, ShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return file.Is_Open();
}

}  // namespace hq
