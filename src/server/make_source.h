#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "server/csv_source.h"
#include "server/exchange_clock.h"
#include "server/quote_source.h"
#include "server/source_keys.h"

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
};

// Makes the source that `spec` names, a list of these with commas between them, in the order in which they
// are asked: "simulated"; "csv:FOLDER" for a folder of the user's own files; the name of a source profile,
// such as "tiingo", by which a source is also turned on that is off otherwise; "live" for all profiles whose
// keys are there. The caller owns it. Raises std::invalid_argument with a text for the user when `spec` names
// something else, when FOLDER is not a folder, or when a profile can't be read or lacks a key. `clock` tells
// the simulated market its latest session; `reporter` may be empty.
[[nodiscard]] std::unique_ptr<QuoteSource> Make_Source(std::string_view spec,
                                                       ExchangeClock clock = New_York_Now,
                                                       Reporter reporter = {}, const LiveSetUp& live = {});

}  // namespace hq::server
