#pragma once

#include "market/exchange_clock.h"
#include "market/quote_source.h"

namespace hq::server {

// A source of made-up quotes, for trying the program out without a market: every symbol of the simulated
// market, on every session since 3 January 1950 that the clock has left behind. A session counts from its
// close on.
class SimulatedSource final : public QuoteSource {
 public:
  // `clock` tells which session is the latest; it must not be empty.
  explicit SimulatedSource(ExchangeClock clock = New_York_Now);

  [[nodiscard]] Answer Bars(const QuoteRequest& request) override;
  // The sample list, and the symbol that `text` itself names.
  [[nodiscard]] std::vector<SymbolEntry> Find_Symbols(std::string_view text, std::size_t limit) override;
  [[nodiscard]] std::string Description() const override;
  [[nodiscard]] bool Real_Quotes() const override { return false; }

 private:
  ExchangeClock clock_;
};

}  // namespace hq::server
