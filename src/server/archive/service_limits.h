#pragma once

#include <functional>
#include <optional>
#include <string>

#include "server/archive/pacing_store.h"
#include "server/archive/series_key.h"

namespace hq::server {

class ArchiveFile;

// What the services allow, kept beyond the end of the program: how fast they may be asked, and what they have
// refused. All methods may be called from several threads at once; they raise ArchiveError when the file
// can't be used.
class ServiceLimits final : public PacingStore {
 public:
  // `file` must outlive the object.
  explicit ServiceLimits(ArchiveFile& file) : file_(file) {}

  // Remembers that a source has nothing of a symbol and interval until a moment.
  void Remember_Refusal(const SeriesKey& key, const std::string& reason, Moment until);

  // Why a source is not to be asked for a symbol and interval at `now`; none when it may be.
  [[nodiscard]] std::optional<std::string> Refusal(const SeriesKey& key, Moment now);

  void Change_Pacing(const std::string& service,
                     const std::function<void(PacingState& state)>& change) override;

 private:
  ArchiveFile& file_;
};

}  // namespace hq::server
