#include "market/session_bars.h"

#include <algorithm>

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
const Bar* Find_Bar_Beside_Grid(BarSpan bars, seconds length, int interval_minutes) {
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

}  // namespace

std::optional<std::string> Find_Misfit(std::span<const Bar> bars, seconds length, std::string_view origin,
                                       int interval_minutes) {
  const seconds wanted = minutes{interval_minutes};
  const std::string holds = std::string{origin} + " holds " + Interval_Name(length) + " bars";
  if (length > wanted)
    return holds + ", which are longer than the " + Interval_Name(wanted) + " bars asked for.";
  if (interval_minutes == daily_interval) return std::nullopt;
  if (wanted % length != seconds{0}) {
    return holds + ", which can't be put together to " + Interval_Name(wanted) + " bars.";
  }
  if (const Bar* misfit = Find_Bar_Beside_Grid(bars, length, interval_minutes)) {
    return holds + " that begin at times like " + Clock_Text(misfit->Start) + "; they don't fit " +
           Interval_Name(wanted) + " bars counted from 09:30.";
  }
  return std::nullopt;
}

std::pair<BarSpan, BarSpan> Last_Sessions(BarSpan bars, const QuoteRequest& request) {
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

}  // namespace hq::server
