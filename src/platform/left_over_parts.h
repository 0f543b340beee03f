#pragma once

#include <mutex>
#include <set>
#include <string>

namespace hq {

// Files that are being written have a name of their own until they are whole, ".history-quotes-*.part". A
// process that was killed leaves them behind.

// A name that no other such file of this or another living process has.
[[nodiscard]] std::string Part_Name();

// Deletes those of a folder that nobody writes to any more. One is left alone when it is in use, or when the
// system does not say whether it is. Never fails.
void Remove_Left_Over_Parts(const std::string& folder) noexcept;

// The folders in which that was done already. A folder is listed once, however many files a run writes into
// it: a user's output folder holds the files of years. May be used from several threads at once.
class SweptFolders {
 public:
  void Sweep(const std::string& folder) noexcept;

 private:
  std::mutex mutex_;
  std::set<std::string> folders_;
};

}  // namespace hq
