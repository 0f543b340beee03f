#include "platform/files.h"

#include <filesystem>

#include "base/strings.h"
#include "platform/directory_search.h"

namespace hq {

std::string Temporary_Folder() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  return error ? std::string(".") : folder.string();
}

void SystemFiles::Copy(const std::string& from, const std::string& to) {
  const std::string bytes = Read(from);
  const std::unique_ptr<OutputFile> copy = Open_For_Output(to);
  copy->Write(bytes);
  copy->Close();
}

<<<<<<< HEAD
=======
void SystemFiles::Rename(const std::string& from, const std::string& to) {
  for (const std::string& path : {from, to}) {
    if (Has_Nul(path)) throw File_Error(std::make_error_code(std::errc::invalid_argument), path);
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
  if (Has_Nul(path)) throw File_Error(std::make_error_code(std::errc::invalid_argument), path);
  std::error_code error;
  // remove() would take an empty folder as well.
  if (fs::is_directory(fs::symlink_status(path, error))) {
    throw File_Error(std::make_error_code(std::errc::is_a_directory), path);
  }
  if (fs::remove(path, error)) return;
  throw File_Error(error ? error : std::make_error_code(std::errc::no_such_file_or_directory), path);
}

bool SystemFiles::Exists(const std::string& path) {
  if (Has_Nul(path)) return false;
  std::error_code error;
  return fs::exists(path, error);
}

>>>>>>> main
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
