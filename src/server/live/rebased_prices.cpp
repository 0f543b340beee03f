#include "server/live/rebased_prices.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace hq::server {
namespace {

// Whether all new prices differ from the old ones in about the same proportion.
bool All_Changed_Alike(std::vector<double> ratios, double lowest_price, Adjustment adjusted) {
  if (ratios.empty()) return false;
  std::ranges::sort(ratios);
  const double middle = ratios[ratios.size() / 2];
  // One bar alone may be a correction, unless it is worlds away.
  const double least = ratios.size() == 1 ? 0.2 : adjusted == Adjustment::Full ? 0.0005 : 0.01;
  if (std::abs(middle - 1) < least) return false;
  const double rounding = 0.005 + 0.02 / lowest_price;
  return ratios.front() > middle * (1 - rounding) && ratios.back() < middle * (1 + rounding);
}

}  // namespace

bool Is_Rebased(const std::vector<Bar>& archived, const std::vector<NativeBar>& fetched,
                Adjustment adjusted) {
  if (adjusted == Adjustment::Raw) return false;
  std::vector<double> ratios;
  double lowest_price = 1e300;
  auto next = archived.begin();
  for (const NativeBar& native : fetched) {
    const Bar& bar = native.Quote;
    while (next != archived.end() && Earlier(*next, bar)) ++next;
    if (next == archived.end()) break;
    if (Earlier(bar, *next) || next->Close <= 0 || bar.Close <= 0) continue;
    ratios.push_back(bar.Close / next->Close);
    lowest_price = std::min({lowest_price, bar.Close, next->Close});
  }
  if (All_Changed_Alike(ratios, lowest_price, adjusted)) return true;

  // A service may send the bar of the day in new prices, and change those of the past a day later: then the
  // bars up to that day differ, and those from it on don't.
  const double noise = 0.0005 + 0.02 / lowest_price;
  const auto is_same = [noise](double ratio) { return std::abs(ratio - 1) < noise; };
  const auto unchanged = std::ranges::find_if(ratios, is_same);
  if (!std::all_of(unchanged, ratios.end(), is_same)) return false;
  ratios.erase(unchanged, ratios.end());
  return All_Changed_Alike(std::move(ratios), lowest_price, adjusted);
}

}  // namespace hq::server
