#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "base/run_time_error.h"

namespace hq {

// A bar's key: "MM/DD/YY HH:MM" and the number of the bar's row of values in at least four digits. Held in
// place, since a table has thousands of them and every one is copied by the sort.
class QuoteKey {
 public:
  QuoteKey() = default;
  // Text beyond the longest key that the parser can make is cut.
  explicit QuoteKey(std::string_view text)
      : length_(static_cast<std::uint8_t>(text.size() < Longest ? text.size() : Longest)) {
    std::memcpy(text_.data(), text.data(), length_);
  }

  [[nodiscard]] std::string_view Text() const { return {text_.data(), length_}; }
  // Characters first to first + count - 1, counted from 1; fewer where the key is shorter.
  [[nodiscard]] std::string_view Characters(size_t first, size_t count) const {
    return first > length_ ? std::string_view() : Text().substr(first - 1, count);
  }
  // "MM/DD/YY"
  [[nodiscard]] std::string_view DateText() const { return Characters(1, 8); }
  // "HH:MM"
  [[nodiscard]] std::string_view TimeText() const { return Characters(10, 5); }
  // "MM/DD/YY HH:MM"
  [[nodiscard]] std::string_view DateTimeText() const { return Characters(1, 14); }
  // The last four characters: the row's number, up to row 9999.
  [[nodiscard]] std::string_view RowText() const {
    return length_ < 4 ? Text() : Text().substr(static_cast<size_t>(length_) - 4);
  }

  friend bool operator<(const QuoteKey& one, const QuoteKey& other) { return one.Text() < other.Text(); }
  friend bool operator==(const QuoteKey& one, const QuoteKey& other) { return one.Text() == other.Text(); }

 private:
  static constexpr size_t Longest = 23;
  std::array<char, Longest> text_{};
  std::uint8_t length_ = 0;
};

// The bars of one symbol. Only QuoteKeys is ever reordered; a key's last four characters name its row of
// QuoteValues.
struct QuoteTable {
  static constexpr int Columns = 6;  // open, high, low, close, volume, and one that stays empty

  std::int16_t QuoteCount = 0;                          // rows 0 to QuoteCount - 1 hold bars
  std::vector<QuoteKey> QuoteKeys;                      // two more than there are rows
  std::vector<std::array<float, Columns>> QuoteValues;  // likewise
  std::int16_t FirstRow = 0;                            // the first row to be written

  // The key of a row. Raises SubscriptOutOfRange.
  [[nodiscard]] const QuoteKey& Key(int row) const {
    if (row < 0 || static_cast<size_t>(row) >= QuoteKeys.size()) throw RunTimeError(SubscriptOutOfRange);
    return QuoteKeys[static_cast<size_t>(row)];
  }
  // One number of a row. Raises SubscriptOutOfRange.
  [[nodiscard]] float Value(int row, int column) const {
    if (row < 0 || static_cast<size_t>(row) >= QuoteValues.size() || column < 0 || column >= Columns) {
      throw RunTimeError(SubscriptOutOfRange);
    }
    return QuoteValues[static_cast<size_t>(row)][static_cast<size_t>(column)];
  }
};

}  // namespace hq
