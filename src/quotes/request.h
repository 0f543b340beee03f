#pragma once

#include <string>
#include <string_view>

#include "quotes/run_settings.h"

namespace hq {

// A request template is the address of a quote server with three placeholders: "XXX" for the interval in
// minutes, "DDD" for the date and "SSS" for the symbol. The date stands in the segment "&Date=DDD".

// The address that asks for a symbol's quotes. The symbol is put in as it stands, with the characters % & + #
// encoded. The segment "&Date=DDD" is dropped when the end date is today or later, so that the server sends
// its latest data; otherwise the date sent is the day after the end date, as MMDDYY.
[[nodiscard]] std::string Compose_Request(const std::string& request_template, const RunSettings& settings,
                                          Date today);

// Why a text can't serve as a request template, or empty when it can: it must begin with http:// or https://
// and hold all three placeholders, the date's in its segment.
[[nodiscard]] std::string Template_Fault(std::string_view request_template);

// The enciphered form of a text, which begins with "enciphered:". It keeps an address from being read at a
// glance and is no protection against somebody who has the program.
[[nodiscard]] std::string Encipher(std::string_view text);

// The plain form of an enciphered text; a text that does not begin with "enciphered:" is returned as it is.
// Raises TypeMismatch when what follows the mark is no enciphered text.
[[nodiscard]] std::string Decipher(std::string_view text);

// The template that is used when no other is set: that of a quote server on this machine, at the port given.
[[nodiscard]] std::string Default_Request_Template(int port);

}  // namespace hq
