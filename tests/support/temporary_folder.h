#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <system_error>

namespace hq::test {

// A new folder that goes with the object, with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("history-quotes-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] std::string Path() const { return path_.string(); }
  [[nodiscard]] std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ / name, std::ios::binary) << text;
  }

  // The names and bytes of all files in it.
  [[nodiscard]] std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return files;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace hq::test
