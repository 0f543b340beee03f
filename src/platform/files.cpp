#include "platform/files.h"

#include <filesystem>

#include "base/strings.h"
#include "platform/directory_search.h"
#include "platform/paths.h"

namespace hq {

std::string Temporary_Folder() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  return error ? std::string(".") : folder.string();
}

std::string SystemFiles::Read(const std::string& path) {
  constexpr std::uintmax_t Largest = 64 * 1024 * 1024;
  return Read_File(System_Path(path), path, Largest);
}

void SystemFiles::Copy(const std::string& from, const std::string& to) {
  const std::string bytes = Read(from);
  const std::unique_ptr<OutputFile> copy = Open_For_Output(to);
  copy->Write(bytes);
  copy->Close();
}

std::string Join_Path(std::string_view folder, std::string_view name) {
  std::string path(folder);
  path += static_cast<char>(std::filesystem::path::preferred_separator);
  path += name;
  return path;
}

bool Directory_Search_Finds(Files& files, std::string_view text) {
  const std::string trimmed(Trim(text));
  // A path with a NUL is cut short there by the system and would name something else.
  if (trimmed.empty() || Contains(trimmed, std::string_view("\0", 1))) return false;
  return files.Exists(std::string(text)) || files.Exists(trimmed) || Wildcard_Finds(trimmed);
}

}  // namespace hq
