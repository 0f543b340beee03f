#include "server/services/row_taker.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "market/trading_calendar.h"
#include "server/services/answer_values.h"

namespace hq::server {

using namespace columns;
using namespace std::chrono;

namespace {

constexpr Day first_day = year{1950} / January / 1;
constexpr double price_limit = 1e12;
constexpr double volume_limit = 9e15;

std::optional<double> Number(std::size_t number, const RowCells& cells, std::size_t column) {
  const Cell& cell = cells[column];
  if (!cell.Is_There) return std::nullopt;
  const std::string name{column_names[column]};
  if (!cell.Is_Number_Or_Text) Fail_At_Row(number, "has a " + name + " that is no number");
  if (cell.Is_Empty()) return std::nullopt;
  const auto value = Read_Number(cell.Text);
  if (!value) Fail_At_Row(number, "has a " + name + " that is no number");
  return value;
}

// The tolerance is for services that round each price by itself.
bool Makes_No_Sense(const Bar& bar) {
  const double tolerance = bar.High * 1e-4;
  const auto is_outside = [&](double price) {
    return price > bar.High + tolerance || price < bar.Low - tolerance;
  };
  return bar.High < bar.Low || is_outside(bar.Open) || is_outside(bar.Close);
}

}  // namespace

RowTaker::RowTaker(const SourceFeed& feed, Adjustment adjusted, const Zone& zone, bool us_sessions,
                   sys_seconds now)
    : feed_(&feed),
      adjusted_(adjusted),
      zone_(zone),
      us_sessions_(us_sessions),
      now_(now),
      two_days_on_(zone.Local(now + days{2})) {}

void RowTaker::Take(std::size_t number, const RowCells& cells) {
  ++rows_;
  if (cells[Remark].Is_There && remark_.empty()) remark_ = std::string{cells[Remark].Text};
  const auto is_missing = [&cells](std::size_t i) { return !cells[i].Is_There; };
  constexpr std::array<std::size_t, 5> needed = {Stamp, Open, High, Low, Close};
  if (cells[Remark].Is_There && std::ranges::all_of(needed.begin() + 1, needed.end(), is_missing)) return;
  if (const auto lacking = std::ranges::find_if(needed, is_missing); lacking != needed.end())
    Fail_At_Row(number, "has no " + std::string{column_names[*lacking]});

  Row row;
  std::array<std::optional<double>, 4> prices;
  for (std::size_t i = 0; i < 4; ++i) prices[i] = Price(number, cells, Open + i);
  const auto has_no_value = [](const auto& price) { return !price || *price == 0; };
  if (std::ranges::any_of(prices, has_no_value)) return;
  if (!Read_Moment(number, cells[Stamp], row)) return;

  const double volume = Number(number, cells, Volume).value_or(0);
  if (volume >= volume_limit) Fail_At_Row(number, "has a volume that is too large");
  if (us_sessions_ && volume == 0 && !Session_Of(row.Quote.Date).Is_One) return;
  ++judged_;
  if (std::ranges::any_of(prices, [](const auto& price) { return *price < 0; }) ||
      !Read_Factors(number, cells, row)) {
    ++bad_rows_;
    return;
  }
  Bar& bar = row.Quote;
  bar.Open = *prices[0];
  bar.High = *prices[1];
  bar.Low = *prices[2];
  bar.Close = *prices[3];
  row.Volume = volume;
  if (Makes_No_Sense(bar) || volume < 0) {
    ++bad_rows_;
    return;
  }
  rows_kept_.push_back(row);
}

UpstreamBars RowTaker::Finish() {
  if (judged_ >= 10 && bad_rows_ * 10 > judged_)
    throw AnswerChange{std::to_string(bad_rows_) + " of " + std::to_string(judged_) + " rows make no sense"};
  if (judged_ + off_grid_ >= 10 && off_grid_ * 10 > judged_ + off_grid_)
    throw AnswerChange{"its rows don't begin at whole " + std::to_string(feed_->Minutes) + "-minute steps"};
  if (rows_kept_.empty() && bad_rows_ > 0) throw AnswerChange{"its rows make no sense"};
  Sort_And_Keep_One_Per_Stamp();
  if (feed_->Cut_First_Day && !rows_kept_.empty()) {
    const Day cut = rows_kept_.front().Quote.Date;
    std::erase_if(rows_kept_, [cut](const Row& row) { return row.Quote.Date == cut; });
  }
  Adjust();

  UpstreamBars bars;
  bars.Bars.reserve(rows_kept_.size());
  for (Row& row : rows_kept_) {
    row.Quote.Volume = std::llround(std::min(row.Volume, volume_limit));
    bars.Bars.push_back({row.Quote, Is_Final(row.Quote)});
  }
  bars.Minutes = feed_->Minutes;
  bars.Adjusted = adjusted_;
  bars.Market_Zone = zone_;
  bars.Us_Sessions = us_sessions_;
  bars.Rows = rows_;
  bars.Bad_Rows = bad_rows_;
  bars.Remark = remark_;
  return bars;
}

std::optional<double> RowTaker::Price(std::size_t number, const RowCells& cells, std::size_t column) const {
  const auto price = Number(number, cells, column);
  if (!price) return std::nullopt;
  if (std::abs(*price) >= price_limit)
    Fail_At_Row(number, "has a " + std::string{column_names[column]} + " that is too large");
  return feed_->Layout.Single_Precision ? Shortened(*price) : *price;
}

bool RowTaker::Read_Moment(std::size_t number, const Cell& cell, Row& row) {
  std::optional<ExchangeTime> time;
  if (cell.Is_Number_Or_Text) time = Read_Stamp_Text(cell.Text, feed_->Layout, zone_);
  if (!time) Fail_At_Row(number, "has a stamp that can't be read");
  const bool is_daily = feed_->Minutes == daily_interval;
  if (*time > two_days_on_) Fail_At_Row(number, "has a stamp that lies in the future");
  if (feed_->Layout.End_Labels && !is_daily) {
    const auto start = time->Date + time->Time - minutes{feed_->Minutes};
    time->Date = floor<days>(start);
    time->Time = start - time->Date;
  }
  if (time->Date < first_day) return false;
  row.Quote.Date = time->Date;
  row.Quote.Start = is_daily ? session_open : time->Time;
  if (is_daily) return true;
  if (us_sessions_ && (time->Time < session_open || time->Time >= Session_Of(time->Date).Close)) return false;
  const seconds step = minutes{std::gcd(feed_->Minutes, 30)};
  if (time->Time % step == seconds{0}) return true;
  ++off_grid_;
  return false;
}

bool RowTaker::Read_Factors(std::size_t number, const RowCells& cells, Row& row) const {
  const AnswerLayout& layout = feed_->Layout;
  if (adjusted_ == Adjustment::Raw) return true;
  if (!layout.Split_Factor.empty()) {
    const auto split = Number(number, cells, Split_Factor);
    if (!split) Fail_At_Row(number, "has no split factor");
    if (*split < 1e-6 || *split > 1e6) return false;
    row.Split = *split;
  }
  if (adjusted_ != Adjustment::Full || layout.Adjusted_Close.empty()) return true;
  const auto adjusted = Price(number, cells, Adjusted_Close);
  const auto close = Price(number, cells, Close);
  if (!adjusted || !close || *adjusted <= 0 || *close <= 0) return false;
  row.Factor = *adjusted / *close;
  return true;
}

void RowTaker::Sort_And_Keep_One_Per_Stamp() {
  if (feed_->Layout.Newest_First) std::ranges::reverse(rows_kept_);
  const auto earlier = [](const Row& left, const Row& right) { return Earlier(left.Quote, right.Quote); };
  if (!std::ranges::is_sorted(rows_kept_, earlier)) std::ranges::stable_sort(rows_kept_, earlier);
  std::size_t kept = 0;
  for (std::size_t i = 0; i < rows_kept_.size(); ++i) {
    const bool is_last = i + 1 == rows_kept_.size() || earlier(rows_kept_[i], rows_kept_[i + 1]);
    if (is_last) rows_kept_[kept++] = rows_kept_[i];
  }
  rows_kept_.resize(kept);
}

void RowTaker::Adjust() {
  if (adjusted_ == Adjustment::Raw) return;
  double splits = 1;
  for (auto row = rows_kept_.rbegin(); row != rows_kept_.rend(); ++row) {
    const double factor =
        feed_->Layout.Adjusted_Close.empty() || adjusted_ != Adjustment::Full ? 1 / splits : row->Factor;
    if (factor != 1) {
      for (double* price : {&row->Quote.Open, &row->Quote.High, &row->Quote.Low, &row->Quote.Close})
        *price = Rounded(*price * factor);
    }
    row->Volume *= splits;
    splits *= row->Split;
  }
}

const RowTaker::Session& RowTaker::Session_Of(Day date) {
  if (session_.Date != date || session_.Close == seconds{0})
    session_ = {date, Is_Session(date), Session_Close(date)};
  return session_;
}

bool RowTaker::Is_Final(const Bar& bar) {
  seconds end = bar.Start + minutes{feed_->Minutes};
  if (us_sessions_) {
    const auto close = Session_Of(bar.Date).Close;
    end = feed_->Minutes == daily_interval ? close : std::min(end, close);
  } else if (feed_->Minutes == daily_interval) {
    end = days{1};
  }
  return zone_.Moment({bar.Date, end}) + feed_->Delay <= now_;
}

}  // namespace hq::server
