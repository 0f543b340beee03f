#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/log_file.h"

namespace hq {

// A log of a fixed number of records of a fixed length in one file, which wraps onto its oldest record. The
// record after the newest one holds the text "CIRCULAR": it marks the file as a circular log and the place of
// the next record.
class CircularLog {
 public:
  // Opens the file or makes it, and goes on at its mark. A file of this program with another record length or
  // more records is set aside under its name with ".bak". Raises a RunTimeError when the file can't be opened
  // or is no circular log; then it is as it was.
  // record_size: bytes of a record with its line end, at least 64. max_records: at least 2, mark included.
  CircularLog(const std::string& path, std::size_t record_size, std::size_t max_records);

  // A longer text is cut; line ends in it become blanks.
  void Write(std::string_view text);
};

}  // namespace hq
