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

std::optional<RunTimeError> Write_File(modFailSafe& trap, MessageLoop& loop, MessageBoxes& boxes,
                                       Files& files, const FormatCatalogue& catalogue,
                                       const RunSettings& settings, const QuoteTable& table,
                                       const std::string& path) {
  return Skip_Failing_Statements(trap, {"disk.bas", "Sub Write_File"}, [&](SkippingStatements& statement) {
    std::unique_ptr<OutputFile> file;
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
      for (int i = table.FirstRow; i <= table.QuoteCount - 1; ++i) {
        statement([&] {
          line.clear();  // also when a layout can't be had
          FormatOneLine(trap, table, static_cast<std::int16_t>(i), Slot(catalogue.DateLayout, f),
                        Slot(catalogue.TimeLayout, f), line);
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
      statement([&] { file->Close(); });
    }
    statement([&] { loop.DoEvents(); });
    return statement.FirstError();
  });
}

}  // namespace hq
