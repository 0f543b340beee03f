#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "market/exchange_time.h"
#include "market/zone_time.h"
#include "server/services/answer_rows.h"
#include "server/services/upstream_answer.h"

namespace hq::server {

// Takes the rows of one answer and makes bars of them. Raises AnswerChange when they are not what the profile
// says.
class RowTaker {
 public:
  // The feed must outlive it.
  RowTaker(const SourceFeed& feed, Adjustment adjusted, const Zone& zone, bool us_sessions,
           std::chrono::sys_seconds now);

  void Take(std::size_t number, const RowCells& cells);

  // The bars of all rows taken. Nothing can be taken after it.
  UpstreamBars Finish();

 private:
  struct Row {
    Bar Quote;
    double Volume = 0;
    // The close with its adjustment, divided by the close without; 1 when there is none.
    double Factor = 1;
    double Split = 1;
  };

  // What the calendar says of a day; kept, because neighbours mostly lie on one day.
  struct Session {
    Day Date;
    bool Is_One = false;
    std::chrono::seconds Close{};
  };

  [[nodiscard]] std::optional<double> Price(std::size_t number, const RowCells& cells,
                                            std::size_t column) const;
  // Says whether the row counts: not before 1950, in the session, and on the grid.
  bool Read_Moment(std::size_t number, const Cell& cell, Row& row);
  // Says whether the factors can be used.
  bool Read_Factors(std::size_t number, const RowCells& cells, Row& row) const;
  void Sort_And_Keep_One_Per_Stamp();
  void Adjust();
  const Session& Session_Of(Day date);
  [[nodiscard]] bool Is_Final(const Bar& bar);

  const SourceFeed* feed_;
  Adjustment adjusted_;
  Zone zone_;
  bool us_sessions_;
  std::chrono::sys_seconds now_;
  ExchangeTime two_days_on_;
  Session session_;
  std::vector<Row> rows_kept_;
  std::size_t rows_ = 0;
  // Rows that were looked at for sense, and those of them that have none.
  std::size_t judged_ = 0;
  std::size_t bad_rows_ = 0;
  std::size_t off_grid_ = 0;
  std::string remark_;
};

}  // namespace hq::server
