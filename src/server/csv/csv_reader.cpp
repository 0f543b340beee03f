#include "server/csv/csv_reader.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <optional>
#include <unordered_map>
#include <utility>

#include "base/strings.h"
#include "market/exchange_clock.h"
#include "server/csv/csv_fields.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using std::string_view;

constexpr Day first_day = year{1950} / January / 1;
constexpr Day end_day = year{2050} / January / 1;
// A header stands within this many lines or nowhere.
constexpr std::size_t last_header_line = 30;
constexpr std::size_t most_fields = 256;

using Fields = std::vector<string_view>;

// Hands out the lines of a text, whether they end in LF, CR LF or CR.
class LineReader {
 public:
  explicit LineReader(string_view text) : rest_(text) {}

  std::optional<string_view> Next() {
    if (rest_.empty()) return std::nullopt;
    ++number_;
    const auto end = rest_.find_first_of("\r\n");
    const string_view line = rest_.substr(0, end);
    if (end == string_view::npos) {
      rest_ = {};
    } else {
      rest_.remove_prefix(rest_.substr(end, 2) == "\r\n" ? end + 2 : end + 1);
    }
    return line;
  }

  [[nodiscard]] std::size_t Number() const { return number_; }

 private:
  string_view rest_;
  std::size_t number_ = 0;
};

// The end of the quoted text that begins at `begin`: the index of its closing quote, or the line's end.
std::size_t Closing_Quote(string_view line, std::size_t begin) {
  for (std::size_t i = begin + 1; i < line.size(); ++i) {
    if (line[i] != '"') continue;
    if (i + 1 < line.size() && line[i + 1] == '"') {
      ++i;
      continue;
    }
    return i;
  }
  return line.size();
}

// Some exports put each whole line into quotes, with the separators inside.
string_view Without_Line_Quotes(string_view line) {
  const string_view trimmed = Trimmed(line);
  if (trimmed.size() < 2 || trimmed.front() != '"' || Closing_Quote(trimmed, 0) != trimmed.size() - 1)
    return line;
  const string_view inner = trimmed.substr(1, trimmed.size() - 2);
  return inner.find_first_of(",;\t") == string_view::npos ? line : inner;
}

char Find_Delimiter(string_view line) {
  std::size_t commas = 0;
  std::size_t semicolons = 0;
  std::size_t tabs = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') i = Closing_Quote(line, i);
    if (i >= line.size()) break;
    commas += line[i] == ',' ? 1U : 0U;
    semicolons += line[i] == ';' ? 1U : 0U;
    tabs += line[i] == '\t' ? 1U : 0U;
  }
  // Commas may be decimal marks between the others, never the other way round.
  constexpr std::size_t few = 3;
  if (tabs >= few) return '\t';
  if (semicolons >= few) return ';';
  if (commas >= few) return ',';
  return tabs > 0 ? '\t' : semicolons > 0 ? ';' : ',';
}

void Split(string_view line, char delimiter, Fields& fields) {
  fields.clear();
  std::size_t begin = 0;
  for (std::size_t i = 0; fields.size() < most_fields; ++i) {
    if (i < line.size() && line[i] == '"') i = Closing_Quote(line, i);
    if (i < line.size() && line[i] != delimiter) continue;
    string_view field = Trimmed(line.substr(begin, std::min(i, line.size()) - begin));
    if (field.size() >= 2 && field.front() == '"' && field.back() == '"') {
      field = Trimmed(field.substr(1, field.size() - 2));
    }
    fields.push_back(field);
    if (i >= line.size()) return;
    begin = i + 1;
  }
}

// Where the values of a bar stand in a line.
struct Layout {
  char Delimiter = ',';
  std::size_t Date = 0;
  std::optional<std::size_t> Time;
  std::optional<std::size_t> Open;
  std::optional<std::size_t> High;
  std::optional<std::size_t> Low;
  std::size_t Close = 0;
  std::optional<std::size_t> Volume;
  // Stands in for the volume in files whose volumes are all 0.
  std::optional<std::size_t> Ticks;
  // How many columns the header names; none without a header.
  std::optional<std::size_t> Columns;
};

