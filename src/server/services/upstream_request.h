#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "server/services/source_profile.h"

namespace hq::server {

// The user's keys of one source, by SourceKey::Name.
using KeyTexts = std::map<std::string, std::string>;

// What is wanted of a source.
struct UpstreamWish {
  // As the user wrote it.
  std::string Symbol;
  // The interval asked for in the end, not the feed's own.
  int Interval = daily_interval;
  Adjustment Adjusted = Adjustment::Splits;
  DayRange Days;
};

// A header of a request.
struct UpstreamHeader {
  std::string Name;
  std::string Value;
};

// One HTTP GET as a value. It holds keys: nothing of it may be shown but Shown_Url() and what
// Without_Keys() gives.
struct UpstreamRequest {
  // The complete address, with the key where it goes there.
  std::string Url;
  // All headers to send, the honest User-Agent among them.
  std::vector<UpstreamHeader> Headers;
  // The hosts to which the address and the headers may go, without ports. A redirect anywhere else must not
  // be followed.
  std::vector<std::string> Hosts;
  // The keys in it, in every spelling that it or an answer may hold.
  std::vector<std::string> Secrets;

  // What it asks for; kept so that the answer is read as what was asked.
  std::string Source;
  std::size_t Feed = 0;
  Adjustment Adjusted = Adjustment::Splits;
  std::string Symbol;
  // How the source spells the symbol.
  std::string Spelled_Symbol;
  DayRange Days;
  // 1 for the first page.
  int Page = 1;

  // The address with "***" for each key.
  [[nodiscard]] std::string Shown_Url() const;
  // `text` with "***" for each key of the request.
  [[nodiscard]] std::string Without_Keys(std::string_view text) const;
};

// Why a source has no bars, as an answer or the lack of a way to ask shows it.
struct Trouble {
  TroubleKind Kind = TroubleKind::FormatChanged;
  // One sentence for the trader that names the source and never holds a key, without a line end.
  std::string Reason;
  // How long to wait, if the service said so (Retry-After) or its profile does; counted from the answer.
  std::optional<std::chrono::seconds> Wait;
};

// The most pages that the answer to one request may have.
inline constexpr int most_pages = 100;

// The GETs for a wish, oldest days first, at least one; each is independent of the others and may have
// further pages. The days are cut to what the feed reaches back to. `now` cuts their end, `program` is the
// name and the version that the services read, "history-quotes/1.0.0". A trouble when the source can't be
// asked: NotServed, KeyRefused when a key is empty or holds what no header may, NothingThere when all days
// lie before the feed's history or after now.
[[nodiscard]] std::variant<std::vector<UpstreamRequest>, Trouble> Make_Requests(const SourceProfile& profile,
                                                                                const UpstreamWish& wish,
                                                                                const KeyTexts& keys,
                                                                                std::string_view program,
                                                                                std::chrono::sys_seconds now);

// A path into the answer to a request, with what its placeholders stand for.
[[nodiscard]] Path Expanded(const Path& path, const UpstreamRequest& request, const SourceFeed& feed);

// The keys that the profile asks for and `keys` lacks or leaves empty.
[[nodiscard]] std::vector<SourceKey> Missing_Keys(const SourceProfile& profile, const KeyTexts& keys);

}  // namespace hq::server
