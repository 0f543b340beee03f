#include "output/file_writer.h"

#include <memory>

#include "base/strings.h"
#include "errortrap/procedure.h"
#include "output/line_formatter.h"

namespace hq {

namespace {

constexpr const char* LineEnd = "\r\n";
constexpr const char* StockPrefix = "STOCK,D";
constexpr const char* PeriodLetter = ",D,";

}  // namespace

WriteResult Write_File(modFailSafe& trap, MessageLoop& loop, MessageBoxes& boxes, Files& files,
                       const FormatCatalogue& catalogue, const RunSettings& settings, const QuoteTable& table,
                       const std::string& path) {
  return Skip_Failing_Statements(trap, {"disk.bas", "Sub Write_File"}, [&](SkippingStatements& statement) {
    std::unique_ptr<OutputFile> file;
    bool written = false;
    const auto write_line = [&](const std::string& line) {
      file->Write(line);
      file->Write(LineEnd);
    };
    const int f = settings.CurrentFormat;
    statement([&] { file = files.Open_For_Output(path); });
    // A file that can't be opened takes no lines: nothing below could have an effect.
    if (file) {
      statement([&] {
        if (!Slot(catalogue.HeaderLine, f).empty()) write_line(Slot(catalogue.HeaderLine, f));
      });
      std::string line;
      std::optional<RunTimeError> piece_left_out;
      for (int i = table.FirstRow; i <= table.QuoteCount - 1; ++i) {
        statement([&] {
          line.clear();  // also when a layout can't be had
          const auto error =
              FormatOneLine(trap, table, static_cast<std::int16_t>(i), Slot(catalogue.DateLayout, f),
                            Slot(catalogue.TimeLayout, f), line);
          if (error && !piece_left_out) {
            piece_left_out = RunTimeError(error->Number(), "line " + std::to_string(i - table.FirstRow + 1) +
                                                               " of the rows lacks what could not be read");
          }
        });
        statement([&] {
          const std::string& prefix = Slot(catalogue.SymbolPrefix, f);
          if (prefix == StockPrefix) {
            line.insert(0, Upper_Case(settings.CurrentSymbol) + PeriodLetter);
          } else if (!prefix.empty()) {
            boxes.Show("invalid preload format!");
          }
        });
        statement([&] {
          const std::string& open_interest = Slot(catalogue.OpenInterestText, f);
          if (!open_interest.empty()) line.append(",").append(open_interest);
        });
        statement([&] { write_line(line); });
      }
      written = statement([&] { file->Close(); });
      statement([&] {
        if (piece_left_out) throw RunTimeError(*piece_left_out);
      });
    }
    statement([&] { loop.DoEvents(); });
    return WriteResult{written, statement.FirstError()};
  });
}

}  // namespace hq
