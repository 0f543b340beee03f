#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>

#include "errortrap/message_box.h"

namespace hq::benchmarks {

// Ends the benchmark: a run that asks something does other work than the one to be measured.
class FailingBoxes final : public MessageBoxes {
 public:
  MessageAnswer Show(const std::string& text, const std::string&, MessageButtons, MessageIcon) override {
    std::fprintf(stderr, "Unexpected message: %s\n", text.c_str());
    std::abort();
  }
};

// A folder that is gone with the object.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& parent)
      : path_(parent / std::string("history-quotes-benchmark-").append(std::to_string(getpid()))) {
    std::filesystem::create_directories(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] std::string Path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

}  // namespace hq::benchmarks
