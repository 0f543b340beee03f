#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace hq {

// Bytes that are read and written in place, as those of a file are. Failures are raised as RunTimeError.
class ByteStore {
 public:
  ByteStore() = default;
  ByteStore(const ByteStore&) = delete;
  ByteStore& operator=(const ByteStore&) = delete;
  virtual ~ByteStore() = default;

  [[nodiscard]] virtual std::uint64_t Size() const = 0;
  // Up to length bytes from a byte on; fewer at the end.
  [[nodiscard]] virtual std::string Read_At(std::uint64_t offset, std::size_t length) const = 0;
  // offset is at most the size.
  virtual void Write_At(std::uint64_t offset, std::string_view bytes) = 0;
  virtual void Cut(std::uint64_t length) = 0;
};

// How the records of a circular log lie in its file.
struct CircularLayout {
  std::size_t RecordSize = 512;  // bytes with the line end, 64 to 65536
  std::size_t MaxRecords = 100;  // mark included, at least 2; at least 3 for rich text
  bool RichText = false;
};

// Raises InvalidProcedureCall for a layout out of its ranges.
void Check(const CircularLayout& layout);

// What a file is to a circular log.
enum class CircularFile {
  Empty,        // nothing, or no more than a log that was killed as it began
  Continuable,  // a circular log of this layout
  Other,        // a circular log of another layout
  Spoiled,      // what a power cut leaves of one: NULs, or records of which none is the mark or some are lost
  Foreign,      // no circular log
};

// What the store is to a log of a layout within its ranges.
[[nodiscard]] CircularFile Recognise(const ByteStore& store, const CircularLayout& layout);

// The records of a circular log, each of exactly RecordSize bytes: text, blanks, CR LF. The record behind the
// newest one is the mark. A new record takes the mark's place when the mark has been written into the place
// behind it, so whenever the process dies a mark is there, and no more than the record then written is
// spoiled.
//
// In rich text the first record is the header of the file, each further one ends in "\par" before its CR LF,
// and the last of the file in "\par}".
class CircularRecords {
 public:
  // Goes on at the mark of a continuable store, begins an empty one, and cuts off a record that was only
  // begun. The store must outlive the object. Raises InvalidProcedureCall for a layout out of its ranges and
  // PathFileAccessError for a store of another kind.
  CircularRecords(ByteStore& store, const CircularLayout& layout);

  // A longer text is cut; line ends in it become blanks.
  void Write(std::string_view text);

 private:
  [[nodiscard]] std::uint64_t First() const { return layout_.RichText ? 1 : 0; }
  [[nodiscard]] std::uint64_t Place_Of_Mark() const;

  ByteStore& store_;
  CircularLayout layout_;
  std::uint64_t count_ = 0;  // records in the store
  std::uint64_t mark_ = 0;   // the place of the next record
  std::string record_;
};

}  // namespace hq
