#pragma once

#include <csignal>
#include <sys/resource.h>

namespace hq::test {

// Lets no file of the process grow beyond a size, as a full disk would.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : signal_before_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limited = before_;
    limited.rlim_cur = bytes;
    set_ = setrlimit(RLIMIT_FSIZE, &limited) == 0;
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, signal_before_);
  }
  [[nodiscard]] bool Is_Set() const { return set_; }

 private:
  rlimit before_{};
  void (*signal_before_)(int);
  bool set_ = false;
};

}  // namespace hq::test
