#include "server/upstream_answer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numeric>
#include <utility>

#include "base/strings.h"
#include "server/csv_fields.h"
#include "server/json_tree.h"
#include "server/placeholders.h"
#include "server/trading_calendar.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using std::string_view;

constexpr Day first_day = year{1950} / January / 1;
constexpr double price_limit = 1e12;
constexpr double volume_limit = 9e15;

// What makes an answer something else than its profile says; it never leaves this file.
struct Change {
  std::string Reason;
};

// ---- numbers and stamps ----

// One value of a row.
struct Cell {
  // Whether the row has such a value at all; a null counts as one.
  bool Is_There = false;
  bool Is_Number_Or_Text = false;
  string_view Text;

  [[nodiscard]] bool Is_Empty() const {
    const auto is_word = [this](string_view word) { return Text == word; };
    constexpr auto words = std::to_array<string_view>({"", "null", "N/A", "None"});
    return Is_There && std::ranges::any_of(words, is_word);
  }
};

[[noreturn]] void Fail_At_Row(std::size_t row, const std::string& what) {
  throw Change{"row " + std::to_string(row + 1) + " " + what};
}

// A decimal number that is finite; the whole text must be it.
std::optional<double> Read_Number(string_view text) {
  const bool begins_well =
      !text.empty() && (text.front() == '-' || (text.front() >= '0' && text.front() <= '9'));
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (!begins_well || error != std::errc{} || end != text.data() + text.size() || !std::isfinite(number))
    return std::nullopt;
  return number;
}

// The number with the fewest digits that is the same in single precision, if it is one of those at all.
double Shortened(double number) {
  const auto single = static_cast<float>(number);
  if (static_cast<double>(single) != number) return number;
  std::array<char, 32> digits{};
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), single);
  const auto length = static_cast<std::size_t>(written.ptr - digits.data());
  return Read_Number({digits.data(), length}).value_or(number);
}

double Rounded(double number) {
  if (number == 0) return number;
  std::array<char, 32> digits{};
  const auto written =
      std::to_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::scientific, 9);
  const auto length = static_cast<std::size_t>(written.ptr - digits.data());
  return Read_Number({digits.data(), length}).value_or(number);
}

std::optional<int> Digits(string_view text, std::size_t begin, std::size_t count) {
  if (begin + count > text.size()) return std::nullopt;
  int number = 0;
  for (const char c : text.substr(begin, count)) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + (c - '0');
  }
  return number;
}

// YYYY-MM-DD at the beginning of a text.
std::optional<Day> Read_Date(string_view text) {
  const auto of = Digits(text, 0, 4);
  const auto in = Digits(text, 5, 2);
  const auto on = Digits(text, 8, 2);
  if (!of || !in || !on || text[4] != '-' || text[7] != '-') return std::nullopt;
  const auto date = year{*of} / month{static_cast<unsigned>(*in)} / day{static_cast<unsigned>(*on)};
  if (!date.ok()) return std::nullopt;
  return Day{date};
}

// YYYY-MM-DD, a T or a blank, HH:MM or HH:MM:SS with or without parts of seconds; what stands behind is left
// in `rest`.
std::optional<ExchangeTime> Read_Date_And_Time(string_view text, string_view& rest) {
  const auto date = Read_Date(text);
  const auto hour = Digits(text, 11, 2);
  const auto minute = Digits(text, 14, 2);
  if (!date || !hour || !minute || (text[10] != 'T' && text[10] != ' ') || text[13] != ':')
    return std::nullopt;
  std::size_t end = 16;
  int second = 0;
  if (end < text.size() && text[end] == ':') {
    const auto read = Digits(text, end + 1, 2);
    if (!read) return std::nullopt;
    second = *read;
    end += 3;
    if (end < text.size() && text[end] == '.')
      end = std::min(text.find_first_not_of("0123456789", end + 1), text.size());
  }
  if (*hour > 23 || *minute > 59 || second > 59) return std::nullopt;
  rest = text.substr(end);
  return ExchangeTime{*date, hours{*hour} + minutes{*minute} + seconds{second}};
}

