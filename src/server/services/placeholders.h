#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hq::server {

// A piece of an address or a header of a profile.
struct TemplatePart {
  // Whether the text stood in braces; it is then without them.
  bool Is_Placeholder = false;
  std::string Text;
};

// Splits a text at its placeholders; none when a brace has no partner.
[[nodiscard]] std::optional<std::vector<TemplatePart>> Split_Template(std::string_view text);

// Whether a profile may use the placeholder; {key:NAME} is not among these, because the names differ.
[[nodiscard]] bool Is_Placeholder(std::string_view name);

// The host of an http or https address in lower case, without a port; none when the address has none that is
// a plain name or number, or has a user name before it.
[[nodiscard]] std::optional<std::string> Host_Of(std::string_view address);

}  // namespace hq::server
