#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace hq::test {

// A file's bytes, read without any code of the program; "<none>" when it can't be opened.
inline std::string Bytes_Of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return "<none>";
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void Put_Bytes(const std::string& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("can't write " + path);
}

// A new empty folder, deleted with all it holds when the object goes.
class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("history-quotes-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] std::string Path() const { return path_.string(); }
  // The path of a file or a folder in it.
  [[nodiscard]] std::string operator/(std::string_view name) const { return (path_ / name).string(); }

  // The names of all it holds, hidden ones included, in alphabetical order.
  [[nodiscard]] std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  void Write(std::string_view name, std::string_view bytes) const { Put_Bytes(*this / name, bytes); }

  // The names and the bytes of all files in it.
  [[nodiscard]] std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (const std::string& name : Names()) {
      if (std::filesystem::is_regular_file(path_ / name)) files[name] = Bytes_Of(*this / name);
    }
    return files;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace hq::test
