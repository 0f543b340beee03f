#pragma once

#include <chrono>
#include <span>
#include <string>
#include <string_view>

#include "market/quote_source.h"

namespace hq::server {

// `text` with the characters that mean something in HTML, and all control characters, written so that a
// browser shows them as they are.
[[nodiscard]] std::string Escape_Html(std::string_view text);

// A request that the server has answered.
struct ServedRequest {
  std::chrono::sys_seconds At;
  // What was asked and the status of the answer, plain text.
  std::string Line;
  // Where the quotes came from, or why there were none; may be empty.
  std::string Source;
};

// The server's first page: what it is, the sources with their states, the last requests (newest last), how a
// request looks, where to look symbols up. `request_template` and `search_path` are plain text.
[[nodiscard]] std::string Home_Page(QuoteSource& source, std::string_view request_template,
                                    std::string_view search_path,
                                    std::span<const ServedRequest> requests = {});

// The page that lists the source's symbols that hold `query`; `search_path` is where its form leads.
[[nodiscard]] std::string Search_Page(QuoteSource& source, std::string_view query,
                                      std::string_view search_path);

}  // namespace hq::server
