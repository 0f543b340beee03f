#include "quotes/request.h"

#include <cstdint>

#include "base/run_time_error.h"
#include "base/strings.h"

namespace hq {

namespace {

constexpr std::string_view DateSegment = "&Date=DDD";
constexpr std::string_view Mark = "enciphered:";
constexpr std::string_view Digits = "0123456789abcdef";
constexpr std::string_view PortPlaceholder = "{port}";

// The default template, enciphered, with the port's placeholder.
constexpr std::string_view DefaultTemplate =
    "enciphered:"
    "9dc38945b9de7b7e1bb6ed11f7316325a136269013590b66508a3b433c57693d3426439d7f793ba8b77bc1b49a54087088eac0f"
    "d48eb3a4661d9b921960ac4";

// The symbol as it stands, but for the characters that have a meaning of their own in an address: sent bare
// they would make another symbol of it, and its quotes would come without a word.
std::string In_Query(std::string_view symbol) {
  std::string text = Replace_All(symbol, "%", "%25");
  text = Replace_All(text, "&", "%26");
  text = Replace_All(text, "+", "%2B");
  return Replace_All(text, "#", "%23");
}

// The bytes that a text is mixed with, one after the other: a linear congruential generator's high bytes.
class KeyStream {
 public:
  std::uint8_t Next() {
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<std::uint8_t>(state_ >> 24U);
  }

 private:
  std::uint32_t state_ = 0x48514454U;
};

}  // namespace

std::string Compose_Request(const std::string& request_template, const RunSettings& settings, Date today) {
  std::string address = request_template;
  if (settings.EndDate >= today) address = Replace_All(address, DateSegment, "");
  address = Replace_All(address, "XXX", std::to_string(settings.IntervalCode));
  // The server sends what lies before the date it is given, so the day after the last one wanted is sent.
  address = Replace_All(address, "DDD", Format_Date(settings.EndDate + std::chrono::days(1), "MMDDYY"));
  return Replace_All(address, "SSS", In_Query(settings.CurrentSymbol));
}

std::string Template_Fault(std::string_view request_template) {
  const bool http = Equal_Without_Case(request_template.substr(0, 7), "http://") ||
                    Equal_Without_Case(request_template.substr(0, 8), "https://");
  if (!http) {
    return "a request template begins with http:// or https://";
  }
  if (!Contains(request_template, "XXX")) return "a request template holds XXX where the interval goes";
  if (!Contains(request_template, "SSS")) return "a request template holds SSS where the symbol goes";
  if (!Contains(request_template, DateSegment))
    return "a request template holds &Date=DDD where the date goes";
  return {};
}

std::string Encipher(std::string_view text) {
  KeyStream key;
  std::string result(Mark);
  for (const char c : text) {
    const auto mixed = static_cast<std::uint8_t>(static_cast<std::uint8_t>(c) ^ key.Next());
    result += Digits[mixed >> 4U];
    result += Digits[mixed & 15U];
  }
  return result;
}

std::string Decipher(std::string_view text) {
  if (!text.starts_with(Mark)) return std::string(text);
  text.remove_prefix(Mark.size());
  if (text.size() % 2 != 0) throw RunTimeError(TypeMismatch, "an enciphered text is cut short");
  KeyStream key;
  std::string result;
  for (size_t i = 0; i < text.size(); i += 2) {
    const size_t high = Digits.find(text[i]);
    const size_t low = Digits.find(text[i + 1]);
    if (high == std::string_view::npos || low == std::string_view::npos) {
      throw RunTimeError(TypeMismatch, "an enciphered text holds hexadecimal digits only");
    }
    result += static_cast<char>(static_cast<std::uint8_t>(high * 16 + low) ^ key.Next());
  }
  return result;
}

std::string Default_Request_Template(int port) {
  return Replace_All(Decipher(DefaultTemplate), PortPlaceholder, std::to_string(port));
}

}  // namespace hq
