#include "platform/files.h"

#include <filesystem>
#include <system_error>

#include "base/run_time_error.h"
#include "base/strings.h"

namespace hq {

namespace fs = std::filesystem;

namespace {

// A path with a NUL is cut short there by the system and would name something else.
bool Has_Nul(std::string_view path) {
  return Contains(path, std::string_view("\0", 1));
}

// Whether name fits a pattern in which "*" stands for any characters and "?" for any one.
bool Fits(std::string_view name, std::string_view pattern) {
  size_t n = 0;
  size_t p = 0;
  size_t star = std::string_view::npos;
  size_t after_star = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n]) && pattern[p] != '*') {
      ++n;
      ++p;
    } else if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      after_star = n;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      n = ++after_star;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

bool Wildcard_Finds(const std::string& text) {
  const fs::path pattern(text);
  const std::string name = pattern.filename().string();
  if (name.find_first_of("*?") == std::string::npos) return false;
  std::error_code error;
  const fs::path folder = pattern.has_parent_path() ? pattern.parent_path() : fs::path(".");
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (Fits(entry->path().filename().string(), name)) return true;
  }
  return false;
}

}  // namespace

std::string Temporary_Folder() {
  std::error_code error;
  const fs::path folder = fs::temp_directory_path(error);
  return error ? std::string(".") : folder.string();
}

void SystemFiles::Copy(const std::string& from, const std::string& to) {
  const std::string bytes = Read(from);
  const std::unique_ptr<OutputFile> copy = Open_For_Output(to);
  copy->Write(bytes);
  copy->Close();
}

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

std::string Join_Path(std::string_view folder, std::string_view name) {
  std::string path(folder);
  path += static_cast<char>(fs::path::preferred_separator);
  path += name;
  return path;
}

bool Directory_Search_Finds(Files& files, std::string_view text) {
  const std::string trimmed(Trim(text));
  if (trimmed.empty() || Has_Nul(trimmed)) return false;
  return files.Exists(std::string(text)) || files.Exists(trimmed) || Wildcard_Finds(trimmed);
}

}  // namespace hq
