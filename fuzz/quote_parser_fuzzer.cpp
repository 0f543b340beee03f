// Any bytes as a server's answer, all the way to the files of every format.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "output/file_name.h"
#include "output/file_writer.h"
#include "output/format_catalogue.h"
#include "output/line_formatter.h"
#include "quotes/quote_ordering.h"
#include "quotes/quote_parser.h"
#include "require.h"
#include "support/fakes.h"

namespace {

using namespace hq;

constexpr const char* Path = "out/file.txt";

size_t Lines_Of(const std::string& text) {
  size_t lines = 0;
  for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at + 2)) ++lines;
  return lines;
}

void Check_Table(const QuoteTable& table, size_t line_feeds) {
  Require(table.QuoteCount >= 0 && static_cast<size_t>(table.QuoteCount) <= line_feeds,
          "there are no more rows than lines");
  if (table.QuoteCount == 0) return;
  Require(table.QuoteKeys.size() == static_cast<size_t>(table.QuoteCount) + 2 &&
              table.QuoteValues.size() == table.QuoteKeys.size(),
          "the table has two places more than rows");
}

void Check_File_Name(const std::string& name, bool rows) {
  Require(name.empty() == !rows, "there is a name when there are rows");
  Require(name.find_first_of("/\\:") == std::string::npos, "a file name holds no separator");
  Require(name.find('\0') == std::string::npos, "a file name holds no NUL");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  modFailSafe trap;
  test::FakeLoop loop;
  test::FakeMessageBoxes boxes;
  test::MemoryFiles files;
  FormatCatalogue catalogue;
  RunSettings settings;
  Load_Format(trap, catalogue, settings);
  settings.CurrentSymbol = "../index:a\\b";
  settings.IntervalCode = 5;
  settings.DayCount = static_cast<std::int16_t>(size % 16);

  TransferState transfer;
  transfer.ResponseText.assign(reinterpret_cast<const char*>(data), size);
  const auto line_feeds =
      static_cast<size_t>(std::count(transfer.ResponseText.begin(), transfer.ResponseText.end(), '\n'));
  QuoteTable table;
  Process_Interday(trap, transfer, table);
  Check_Table(table, line_feeds);

  if (Need_Sort(trap, table)) {
    QuickSort(trap, boxes, table.QuoteKeys, 0, table.QuoteCount - 1);
    Require(std::is_sorted(table.QuoteKeys.begin(), table.QuoteKeys.begin() + table.QuoteCount),
            "the sort sorts");
  }
  Set_StartIndex(trap, settings, table);
  Require(table.FirstRow >= 0 && table.FirstRow <= table.QuoteCount, "the first row is a row or the end");
  Check_File_Name(Create_FileName(trap, boxes, settings, table), table.QuoteCount > 0);

  for (std::int16_t format = 0; format < FormatItemCount; ++format) {
    settings.CurrentFormat = format;
    files.Contents.clear();
    Write_File(trap, loop, boxes, files, catalogue, settings, table, Path);
    const std::string& written = files.Contents[Path];
    const size_t header = Slot(catalogue.HeaderLine, format).empty() ? 0 : 1;
    Require(Lines_Of(written) == header + static_cast<size_t>(table.QuoteCount - table.FirstRow),
            "a file has a line for every row");
  }
  for (int row = -1; row <= table.QuoteCount; row += std::max<int>(1, table.QuoteCount)) {
    const std::string line =
        FormatOneLine(trap, table, static_cast<std::int16_t>(row), "YYYY/MM/DD", "HH:MM");
    Require(line.find_first_of("\r\n") == std::string::npos, "a line is one line");
  }
  Require(boxes.Shown.empty(), "nothing is told to the user");
  Require(trap.Depth() == 0, "every procedure has left the call stack");
  return 0;
}
