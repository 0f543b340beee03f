#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "market/bar.h"

namespace hq::server {

// The kinds of security of the simulated market; each has its own price level and temper.
enum class SecurityKind { Share, MutualFund, Index, Option };

// A symbol of the simulated market. Everything about its prices follows from it, by whole-number arithmetic
// only, so that each computer and each compiler makes the same market.
struct SimulatedSymbol {
  // The symbol in the spelling in which it is shown: upper case, with the markers mutual:, index: and opra:
  // in lower case.
  std::string Name;
  SecurityKind Kind = SecurityKind::Share;
  // What all the symbol's random numbers begin with.
  std::uint64_t Seed = 0;
};

// Recognises a symbol of the simulated market, in any letter case: a share has 1 to 5 letters and may end in
// .A or .B; a fund is "mutual", a blank or a colon, and 1 to 5 letters; an index is "index:" and 1 to 10
// letters and digits; an option is "opra:" and 1 to 21 letters, digits and blanks that begin with a letter.
// Nothing else is known.
[[nodiscard]] std::optional<SimulatedSymbol> Find_Simulated_Symbol(std::string_view text);

// Appends the one-minute bars of one session, oldest first, to `bars`: 390, or 210 on a short day, none when
// `date` is no session. Prices are whole cents and at least one cent, volumes at least 1.
void Append_Simulated_Minutes(const SimulatedSymbol& symbol, Day date, std::vector<Bar>& bars);

}  // namespace hq::server
