#include "server/rebased_prices.h"

#include <algorithm>
#include <cmath>

namespace hq::server {

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
  if (ratios.empty()) return false;
  std::ranges::sort(ratios);
  const double middle = ratios[ratios.size() / 2];
  // One bar alone may be a correction, unless it is worlds away.
  const double least = ratios.size() == 1 ? 0.2 : adjusted == Adjustment::Full ? 0.0005 : 0.01;
  if (std::abs(middle - 1) < least) return false;
  const double rounding = 0.005 + 0.02 / lowest_price;
  return ratios.front() > middle * (1 - rounding) && ratios.back() < middle * (1 + rounding);
}

}  // namespace hq::server
