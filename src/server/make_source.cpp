#include "server/make_source.h"

#include <stdexcept>

#include "server/simulated_source.h"

namespace hq::server {

std::unique_ptr<QuoteSource> Make_Source(std::string_view spec, ExchangeClock clock, Reporter) {
  if (spec == "simulated") return std::make_unique<SimulatedSource>(std::move(clock));
  throw std::invalid_argument("\"" + std::string{spec} + "\" is no quote source: it must be \"simulated\".");
}

}  // namespace hq::server
