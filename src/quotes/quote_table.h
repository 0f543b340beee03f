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
  explicit QuoteKey(std::string_view text) {
    const size_t length = text.size() < Longest ? text.size() : Longest;
    std::memcpy(bytes_.data(), text.data(), length);
    bytes_[Longest] = static_cast<unsigned char>(length);
  }

  [[nodiscard]] std::string_view Text() const {
    return {reinterpret_cast<const char*>(bytes_.data()), bytes_[Longest]};
  }
  // Characters first to first + count - 1, counted from 1; fewer where the key is shorter.
  [[nodiscard]] std::string_view Characters(size_t first, size_t count) const {
    return first > Text().size() ? std::string_view() : Text().substr(first - 1, count);
  }
  // "MM/DD/YY"
  [[nodiscard]] std::string_view DateText() const { return Characters(1, 8); }
  // "HH:MM"
  [[nodiscard]] std::string_view TimeText() const { return Characters(10, 5); }
  // "MM/DD/YY HH:MM"
  [[nodiscard]] std::string_view DateTimeText() const { return Characters(1, 14); }
  // The last four characters: the row's number, up to row 9999.
  [[nodiscard]] std::string_view RowText() const {
    return Text().size() < 4 ? Text() : Text().substr(Text().size() - 4);
  }

  // By character code. The zeros behind a text and its length behind them let whole words be compared.
  friend bool operator<(const QuoteKey& one, const QuoteKey& other) {
    for (size_t at = 0; at < Bytes - WordBytes; at += WordBytes) {
      const std::uint64_t word = one.Word(at);
      const std::uint64_t other_word = other.Word(at);
      if (word != other_word) return word < other_word;
    }
    return one.Word(Bytes - WordBytes) < other.Word(Bytes - WordBytes);
  }
  friend bool operator==(const QuoteKey& one, const QuoteKey& other) { return one.Text() == other.Text(); }

 private:
  static constexpr size_t WordBytes = sizeof(std::uint64_t);
  static constexpr size_t Bytes = 3 * WordBytes;
  static constexpr size_t Longest = Bytes - 1;

  // Eight bytes as a number of which the first byte weighs most.
  [[nodiscard]] std::uint64_t Word(size_t at) const {
    std::uint64_t word = 0;
    for (size_t i = 0; i < WordBytes; ++i) word = word << 8U | bytes_[at + i];
    return word;
  }

  std::array<unsigned char, Bytes> bytes_{};  // the text, zeros, and the text's length in the last byte
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
