#include "server/csv_answer.h"

#include <algorithm>
#include <string>
#include <utility>

namespace hq::server {
namespace {

using namespace std::chrono;
using BarSpan = std::span<const Bar>;

std::string Interval_Name(seconds length) {
  if (length == hours{24}) return "daily";
  if (length > hours{24}) return std::to_string(duration_cast<days>(length).count()) + "-day";
  if (length % minutes{1} == seconds{0})
    return std::to_string(duration_cast<minutes>(length).count()) + "-minute";
  return std::to_string(length.count()) + "-second";
}

std::string Clock_Text(seconds time) {
  const auto two_digits = [](seconds::rep number) {
    const std::string digits = std::to_string(number);
    return digits.size() < 2 ? "0" + digits : digits;
  };
  return two_digits(time.count() / 3600) + ":" + two_digits(time.count() / 60 % 60);
}

// The first of more than one in ten bars that don't lie within a cell of the grid; none when the bars fit.
const Bar* Find_Misfit(BarSpan bars, seconds length, int interval_minutes) {
  const Bar* first = nullptr;
  std::size_t count = 0;
  for (const Bar& bar : bars) {
    const auto cell = Grid_Start(bar.Start, interval_minutes);
    if (bar.Start + length <= cell + minutes{interval_minutes}) continue;
    if (first == nullptr) first = &bar;
    ++count;
  }
  return count * 10 > bars.size() ? first : nullptr;
}

std::optional<std::string> Find_Refusal(const CsvTable& table, std::string_view file_name,
                                        int interval_minutes) {
  const seconds length = table.Bar_Length;
  const seconds wanted = minutes{interval_minutes};
  const std::string holds = std::string{file_name} + " holds " + Interval_Name(length) + " bars";
  if (length > wanted)
    return holds + ", which are longer than the " + Interval_Name(wanted) + " bars asked for.";
  if (interval_minutes == daily_interval) return std::nullopt;
  if (wanted % length != seconds{0}) {
    return holds + ", which can't be put together to " + Interval_Name(wanted) + " bars.";
  }
  if (const Bar* misfit = Find_Misfit(table.Bars, length, interval_minutes)) {
    return holds + " that begin at times like " + Clock_Text(misfit->Start) + "; they don't fit " +
           Interval_Name(wanted) + " bars counted from 09:30.";
  }
  return std::nullopt;
}

// The bars of the last `sessions` days before `before`, and all that came before them.
std::pair<BarSpan, BarSpan> Choose_Sessions(BarSpan bars, const QuoteRequest& request) {
  if (request.Before) {
    const auto end = std::ranges::lower_bound(bars, *request.Before, {}, &Bar::Date);
    bars = bars.first(static_cast<std::size_t>(end - bars.begin()));
  }
  std::size_t begin = bars.size();
  for (int days_left = request.Sessions; days_left > 0 && begin > 0; --days_left) {
    const Day date = bars[begin - 1].Date;
    while (begin > 0 && bars[begin - 1].Date == date) --begin;
  }
  return {bars.subspan(begin), bars.first(begin)};
}

// Makes `bars`, which are not empty, begin at 09:30.
void Begin_At_Open(std::vector<Bar>& bars, BarSpan earlier) {
  const Day date = bars.front().Date;
  const auto is_late = [date](const Bar& bar) { return bar.Date != date || bar.Start >= session_open; };
  const auto first_kept = std::ranges::find_if(bars, is_late);

  double last_price = bars.front().Open;
  if (first_kept != bars.begin()) {
    last_price = std::prev(first_kept)->Close;
  } else if (!earlier.empty()) {
    last_price = earlier.back().Close;
  }
  const bool has_open =
      first_kept != bars.end() && first_kept->Date == date && first_kept->Start == session_open;
  bars.erase(bars.begin(), first_kept);
  if (!has_open)
    bars.insert(bars.begin(), {date, session_open, last_price, last_price, last_price, last_price, 0});
}

}  // namespace

Answer Answer_From_Table(const CsvTable& table, std::string_view file_name, const QuoteRequest& request) {
  if (table.Bars.empty()) {
    std::string reason = std::string{file_name} + " holds no quotes that can be read";
    if (!table.Bad_Lines.empty()) {
      const BadLine& bad = table.Bad_Lines.front();
      reason += ": line " + std::to_string(bad.Line) + " was passed over because " + bad.Reason;
    }
    return Failure{FailureKind::Unreadable, reason + "."};
  }
  if (auto refusal = Find_Refusal(table, file_name, request.Interval)) {
    return Failure{FailureKind::Unsuitable, std::move(*refusal)};
  }
  const auto [chosen, earlier] = Choose_Sessions(table.Bars, request);
  BarTable answer;
  answer.Bars = Fold_Bars(chosen, request.Interval);
  if (!answer.Bars.empty()) Begin_At_Open(answer.Bars, earlier);
  return answer;
}

}  // namespace hq::server
