#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "market/exchange_clock.h"
#include "market/quote_source.h"
#include "server/csv/csv_source.h"
#include "server/live/http_fetch.h"
#include "server/services/source_profile.h"
#include "server/setup/source_keys.h"

namespace hq::server {

// What services need that are asked for quotes.
struct LiveSetUp {
  // The folder of the source profiles.
  std::filesystem::path Profiles;
  // The archive's file; empty for one in the memory.
  std::filesystem::path Archive;
  // The section [Keys] of the settings.
  std::map<std::string, std::string> Keys;
  // Where keys are looked for before that.
  Environment Variables = Program_Environment;
  // How the program calls itself to services.
  std::string Program = "history-quotes";
  // Which prices are wanted of services that have several.
  Adjustment Adjusted = Adjustment::Splits;
  // How requests are sent; empty for the network.
  std::shared_ptr<HttpFetcher> Fetcher;
};

// The names in a list of sources as Make_Source takes it, without the blanks around them. The name of a
// folder that is there may hold commas.
[[nodiscard]] std::vector<std::string> Split_Source_List(std::string_view spec);

// Makes the source that `spec` names, a list of these with commas between them, in the order in which they
// are asked: "simulated"; "csv:FOLDER" for a folder of the user's own files; the name of a source profile,
// such as "tiingo", by which a source is also turned on that is off otherwise; "live" for all profiles whose
// keys are there. The caller owns it. Raises std::invalid_argument with a text for the user when `spec` names
// something else, when FOLDER is not a folder, when a profile can't be read, or when all sources named lack
// their keys; of several, one without a key is told to `reporter`, which may be empty. `clock` tells the
// simulated market its latest session.
[[nodiscard]] std::unique_ptr<QuoteSource> Make_Source(std::string_view spec,
                                                       ExchangeClock clock = New_York_Now,
                                                       Reporter reporter = {}, const LiveSetUp& live = {});

}  // namespace hq::server
