#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/services/source_profile.h"
#include "server/services/upstream_request.h"

namespace hq::server {

// The entries of the section [Keys] of a settings file, by their names as written. Lines that begin with ";"
// or "#" are remarks; of two entries of one name in any letter case the first holds, as it does for the other
// settings.
[[nodiscard]] std::map<std::string, std::string> Read_Keys(std::string_view settings_text);

// The value of an environment variable; none when it isn't set.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

// The environment of the program.
[[nodiscard]] std::optional<std::string> Program_Environment(const std::string& name);

// The settings in which a service's key is looked for: its name, such as "tiingo", for its first key, and for
// each key the name with the key's, such as "alpaca_secret".
[[nodiscard]] std::vector<std::string> Key_Settings(const SourceProfile& profile, const SourceKey& key);

// The environment variable of a setting: "HQ_KEY_TIINGO" for "tiingo".
[[nodiscard]] std::string Key_Variable(std::string_view setting);

// The keys of a service: from the environment, and what that lacks from `settings`, whose names count in any
// letter case. Blanks around a key are left out, and so are empty keys.
[[nodiscard]] KeyTexts Keys_Of(const SourceProfile& profile,
                               const std::map<std::string, std::string>& settings,
                               const Environment& environment = Program_Environment);

// A key as it may be shown: "****", and for keys of 16 characters or more their last four behind it.
[[nodiscard]] std::string Masked_Key(std::string_view key);

}  // namespace hq::server
