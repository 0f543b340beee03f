#include "output/line_formatter.h"

#include "base/dates.h"
#include "base/numbers.h"
#include "errortrap/procedure.h"

namespace hq {

namespace {

constexpr int VolumeColumn = 4;
constexpr int PriceDecimals = 3;

}  // namespace

std::optional<RunTimeError> FormatOneLine(modFailSafe& trap, const QuoteTable& table, std::int16_t row,
                                          std::string_view date_layout, std::string_view time_layout,
                                          std::string& line) {
  return Skip_Failing_Statements(
      trap, {"disk.bas", "Function FormatOneLine"}, [&](SkippingStatements& statement) {
        line.clear();
        QuoteKey key;
        std::int16_t k = -1;  // no row: a key that names none gives a line without numbers, not another row's
        statement([&] { key = table.Key(row); });
        statement([&] { k = Text_To_Integer16(key.RowText()); });
        statement([&] { Append_Date(line, Parse_Date(key.DateText()), date_layout); });
        if (!time_layout.empty()) {
          statement([&] {
            const TimeOfDay time = Parse_Time(key.TimeText());
            line += ',';
            Append_Time(line, time, time_layout);
          });
        }
        for (int column = 0; column <= VolumeColumn; ++column) {
          statement([&] {
            const float value = table.Value(k, column);
            line += ',';
            Append_Fixed(line, value, column == VolumeColumn ? 0 : PriceDecimals);
          });
        }
        return statement.FirstError();
      });
}

std::string FormatOneLine(modFailSafe& trap, const QuoteTable& table, std::int16_t row,
                          std::string_view date_layout, std::string_view time_layout) {
  std::string line;
  FormatOneLine(trap, table, row, date_layout, time_layout, line);
  return line;
}

}  // namespace hq
