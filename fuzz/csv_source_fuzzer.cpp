#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <variant>

#include "server/csv/csv_answer.h"
#include "server/csv/csv_reader.h"
#include "server/http/quote_request.h"
#include "server/http/quote_text.h"

namespace {

using namespace hq::server;

void Require(bool holds) {
  if (!holds) std::abort();
}

void Check_Table(const CsvTable& table) {
  Require(table.Bad_Lines.size() <= most_bad_lines && table.Bad_Lines.size() <= table.Bad_Line_Count);
  Require(table.Bar_Length.count() > 0);
  for (std::size_t i = 1; i < table.Bars.size(); ++i) Require(Earlier(table.Bars[i - 1], table.Bars[i]));
}

// An answer is what a client can read: it begins at 09:30, and each line has six commas and no exponents.
void Check_Answer(const Answer& answer) {
  if (const auto* failure = std::get_if<Failure>(&answer)) {
    Require(One_Line(failure->Reason).find(",0930,") == std::string::npos);
    return;
  }
  const BarTable& table = std::get<BarTable>(answer);
  for (std::size_t i = 1; i < table.Bars.size(); ++i) Require(Earlier(table.Bars[i - 1], table.Bars[i]));
  const std::string text = Quote_Text(table);
  if (text.empty()) return;
  Require(text.find(",0930,") == 6 && text.back() == '\n');
  Require(text.find_first_not_of("0123456789.,-\n") == std::string::npos);
  const auto commas = std::count(text.begin(), text.end(), ',');
  const auto lines = std::count(text.begin(), text.end(), '\n');
  Require(commas == 6 * lines && lines == static_cast<std::ptrdiff_t>(table.Bars.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text{reinterpret_cast<const char*>(data), size};
  const CsvTable table = Read_Csv(text);
  Check_Table(table);
  for (const int interval : {1, 5, 10, 20, 30, 60, daily_interval}) {
    QuoteRequest request{"FUZZ", interval, {}, Session_Limit(interval).value()};
    Check_Answer(Answer_From_Table(table, "fuzz.csv", request));
    if (table.Bars.empty()) continue;
    request.Before = table.Bars[table.Bars.size() / 2].Date;
    Check_Answer(Answer_From_Table(table, "fuzz.csv", request));
  }
  return 0;
}