// What a stamp of a profile's form says in the exchange's time; daily stamps may lack the time.
std::optional<ExchangeTime> Read_Stamp_Text(string_view text, const AnswerLayout& layout, const Zone& zone) {
  string_view rest;
  switch (layout.Form) {
    case StampForm::EpochSeconds:
    case StampForm::EpochMilliseconds: {
      const auto number = Read_Number(text);
      constexpr double year_5138 = 1e11;
      if (!number) return std::nullopt;
      const double count = std::floor(layout.Form == StampForm::EpochMilliseconds ? *number / 1000 : *number);
      if (std::abs(count) >= year_5138) return std::nullopt;
      return zone.Local(sys_seconds{seconds{static_cast<std::int64_t>(count)}});
    }
    case StampForm::Universal: {
      const auto time = Read_Date_And_Time(text, rest);
      if (!time || !(rest.empty() || rest == "Z" || rest == "+00:00")) return std::nullopt;
      return zone.Local(time->Date + time->Time);
    }
    case StampForm::Local: {
      if (text.size() == 10) {
        const auto date = Read_Date(text);
        if (!date) return std::nullopt;
        return ExchangeTime{*date, seconds{0}};
      }
      const auto time = Read_Date_And_Time(text, rest);
      if (!time || !rest.empty()) return std::nullopt;
      if (!layout.Stamp_Zone) return time;
      return zone.Local(layout.Stamp_Zone->Moment(*time));
    }
    case StampForm::Date: {
      const auto date = Read_Date(text);
      if (!date || (text.size() > 10 && text[10] != 'T' && text[10] != ' ')) return std::nullopt;
      return ExchangeTime{*date, seconds{0}};
    }
  }
  return std::nullopt;
}

// ---- rows ----

enum Column : std::size_t { Stamp, Open, High, Low, Close, Volume, Adjusted_Close, Split_Factor, Remark };
constexpr std::size_t column_count = Remark + 1;
constexpr auto column_names = std::to_array<string_view>(
    {"stamp", "open", "high", "low", "close", "volume", "adjusted close", "split factor", "remark"});

using RowCells = std::array<Cell, column_count>;

std::array<const Path*, column_count> Paths_Of(const AnswerLayout& layout) {
  return {&layout.Stamp,  &layout.Open,           &layout.High,         &layout.Low,   &layout.Close,
          &layout.Volume, &layout.Adjusted_Close, &layout.Split_Factor, &layout.Remark};
}

Cell Cell_At(const JsonTree& tree, std::optional<JsonTree::Place> place) {
  if (!place) return {};
  const JsonKind kind = tree.Kind(*place);
  if (kind == JsonKind::Null) return {true, true, {}};
  return {true, kind == JsonKind::Number || kind == JsonKind::Text, tree.Text(*place)};
}

Path Expanded(const Path& path, const UpstreamRequest& request, const SourceFeed& feed) {
  Path expanded = path;
  for (PathStep& step : expanded) {
    auto* const name = std::get_if<std::string>(&step);
    if (name == nullptr) continue;
    for (const auto& [placeholder, value] :
         {std::pair{string_view{"{symbol}"}, &request.Spelled_Symbol}, {"{interval}", &feed.Interval_Word}}) {
      if (const auto at = name->find(placeholder); at != std::string::npos)
        name->replace(at, placeholder.size(), *value);
    }
  }
  return expanded;
}

// Hands each row of a JSON answer to `take`.
template <typename Take>
void Walk_Rows(const JsonTree& tree, JsonTree::Place rows, const AnswerLayout& layout, Take take) {
  const bool is_keyed = layout.Shape == RowShape::Keyed;
  if (tree.Kind(rows) != (is_keyed ? JsonKind::Object : JsonKind::Array))
    throw Change{is_keyed ? "its rows are no object" : "its rows are no list"};
  const auto paths = Paths_Of(layout);
  std::size_t number = 0;
  for (auto row = tree.First(rows); row != tree.End(rows); row = tree.Next(row), ++number) {
    if (tree.Kind(row) != JsonKind::Object && tree.Kind(row) != JsonKind::Array)
      Fail_At_Row(number, "is neither an object nor a list");
    RowCells cells;
    for (std::size_t i = 0; i < column_count; ++i) {
      if (!paths[i]->empty()) cells[i] = Cell_At(tree, tree.Find(row, *paths[i]));
    }
    if (is_keyed) cells[Stamp] = {true, true, tree.Name(row)};
    take(number, cells);
  }
}

