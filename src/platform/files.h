#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "platform/left_over_parts.h"

namespace hq {

// A file being written. It appears under its name whole, when Close returns, or not at all: until then its
// bytes lie in a file beside its place, which is gone when the object goes without a successful Close.
class OutputFile {
 public:
  OutputFile() = default;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  virtual ~OutputFile() = default;

  // Appends bytes. Raises DiskFull, DeviceIOError, ...; after that every Write and Close raises the same
  // error. Raises BadFileName after Close.
  virtual void Write(std::string_view bytes) = 0;

  // Hands the bytes to the disk and moves the file over its place; an earlier file of the name is replaced.
  // Owner, group and permissions stay those of the earlier file where the system lets them; where it doesn't,
  // nobody but the user who writes may do more than before. Raises a run-time error when a Write has failed
  // or the file can't take its place; then an earlier file is as it was.
  virtual void Close() = 0;
};

// What the program asks of the file system. Paths are the system's own 8-bit text. Every failure is raised as
// a RunTimeError whose detail names the path and the system's reason.
class Files {
 public:
  Files() = default;
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;
  virtual ~Files() = default;

  // Begins a file that will replace path; of a link the file it leads to. Raises PathNotFound when its folder
  // is missing, PermissionDenied when an existing file or the folder is not writable, PathFileAccessError
  // when path names a folder or a device, BadFileName when it is empty, too long or holds a NUL.
  virtual std::unique_ptr<OutputFile> Open_For_Output(const std::string& path) = 0;

  // The same for a file with secrets: one that is not there yet is made for the user alone. An earlier one
  // keeps its permissions, which may let others read it on purpose.
  virtual std::unique_ptr<OutputFile> Open_For_Private_Output(const std::string& path) = 0;

  // The bytes of a file of up to 64 MiB; never waits for another program. Raises FileNotFound only when
  // nothing has this name, PathNotFound when it is a link to what is not there, PathFileAccessError when it
  // is larger or no regular file (a folder, a pipe, a socket, a device), PermissionDenied when the user may
  // not read it.
  virtual std::string Read(const std::string& path) = 0;

  // Copies a file of up to 64 MiB over another, with the errors of Read and Open_For_Output; whole or not at
  // all.
  virtual void Copy(const std::string& from, const std::string& to) = 0;

  // Gives a file or a link of any size another name on the same disk; a file of that name is replaced. Raises
  // FileNotFound when there is none, PathNotFound when the folder of to is missing, PathFileAccessError when
  // either is a folder.
  virtual void Rename(const std::string& from, const std::string& to) = 0;

  // Deletes a file or a link. Raises FileNotFound when there is none, PathFileAccessError when it is a
  // folder.
  virtual void Delete(const std::string& path) = 0;

  // Whether a file or folder of exactly this path exists.
  virtual bool Exists(const std::string& path) = 0;
};

// The file system of the machine. Any number may be used at once, each on any threads.
class SystemFiles final : public Files {
 public:
  std::unique_ptr<OutputFile> Open_For_Output(const std::string& path) override;
  std::unique_ptr<OutputFile> Open_For_Private_Output(const std::string& path) override;
  std::string Read(const std::string& path) override;
  void Copy(const std::string& from, const std::string& to) override;
  void Rename(const std::string& from, const std::string& to) override;
  void Delete(const std::string& path) override;
  bool Exists(const std::string& path) override;

 private:
  SweptFolders swept_;
};

// The bytes of a file of up to so many bytes, with the errors of Files::Read, whose details call it by name.
[[nodiscard]] std::string Read_File(const std::filesystem::path& file, const std::string& name,
                                    std::uintmax_t most_bytes);

// Folder and name joined with the system's own separator.
[[nodiscard]] std::string Join_Path(std::string_view folder, std::string_view name);

// The folder for files that nobody needs for long.
[[nodiscard]] std::string Temporary_Folder();

// Whether a directory search for text finds a file or a folder: the last component may hold the wildcards "*"
// and "?", and blanks around the text do not hide a path that exists without them. An empty text finds
// nothing.
[[nodiscard]] bool Directory_Search_Finds(Files& files, std::string_view text);

}  // namespace hq
