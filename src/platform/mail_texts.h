#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace hq {

// The text without control characters, so that it is one line and begins no further header.
[[nodiscard]] std::string Without_Controls(std::string_view text);

// The text, or its start and a line that says what is missing when it is longer than most_bytes; no
// character of UTF-8 is cut in two.
[[nodiscard]] std::string Cut_Body(std::string_view text, std::size_t most_bytes);

// The address of a mail to be written: "mailto:a@x,b@y?subject=...&body=...". What is empty is left out.
[[nodiscard]] std::string Mailto_Address(const std::vector<std::string>& recipients, std::string_view subject,
                                         std::string_view body);

}  // namespace hq