// A header word with nothing left but what tells it apart: "<Vol.>" and "VOL" are the same.
std::string Plain_Word(string_view field) {
  std::string word;
  for (const char c : field) {
    if (c >= 'A' && c <= 'Z') word += static_cast<char>(c - 'A' + 'a');
    const bool plain =
        (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '/' || static_cast<unsigned char>(c) >= 0x80;
    if (plain) word += c;
  }
  return word;
}

std::optional<std::size_t> Find_Column(const std::vector<std::string>& words,
                                       std::initializer_list<string_view> names) {
  for (const string_view name : names) {
    const auto found = std::ranges::find(words, name);
    if (found != words.end()) return static_cast<std::size_t>(found - words.begin());
  }
  return std::nullopt;
}

// Header words in English, Polish and German, the usual name first.
std::optional<Layout> Layout_From_Header(const Fields& fields, char delimiter) {
  std::vector<std::string> words;
  for (const string_view field : fields) words.push_back(Plain_Word(field));

  Layout layout;
  layout.Delimiter = delimiter;
  auto date = Find_Column(
      words, {"date", "datetime", "timestamp", "datetimeutc", "tradedate", "day", "data", "datum"});
  auto time = Find_Column(words, {"time", "czas", "zeit", "uhrzeit"});
  if (!date) std::swap(date, time);
  if (!date) return std::nullopt;
  layout.Date = *date;
  layout.Time = time;
  layout.Open = Find_Column(words, {"open", "otwarcie",
                                    ("er\xc3\xb6"
                                     "ffnung"),
                                    "erster"});
  layout.High = Find_Column(words, {"high", "najwyzszy", "hoch", "tageshoch"});
  layout.Low = Find_Column(words, {"low", "najnizszy", "tief", "tagestief"});
  layout.Volume = Find_Column(words, {"volume", "vol", "totalvolume", "wolumen", "volumen",
                                      ("st\xc3\xbc"
                                       "cke")});
  layout.Ticks = Find_Column(words, {"tickvol", "tickvolume"});
  const auto close =
      Find_Column(words, {"close", "close/last", "last", "price", "zamkniecie", "schluss", "schlusskurs"});
  if (close) {
    layout.Close = *close;
    return layout;
  }
  // An index that is published once a day has a column of its own name beside the date.
  if (fields.size() != 2 || layout.Time || words[1 - layout.Date].empty()) return std::nullopt;
  layout.Close = 1 - layout.Date;
  return layout;
}

// The usual order of a file without a header: date, time if there is one, open, high, low, close, volume. A
// symbol and a period may stand before them.
std::optional<Layout> Layout_From_Values(const Fields& fields, char delimiter) {
  const auto is_number = [&fields](std::size_t i) {
    return i < fields.size() &&
           (Read_Price(fields[i], DecimalMark::Point) || Read_Price(fields[i], DecimalMark::Comma));
  };
  const auto is_date = [](string_view field) {
    return Read_Stamp(field, DateOrder::MonthFirst) || Read_Stamp(field, DateOrder::DayFirst);
  };
  Layout layout;
  layout.Delimiter = delimiter;
  while (layout.Date < 3 && layout.Date < fields.size() && !is_date(fields[layout.Date])) ++layout.Date;
  if (layout.Date == 3 || layout.Date >= fields.size()) return std::nullopt;

  std::size_t next = layout.Date + 1;
  if (fields.size() >= next + 5 && Read_Time(fields[next])) {
    // A time without colons looks like a price; it is one if the four numbers from it on make a bar.
    const bool has_colon = fields[next].find(':') != string_view::npos;
    const auto price = [&](std::size_t i) {
      return Read_Price(fields[next + i], DecimalMark::Point).value_or(0);
    };
    const bool makes_bar =
        price(1) >= std::max(price(0), price(3)) && price(2) <= std::min(price(0), price(3)) && price(2) > 0;
    if (has_colon || !makes_bar) layout.Time = next++;
  }
  for (std::size_t i = next; i < next + 4; ++i) {
    if (!is_number(i)) return std::nullopt;
  }
  layout.Open = next;
  layout.High = next + 1;
  layout.Low = next + 2;
  layout.Close = next + 3;
  if (next + 4 < fields.size()) layout.Volume = next + 4;
  return layout;
}

// How the ambiguous fields of a text are read, and what its lines have shown about that.
struct Reading {
  DateOrder Order = DateOrder::MonthFirst;
  DecimalMark Mark = DecimalMark::Point;
};

struct Row {
  Bar Quote;
  bool Universal = false;
  std::int64_t Ticks = 0;
};

enum class RowKind { Quote, NoData, Bad };

// One pass over a text.
class Pass {
 public:
  Pass(string_view text, Reading reading) : reading_(reading) {
    LineReader lines{text};
    while (const auto line = lines.Next()) {
      if (Trimmed(*line).empty()) continue;
      line_number_ = lines.Number();
      Read_Line(Without_Line_Quotes(*line));
    }
  }

  // The reading that fits the text better than the one this pass was made with; none when there is none.
  [[nodiscard]] std::optional<Reading> Better_Reading() const {
    Reading better = reading_;
    if (day_first_lines_ > 0 && month_first_lines_ == 0) better.Order = DateOrder::DayFirst;
    if (decimal_commas_ > 0 && decimal_points_ == 0) better.Mark = DecimalMark::Comma;
    if (better.Order == reading_.Order && better.Mark == reading_.Mark) return std::nullopt;
    return better;
  }

  CsvTable Take_Table() {
    Convert_Universal_Times();
    Choose_Volume();
    Keep_One_Per_Stamp();
    table_.Bars.reserve(rows_.size());
    Find_Bar_Length();
    for (const Row& row : rows_) table_.Bars.push_back(row.Quote);
    return std::move(table_);
  }

 private:
  void Read_Line(string_view line) {
    if (!layout_) {
      if (Find_Layout(line)) return;
      if (!layout_) return Bad("it is neither a header nor quotes");
    }
    Split(line, layout_->Delimiter, fields_);
    Row row;
    std::string reason;
    switch (Read_Row(row, reason)) {
      case RowKind::Quote:
        rows_.push_back(row);
        break;
      case RowKind::NoData:
        ++table_.Lines_Without_Data;
        break;
      case RowKind::Bad:
        Bad(std::move(reason));
        break;
    }
  }

  // Says whether the line was a header. A line of quotes sets the layout too, and is still to be read.
  bool Find_Layout(string_view line) {
    if (line_number_ > last_header_line) return false;
    const char delimiter = Find_Delimiter(line);
    Split(line, delimiter, fields_);
    layout_ = Layout_From_Header(fields_, delimiter);
    if (layout_) {
      layout_->Columns = fields_.size();
      return true;
    }
    layout_ = Layout_From_Values(fields_, delimiter);
    return false;
  }

  void Bad(std::string reason) {
    ++table_.Bad_Line_Count;
    if (table_.Bad_Lines.size() < most_bad_lines)
      table_.Bad_Lines.push_back({line_number_, std::move(reason)});
  }

  [[nodiscard]] string_view Field(std::size_t column) const {
    return column < fields_.size() ? fields_[column] : string_view{};
  }

  RowKind Read_Row(Row& row, std::string& reason) {
    if (fields_.size() <= std::max(layout_->Date, layout_->Close)) {
      reason = "it has too few fields";
      return RowKind::Bad;
    }
    // Thousands separators without quotes look so, and would move every value behind them.
    const std::size_t columns = std::min(layout_->Columns.value_or(fields_.size()), fields_.size());
    if (!std::all_of(fields_.begin() + static_cast<std::ptrdiff_t>(columns), fields_.end(),
                     [](string_view field) { return field.empty(); })) {
      reason = "it has more fields than the header";
      return RowKind::Bad;
    }
    if (!Read_Moment(row, reason)) return RowKind::Bad;

    row.Quote.Close = 0;
    const RowKind kind = Read_Prices(row.Quote, reason);
    if (kind != RowKind::Quote) return kind;

    for (auto [column, volume] :
         {std::pair{layout_->Volume, &row.Quote.Volume}, std::pair{layout_->Ticks, &row.Ticks}}) {
      if (!column) continue;
      const auto read = Read_Volume(Field(*column), reading_.Mark);
      if (!read) {
        reason = "its volume is no number";
        return RowKind::Bad;
      }
      *volume = *read;
    }
    return RowKind::Quote;
  }

  bool Read_Moment(Row& row, std::string& reason) {
    const string_view date = Field(layout_->Date);
    const auto stamp = Read_Stamp(date, reading_.Order);
    Note_Date_Order(date, stamp.has_value());
    if (!stamp) {
      reason = Read_Time(date) && date.find(':') != string_view::npos ? "its date is only a time"
                                                                      : "its date is no date";
      return false;
    }
    row.Quote.Date = stamp->Date;
    row.Quote.Start = stamp->Time.value_or(seconds{0});
    row.Universal = stamp->Universal;
    if (layout_->Time && !stamp->Time && !Is_No_Value(Field(*layout_->Time))) {
      const auto time = Read_Time(Field(*layout_->Time));
      if (!time) {
        reason = "its time is no time of day";
        return false;
      }
      row.Quote.Start = *time;
    }
    if (stamp->Date < first_day || stamp->Date >= end_day) {
      reason = "its date is outside the years 1950 to 2049";
      return false;
    }
    return true;
  }

  // Dates whose first or second number is above 12 show which one is the day.
  void Note_Date_Order(string_view date, bool is_read) {
    const auto slash = date.find('/');
    if (slash > 2) return;  // also when there is none
    const auto other = reading_.Order == DateOrder::MonthFirst ? DateOrder::DayFirst : DateOrder::MonthFirst;
    const bool is_read_otherwise = Read_Stamp(date, other).has_value();
    if (is_read == is_read_otherwise) return;
    const bool month_first = is_read == (reading_.Order == DateOrder::MonthFirst);
    ++(month_first ? month_first_lines_ : day_first_lines_);
  }

  RowKind Read_Prices(Bar& bar, std::string& reason) {
    const string_view close_field = Field(layout_->Close);
    const std::array<std::pair<std::optional<std::size_t>, double*>, 4> columns = {
        {{layout_->Close, &bar.Close},
         {layout_->Open, &bar.Open},
         {layout_->High, &bar.High},
         {layout_->Low, &bar.Low}}};
    for (const auto& [column, price] : columns) {
      const string_view field = column ? Field(*column) : close_field;
      if (Is_No_Value(field)) {
        if (column && *column >= fields_.size()) {
          reason = "it has too few fields";
          return RowKind::Bad;
        }
        return RowKind::NoData;
      }
      const auto read = Read_Price(field, reading_.Mark);
      Note_Decimal_Mark(field, read.has_value());
      if (!read) {
        reason = "a price in it is no number";
        return RowKind::Bad;
      }
      *price = *read;
    }
    // Old index histories have no opening prices and write 0 instead.
    for (double* price : {&bar.Open, &bar.High, &bar.Low}) {
      if (*price == 0) *price = bar.Close;
    }
    if (bar.High < bar.Low) {
      reason = "its high is below its low";
      return RowKind::Bad;
    }
    return RowKind::Quote;
  }

  void Note_Decimal_Mark(string_view field, bool is_read) {
    if (field.find_first_of(reading_.Mark == DecimalMark::Point ? "." : ",") != string_view::npos &&
        is_read) {
      ++(reading_.Mark == DecimalMark::Point ? decimal_points_ : decimal_commas_);
    } else if (!is_read && reading_.Mark == DecimalMark::Point && Read_Price(field, DecimalMark::Comma)) {
      ++decimal_commas_;
    }
  }

  // Midnights in universal time are dates written as moments; moved to New York they would be the evening
  // before.
  void Convert_Universal_Times() {
    const auto is_midnight = [](const Row& row) { return !row.Universal || row.Quote.Start == seconds{0}; };
    if (std::ranges::all_of(rows_, is_midnight)) return;
    for (Row& row : rows_) {
      if (!row.Universal) continue;
      const ExchangeTime local = New_York_Time(row.Quote.Date + row.Quote.Start);
      row.Quote.Date = local.Date;
      row.Quote.Start = local.Time;
    }
    std::erase_if(rows_, [](const Row& row) { return row.Quote.Date < first_day; });
  }

  void Choose_Volume() {
    if (!layout_ || !layout_->Ticks) return;
    if (std::ranges::any_of(rows_, [](const Row& row) { return row.Quote.Volume != 0; })) return;
    for (Row& row : rows_) row.Quote.Volume = row.Ticks;
  }

  // Sorts the rows, and keeps the last one in the text of those that `same` takes for the same.
  template <class Same>
  void Keep_Last(Same same) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
      if (kept > 0 && same(rows_[kept - 1].Quote, rows_[i].Quote)) --kept;
      rows_[kept++] = rows_[i];
    }
    rows_.resize(kept);
  }

  void Keep_One_Per_Stamp() {
    std::ranges::stable_sort(
        rows_, [](const Row& left, const Row& right) { return Earlier(left.Quote, right.Quote); });
    Keep_Last([](const Bar& left, const Bar& right) {
      return left.Date == right.Date && left.Start == right.Start;
    });
  }

  void Find_Bar_Length() {
    std::unordered_map<seconds::rep, std::size_t> distances;
    std::size_t distance_count = 0;
    std::size_t days_count = rows_.empty() ? 0 : 1;
    for (std::size_t i = 1; i < rows_.size(); ++i) {
      const Bar& before = rows_[i - 1].Quote;
      const Bar& after = rows_[i].Quote;
      if (before.Date != after.Date) {
        ++days_count;
        continue;
      }
      ++distances[(after.Start - before.Start).count()];
      ++distance_count;
    }
    // A daily file may hold a second row of a day that was saved while it went on.
    if (distance_count * 10 >= days_count && distance_count > 0) {
      table_.Bar_Length = seconds{Most_Common(distances)};
      return;
    }
    Keep_Last([](const Bar& left, const Bar& right) { return left.Date == right.Date; });
    for (Row& row : rows_) row.Quote.Start = session_open;
    distances.clear();
    for (std::size_t i = 1; i < rows_.size(); ++i) {
      ++distances[(rows_[i].Quote.Date - rows_[i - 1].Quote.Date).count()];
    }
    // Two bars may stand apart for any reason, such as holidays.
    constexpr int shortest_week = 5;
    const auto common = rows_.size() < 3 ? 1 : Most_Common(distances);
    if (common >= shortest_week) table_.Bar_Length = days{common};
  }

  // The most common distance, the shortest one of several.
  static seconds::rep Most_Common(const std::unordered_map<seconds::rep, std::size_t>& distances) {
    std::pair<std::size_t, seconds::rep> best{0, 0};
    for (const auto& [distance, count] : distances) best = std::max(best, std::pair{count, -distance});
    return -best.second;
  }

  Reading reading_;
  CsvTable table_;
  std::vector<Row> rows_;
  std::optional<Layout> layout_;
  Fields fields_;
  std::size_t line_number_ = 0;
  std::size_t month_first_lines_ = 0;
  std::size_t day_first_lines_ = 0;
  std::size_t decimal_points_ = 0;
  std::size_t decimal_commas_ = 0;
};

}  // namespace

CsvTable Read_Csv(string_view text) {
  CsvTable none;
  if (text.starts_with("\xff\xfe") || text.starts_with("\xfe\xff")) {
    none.Bad_Lines.push_back({1, "the file is UTF-16 text; save it as UTF-8"});
    none.Bad_Line_Count = 1;
    return none;
  }
  if (text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
  Pass pass{text, {}};
  if (const auto better = pass.Better_Reading()) return Pass{text, *better}.Take_Table();
  return pass.Take_Table();
}

}  // namespace hq::server
