#include "errortrap/circular_log.h"

#include <filesystem>
#include <system_error>

#include "base/run_time_error.h"
#include "errortrap/rich_text.h"

namespace hq {

class CircularLog::Store final : public ByteStore {
 public:
  // Sets a log of another layout aside.
  Store(const std::string& path, const CircularLayout& layout) {
    Open(path);
    const CircularFile kind = Recognise(*this, layout);
    if (kind == CircularFile::Foreign) {
      throw RunTimeError(PathFileAccessError, path + ": no circular log");
    }
    if (kind == CircularFile::Other) Begin_Anew(path);
    file_->Make_Private();
  }

  [[nodiscard]] std::uint64_t Size() const override { return file_->Size(); }
  [[nodiscard]] std::string Read_At(std::uint64_t offset, std::size_t length) const override {
    return file_->Read_At(offset, length);
  }
  void Write_At(std::uint64_t offset, std::string_view bytes) override { file_->Write_At(offset, bytes); }
  void Cut(std::uint64_t length) override { file_->Cut(length); }

  [[nodiscard]] const std::string& Path() const { return file_->Path(); }

 private:
  void Begin_Anew(const std::string& path) {
    // Not every system moves a file that is open.
    file_.reset();
    std::error_code error;
    std::filesystem::rename(path, path + ".bak", error);
    if (error) throw File_Error(error, path);
    Open(path);
  }
  void Open(const std::string& path) {
    file_ = std::make_unique<LogFile>(path, LogFile::Begin::InPlace);
    file_->Lock();
  }

  std::unique_ptr<LogFile> file_;
};

namespace {

CircularLayout Layout_Of(const std::string& path, std::size_t record_size, std::size_t max_records) {
  const CircularLayout layout{record_size, max_records, Has_Rich_Text_Name(path)};
  // Before a file is made or set aside for it.
  Check(layout);
  return layout;
}

}  // namespace

CircularLog::CircularLog(const std::string& path, std::size_t record_size, std::size_t max_records)
    : store_(std::make_unique<Store>(path, Layout_Of(path, record_size, max_records))),
      records_(*store_, Layout_Of(path, record_size, max_records)) {}

CircularLog::~CircularLog() = default;

void CircularLog::Write(std::string_view text) {
  records_.Write(text);
}

const std::string& CircularLog::Path() const {
  return store_->Path();
}

}  // namespace hq
