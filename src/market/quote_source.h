#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "market/bar.h"
#include "market/source_status.h"

namespace hq::server {

// Why a source has no bars for a request.
enum class FailureKind {
  // The source does not know the symbol.
  UnknownSymbol,
  // The source knows the symbol, but can't make bars of the interval asked for from what it has.
  Unsuitable,
  // The source's data can't be read at all.
  Unreadable,
  // The source can't be reached or must not be asked now; later it may answer.
  Unavailable,
};

// A request that came to nothing.
struct Failure {
  FailureKind Kind = FailureKind::Unreadable;
  // One sentence for the trader, without a line end; it may hold text from the request or from files as it
  // stood there.
  std::string Reason;
};

// Bars of one interval, oldest first, with at most one bar for a day and a start.
struct BarTable {
  std::vector<Bar> Bars;
  // How many decimals the prices are written with: 0 to 9, or none for as many as each price needs.
  std::optional<int> Decimals;
  // Where the bars come from, in a few words for the line before them; empty when nothing need be said.
  std::string Source;
};

// What a source says to a request. An empty table means that it knows the symbol and has no session in the
// time asked for.
using Answer = std::variant<BarTable, Failure>;

// What a client asks of a source.
struct QuoteRequest {
  // 1 to 60 characters; letter case does not count.
  std::string Symbol;
  // 1, 5, 10, 20, 30, 60 minutes, or daily_interval.
  int Interval = daily_interval;
  // The sessions wanted lie before this day; without it, the latest sessions are wanted.
  std::optional<Day> Before;
  // How many sessions are wanted at most; at least 1.
  int Sessions = 1;
};

// A symbol as the search page shows it.
struct SymbolEntry {
  std::string Symbol;
  std::string Description;
};

// Takes one line, without a line end, about something in a source's data that was passed over. It may be
// called from several threads at once.
using Reporter = std::function<void(const std::string& line)>;

// Where quotes come from. All methods may be called from several threads at once.
class QuoteSource {
 public:
  virtual ~QuoteSource() = default;

  // The bars of the last sessions before the day asked for. A table that is not empty begins with a bar at
  // 09:30, because a client takes that stamp for the beginning of the data. Raises std::bad_alloc only.
  [[nodiscard]] virtual Answer Bars(const QuoteRequest& request) = 0;

  // The symbols whose name or description holds `text` in any letter case, sorted by name, at most `limit`;
  // with an empty text, the symbols the source would show first.
  [[nodiscard]] virtual std::vector<SymbolEntry> Find_Symbols(std::string_view text, std::size_t limit) = 0;

  // One sentence that says where the quotes come from, and plainly so when they are not real.
  [[nodiscard]] virtual std::string Description() const = 0;

  // Whether the quotes were traded on a market.
  [[nodiscard]] virtual bool Real_Quotes() const = 0;

  // The sources that are asked, in their order, with their states; none when there is but this one.
  [[nodiscard]] virtual std::vector<SourceStatus> Sources() { return {}; }

  // The size in bytes of the file in which what was fetched is kept; none when there is no such file.
  [[nodiscard]] virtual std::optional<std::uintmax_t> Archive_Size() const { return std::nullopt; }

  // While it is on, requests under way and new ones don't wait for anything from outside: they end within a
  // quarter of a second, with what there is.
  virtual void Give_Up(bool /*on*/) {}

 protected:
  QuoteSource() = default;
  QuoteSource(const QuoteSource&) = default;
  QuoteSource& operator=(const QuoteSource&) = default;
};

}  // namespace hq::server
