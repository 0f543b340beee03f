#include "market/bar.h"

#include <algorithm>
#include <limits>

namespace hq::server {

bool Earlier(const Bar& left, const Bar& right) {
  return left.Date != right.Date ? left.Date < right.Date : left.Start < right.Start;
}

std::chrono::seconds Grid_Start(std::chrono::seconds start, int interval_minutes) {
  if (interval_minutes == daily_interval) return session_open;
  const std::chrono::seconds cell = std::chrono::minutes{interval_minutes};
  auto into_cell = (start - session_open) % cell;
  if (into_cell.count() < 0) into_cell += cell;
  return start - into_cell;
}

std::vector<Bar> Fold_Bars(std::span<const Bar> bars, int interval_minutes) {
  std::vector<Bar> folded;
  for (const Bar& bar : bars) {
    const auto start = std::max(Grid_Start(bar.Start, interval_minutes), std::chrono::seconds{0});
    if (folded.empty() || folded.back().Date != bar.Date || folded.back().Start != start) {
      folded.push_back(bar);
      folded.back().Start = start;
      continue;
    }
    Bar& cell = folded.back();
    cell.High = std::max(cell.High, bar.High);
    cell.Low = std::min(cell.Low, bar.Low);
    cell.Close = bar.Close;
    const auto room = std::numeric_limits<std::int64_t>::max() - cell.Volume;
    cell.Volume += std::min(bar.Volume, room);
  }
  return folded;
}

}  // namespace hq::server
