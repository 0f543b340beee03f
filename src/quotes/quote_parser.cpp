#include "quotes/quote_parser.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "base/numbers.h"
#include "errortrap/procedure.h"

namespace hq {

namespace {

constexpr std::string_view OpeningTime = ",0930,";
constexpr size_t DateDigits = 6;
constexpr int LastField = 6;
constexpr const char* NoData = "Server returns no data. try later!";
constexpr const char* IncompleteData = "Incomplete data received! retry!";
constexpr const char* BadData = "Bad data inside received stream. try to re-download!";

std::string_view Middle(std::string_view text, size_t first, size_t count) {
  return first >= text.size() ? std::string_view() : text.substr(first, count);
}

// A key put together without an allocation: no part of it can be longer than a few characters.
class KeyText {
 public:
  KeyText& operator<<(std::string_view text) {
    const size_t count = std::min(text.size(), buffer_.size() - length_);
    std::copy_n(text.data(), count, buffer_.data() + length_);
    length_ += count;
    return *this;
  }
  // The number with the pattern "0000": four digits, more when it needs more.
  void Append_Row(int row) {
    for (int limit = 1000; row < limit && limit > 1; limit /= 10) *this << "0";
    std::array<char, 8> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), row).ptr;
    *this << std::string_view(digits.data(), static_cast<size_t>(end - digits.data()));
  }
  [[nodiscard]] std::string_view Text() const { return {buffer_.data(), length_}; }

 private:
  std::array<char, 32> buffer_{};
  size_t length_ = 0;
};

// Reads one line into a row. False when it has fewer than six commas.
bool Read_Line(std::string_view line, int row, QuoteTable& table) {
  auto& values = table.QuoteValues[static_cast<size_t>(row)];
  KeyText key;
  for (int field = 0; field < LastField; ++field) {
    const size_t comma = line.find(',');
    if (comma == std::string_view::npos) return false;
    const std::string_view text = line.substr(0, comma);
    line.remove_prefix(comma + 1);
    if (field == 0) {
      key << Middle(text, 2, 2) << "/" << Middle(text, 4, 2) << "/" << Middle(text, 0, 2);
    } else if (field == 1) {
      key << " " << Middle(text, 0, 2) << ":" << text.substr(text.size() - std::min<size_t>(text.size(), 2));
      key.Append_Row(row);
    } else {
      values[static_cast<size_t>(field) - 2] = To_Single(text);
    }
  }
  values[4] = To_Single(line);
  table.QuoteKeys[static_cast<size_t>(row)] = QuoteKey(key.Text());
  return true;
}

constexpr size_t LongestQuotedLine = 200;

// The line at a place of the answer, for a person: with its number and without what can't be printed.
std::string Quoted_Line(std::string_view answer, size_t place) {
  const std::string_view before = answer.substr(0, place);
  const size_t line_feed = before.rfind('\n');
  const size_t begin = line_feed == std::string_view::npos ? 0 : line_feed + 1;
  std::string_view line = answer.substr(begin, answer.find('\n', begin) - begin);
  if (line.ends_with('\r')) line.remove_suffix(1);
  const bool is_cut = line.size() > LongestQuotedLine;
  std::string text = "line " + std::to_string(std::count(before.begin(), before.end(), '\n') + 1) + ": ";
  for (const char c : line.substr(0, LongestQuotedLine)) text += c < ' ' || c > '~' ? '?' : c;
  return is_cut ? text + "..." : text;
}

void Refuse(TransferState& transfer, QuoteTable& table, const char* message) {
  transfer.ResponseText.clear();
  transfer.TransferStatus = message;
  table.QuoteCount = 0;
}

}  // namespace

void Process_Interday(modFailSafe& trap, TransferState& transfer, QuoteTable& table) {
  // Where in the answer the parser is.
  size_t place = 0;
  With_Own_Handler(
      trap, {"global.bas", "Sub Process_Interday"},
      [&] {
        table.QuoteCount = 0;
        transfer.Trouble.clear();
        const size_t opening = transfer.ResponseText.find(OpeningTime);
        if (opening == std::string::npos) return Refuse(transfer, table, NoData);
        place = opening;
        if (opening < DateDigits)
          throw RunTimeError(InvalidProcedureCall, "no date before the first bar's time");

        std::string_view rest(transfer.ResponseText);
        rest.remove_prefix(opening - DateDigits);
        place = std::string::npos;
        table.QuoteCount = Narrow_To_16(std::count(rest.begin(), rest.end(), '\n'));
        const auto rows = static_cast<size_t>(table.QuoteCount) + 2;
        table.QuoteValues.assign(rows, {});
        table.QuoteKeys.assign(rows, {});
        for (int row = 0; row < table.QuoteCount; ++row) {
          place = transfer.ResponseText.size() - rest.size();
          const size_t line_feed = rest.find('\n');
          if (!Read_Line(rest.substr(0, line_feed), row, table)) {
            transfer.Trouble = Quoted_Line(transfer.ResponseText, place);
            return Refuse(transfer, table, IncompleteData);
          }
          rest.remove_prefix(line_feed + 1);
        }
        transfer.ResponseText.erase(0, transfer.ResponseText.size() - rest.size());
      },
      [&](const RunTimeError&) {
        transfer.TransferStatus = BadData;
        transfer.Trouble = place == std::string::npos ? "the answer has more than 32767 lines"
                                                      : Quoted_Line(transfer.ResponseText, place);
        table.QuoteCount = 0;
      });
}

}  // namespace hq
