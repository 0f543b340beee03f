#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace hq {

// The files that the program keeps beside itself or is made of: settings, quotes, the trace, the report, the
// programs, their icon, texts and libraries. A log that the user names must be none of them.
class OwnFiles {
 public:
  // Those of the program folder, and those of the folder that the running program lies in.
  explicit OwnFiles(const std::string& program_folder);

  // Whether a path leads to one of them, by whatever name or link, whether or not it is there already.
  [[nodiscard]] bool Hold(const std::string& path) const;

 private:
  std::vector<std::filesystem::path> homes_;
};

// Whether two paths lead to one file, which need not be there yet.
[[nodiscard]] bool Is_Same_File(const std::string& one, const std::string& other);

}  // namespace hq
