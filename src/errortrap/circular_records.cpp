#include "errortrap/circular_records.h"

#include <algorithm>

#include "base/run_time_error.h"
#include "base/strings.h"
#include "errortrap/rich_text.h"

namespace hq {

namespace {

constexpr std::string_view LineEnd = "\r\n";
constexpr std::string_view Mark = "CIRCULAR\r\n";
constexpr std::size_t LeastRecordSize = 64;
constexpr std::size_t MostRecordSize = 65536;

bool Is_Mark(std::string_view record) {
  return record.starts_with(Mark);
}

// The bytes that the text of a record may take.
std::size_t Room_For_Text(const CircularLayout& layout) {
  // The place of the closing "}" is kept free in every record.
  const std::size_t behind = layout.RichText ? RichTextParagraphEnd.size() + 1 : 0;
  return layout.RecordSize - LineEnd.size() - behind;
}

// Fills up the record whose text begins at start.
void End_Record(std::string& bytes, std::size_t start, const CircularLayout& layout, bool is_last) {
  const bool closes = layout.RichText && is_last;
  bytes.resize(start + Room_For_Text(layout) + (layout.RichText && !closes ? 1 : 0), ' ');
  if (layout.RichText) bytes += RichTextParagraphEnd;
  if (closes) bytes += '}';
  bytes += LineEnd;
}

void Append_Mark(std::string& bytes, const CircularLayout& layout, bool is_last) {
  const std::size_t start = bytes.size();
  bytes += Mark;
  End_Record(bytes, start, layout, is_last);
}

void Append_Text(std::string& bytes, const CircularLayout& layout, std::string_view text, bool is_last) {
  const std::size_t start = bytes.size();
  const std::size_t room = Room_For_Text(layout);
  if (layout.RichText) {
    Append_Rich_Text(bytes, text.substr(0, room), room);
  } else {
    bytes += Cut_Text(text, room);
    std::replace_if(
        bytes.begin() + static_cast<std::ptrdiff_t>(start), bytes.end(),
        [](char c) { return c == '\r' || c == '\n'; }, ' ');
  }
  End_Record(bytes, start, layout, is_last);
}

// The bytes that a log begins with: its header, if it has one, and its mark.
std::string Beginning(const CircularLayout& layout) {
  std::string bytes;
  if (layout.RichText) {
    bytes = RichTextHeader;
    bytes.resize(layout.RecordSize - LineEnd.size(), ' ');
    bytes += LineEnd;
  }
  Append_Mark(bytes, layout, true);
  return bytes;
}

// Whether a record ends where it should and has no line end elsewhere, but for that of a mark. Of a mark that
// was written over half-way, or only begun, the line end may be there alone.
bool Is_Whole(std::string_view record) {
  if (!record.ends_with(LineEnd)) return false;
  const std::string_view text = record.substr(0, record.size() - LineEnd.size());
  return text.substr(0, Mark.size() - LineEnd.size()).find_first_of(LineEnd) == std::string_view::npos &&
         text.find_first_of(LineEnd, Mark.size()) == std::string_view::npos;
}

// Whether the store holds whole records of this size, and one of them is a mark.
bool Holds_Records(const ByteStore& store, std::size_t record_size) {
  constexpr std::size_t Piece = 1024 * 1024;
  const std::size_t step = std::max<std::size_t>(Piece / record_size, 1) * record_size;
  bool marked = false;
  for (std::uint64_t at = 0;; at += step) {
    const std::string bytes = store.Read_At(at, step);
    std::string_view rest = bytes;
    for (; rest.size() >= record_size; rest.remove_prefix(record_size)) {
      const std::string_view record = rest.substr(0, record_size);
      if (!Is_Whole(record)) return false;
      marked = marked || Is_Mark(record);
    }
    if (bytes.size() < step) return marked;
  }
}

// Whether a text begins as a record of the trace does: "[name] [00001] [00000.0280] ".
bool Begins_As_Trace(std::string_view text) {
  constexpr std::string_view Between = "] [";
  constexpr std::size_t LeastDigits = 5;
  const std::size_t name_end = text.find(Between);
  if (!text.starts_with('[') || name_end == std::string_view::npos) return false;
  text.remove_prefix(name_end + Between.size());
  const std::size_t digits = text.find_first_not_of("0123456789");
  return digits != std::string_view::npos && digits >= LeastDigits &&
         text.substr(digits).starts_with(Between);
}

// Whether a line without its end can be nothing but a record of a circular log that begins at this place: the
// place is a multiple of its length, and it was filled up with blanks.
bool Is_Record_Of_A_Log(std::uint64_t place, std::string_view line) {
  const std::size_t length = line.size() + LineEnd.size();
  if (length < LeastRecordSize || length > MostRecordSize || place % length != 0) return false;
  if (line.ends_with('}')) line.remove_suffix(1);
  if (line.ends_with(RichTextParagraphEnd)) line.remove_suffix(RichTextParagraphEnd.size());
  if (!line.ends_with("  ")) return false;
  if (line.starts_with(Mark)) return line.find_first_not_of(' ', Mark.size()) == std::string_view::npos;
  return Begins_As_Trace(line) || (place == 0 && line.starts_with(RichTextHeader));
}

// Whether bytes are a mark of which the end did not get to the disk.
bool Is_Begun_Mark(std::string_view bytes) {
  return bytes.size() >= LeastRecordSize && Is_Mark(bytes) &&
         bytes.find_first_not_of(std::string_view(" \0", 2), Mark.size()) == std::string_view::npos;
}

// Whether the store was a circular log, of whatever layout, and is one no more: a record is left of it, or
// there are only the NULs that a system puts in place of what did not get to the disk.
bool Was_A_Log(const ByteStore& store) {
  constexpr std::size_t Piece = 1024 * 1024;
  bool only_nuls = true;
  for (std::uint64_t at = 0;;) {
    const std::string bytes = store.Read_At(at, Piece);
    std::size_t line = 0;
    for (;;) {
      line = bytes.find_first_not_of('\0', line);
      if (line == std::string::npos) break;
      only_nuls = false;
      const std::string_view rest = std::string_view(bytes).substr(line);
      if (at + line == 0 && Is_Begun_Mark(rest.substr(0, MostRecordSize))) return true;
      const std::size_t length = rest.find(LineEnd, rest.starts_with(Mark) ? Mark.size() : 0);
      if (length == std::string_view::npos) {
        // Less than the first record of a log.
        if (at + line == 0 && bytes.size() < MostRecordSize && Begins_As_Trace(rest)) return true;
        break;
      }
      if (Is_Record_Of_A_Log(at + line, rest.substr(0, length))) return true;
      line += length + LineEnd.size();
    }
    if (bytes.size() < Piece) return only_nuls && store.Size() != 0;
    // What has no end in the piece is read again, unless it is longer than any record.
    at += std::max(std::min(line, Piece), Piece - MostRecordSize);
  }
}

// Whether the store holds records of whatever size.
bool Holds_Any_Records(const ByteStore& store) {
  const std::string start = store.Read_At(0, MostRecordSize);
  // The line end that ends the first record is the first or, where the record is a mark, the second.
  std::size_t from = 0;
  for (int line = 0; line < 2; ++line) {
    const std::size_t found = start.find(LineEnd, from);
    if (found == std::string::npos) return false;
    from = found + LineEnd.size();
    if (from >= LeastRecordSize && Holds_Records(store, from)) return true;
  }
  return false;
}

}  // namespace

void Check(const CircularLayout& layout) {
  const std::size_t least_records = layout.RichText ? 3 : 2;
  if (layout.RecordSize < LeastRecordSize || layout.RecordSize > MostRecordSize) {
    throw RunTimeError(InvalidProcedureCall, "records of a circular log have 64 to 65536 bytes");
  }
  if (layout.MaxRecords < least_records) {
    throw RunTimeError(InvalidProcedureCall,
                       "a circular log has at least " + std::to_string(least_records) + " records");
  }
}

CircularFile Recognise(const ByteStore& store, const CircularLayout& layout) {
  const std::uint64_t size = store.Size();
  const std::string beginning = Beginning(layout);
  if (size < beginning.size() && beginning.starts_with(store.Read_At(0, beginning.size()))) {
    return CircularFile::Empty;
  }
  if (Holds_Records(store, layout.RecordSize)) {
    const bool is_rich = store.Read_At(0, RichTextBegin.size()) == RichTextBegin;
    const bool fits = size / layout.RecordSize <= layout.MaxRecords && is_rich == layout.RichText;
    return fits ? CircularFile::Continuable : CircularFile::Other;
  }
  if (Holds_Any_Records(store)) return CircularFile::Other;
  return Was_A_Log(store) ? CircularFile::Spoiled : CircularFile::Foreign;
}

CircularRecords::CircularRecords(ByteStore& store, const CircularLayout& layout)
    : store_(store), layout_(layout) {
  Check(layout);
  switch (Recognise(store, layout)) {
    case CircularFile::Empty:
      store_.Cut(0);
      store_.Write_At(0, Beginning(layout));
      break;
    case CircularFile::Continuable:
      break;
    case CircularFile::Other:
    case CircularFile::Spoiled:
    case CircularFile::Foreign:
      throw RunTimeError(PathFileAccessError, "not a circular log of these records");
  }
  count_ = store_.Size() / layout_.RecordSize;
  if (store_.Size() % layout_.RecordSize != 0) store_.Cut(count_ * layout_.RecordSize);
  mark_ = Place_Of_Mark();
}

void CircularRecords::Write(std::string_view text) {
  std::uint64_t next = mark_ + 1;
  if (next == layout_.MaxRecords) next = First();
  const bool grows = next == count_;
  record_.clear();
  Append_Mark(record_, layout_, grows || next == count_ - 1);
  store_.Write_At(next * layout_.RecordSize, record_);
  if (grows) ++count_;
  record_.clear();
  Append_Text(record_, layout_, text, mark_ == count_ - 1);
  store_.Write_At(mark_ * layout_.RecordSize, record_);
  mark_ = next;
}

std::uint64_t CircularRecords::Place_Of_Mark() const {
  const auto is_mark = [this](std::uint64_t place) {
    return Is_Mark(store_.Read_At(place * layout_.RecordSize, Mark.size()));
  };
  const std::uint64_t last = count_ - 1;
  std::uint64_t place = First();
  while (place < last && !is_mark(place)) ++place;
  if (place != First() || !is_mark(last)) return place;
  // The first of adjacent marks may lie before the end of the file, and the others at its beginning.
  for (place = last; place > First() && is_mark(place - 1);) --place;
  return place;
}

}  // namespace hq
