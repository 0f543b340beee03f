#include "server/csv/csv_answer.h"

#include <gmock/gmock.h>

#include "market/market_support.h"

namespace hq::server {
namespace {

using std::chrono::days;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const Day monday = Date(2003, 3, 10);
const Day tuesday = Date(2003, 3, 11);
const Day wednesday = Date(2003, 3, 12);

Bar Flat(Day date, std::chrono::seconds start, double price, std::int64_t volume = 1) {
  return {date, start, price, price, price, price, volume};
}

CsvTable Table(std::chrono::seconds length, std::vector<Bar> bars) {
  CsvTable table;
  table.Bars = std::move(bars);
  table.Bar_Length = length;
  return table;
}

Answer Ask(const CsvTable& table, int interval, int sessions = 500, std::optional<Day> before = {}) {
  return Answer_From_Table(table, "xyz.csv", {"XYZ", interval, before, sessions});
}

TEST(Answer_From_Table, TakesTheLastSessionsBeforeTheDate) {
  const CsvTable table = Table(
      days{1}, {Flat(monday, At(9, 30), 1), Flat(tuesday, At(9, 30), 2), Flat(wednesday, At(9, 30), 3)});
  EXPECT_THAT(Bars_Of(Ask(table, 1440)), SizeIs(3));
  EXPECT_THAT(Bars_Of(Ask(table, 1440, 2)),
              ElementsAre(Flat(tuesday, At(9, 30), 2), Flat(wednesday, At(9, 30), 3)));
  EXPECT_THAT(Bars_Of(Ask(table, 1440, 1, wednesday)), ElementsAre(Flat(tuesday, At(9, 30), 2)));
  EXPECT_THAT(Bars_Of(Ask(table, 1440, 5, tuesday)), ElementsAre(Flat(monday, At(9, 30), 1)));
  EXPECT_THAT(Bars_Of(Ask(table, 1440, 5, monday)), IsEmpty());
  EXPECT_THAT(Bars_Of(Ask(table, 1440, 1, Date(2049, 1, 1))), ElementsAre(Flat(wednesday, At(9, 30), 3)));
}

TEST(Answer_From_Table, FoldsADayFromAllItsRows) {
  const CsvTable table = Table(minutes{15}, {Flat(monday, At(4, 0), 1, 10), Flat(monday, At(9, 30), 5, 20),
                                             Flat(monday, At(17, 0), 3, 30)});
  EXPECT_THAT(Bars_Of(Ask(table, 1440)), ElementsAre(Bar{monday, At(9, 30), 1, 5, 1, 3, 60}));
}

TEST(Answer_From_Table, DropsEarlyRowsOfTheFirstSessionOnly) {
  const CsvTable table =
      Table(minutes{5}, {Flat(monday, At(9, 25), 1), Flat(monday, At(9, 30), 2), Flat(monday, At(9, 35), 3),
                         Flat(tuesday, At(9, 25), 4), Flat(tuesday, At(9, 35), 5)});
  EXPECT_THAT(Bars_Of(Ask(table, 5)), ElementsAre(Flat(monday, At(9, 30), 2), Flat(monday, At(9, 35), 3),
                                                  Flat(tuesday, At(9, 25), 4), Flat(tuesday, At(9, 35), 5)));
}

TEST(Answer_From_Table, BeginsAtHalfPastNineWithTheCloseBeforeIt) {
  const CsvTable early_rows =
      Table(minutes{5}, {Flat(monday, At(9, 25), 1), Flat(monday, At(10, 0), 2), Flat(monday, At(10, 5), 3)});
  EXPECT_THAT(
      Bars_Of(Ask(early_rows, 5)),
      ElementsAre(Flat(monday, At(9, 30), 1, 0), Flat(monday, At(10, 0), 2), Flat(monday, At(10, 5), 3)));

  const CsvTable day_before = Table(
      minutes{5}, {Flat(monday, At(15, 55), 7), Flat(tuesday, At(10, 0), 8), Flat(tuesday, At(10, 5), 9)});
  EXPECT_THAT(
      Bars_Of(Ask(day_before, 5, 1)),
      ElementsAre(Flat(tuesday, At(9, 30), 7, 0), Flat(tuesday, At(10, 0), 8), Flat(tuesday, At(10, 5), 9)));

  const CsvTable nothing_before =
      Table(minutes{5}, {Bar{monday, At(10, 0), 4, 6, 3, 5, 9}, Flat(monday, At(10, 5), 5)});
  EXPECT_THAT(Bars_Of(Ask(nothing_before, 5)),
              ElementsAre(Flat(monday, At(9, 30), 4, 0), Bar{monday, At(10, 0), 4, 6, 3, 5, 9},
                          Flat(monday, At(10, 5), 5)));

  const CsvTable all_early =
      Table(minutes{5}, {Flat(monday, At(8, 0), 1), Flat(monday, At(8, 5), 2), Flat(tuesday, At(8, 0), 3)});
  EXPECT_THAT(Bars_Of(Ask(all_early, 5)),
              ElementsAre(Flat(monday, At(9, 30), 2, 0), Flat(tuesday, At(8, 0), 3)));
}

TEST(Answer_From_Table, MakesAShortHourBeforeTheGridsFirst) {
  std::vector<Bar> bars;
  for (int k = 0; k < 24; ++k) bars.push_back(Flat(monday, At(9, 5 * k), k, 1));
  for (int k = 0; k < 24; ++k) bars.push_back(Flat(tuesday, At(9, 5 * k), k, 1));
  EXPECT_THAT(
      Bars_Of(Ask(Table(minutes{5}, bars), 60)),
      ElementsAre(Bar{monday, At(9, 30), 6, 17, 6, 17, 12}, Bar{monday, At(10, 30), 18, 23, 18, 23, 6},
                  Bar{tuesday, At(8, 30), 0, 5, 0, 5, 6}, Bar{tuesday, At(9, 30), 6, 17, 6, 17, 12},
                  Bar{tuesday, At(10, 30), 18, 23, 18, 23, 6}));
}

TEST(Answer_From_Table, RefusesWhatTheBarsDoNotGive) {
  const auto refusal = [](const CsvTable& table, int interval) {
    const Failure failure = Failure_Of(Ask(table, interval));
    EXPECT_EQ(failure.Kind, FailureKind::Unsuitable);
    EXPECT_THAT(failure.Reason, HasSubstr("xyz.csv"));
    return failure.Reason;
  };
  const CsvTable daily = Table(days{1}, {Flat(monday, At(9, 30), 1)});
  EXPECT_THAT(refusal(daily, 5), HasSubstr("daily bars, which are longer than the 5-minute bars"));
  const CsvTable weekly = Table(days{7}, {Flat(monday, At(9, 30), 1)});
  EXPECT_THAT(refusal(weekly, 1440), HasSubstr("7-day bars, which are longer than the daily bars"));
  const CsvTable quarter_hours = Table(minutes{15}, {Flat(monday, At(9, 30), 1), Flat(monday, At(9, 45), 1)});
  EXPECT_THAT(refusal(quarter_hours, 20),
              HasSubstr("15-minute bars, which can't be put together to 20-minute bars"));
  EXPECT_THAT(refusal(quarter_hours, 10), HasSubstr("longer"));
  EXPECT_THAT(Bars_Of(Ask(quarter_hours, 30)), SizeIs(1));
  const CsvTable hours = Table(minutes{60}, {Flat(monday, At(14, 0), 1), Flat(monday, At(15, 0), 1)});
  EXPECT_THAT(refusal(hours, 60), HasSubstr("begin at times like 14:00"));
  EXPECT_THAT(Bars_Of(Ask(hours, 1440)), SizeIs(1));
}

TEST(Answer_From_Table, LetsAStrayRowPass) {
  std::vector<Bar> bars;
  for (int k = 0; k < 30; ++k) bars.push_back(Flat(monday, At(9, 30 + 5 * k), 1));
  bars.push_back(Flat(monday, At(15, 58, 37), 2));
  const auto answered = Bars_Of(Ask(Table(minutes{5}, bars), 5));
  ASSERT_THAT(answered, SizeIs(31));
  EXPECT_EQ(answered.back(), Flat(monday, At(15, 55), 2));
}

TEST(Answer_From_Table, SaysWhyThereAreNoQuotes) {
  CsvTable table;
  table.Bad_Lines = {{3, "its date is no date"}};
  const Failure failure = Failure_Of(Ask(table, 1440));
  EXPECT_EQ(failure.Kind, FailureKind::Unreadable);
  EXPECT_EQ(failure.Reason,
            "xyz.csv holds no quotes that can be read: line 3 was passed over because its date is no date.");
  EXPECT_EQ(Failure_Of(Ask(CsvTable{}, 1440)).Reason, "xyz.csv holds no quotes that can be read.");
}

}  // namespace
}  // namespace hq::server
