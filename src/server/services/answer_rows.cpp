#include "server/services/answer_rows.h"

#include <optional>
#include <variant>
#include <vector>

#include "base/strings.h"

namespace hq::server {

using namespace columns;
using std::string_view;

namespace {

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

}  // namespace

void Fail_At_Row(std::size_t row, const std::string& what) {
  throw AnswerChange{"row " + std::to_string(row + 1) + " " + what};
}

void Walk_Rows(const JsonTree& tree, JsonTree::Place rows, const AnswerLayout& layout, const TakeRow& take) {
  const bool is_keyed = layout.Shape == RowShape::Keyed;
  if (tree.Kind(rows) != (is_keyed ? JsonKind::Object : JsonKind::Array))
    throw AnswerChange{is_keyed ? "its rows are no object" : "its rows are no list"};
  const auto paths = Paths_Of(layout);
  std::size_t number = 0;
  for (auto row = tree.First(rows); row != tree.End(rows); row = tree.Next(row), ++number) {
    if (tree.Kind(row) != JsonKind::Object && tree.Kind(row) != JsonKind::Array)
      Fail_At_Row(number, "is neither an object nor a list");
    RowCells cells;
    for (std::size_t i = 0; i < column_count; ++i) {
      if (!paths[i]->empty()) cells[i] = Cell_At(tree, tree.Find(row, *paths[i]));
    }
    if (is_keyed) cells[columns::Stamp] = {true, true, tree.Name(row)};
    take(number, cells);
  }
}

void Walk_Columns(const JsonTree& tree, JsonTree::Place base, const AnswerLayout& layout,
                  const TakeRow& take) {
  const auto paths = Paths_Of(layout);
  std::array<std::optional<JsonTree::Place>, column_count> columns;
  std::array<JsonTree::Place, column_count> next{};
  for (std::size_t i = 0; i < column_count; ++i) {
    if (paths[i]->empty()) continue;
    columns[i] = tree.Find(base, *paths[i]);
    if (!columns[i] && (i == Volume || i == Remark)) continue;
    if (!columns[i] || tree.Kind(*columns[i]) != JsonKind::Array)
      throw AnswerChange{"it has no list of the " + std::string{column_names[i]} + "s"};
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
    if (ended > 0) throw AnswerChange{"its lists differ in length"};
    take(number, cells);
  }
}

void Walk_Lines(string_view body, const AnswerLayout& layout, const TakeRow& take) {
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
          throw AnswerChange{"its header has no \"" + word + "\""};
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
  if (header_fields == 0) throw AnswerChange{"it is empty"};
}

}  // namespace hq::server
