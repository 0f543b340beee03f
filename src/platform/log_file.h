#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/run_time_error.h"

namespace hq {

// What Lock raises.
class FileInUse final : public RunTimeError {
 public:
  using RunTimeError::RunTimeError;
};

// A log that stays open while the program runs. What has been written is with the system at once and outlives
// the process. Only the user may read and write the file (mode 0600 where there are modes; an existing file
// is brought to it where the system lets it, one opened InPlace only by Make_Private). Failures are raised as
// RunTimeError whose detail names the path and the system's reason; a write that fails half-way, as on a full
// disk, leaves the file as long as it was. Of a link the file it leads to is written; what is no regular file
// is refused with PathFileAccessError, and another user's file with PermissionDenied.
class LogFile {
 public:
  enum class Begin { Anew, AtTheEnd, InPlace };

  // Opens the file, or makes it. Anew empties it; AtTheEnd and InPlace keep what it holds. Raises
  // PathNotFound when its folder is missing.
  LogFile(std::string path, Begin begin);
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  ~LogFile();

  // Brings a file opened InPlace to the user alone, once it is known to be a log.
  void Make_Private();
  // Keeps the file to this object until it goes, on systems and disks that know such locks. Raises
  // FileInUse, which is a PermissionDenied, when another one has it.
  void Lock();
  // Whether its path still leads to the file, which another process may have moved away or put another one in
  // the place of.
  [[nodiscard]] bool Is_At_Its_Path() const;

  // At the end of the file as it is now: another process may have written to it too.
  void Append(std::string_view bytes);
  // In place, from a byte on; may make the file longer. For a file opened InPlace. Raises
  // InvalidProcedureCall when the byte lies beyond the end, where it would leave a gap.
  void Write_At(std::uint64_t offset, std::string_view bytes);
  // Up to length bytes from a byte on; fewer at the end of the file.
  [[nodiscard]] std::string Read_At(std::uint64_t offset, std::size_t length) const;
  [[nodiscard]] std::uint64_t Size() const;
  // Cuts the file to a length; raises InvalidProcedureCall when that is greater than its size.
  void Cut(std::uint64_t length);

  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_;
  std::intptr_t handle_;
  bool in_place_;
};

}  // namespace hq
