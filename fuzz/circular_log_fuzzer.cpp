// Any bytes as the file of a circular log: the first byte picks the layout, the rest is the file.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/run_time_error.h"
#include "errortrap/circular_log_support.h"
#include "errortrap/circular_records.h"
#include "errortrap/rich_text.h"
#include "require.h"

namespace {

using namespace hq;

// Whether the log goes on in the store.
bool Write(test::MemoryStore& store, const CircularLayout& layout, int first, int last) {
  try {
    CircularRecords records(store, layout);
    for (int i = first; i <= last; ++i) records.Write("record " + std::to_string(i));
    return true;
  } catch (const RunTimeError& error) {
    Require(error.Number() == PathFileAccessError, "a file that is no such log is refused");
    return false;
  }
}

void Check_Order(const test::MemoryStore& store, const CircularLayout& layout, int last) {
  std::vector<std::string> records = test::Records_In_Order(store.Bytes, layout.RecordSize);
  const auto least = std::min(static_cast<std::size_t>(last), layout.MaxRecords - 1);
  Require(records.size() >= least, "the newest records survive");
  for (std::size_t i = 0; i < least; ++i) {
    Require(records[records.size() - 1 - i] == "record " + std::to_string(last - static_cast<int>(i)),
            "the records are in their order");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const CircularLayout layout{64U + data[0] / 32 * 8U, 3U + data[0] % 8U, (data[0] & 16U) != 0};
  test::MemoryStore store;
  store.Bytes.assign(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string before = store.Bytes;
  const CircularFile kind = Recognise(store, layout);
  Require(store.Bytes == before, "nothing is written to tell what a file is");

  int last = 0;
  for (int run = 0; run < 4; ++run) {
    const bool open = Write(store, layout, last + 1, last + 3);
    Require(open == (kind == CircularFile::Empty || kind == CircularFile::Continuable),
            "a log opens again as it opened first");
    if (!open) {
      Require(store.Bytes == before, "a file that is no such log stays as it is");
      return 0;
    }
    last += 3;
    Require(store.Bytes.size() <= layout.MaxRecords * layout.RecordSize, "the log never grows too large");
    Require(store.Bytes.size() % layout.RecordSize == 0, "the log holds whole records");
    if (!layout.RichText) Check_Order(store, layout, last);
  }
  if (layout.RichText) {
    Require(store.Bytes.starts_with(RichTextBegin), "the header stays");
    Require(store.Bytes.ends_with("\\par}\r\n"), "the document is closed");
    Require(store.Bytes.find("\r\nrecord " + std::to_string(last) + " ") != std::string::npos,
            "the newest record survives");
  }
  return 0;
}
