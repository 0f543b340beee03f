#include "market/bar.h"

#include <gmock/gmock.h>
#include <limits>

#include "market/market_support.h"

namespace hq::server {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Day monday = Date(2003, 3, 10);

TEST(Grid_Start, CountsFromHalfPastNine) {
  EXPECT_EQ(Grid_Start(At(9, 30), 60), At(9, 30));
  EXPECT_EQ(Grid_Start(At(10, 29, 59), 60), At(9, 30));
  EXPECT_EQ(Grid_Start(At(10, 30), 60), At(10, 30));
  EXPECT_EQ(Grid_Start(At(15, 59), 20), At(15, 50));
  EXPECT_EQ(Grid_Start(At(9, 0), 60), At(8, 30));
  EXPECT_EQ(Grid_Start(At(0, 10), 60), At(0, -30));
  EXPECT_EQ(Grid_Start(At(0, 10), daily_interval), At(9, 30));
}

TEST(Fold_Bars, TakesOpenHighLowCloseAndVolumeOfACell) {
  const std::vector<Bar> bars = {{monday, At(9, 30), 10, 12, 9, 11, 100},
                                 {monday, At(9, 35), 11, 15, 10, 14, 200},
                                 {monday, At(9, 40), 14, 14, 8, 9, 300},
                                 {monday, At(10, 0), 9, 10, 7, 8, 400}};
  EXPECT_THAT(Fold_Bars(bars, 10), ElementsAre(Bar{monday, At(9, 30), 10, 15, 9, 14, 300},
                                               Bar{monday, At(9, 40), 14, 14, 8, 9, 300},
                                               Bar{monday, At(10, 0), 9, 10, 7, 8, 400}));
  EXPECT_THAT(Fold_Bars(bars, daily_interval), ElementsAre(Bar{monday, At(9, 30), 10, 15, 7, 8, 1000}));
}

TEST(Fold_Bars, KeepsDaysApart) {
  const std::vector<Bar> bars = {{monday, At(23, 50), 1, 2, 1, 2, 5},
                                 {monday + std::chrono::days{1}, At(0, 0), 2, 3, 2, 3, 6}};
  EXPECT_THAT(Fold_Bars(bars, 60), ElementsAre(Bar{monday, At(23, 30), 1, 2, 1, 2, 5},
                                               Bar{monday + std::chrono::days{1}, At(0, 0), 2, 3, 2, 3, 6}));
}

TEST(Fold_Bars, StopsAtTheLargestVolume) {
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  const std::vector<Bar> bars = {{monday, At(9, 30), 1, 1, 1, 1, most - 1},
                                 {monday, At(9, 31), 1, 1, 1, 1, 5}};
  EXPECT_EQ(Fold_Bars(bars, 5).at(0).Volume, most);
}

TEST(Fold_Bars, OfNothingIsNothing) {
  EXPECT_THAT(Fold_Bars({}, 5), IsEmpty());
}

}  // namespace
}  // namespace hq::server
