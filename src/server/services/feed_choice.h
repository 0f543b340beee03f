#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "server/services/source_profile.h"

namespace hq::server {

// Which feed of a source serves an interval, and with which adjustment.
struct ChosenFeed {
  // The place in SourceProfile::Feeds.
  std::size_t Feed = 0;
  Adjustment Adjusted = Adjustment::Splits;
};

// The feed for an interval (1, 5, 10, 20, 30, 60 or daily_interval minutes): the first one in the file that
// serves it with the adjustment; where none does and Adjustment::Splits is asked for, the first one that has
// something to serve instead. None when the source has no such bars.
[[nodiscard]] std::optional<ChosenFeed> Choose_Feed(const SourceProfile& profile, int interval,
                                                    Adjustment adjustment);

// How a source spells a symbol, or none when it has no symbols of that kind. `symbol` is as the user wrote
// it.
[[nodiscard]] std::optional<std::string> Spell_Symbol(const SourceProfile& profile, std::string_view symbol);

}  // namespace hq::server
