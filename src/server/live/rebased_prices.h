#pragma once

#include <vector>

#include "market/bar.h"
#include "server/services/source_profile.h"
#include "server/services/upstream_answer.h"

namespace hq::server {

// Whether bars fetched now, all of them or the older ones, have other prices than the archived ones with the
// same stamps and in the same proportion, as they have after a split, or with full adjustment after a
// dividend.
[[nodiscard]] bool Is_Rebased(const std::vector<Bar>& archived, const std::vector<NativeBar>& fetched,
                              Adjustment adjusted);

}  // namespace hq::server
