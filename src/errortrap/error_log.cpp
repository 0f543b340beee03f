#include "errortrap/error_log.h"

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

#include "base/run_time_error.h"
#include "errortrap/entry_text.h"
#include "errortrap/error_record_labels.h"
#include "errortrap/rich_text.h"
#include "platform/log_file.h"

namespace hq {

namespace {

using error_record::Indent;
using error_record::LineEnd;

constexpr std::string_view RichLineEnd = "\\par\r\n";

// Appends a text with its lines ended by CR LF, each further one indented; the last line is not ended.
void Append_Indented(std::string& out, std::string_view text) {
  while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) text.remove_suffix(1);
  for (;;) {
    const std::size_t end = text.find_first_of(LineEnd);
    out += text.substr(0, end);
    if (end == std::string_view::npos) return;
    out.append(LineEnd).append(Indent);
    text.remove_prefix(end + (text.substr(end).starts_with(LineEnd) ? 2 : 1));
  }
}

void Append_Line(std::string& out, std::string_view label, std::string_view text) {
  out += label;
  Append_Indented(out, text);
  out += LineEnd;
}

// The text as rich text, its line ends as paragraph ends.
std::string Rich(std::string_view text) {
  std::string rich;
  for (;;) {
    const std::size_t end = text.find(LineEnd);
    Append_Rich_Text(rich, text.substr(0, end));
    if (end == std::string_view::npos) return rich;
    rich += RichLineEnd;
    text.remove_prefix(end + LineEnd.size());
  }
}

// An error log as a file that text is added to.
class LogEnd {
 public:
  explicit LogEnd(const std::string& path)
      : rich_(Has_Rich_Text_Name(path)),
        file_(path, rich_ ? LogFile::Begin::InPlace : LogFile::Begin::AtTheEnd) {
    if (rich_ && file_.Size() != 0 && file_.Read_At(0, RichTextBegin.size()) != RichTextBegin) {
      throw RunTimeError(PathFileAccessError, path + ": no rich text");
    }
    file_.Make_Private();
  }

  [[nodiscard]] std::uint64_t Size() const { return file_.Size(); }

  // Adds to what stands at the end.
  void Append(std::string_view text) {
    if (rich_) {
      Put_Rich(Rich(text));
    } else {
      file_.Append(text);
    }
  }

  // Adds behind an empty line, which sets records apart, or at the beginning.
  void Append_Apart(std::string_view text) {
    std::string apart(Gap_Behind_End());
    Append(apart += text);
  }

 private:
  static constexpr std::size_t TailBytes = 64;

  [[nodiscard]] std::string Tail() const {
    const std::uint64_t size = file_.Size();
    return file_.Read_At(size > TailBytes ? size - TailBytes : 0, TailBytes);
  }

  // Where the "}" that closes the rich text stands in its tail, or the tail's end when it lacks one.
  static std::size_t Closing(const std::string& tail) {
    const std::size_t last = tail.find_last_not_of(std::string_view(" \r\n\0", 4));
    if (last == std::string::npos || tail[last] != '}') return tail.size();
    // Behind an odd number of backslashes it is a character of the text.
    std::size_t text = last;
    while (text > 0 && tail[text - 1] == '\\') --text;
    return (last - text) % 2 == 0 ? last : tail.size();
  }

  [[nodiscard]] std::string_view Gap_Behind_End() const {
    const std::string tail = Tail();
    const std::string_view text = std::string_view(tail).substr(0, rich_ ? Closing(tail) : tail.size());
    // In rich text a line end that is none of a paragraph is a blank.
    const bool is_in_line = rich_ && !text.empty() && !text.ends_with(RichLineEnd);
    return error_record::Gap_Behind(is_in_line ? "?" : text);
  }

  void Put_Rich(std::string rich) {
    rich += '}';
    const std::uint64_t size = file_.Size();
    if (size == 0) return file_.Append(std::string(RichTextHeader) + std::string(LineEnd) + rich);
    const std::string tail = Tail();
    const std::size_t closing = Closing(tail);
    const std::uint64_t offset = size - tail.size() + closing;
    try {
      file_.Write_At(offset, rich);
    } catch (const std::exception&) {
      // The file is as long as it was, but its closing bytes may be overwritten.
      file_.Write_At(offset, std::string_view(tail).substr(closing));
      throw;
    }
    // Blanks and line ends that stood behind the "}" may reach farther than a short text.
    if (file_.Size() > offset + rich.size()) file_.Cut(offset + rich.size());
  }

  bool rich_;
  LogFile file_;
};

}  // namespace

std::string Error_Record_Text(const ErrorRecord& record) {
  using namespace error_record;
  std::string text;
  Append_Line(text, "", record.When);
  Append_Line(text, Category, record.Category);
  Append_Line(text, Source, record.Source);
  Append_Line(text, Module,
              record.Procedure.empty() ? record.Module
                                       : record.Module + std::string(EntrySeparator) + record.Procedure);
  Append_Line(text, LineNumber, NoLineNumbers);
  Append_Line(text, CodePointer, record.CodePointer);
  Append_Line(text, ErrorNumber, std::to_string(record.Number));
  Append_Line(text, Description, record.Description);
  if (!record.CallTree.empty()) {
    Append_Line(text, "", CallTree);
    for (const std::string& entry : record.CallTree) Append_Line(text, Indent, entry);
  }
  if (!record.SystemInformation.empty()) {
    Append_Line(text, "", SystemState);
    Append_Line(text, Indent, record.SystemInformation);
  }
  return text += UserText;
}

ErrorLog::ErrorLog(std::vector<std::string> places, std::function<std::string()> last_place)
    : places_(std::move(places)), last_place_(std::move(last_place)) {}

int ErrorLog::Begin(const ErrorRecord& record) {
  const std::string text = Error_Record_Text(record);
  const auto taken = [&](const std::function<std::string()>& place) {
    try {
      Begin_In(place(), record, text);
      return true;
    } catch (const std::exception&) {
      // The next place may take it.
      return false;
    }
  };
  for (const std::string& place : places_) {
    if (taken([&] { return place; })) return records_;
  }
  if (last_place_ && taken(last_place_)) return records_;
  path_.clear();
  return 0;
}

void ErrorLog::Begin_In(const std::string& place, const ErrorRecord& record, const std::string& text) {
  LogEnd log(place);
  log.Append_Apart(text);
  unfinished_.push_back({++records_, record.Number, place, log.Size()});
  path_ = place;
}

bool ErrorLog::Finish(int record, const std::string& user_text) {
  const auto found = std::find_if(unfinished_.begin(), unfinished_.end(),
                                  [record](const Unfinished& one) { return one.Record == record; });
  if (found == unfinished_.end()) return false;
  const Unfinished unfinished = *found;
  unfinished_.erase(found);
  try {
    LogEnd log(unfinished.Path);
    if (log.Size() == unfinished.Size) {
      std::string text;
      Append_Line(text, user_text.empty() ? std::string_view() : error_record::UserSaid, user_text);
      log.Append(text);
    } else if (!user_text.empty()) {
      std::string text;
      Append_Line(text, "User Said- error " + std::to_string(unfinished.ErrorNumber) + ": ", user_text);
      log.Append_Apart(text);
    }
  } catch (const std::exception&) {
    return user_text.empty();
  }
  return true;
}

}  // namespace hq
