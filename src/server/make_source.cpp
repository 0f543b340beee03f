#include "server/make_source.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "platform/paths.h"
#include "server/simulated_source.h"

namespace hq::server {

std::unique_ptr<QuoteSource> Make_Source(std::string_view spec, ExchangeClock clock, Reporter reporter) {
  constexpr std::string_view csv_marker = "csv:";
  if (spec == "simulated") return std::make_unique<SimulatedSource>(std::move(clock));
  if (!spec.starts_with(csv_marker)) {
    throw std::invalid_argument("\"" + std::string{spec} +
                                "\" is no quote source: it must be \"simulated\" or \"csv:FOLDER\".");
  }

  const std::string folder{spec.substr(csv_marker.size())};
  if (folder.empty())
    throw std::invalid_argument("The quote source \"csv:\" lacks a folder: write csv:FOLDER.");
  const std::filesystem::path path = System_Path(folder);
  std::error_code unknown;
  if (!std::filesystem::is_directory(path, unknown)) {
    throw std::invalid_argument("The quote source's folder \"" + folder + "\" is not there or is no folder.");
  }
  return std::make_unique<CsvSource>(path, std::move(reporter));
}

}  // namespace hq::server