template <typename Take>
void Walk_Columns(const JsonTree& tree, JsonTree::Place base, const AnswerLayout& layout, Take take) {
  const auto paths = Paths_Of(layout);
  std::array<std::optional<JsonTree::Place>, column_count> columns;
  std::array<JsonTree::Place, column_count> next{};
  for (std::size_t i = 0; i < column_count; ++i) {
    if (paths[i]->empty()) continue;
    columns[i] = tree.Find(base, *paths[i]);
    if (!columns[i] && (i == Volume || i == Remark)) continue;
    if (!columns[i] || tree.Kind(*columns[i]) != JsonKind::Array)
      throw Change{"it has no list of the " + std::string{column_names[i]} + "s"};
    next[i] = tree.First(*columns[i]);
  }
  for (std::size_t number = 0;; ++number) {
    RowCells cells;
    std::size_t ended = 0;
    std::size_t all = 0;
    for (std::size_t i = 0; i < column_count; ++i) {
      if (!columns[i]) continue;
      ++all;
      if (next[i] == tree.End(*columns[i])) {
        ++ended;
        continue;
      }
      cells[i] = Cell_At(tree, next[i]);
      next[i] = tree.Next(next[i]);
    }
    if (ended == all) return;
    if (ended > 0) throw Change{"its lists differ in length"};
    take(number, cells);
  }
}

// Splits a line of a CSV answer; a field in quotes may hold the delimiter.
void Split_Line(string_view line, char delimiter, std::vector<string_view>& fields) {
  fields.clear();
  std::size_t begin = 0;
  bool is_quoted = false;
  for (std::size_t i = 0; i <= line.size(); ++i) {
    if (i < line.size() && line[i] == '"') is_quoted = !is_quoted;
    if (i < line.size() && (is_quoted || line[i] != delimiter)) continue;
    string_view field = Trimmed(line.substr(begin, i - begin));
    if (field.size() >= 2 && field.front() == '"' && field.back() == '"')
      field = field.substr(1, field.size() - 2);
    fields.push_back(field);
    begin = i + 1;
  }
}

