#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "server/services/json_tree.h"
#include "server/services/upstream_answer.h"

namespace hq::server {

// Text of a service in one line that is fit for reading: without keys, control characters and great length.
[[nodiscard]] std::string Quoted(std::string_view text, const UpstreamRequest& request);

// What a trouble of this kind is, said of the profile's service.
[[nodiscard]] std::string Sentence(const SourceProfile& profile, const UpstreamRequest& request,
                                   TroubleKind kind);

// The trouble that an answer tells of: by the first rule of the profile that holds, or by its HTTP status.
// None when it should hold bars. `tree` is the answer as JSON, null when it is none.
[[nodiscard]] std::optional<Trouble> Find_Trouble(const SourceProfile& profile,
                                                  const UpstreamRequest& request,
                                                  const UpstreamResponse& response, const JsonTree* tree,
                                                  std::chrono::sys_seconds now);

// How long a Retry-After header asks to wait: its number of seconds, or the time from `now` to its HTTP date
// (0 when that is past); none when it is neither. At most 31 days.
[[nodiscard]] std::optional<std::chrono::seconds> Read_Retry_After(std::string_view value,
                                                                   std::chrono::sys_seconds now);

}  // namespace hq::server
