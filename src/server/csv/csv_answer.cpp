#include "server/csv/csv_answer.h"

#include <string>
#include <utility>

#include "market/session_bars.h"

namespace hq::server {
Answer Answer_From_Table(const CsvTable& table, std::string_view file_name, const QuoteRequest& request) {
  if (table.Bars.empty()) {
    std::string reason = std::string{file_name} + " holds no quotes that can be read";
    if (!table.Bad_Lines.empty()) {
      const BadLine& bad = table.Bad_Lines.front();
      reason += ": line " + std::to_string(bad.Line) + " was passed over because " + bad.Reason;
    }
    return Failure{FailureKind::Unreadable, reason + "."};
  }
  if (auto refusal = Find_Misfit(table.Bars, table.Bar_Length, file_name, request.Interval)) {
    return Failure{FailureKind::Unsuitable, std::move(*refusal)};
  }
  const auto [chosen, earlier] = Last_Sessions(table.Bars, request);
  BarTable answer;
  answer.Bars = Fold_Bars(chosen, request.Interval);
  if (!answer.Bars.empty()) Begin_At_Open(answer.Bars, earlier);
  return answer;
}

}  // namespace hq::server
