#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "market/quote_source.h"
#include "server/archive/sqlite_database.h"

namespace hq::server {

// The archive can't be used now; the text says why.
class ArchiveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The database file of the archive: opened, made, looked through and set aside here.
//
// A damaged file is set aside (its name gets ".damaged-1" or the next number), told to the reporter, and
// begun anew. Where no file can be, such as in a folder that can't be written to, the archive lives in the
// memory until its end, and the reporter is told. A file that another program holds on to is waited for, and
// is tried again at each use when that was in vain.
class ArchiveFile {
 public:
  // `report` may be empty. The file can be read and written by its owner alone; without a path it lives in
  // the memory. `busy_time` is how long another program that holds on to it is waited for.
  ArchiveFile(std::filesystem::path file, Reporter report, std::chrono::milliseconds busy_time);
  ArchiveFile(const ArchiveFile&) = delete;
  ArchiveFile& operator=(const ArchiveFile&) = delete;
  ~ArchiveFile() = default;

  [[nodiscard]] bool Is_Kept() const;

  // With what goes with it, in bytes; 0 in the memory.
  [[nodiscard]] std::uintmax_t Size() const;

  // Hands the open database to `work` and gives what that gives, with no other work in between. Work that
  // meets damage is begun anew on a new file. Raises ArchiveError when the file can't be used.
  template <class Work>
  auto With_Database(const Work& work);

  // The same for work that looks for damage itself: nothing is set aside. Raises SqliteError.
  template <class Work>
  auto With_Damaged_Database(const Work& work);

 private:
  void Open();
  void Open_In_Memory(const std::string& reason);
  void Set_Aside(const std::string& reason);
  void Report(std::string line) const;
  [[nodiscard]] std::string Not_Usable_Now(const std::string& reason) const;

  const std::filesystem::path file_;
  const Reporter report_;
  const std::chrono::milliseconds busy_time_;
  mutable std::mutex mutex_;
  std::unique_ptr<SqliteDatabase> database_;
  bool is_kept_ = false;
};

template <class Work>
auto ArchiveFile::With_Database(const Work& work) {
  const std::lock_guard lock{mutex_};
  try {
    // It was busy for too long when it was to be opened.
    if (database_ == nullptr) Open();
    // Another process may have set the file aside; what went there now would be lost.
    if (is_kept_ && database_->Has_Moved()) {
      database_->Abandon();
      Open();
    }
    try {
      return work(*database_);
    } catch (const SqliteError& error) {
      if (!is_kept_ || !error.Is_Damage()) throw;
      const bool has_moved = database_->Has_Moved();
      database_->Abandon();
      database_.reset();
      if (!has_moved) Set_Aside(error.what());
      Open();
      return work(*database_);
    }
  } catch (const SqliteError& error) {
    throw ArchiveError(Not_Usable_Now(error.what()));
  }
}

template <class Work>
auto ArchiveFile::With_Damaged_Database(const Work& work) {
  const std::lock_guard lock{mutex_};
  if (database_ == nullptr) Open();
  return work(*database_);
}

}  // namespace hq::server
