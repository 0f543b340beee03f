#include "errortrap/circular_log.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "base/run_time_error.h"
#include "errortrap/rich_text.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/set_aside.h"

namespace hq {

class CircularLog::Store final : public ByteStore {
 public:
  // Sets a log of another layout or a spoiled one aside.
  Store(const std::string& path, const CircularLayout& layout) : file_(Opened(path)) {
    const CircularFile kind = Recognise(*this, layout);
    if (kind == CircularFile::Foreign) {
      throw RunTimeError(PathFileAccessError, path + ": no circular log");
    }
    if (kind == CircularFile::Other || kind == CircularFile::Spoiled) {
      std::string kept_as = Begin_Anew(path);
      if (kind == CircularFile::Spoiled) spoiled_kept_as_ = std::move(kept_as);
    }
    file_->Make_Private();
  }

  [[nodiscard]] std::uint64_t Size() const override { return file_->Size(); }
  [[nodiscard]] std::string Read_At(std::uint64_t offset, std::size_t length) const override {
    return file_->Read_At(offset, length);
  }
  void Write_At(std::uint64_t offset, std::string_view bytes) override { file_->Write_At(offset, bytes); }
  void Cut(std::uint64_t length) override { file_->Cut(length); }

  [[nodiscard]] const std::string& Path() const { return file_->Path(); }
  [[nodiscard]] const std::string& Spoiled_Kept_As() const { return spoiled_kept_as_; }

 private:
  // Returns what the earlier log is called now.
  std::string Begin_Anew(const std::string& path) {
    SystemFiles files;
    // Its lock keeps other programs from doing the same until the new log has one.
    const std::unique_ptr<LogFile> earlier = std::move(file_);
    // Of a link the file is moved, so that the new log comes where the link leads.
    const std::filesystem::path place = System_Path(path);
    std::error_code no_link;
    const bool is_link = std::filesystem::is_symlink(place, no_link);
    std::string name = Set_Aside(files, is_link ? Place_Of(place).string() : path);
    file_ = Opened(path);
    return name;
  }
  static std::unique_ptr<LogFile> Opened(const std::string& path) {
    // Some file systems never tell the same file by the same number.
    constexpr int MostTries = 100;
    for (int tries = 1;; ++tries) {
      auto file = std::make_unique<LogFile>(path, LogFile::Begin::InPlace);
      file->Lock();
      // Another start may have set the file aside before it could be locked.
      if (file->Is_At_Its_Path() || tries == MostTries) return file;
    }
  }

  std::unique_ptr<LogFile> file_;
  std::string spoiled_kept_as_;
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

const std::string& CircularLog::Spoiled_Kept_As() const {
  return store_->Spoiled_Kept_As();
}

}  // namespace hq
