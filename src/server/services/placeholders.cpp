#include "server/services/placeholders.h"

#include <algorithm>
#include <array>

namespace hq::server {
namespace {

using std::string_view;

constexpr auto names = std::to_array<string_view>(
    {"symbol", "interval", "adjustment", "month", "from:date", "from:epoch", "from:epoch-ms", "from:utc",
     "from:local", "to:date", "to:epoch", "to:epoch-ms", "to:utc", "to:local", "end:date"});

bool Is_Letter_Or_Digit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

}  // namespace

std::optional<std::vector<TemplatePart>> Split_Template(string_view text) {
  std::vector<TemplatePart> parts;
  while (!text.empty()) {
    const bool is_placeholder = text.front() == '{';
    if (is_placeholder) text.remove_prefix(1);
    const auto end = text.find_first_of("{}");
    const bool is_closed = end != string_view::npos && text[end] == '}';
    if (is_placeholder != is_closed) return std::nullopt;
    parts.push_back({is_placeholder, std::string{text.substr(0, end)}});
    text.remove_prefix(is_placeholder ? end + 1 : std::min(end, text.size()));
  }
  return parts;
}

bool Is_Placeholder(string_view name) {
  return std::ranges::find(names, name) != names.end();
}

std::optional<std::string> Host_Of(string_view address) {
  const auto scheme_end = address.find("://");
  if (scheme_end == string_view::npos) return std::nullopt;
  const string_view scheme = address.substr(0, scheme_end);
  if (scheme != "https" && scheme != "http") return std::nullopt;
  string_view host = address.substr(scheme_end + 3);
  host = host.substr(0, host.find_first_of("/?#"));
  if (const auto colon = host.find(':'); colon != string_view::npos) {
    const string_view port = host.substr(colon + 1);
    if (port.empty() || port.find_first_not_of("0123456789") != string_view::npos) return std::nullopt;
    host = host.substr(0, colon);
  }
  if (host.empty()) return std::nullopt;
  std::string name;
  for (const char c : host) {
    if (!Is_Letter_Or_Digit(c) && c != '-' && c != '.') return std::nullopt;
    name += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return name;
}

}  // namespace hq::server
