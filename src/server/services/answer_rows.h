#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "server/services/json_tree.h"
#include "server/services/source_profile.h"

namespace hq::server {

// What makes an answer something else than its profile says. It never leaves the reader of answers.
struct AnswerChange {
  std::string Reason;
};

// An AnswerChange that names the row, which is counted from 0.
[[noreturn]] void Fail_At_Row(std::size_t row, const std::string& what);

// One value of a row.
struct Cell {
  // Whether the row has such a value at all; a null counts as one.
  bool Is_There = false;
  bool Is_Number_Or_Text = false;
  std::string_view Text;

  [[nodiscard]] bool Is_Empty() const {
    const auto is_word = [this](std::string_view word) { return Text == word; };
    constexpr auto words = std::to_array<std::string_view>({"", "null", "N/A", "None"});
    return Is_There && std::ranges::any_of(words, is_word);
  }
};

// The places of a row's values in RowCells.
namespace columns {
enum Column : std::size_t { Stamp, Open, High, Low, Close, Volume, Adjusted_Close, Split_Factor, Remark };
inline constexpr std::size_t column_count = Remark + 1;
inline constexpr auto column_names = std::to_array<std::string_view>(
    {"stamp", "open", "high", "low", "close", "volume", "adjusted close", "split factor", "remark"});
}  // namespace columns

using RowCells = std::array<Cell, columns::column_count>;

using TakeRow = std::function<void(std::size_t number, const RowCells& cells)>;

// Each of these hands the rows of one answer to `take`, as the layout says where their values are. They raise
// AnswerChange when the answer is not laid out so. The cells' texts are valid as long as the answer's.

// Rows of a list, or of an object whose names are the stamps.
void Walk_Rows(const JsonTree& tree, JsonTree::Place rows, const AnswerLayout& layout, const TakeRow& take);

// One list for each column.
void Walk_Columns(const JsonTree& tree, JsonTree::Place base, const AnswerLayout& layout,
                  const TakeRow& take);

// Lines of a CSV answer whose first one names the columns.
void Walk_Lines(std::string_view body, const AnswerLayout& layout, const TakeRow& take);

}  // namespace hq::server
