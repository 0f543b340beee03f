#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "errortrap/circular_records.h"
#include "platform/log_file.h"

namespace hq {

// What is told of a circular log that can't be opened, followed by the name of its file.
inline constexpr const char* CouldNotOpenCircularLog = "Could not open circular log file ";

// A log of a fixed number of records of a fixed length in one file, which wraps onto its oldest record. The
// record after the newest one holds the text "CIRCULAR": it marks the file as a circular log and the place of
// the next record. A file whose name ends in ".rtf" is rich text. One process at a time keeps it open.
class CircularLog {
 public:
  // Opens the file or makes it, and goes on at its mark. A circular log with another record length or more
  // records, one in the other form, and what a power cut has left of one are set aside
  // (platform/set_aside.h). Raises a RunTimeError when the file can't be opened or is no circular log, and
  // FileInUse when another process keeps it; then it is as it was. record_size: bytes of a record with its
  // line end, 64 to 65536. max_records: at least 2, mark included, and 3 in rich text, header included; the
  // file never has more than max_records * record_size bytes.
  CircularLog(const std::string& path, std::size_t record_size, std::size_t max_records);
  CircularLog(const CircularLog&) = delete;
  CircularLog& operator=(const CircularLog&) = delete;
  ~CircularLog();

  // A longer text is cut; line ends in it become blanks. After an error the log is in order and the record
  // may be written again.
  void Write(std::string_view text);

  [[nodiscard]] const std::string& Path() const;
  // What the spoiled log is called now in whose place this one was begun; empty when there was none.
  [[nodiscard]] const std::string& Spoiled_Kept_As() const;

 private:
  class Store;

  std::unique_ptr<Store> store_;
  CircularRecords records_;
};

}  // namespace hq
