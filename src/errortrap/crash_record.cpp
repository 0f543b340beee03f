#include "errortrap/crash_record.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "errortrap/entry_text.h"
#include "errortrap/error_record_labels.h"
#include "errortrap/rich_text.h"
#include "platform/files.h"
#include "platform/private_folder.h"

namespace hq {

namespace {

struct CodePosition {
  std::string_view Module;
  std::string_view Procedure;
};

// The module and the procedure that an entry text names, empty where it is not whole. depth: its level,
// from 1.
CodePosition Position_In(std::string_view entry, size_t depth) noexcept {
  // The depth, then the indent, which is one character for each level above.
  const size_t number_end = entry.find(EntrySeparator);
  if (number_end == std::string_view::npos) return {};
  entry.remove_prefix(number_end + EntrySeparator.size());
  if (entry.size() < depth) return {};
  entry.remove_prefix(depth - 1);
  const size_t module_end = entry.find(EntrySeparator);
  if (module_end == std::string_view::npos) return {entry, {}};
  const std::string_view rest = entry.substr(module_end + EntrySeparator.size());
  return {entry.substr(0, module_end), rest.substr(0, rest.find(EntrySeparator))};
}

}  // namespace

// Collects text in a buffer and hands it to the file whenever that is full.
class CrashRecords::Text {
 public:
  Text(Buffer& buffer, const CrashFile& file) noexcept : buffer_(buffer), file_(file) {}

  Text& operator<<(std::string_view text) noexcept {
    while (!text.empty()) {
      const size_t count = std::min(text.size(), buffer_.size() - length_);
      std::copy_n(text.data(), count, buffer_.data() + length_);
      length_ += count;
      text.remove_prefix(count);
      if (length_ == buffer_.size()) Flush();
    }
    return *this;
  }
  Text& operator<<(int number) noexcept {
    std::array<char, 12> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return *this << std::string_view(digits.data(), static_cast<size_t>(end - digits.data()));
  }
  // A text that must not begin lines of its own.
  Text& On_One_Line(std::string_view text) noexcept {
    for (const char c : text) *this << (c == '\r' || c == '\n' ? " " : std::string_view(&c, 1));
    return *this;
  }
  void Flush() noexcept {
    taken_ = file_.Append({buffer_.data(), length_}) && taken_;
    length_ = 0;
  }
  [[nodiscard]] bool Taken() const noexcept { return taken_; }

 private:
  Buffer& buffer_;
  const CrashFile& file_;
  size_t length_ = 0;
  bool taken_ = true;
};

CrashRecords::CrashRecords(const modFailSafe& trap, std::string source, std::vector<std::string> places)
    : trap_(trap), source_(std::move(source)) {
  Set_Places(std::move(places));
}

void CrashRecords::Set_Places(std::vector<std::string> places) {
  // A text behind the closing "}" of a rich text would not be part of it.
  std::erase_if(places, Has_Rich_Text_Name);
  places_ = std::move(places);
}

void CrashRecords::Set_Last_Place(std::string private_folder, const std::string& name) {
  last_place_ = Join_Path(private_folder, name);
  private_folder_ = std::move(private_folder);
}

void CrashRecords::Crashed(const Crash& crash) noexcept {
  const auto takes = [&](const std::string& place) noexcept {
    CrashFile file(place.c_str());
    return Write_Record(crash, file);
  };
  for (const std::string& place : places_) {
    if (takes(place)) return;
  }
  if (!last_place_.empty() && Make_Private_Folder(private_folder_.c_str())) takes(last_place_);
}

bool CrashRecords::Write_Record(const Crash& crash, CrashFile& file) noexcept {
  using namespace error_record;
  const std::string_view gap = Gap_Behind(file.Last_Byte());
  Text text(buffer_, file);
  text << gap << crash.When << LineEnd;
  text << Category << UnknownCategory << LineEnd;
  text << Source << source_ << LineEnd;
  // What damaged memory can still take away from the record is only what stands behind.
  text.Flush();
  if (!text.Taken()) return false;
  const bool is_traps_thread = crash.Thread.empty();
  size_t depth = 0;
  CodePosition position;
  if (is_traps_thread) {
    trap_.Visit_Levels([&](std::string_view entry) noexcept { position = Position_In(entry, ++depth); });
  }
  const auto append_position = [&](std::string_view label) noexcept {
    text << label;
    if (!position.Module.empty()) {
      text << position.Module << EntrySeparator << position.Procedure;
    } else if (is_traps_thread) {
      text << (trap_.Has_Entered() ? NoProcedure : NoProcedureYet);
    }
    text << LineEnd;
  };
  append_position(Module);
  text << LineNumber << NoLineNumbers << LineEnd;
  append_position(CodePointer);
  text << ErrorNumber << crash.Number << LineEnd;
  text << Description;
  text.On_One_Line(crash.Description);
  if (!is_traps_thread) {
    text << " on ";
    text.On_One_Line(crash.Thread);
  }
  text << LineEnd;
  if (depth > 0) {
    text << CallTree << LineEnd;
    trap_.Visit_Levels([&](std::string_view entry) noexcept {
      text << Indent;
      text.On_One_Line(includes_arguments_ ? entry : Without_Argument(entry)) << LineEnd;
    });
  }
  text << UserText << LineEnd;
  text.Flush();
  return text.Taken();
}

}  // namespace hq