template <typename Take>
void Walk_Lines(string_view body, const AnswerLayout& layout, Take take) {
  if (body.starts_with("\xEF\xBB\xBF")) body.remove_prefix(3);
  const auto paths = Paths_Of(layout);
  std::vector<string_view> fields;
  std::size_t header_fields = 0;
  std::array<std::optional<std::size_t>, column_count> columns;
  for (std::size_t number = 0; !body.empty();) {
    const auto end = body.find('\n');
    string_view line = body.substr(0, end);
    body.remove_prefix(end == string_view::npos ? body.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (Trimmed(line).empty()) continue;
    Split_Line(line, layout.Delimiter, fields);
    if (header_fields == 0) {
      header_fields = fields.size();
      for (std::size_t i = 0; i < column_count; ++i) {
        if (paths[i]->empty()) continue;
        const std::string& word = std::get<std::string>(paths[i]->front());
        const auto found =
            std::ranges::find_if(fields, [&](string_view field) { return Equal_Without_Case(field, word); });
        if (found != fields.end()) {
          columns[i] = static_cast<std::size_t>(found - fields.begin());
        } else if (i != Volume && i != Remark) {
          throw Change{"its header has no \"" + word + "\""};
        }
      }
      continue;
    }
    if (fields.size() != header_fields) Fail_At_Row(number, "has more or fewer fields than the header");
    RowCells cells;
    for (std::size_t i = 0; i < column_count; ++i) {
      if (columns[i]) cells[i] = {true, true, fields[*columns[i]]};
    }
    take(number++, cells);
  }
  if (header_fields == 0) throw Change{"it is empty"};
}

// Takes the rows of one answer and makes bars of them.
class RowTaker {
 public:
  RowTaker(const SourceFeed& feed, Adjustment adjusted, const Zone& zone, bool us_sessions, sys_seconds now)
      : feed_(&feed),
        adjusted_(adjusted),
        zone_(zone),
        us_sessions_(us_sessions),
        now_(now),
        two_days_on_(zone.Local(now + days{2})) {}

  void Take(std::size_t number, const RowCells& cells) {
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

  UpstreamBars Finish() {
    if (judged_ >= 10 && bad_rows_ * 10 > judged_)
      throw Change{std::to_string(bad_rows_) + " of " + std::to_string(judged_) + " rows make no sense"};
    if (judged_ + off_grid_ >= 10 && off_grid_ * 10 > judged_ + off_grid_)
      throw Change{"its rows don't begin at whole " + std::to_string(feed_->Minutes) + "-minute steps"};
    if (rows_kept_.empty() && bad_rows_ > 0) throw Change{"its rows make no sense"};
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

 private:
  struct Row {
    Bar Quote;
    double Volume = 0;
    // The close with its adjustment, divided by the close without; 1 when there is none.
    double Factor = 1;
    double Split = 1;
  };

  [[nodiscard]] static std::optional<double> Number(std::size_t number, const RowCells& cells,
                                                    std::size_t column) {
    const Cell& cell = cells[column];
    if (!cell.Is_There) return std::nullopt;
    const std::string name{column_names[column]};
    if (!cell.Is_Number_Or_Text) Fail_At_Row(number, "has a " + name + " that is no number");
    if (cell.Is_Empty()) return std::nullopt;
    const auto value = Read_Number(cell.Text);
    if (!value) Fail_At_Row(number, "has a " + name + " that is no number");
    return value;
  }

  [[nodiscard]] std::optional<double> Price(std::size_t number, const RowCells& cells,
                                            std::size_t column) const {
    const auto price = Number(number, cells, column);
    if (!price) return std::nullopt;
    if (std::abs(*price) >= price_limit)
      Fail_At_Row(number, "has a " + std::string{column_names[column]} + " that is too large");
    return feed_->Layout.Single_Precision ? Shortened(*price) : *price;
  }

  // Says whether the row counts: not before 1950, in the session, and on the grid.
  bool Read_Moment(std::size_t number, const Cell& cell, Row& row) {
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
    if (us_sessions_ && (time->Time < session_open || time->Time >= Session_Of(time->Date).Close))
      return false;
    const seconds step = minutes{std::gcd(feed_->Minutes, 30)};
    if (time->Time % step == seconds{0}) return true;
    ++off_grid_;
    return false;
  }

  // Says whether the factors can be used.
  bool Read_Factors(std::size_t number, const RowCells& cells, Row& row) const {
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

  // The tolerance is for services that round each price by itself.
  [[nodiscard]] static bool Makes_No_Sense(const Bar& bar) {
    const double tolerance = bar.High * 1e-4;
    const auto is_outside = [&](double price) {
      return price > bar.High + tolerance || price < bar.Low - tolerance;
    };
    return bar.High < bar.Low || is_outside(bar.Open) || is_outside(bar.Close);
  }

  void Sort_And_Keep_One_Per_Stamp() {
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

  void Adjust() {
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

  // What the calendar says of a day; kept, because neighbours mostly lie on one day.
  struct Session {
    Day Date;
    bool Is_One = false;
    seconds Close{};
  };

  const Session& Session_Of(Day date) {
    if (session_.Date != date || session_.Close == seconds{0})
      session_ = {date, Is_Session(date), Session_Close(date)};
    return session_;
  }

  [[nodiscard]] bool Is_Final(const Bar& bar) {
    seconds end = bar.Start + minutes{feed_->Minutes};
    if (us_sessions_) {
      const auto close = Session_Of(bar.Date).Close;
      end = feed_->Minutes == daily_interval ? close : std::min(end, close);
    } else if (feed_->Minutes == daily_interval) {
      end = days{1};
    }
    return zone_.Moment({bar.Date, end}) + feed_->Delay <= now_;
  }

  const SourceFeed* feed_;
  Adjustment adjusted_;
  Zone zone_;
  bool us_sessions_;
  sys_seconds now_;
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

// ---- troubles ----

// Text of a service in one line that is fit for reading: without keys, control characters and great length.
std::string Quoted(string_view text, const UpstreamRequest& request) {
  constexpr std::size_t longest = 200;
  std::string shown;
  for (const char c : request.Without_Keys(text)) {
    const auto byte = static_cast<unsigned char>(c);
    shown += byte < 0x20 || byte >= 0x7F ? '?' : c;
  }
  if (shown.size() > longest) shown = shown.substr(0, longest) + "...";
  return shown;
}

std::string Sentence(const SourceProfile& profile, const UpstreamRequest& request, TroubleKind kind) {
  const std::string& title = profile.Title;
  switch (kind) {
    case TroubleKind::UnknownSymbol:
      return title + " doesn't know the symbol \"" + Quoted(request.Symbol, request) + "\".";
    case TroubleKind::NothingThere:
      return title + " has nothing for \"" + Quoted(request.Symbol, request) + "\" at the time asked for.";
    case TroubleKind::NotServed:
      return title + " doesn't serve what was asked for.";
    case TroubleKind::KeyRefused:
      return title + " refuses the key.";
    case TroubleKind::NotAllowed:
      return title + " doesn't include this in the plan of the key.";
    case TroubleKind::Quota:
      return "The calls allowed at " + title + " are used up for now.";
    case TroubleKind::Throttled:
      return title + " asks for a pause.";
    case TroubleKind::ServerDown:
      return title + " is out of order for now.";
    case TroubleKind::BadRequest:
      return title + " takes the request for wrong.";
    case TroubleKind::FormatChanged:
      return title + " answered in a form that its profile doesn't describe.";
  }
  return title;
}

std::optional<seconds> Wait_Of(const TroubleRule& rule, const SourceProfile& profile, sys_seconds now) {
  switch (rule.Wait) {
    case WaitRule::None:
      return std::nullopt;
    case WaitRule::Fixed:
      return rule.Fixed_Wait;
    case WaitRule::NextMinute:
      return floor<minutes>(now) + minutes{1} - now;
    case WaitRule::NextHour:
      return floor<hours>(now) + hours{1} - now;
    case WaitRule::NextDay: {
      const Zone& zone = profile.Pacing.Day_Zone;
      return zone.Moment({zone.Local(now).Date + days{1}, seconds{0}}) - now;
    }
  }
  return std::nullopt;
}

bool Holds(const AnswerTest& test, const UpstreamRequest& request, const SourceFeed& feed,
           const UpstreamResponse& response, const JsonTree* tree) {
  if (test.Status && *test.Status != response.Status) return false;
  if (!test.Where) return !test.Contains || Contains_Without_Case(response.Body, *test.Contains);
  if (tree == nullptr) return false;
  const auto place = tree->Find(JsonTree::Root, Expanded(*test.Where, request, feed));
  const bool is_missing = !place || tree->Kind(*place) == JsonKind::Null;
  if (is_missing || test.Missing) return is_missing && test.Missing;
  const string_view text = tree->Text(*place);
  return (!test.Equals || text == *test.Equals) &&
         (!test.Contains || Contains_Without_Case(text, *test.Contains));
}

std::optional<TroubleKind> Kind_Of_Status(int status) {
  if (status >= 200 && status < 300) return std::nullopt;
  if (status == 401) return TroubleKind::KeyRefused;
  if (status == 402) return TroubleKind::Quota;
  if (status == 403) return TroubleKind::NotAllowed;
  if (status == 408 || status >= 500) return TroubleKind::ServerDown;
  if (status == 429) return TroubleKind::Throttled;
  if (status >= 400 && status != 404 && status != 410) return TroubleKind::BadRequest;
  return TroubleKind::FormatChanged;
}

bool May_Wait(TroubleKind kind) {
  return kind == TroubleKind::Quota || kind == TroubleKind::Throttled || kind == TroubleKind::ServerDown;
}

std::optional<seconds> Retry_After(const UpstreamResponse& response, sys_seconds now) {
  for (const auto& [name, value] : response.Headers) {
    if (Equal_Without_Case(name, "retry-after")) return Read_Retry_After(value, now);
  }
  return std::nullopt;
}

std::optional<Trouble> Find_Trouble(const SourceProfile& profile, const UpstreamRequest& request,
                                    const UpstreamResponse& response, const JsonTree* tree, sys_seconds now) {
  Trouble trouble;
  const auto rule = std::ranges::find_if(profile.Troubles, [&](const TroubleRule& each) {
    return Holds(each.Test, request, profile.Feeds.at(request.Feed), response, tree);
  });
  if (rule != profile.Troubles.end()) {
    trouble.Kind = rule->Kind;
    trouble.Reason = rule->Sentence.empty() ? Sentence(profile, request, rule->Kind) : rule->Sentence;
    trouble.Wait = Wait_Of(*rule, profile, now);
    const auto said =
        rule->Test.Where && tree != nullptr
            ? tree->Find(JsonTree::Root, Expanded(*rule->Test.Where, request, profile.Feeds.at(request.Feed)))
            : std::nullopt;
    if (said && tree->Kind(*said) == JsonKind::Text && tree->Text(*said).find(' ') != string_view::npos)
      trouble.Reason += " It says: \"" + Quoted(tree->Text(*said), request) + "\"";
  } else if (const auto kind = Kind_Of_Status(response.Status)) {
    trouble.Kind = *kind;
    trouble.Reason =
        Sentence(profile, request, *kind) + " (HTTP status " + std::to_string(response.Status) + ")";
  } else {
    return std::nullopt;
  }
  if (May_Wait(trouble.Kind)) {
    if (const auto wait = Retry_After(response, now)) trouble.Wait = wait;
  }
  return trouble;
}

// ---- the whole ----

void Check_Symbol(const JsonTree& tree, const UpstreamRequest& request, const Path& echo) {
  if (echo.empty()) return;
  const auto place = tree.Find(JsonTree::Root, echo);
  if (!place || tree.Kind(*place) == JsonKind::Null) return;
  if (!Equal_Without_Case(tree.Text(*place), request.Spelled_Symbol))
    throw Change{"it is about \"" + Quoted(tree.Text(*place), request) + "\" instead of \"" +
                 request.Spelled_Symbol + "\""};
}

Zone Zone_Of(const JsonTree* tree, const SourceProfile& profile, const Path& path,
             const UpstreamRequest& request) {
  if (path.empty() || tree == nullptr) return profile.Market_Zone;
  const auto place = tree->Find(JsonTree::Root, path);
  if (!place || tree->Kind(*place) == JsonKind::Null) return profile.Market_Zone;
  const auto zone = Find_Zone(tree->Text(*place));
  if (!zone) {
    throw Change{"it names the time zone \"" + Quoted(tree->Text(*place), request) +
                 "\", which the program doesn't know"};
  }
  return *zone;
}

bool Is_Less_Safe(string_view address, string_view than) {
  return than.starts_with("https://") && !address.starts_with("https://");
}

std::optional<UpstreamRequest> Next_Request(const JsonTree& tree, const UpstreamRequest& request,
                                            const AnswerLayout& layout) {
  if (layout.Next_Page.empty()) return std::nullopt;
  const auto place = tree.Find(JsonTree::Root, layout.Next_Page);
  if (!place || tree.Kind(*place) == JsonKind::Null || tree.Text(*place).empty()) return std::nullopt;
  if (tree.Kind(*place) != JsonKind::Text) throw Change{"its next page is no text"};
  if (request.Page >= most_pages) throw Change{"it has more than " + std::to_string(most_pages) + " pages"};
  const std::string text{tree.Text(*place)};

  UpstreamRequest next = request;
  ++next.Page;
  if (layout.Page_Parameter.empty()) {
    const auto host = Host_Of(text);
    const auto is_plain = [](char c) { return c > ' ' && c < 0x7F; };
    if (!host || std::ranges::find(request.Hosts, *host) == request.Hosts.end() ||
        !std::ranges::all_of(text, is_plain) || Is_Less_Safe(text, request.Url))
      throw Change{"its next page is at another place than the service's"};
    next.Url = text;
  } else {
    const std::string marker = "&" + layout.Page_Parameter + "=";
    if (request.Page > 1) next.Url.resize(std::min(next.Url.rfind(marker), next.Url.size()));
    next.Url += marker + Percent_Encoded(text);
  }
  if (next.Url == request.Url) throw Change{"its next page is the same one again"};
  return next;
}

UpstreamBars Read_Bars(const SourceProfile& profile, const UpstreamRequest& request,
                       const UpstreamResponse& response, const JsonTree* tree, sys_seconds now) {
  const SourceFeed& feed = profile.Feeds.at(request.Feed);
  const AnswerLayout& layout = feed.Layout;
  const Zone zone = Zone_Of(tree, profile, layout.Zone_Name, request);
  const bool us_sessions =
      profile.Us_Sessions && (zone.Name() == "America/New_York" || zone.Name() == "US/Eastern");
  RowTaker taker{feed, request.Adjusted, zone, us_sessions, now};
  const auto take = [&taker](std::size_t number, const RowCells& cells) { taker.Take(number, cells); };
  if (layout.Shape == RowShape::Csv) {
    Walk_Lines(response.Body, layout, take);
    return taker.Finish();
  }
  Check_Symbol(*tree, request, layout.Symbol_Echo);
  const auto rows = tree->Find(JsonTree::Root, Expanded(layout.Rows, request, feed));
  if (!rows) throw Change{"it has no rows where they should be"};
  if (layout.Shape == RowShape::Columns) {
    Walk_Columns(*tree, *rows, layout, take);
  } else {
    Walk_Rows(*tree, *rows, layout, take);
  }
  UpstreamBars bars = taker.Finish();
  bars.Next = Next_Request(*tree, request, layout);
  return bars;
}

string_view Without_Blanks_Before(string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
}

// Whether JSON is to be looked for: CSV answers become JSON when something is wrong.
bool May_Be_Json(string_view body, RowShape shape) {
  return shape != RowShape::Csv || body.starts_with('{') || body.starts_with('[');
}

}  // namespace

UpstreamAnswer Read_Answer(const SourceProfile& profile, const UpstreamRequest& request,
                           const UpstreamResponse& response, sys_seconds now) {
  const RowShape shape = profile.Feeds.at(request.Feed).Layout.Shape;
  const string_view body = Without_Blanks_Before(response.Body);
  std::optional<JsonTree> tree;
  if (!body.empty() && May_Be_Json(body, shape)) {
    auto read = JsonTree::Read(response.Body);
    if (auto* json = std::get_if<JsonTree>(&read)) tree = std::move(*json);
  }
  if (auto trouble = Find_Trouble(profile, request, response, tree ? &*tree : nullptr, now)) return *trouble;

  const auto changed = [&](const std::string& reason) {
    return Trouble{TroubleKind::FormatChanged,
                   Sentence(profile, request, TroubleKind::FormatChanged) +
                       " In short: " + request.Without_Keys(reason) + ".",
                   {}};
  };
  if (body.empty()) return changed("it is empty");
  if (body.starts_with('<')) return changed("it is a web page instead of quotes");
  if (shape == RowShape::Csv ? tree.has_value() : !tree)
    return changed(tree ? "it is JSON instead of lines" : "it is no complete JSON");
  try {
    UpstreamBars bars = Read_Bars(profile, request, response, tree ? &*tree : nullptr, now);
    bars.Remark = bars.Remark.empty() ? "" : Quoted(bars.Remark, request);
    const bool has_no_rows = bars.Bars.empty() && !bars.Next && bars.Rows == 0;
    if (has_no_rows)
      return Trouble{TroubleKind::NothingThere, Sentence(profile, request, TroubleKind::NothingThere), {}};
    return bars;
  } catch (const Change& change) {
    return changed(change.Reason);
  }
}

std::optional<seconds> Read_Retry_After(string_view value, sys_seconds now) {
  constexpr seconds longest = days{31};
  value = Trimmed(value);
  if (value.empty()) return std::nullopt;
  if (value.find_first_not_of("0123456789") == string_view::npos) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc{}) return longest;
    return std::min(seconds{std::min<std::int64_t>(number, longest.count())}, longest);
  }
  // "Sun, 06 Nov 1994 08:49:37 GMT": the one form that servers may still write.
  constexpr string_view months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  if (value.size() != 29 || value.substr(25) != " GMT" || value[19] != ':' || value[22] != ':')
    return std::nullopt;
  const auto on = Digits(value, 5, 2);
  const auto in = months.find(value.substr(8, 3));
  const auto of = Digits(value, 12, 4);
  const auto hour = Digits(value, 17, 2);
  const auto minute = Digits(value, 20, 2);
  const auto second = Digits(value, 23, 2);
  if (!on || in == string_view::npos || in % 3 != 0 || !of || !hour || !minute || !second)
    return std::nullopt;
  const auto date = year{*of} / month{static_cast<unsigned>(in / 3 + 1)} / day{static_cast<unsigned>(*on)};
  if (!date.ok() || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
  const auto until = sys_days{date} + hours{*hour} + minutes{*minute} + seconds{*second};
  return std::clamp<seconds>(until - now, seconds{0}, longest);
}

}  // namespace hq::server
