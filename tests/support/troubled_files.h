#pragma once

#include <memory>
#include <string>

#include "base/run_time_error.h"
#include "platform/files.h"

namespace hq::test {

// The files of the disk, where a test can let the reads of one file and all writes fail.
class TroubledFiles final : public Files {
 public:
  std::unique_ptr<OutputFile> Open_For_Output(const std::string& path) override {
    if (WriteError != 0) throw RunTimeError(WriteError, path);
    return disk_.Open_For_Output(path);
  }
  std::unique_ptr<OutputFile> Open_For_Private_Output(const std::string& path) override {
    if (WriteError != 0) throw RunTimeError(WriteError, path);
    return disk_.Open_For_Private_Output(path);
  }
  std::string Read(const std::string& path) override {
    if (!Troubled.empty() && path.ends_with(Troubled) && ++Reads > GoodReads)
      throw RunTimeError(DeviceIOError, path + ": Input/output error");
    return disk_.Read(path);
  }
  void Copy(const std::string& from, const std::string& to) override { disk_.Copy(from, to); }
  void Rename(const std::string& from, const std::string& to) override { disk_.Rename(from, to); }
  void Delete(const std::string& path) override { disk_.Delete(path); }
  bool Exists(const std::string& path) override { return disk_.Exists(path); }

  std::string Troubled;  // the end of the path of a file that can't be read; empty for none
  int GoodReads = 0;     // so many of its reads go well before
  int Reads = 0;         // of that file so far
  int WriteError = 0;    // raised when a file is opened for writing unless 0

 private:
  SystemFiles disk_;
};

}  // namespace hq::test
