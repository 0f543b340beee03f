#include "server/http/host_rule.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "base/strings.h"

namespace hq::server {
namespace {

bool Is_Digits(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// Four decimal numbers up to 255.
bool Is_Dotted_Quad(std::string_view text) {
  int numbers = 0;
  for (;;) {
    const std::string_view number = text.substr(0, text.find('.'));
    int value = 0;
    if (number.empty() || number.size() > 3 || !Is_Digits(number)) return false;
    std::from_chars(number.data(), number.data() + number.size(), value);
    if (value > 255) return false;
    ++numbers;
    if (number.size() == text.size()) return numbers == 4;
    text.remove_prefix(number.size() + 1);
  }
}

struct HostAndPort {
  // In lower case; an address of the newer kind in its brackets, a name without the point of the root.
  std::string Host;
  std::string_view Port;
};

// None when it is no host with or without a port.
std::optional<HostAndPort> Split_Host(std::string_view text) {
  // An address of the newer kind as people write it into lists.
  if (!text.starts_with('[') && std::count(text.begin(), text.end(), ':') > 1)
    return HostAndPort{"[" + Lower_Case(text) + "]", {}};
  const auto host_end = text.starts_with('[') ? text.find(']') : std::string_view::npos;
  const auto colon = text.find(':', host_end == std::string_view::npos ? 0 : host_end);
  std::string_view host = text.substr(0, colon);
  const std::string_view port = colon == std::string_view::npos ? std::string_view{} : text.substr(colon + 1);
  if (host.starts_with('[') && !host.ends_with(']')) return std::nullopt;
  if (host.ends_with('.')) host.remove_suffix(1);
  if (host.empty() || !Is_Digits(port)) return std::nullopt;
  return HostAndPort{Lower_Case(host), port};
}

bool Is_Loopback_Host(const std::string& host) {
  constexpr std::string_view under_localhost = ".localhost";
  return host == "localhost" || host == "[::1]" ||
         (host.ends_with(under_localhost) && host.size() > under_localhost.size()) ||
         (host.starts_with("127.") && Is_Dotted_Quad(host));
}

}  // namespace

bool Is_Loopback_Address(std::string_view address) {
  constexpr std::string_view mapped = "::ffff:";
  if (Equal_Without_Case(address.substr(0, mapped.size()), mapped)) address.remove_prefix(mapped.size());
  return address == "::1" || (address.starts_with("127.") && Is_Dotted_Quad(address));
}

bool Is_Host_Answered(std::string_view host, std::span<const std::string> listed) {
  // In a header line such an address has brackets.
  if (!host.starts_with('[') && std::ranges::count(host, ':') > 1) return false;
  const auto asked = Split_Host(host);
  if (!asked) return false;
  if (Is_Loopback_Host(asked->Host)) return true;
  return std::ranges::any_of(listed, [&asked](const std::string& text) {
    const auto known = Split_Host(text);
    return known && known->Host == asked->Host && (known->Port.empty() || known->Port == asked->Port);
  });
}

}  // namespace hq::server
