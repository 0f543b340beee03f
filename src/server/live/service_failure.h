#pragma once

#include <optional>
#include <string>
#include <variant>

#include "server/live/http_fetch.h"
#include "server/live/pacing.h"
#include "server/services/source_profile.h"

namespace hq::server {

// Why a service has no bars. No text holds a key.
struct ServiceFailure {
  std::string Reason;
  // What the answer, or the way to ask, was wrong with; or the hop on the way to the service.
  std::variant<TroubleKind, FetchHop> Why = TroubleKind::NothingThere;
  // When it may be asked again.
  std::optional<PacingTime> Until;
  // Whether the service was not asked at all.
  bool Not_Asked = false;

  [[nodiscard]] bool Is(TroubleKind kind) const;
  [[nodiscard]] bool Is(FetchHop hop) const;
};

// What a trial names as the hop that failed: "connection", "quota", "unknown symbol" ...
[[nodiscard]] std::string Failed_Hop(const ServiceFailure& failure);

// What the user can do next, one or two sentences.
[[nodiscard]] std::string Next_Step(const ServiceFailure& failure, const SourceProfile& profile);

}  // namespace hq::server
