#pragma once

#include <string>
#include <string_view>

#include "server/quote_source.h"

namespace hq::server {

// `text` with the characters that mean something in HTML, and all control characters, written so that a
// browser shows them as they are.
[[nodiscard]] std::string Escape_Html(std::string_view text);

// The server's first page: what it is, how a request looks, where to look symbols up. `request_template` and
// `search_path` are plain text.
[[nodiscard]] std::string Home_Page(const QuoteSource& source, std::string_view request_template,
                                    std::string_view search_path);

// The page that lists the source's symbols that hold `query`; `search_path` is where its form leads.
[[nodiscard]] std::string Search_Page(QuoteSource& source, std::string_view query,
                                      std::string_view search_path);

}  // namespace hq::server
