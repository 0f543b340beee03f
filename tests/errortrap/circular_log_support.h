#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/run_time_error.h"
#include "errortrap/circular_records.h"

namespace hq::test {

// A store in memory that keeps the writes made to it, and refuses them while Full is set.
class MemoryStore final : public ByteStore {
 public:
  [[nodiscard]] std::uint64_t Size() const override { return Bytes.size(); }
  [[nodiscard]] std::string Read_At(std::uint64_t offset, std::size_t length) const override {
    return offset < Bytes.size() ? Bytes.substr(static_cast<std::size_t>(offset), length) : std::string();
  }
  void Write_At(std::uint64_t offset, std::string_view bytes) override {
    if (offset > Bytes.size()) throw RunTimeError(InvalidProcedureCall, "a gap");
    if (Full) throw RunTimeError(DiskFull);
    Writes.emplace_back(static_cast<std::size_t>(offset), bytes);
    Put(Bytes, Writes.back().first, bytes);
  }
  void Cut(std::uint64_t length) override {
    if (length > Bytes.size()) throw RunTimeError(InvalidProcedureCall, "cut to more");
    Bytes.resize(static_cast<std::size_t>(length));
  }

  static void Put(std::string& bytes, std::size_t offset, std::string_view piece) {
    bytes.resize(std::max(bytes.size(), offset + piece.size()));
    bytes.replace(offset, piece.size(), piece);
  }

  std::string Bytes;
  std::vector<std::pair<std::size_t, std::string>> Writes;
  bool Full = false;
};

// The texts of a plain circular log's records from the oldest to the newest, without their blanks. Told by
// the file's bytes alone, so a record that was spoiled comes as it is.
inline std::vector<std::string> Records_In_Order(std::string_view bytes, std::size_t record_size) {
  std::vector<std::string> records;
  std::vector<bool> marks;
  for (; bytes.size() >= record_size; bytes.remove_prefix(record_size)) {
    std::string_view text = bytes.substr(0, record_size - 2);
    marks.push_back(text.starts_with("CIRCULAR\r\n"));
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    records.emplace_back(text);
  }
  // The first of adjacent marks, across the end too.
  std::size_t mark = 0;
  while (mark < records.size() && !marks[mark]) ++mark;
  if (mark == records.size()) return {};
  if (mark == 0) {
    while (marks[(mark + records.size() - 1) % records.size()] && mark != 1) {
      mark = (mark + records.size() - 1) % records.size();
    }
  }
  std::vector<std::string> ordered;
  for (std::size_t i = 1; i < records.size(); ++i) {
    const std::size_t place = (mark + i) % records.size();
    if (!marks[place]) ordered.push_back(records[place]);
  }
  return ordered;
}

}  // namespace hq::test
