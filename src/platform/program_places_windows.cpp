#include <array>
#include <windows.h>
// After the header that it needs.
#include <shlobj.h>

#include "platform/files.h"
#include "platform/left_over_parts.h"
#include "platform/program_places.h"
#include "platform/windows_error.h"

namespace hq::detail {

std::string User_Program_Folder(const Variables& variables) {
  std::string data = variables("APPDATA").value_or("");
  while (data.size() > 3 && data.ends_with('\\')) data.pop_back();
  const bool is_absolute = data.starts_with("\\\\") || (data.size() > 2 && data[1] == ':' && data[2] == '\\');
  if (!is_absolute) {
    std::array<char, MAX_PATH> folder{};
    SHGetFolderPathA(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder.data());
    data = folder.data();
  }
  return Join_Path(data, "History Quotes");
}

// The folder of a user's program data is closed to other users by what is above it.
void Make_Closed_Folder(const std::string& folder) {
  const int failure = SHCreateDirectoryExA(nullptr, folder.c_str(), nullptr);
  if (failure == ERROR_SUCCESS || failure == ERROR_ALREADY_EXISTS || failure == ERROR_FILE_EXISTS) return;
  throw Windows_File_Error(static_cast<DWORD>(failure), folder);
}

void Check_Writable(const std::string& folder) {
  const HANDLE file = CreateFileA(Join_Path(folder, Part_Name()).c_str(), GENERIC_WRITE, 0, nullptr,
                                  CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  if (file == INVALID_HANDLE_VALUE) throw Windows_File_Error(GetLastError(), folder);
  CloseHandle(file);
}

}  // namespace hq::detail
