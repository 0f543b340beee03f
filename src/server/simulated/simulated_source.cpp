#include "server/simulated/simulated_source.h"

#include <algorithm>
#include <array>

#include "base/strings.h"
#include "market/trading_calendar.h"
#include "server/simulated/simulated_market.h"

namespace hq::server {
namespace {

using namespace std::chrono;

// Outside these days the two year digits of an answer would name another century.
constexpr Day first_day = year{1950} / January / 1;
constexpr Day end_day = year{2050} / January / 1;

constexpr auto sample_symbols = std::to_array<std::string_view>(
    {"AA",  "AAPL", "AMD",        "AMZN",      "BA",        "BRK.B",        "C",         "CAT", "CSCO", "DIS",
     "F",   "GE",   "GOOG",       "HD",        "IBM",       "INTC",         "JNJ",       "JPM", "KO",   "MCD",
     "MMM", "MRK",  "MSFT",       "NKE",       "NVDA",      "ORCL",         "PFE",       "PG",  "SPY",  "T",
     "WMT", "XOM",  "index:COMP", "index:DJI", "index:SPX", "mutual:ABCDX", "opra:XYZAB"});

std::string_view Describe(SecurityKind kind) {
  switch (kind) {
    case SecurityKind::MutualFund:
      return "simulated mutual fund";
    case SecurityKind::Index:
      return "simulated index";
    case SecurityKind::Option:
      return "simulated option";
    case SecurityKind::Share:
      break;
  }
  return "simulated share";
}

Day Day_After_Latest_Session(const ExchangeTime& now) {
  const bool closed = Is_Session(now.Date) && now.Time >= Session_Close(now.Date);
  return closed ? now.Date + days{1} : now.Date;
}

}  // namespace

SimulatedSource::SimulatedSource(ExchangeClock clock) : clock_(std::move(clock)) {}

Answer SimulatedSource::Bars(const QuoteRequest& request) {
  const auto symbol = Find_Simulated_Symbol(request.Symbol);
  if (!symbol) {
    return Failure{FailureKind::UnknownSymbol,
                   "The simulated market has no symbol \"" + request.Symbol + "\"."};
  }

  Day before = std::min(Day_After_Latest_Session(clock_()), end_day);
  if (request.Before) before = std::min(before, *request.Before);
  std::vector<Day> sessions;
  for (Day date = before; static_cast<int>(sessions.size()) < request.Sessions && date > first_day;) {
    date = Session_Before(date);
    if (date >= first_day) sessions.push_back(date);
  }

  BarTable table;
  table.Decimals = 2;
  std::vector<Bar> minutes;
  for (auto date = sessions.rbegin(); date != sessions.rend(); ++date) {
    minutes.clear();
    Append_Simulated_Minutes(*symbol, *date, minutes);
    const auto folded = Fold_Bars(minutes, request.Interval);
    table.Bars.insert(table.Bars.end(), folded.begin(), folded.end());
  }
  return table;
}

std::vector<SymbolEntry> SimulatedSource::Find_Symbols(std::string_view text, std::size_t limit) {
  const std::string wanted = Lower_Case(text);
  std::vector<SymbolEntry> found;
  const auto add = [&found](const SimulatedSymbol& symbol) {
    const auto same = [&symbol](const SymbolEntry& entry) { return entry.Symbol == symbol.Name; };
    if (std::ranges::any_of(found, same)) return;
    found.push_back({symbol.Name, std::string{Describe(symbol.Kind)}});
  };

  if (const auto symbol = Find_Simulated_Symbol(text)) add(*symbol);
  for (const std::string_view name : sample_symbols) {
    const auto symbol = Find_Simulated_Symbol(name);
    if (symbol &&
        (Lower_Case(name) + " " + std::string{Describe(symbol->Kind)}).find(wanted) != std::string::npos)
      add(*symbol);
  }
  if (found.size() > limit) found.resize(limit);
  std::ranges::sort(found, {}, &SymbolEntry::Symbol);
  return found;
}

std::string SimulatedSource::Description() const {
  return "A simulated market made up by this program. These are NOT real quotes.";
}

}  // namespace hq::server
