// Any bytes as a request template, up to the first line feed, and as a symbol, behind it.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/run_time_error.h"
#include "base/strings.h"
#include "quotes/request.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace hq;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  Require(Decipher(Encipher(bytes)) == bytes, "an enciphered text is deciphered");

  const size_t line_feed = bytes.find('\n');
  std::string request_template(bytes.substr(0, line_feed));
  RunSettings settings;
  if (line_feed != std::string_view::npos) settings.CurrentSymbol = bytes.substr(line_feed + 1);
  settings.IntervalCode = 5;
  try {
    request_template = Decipher(request_template);
  } catch (const RunTimeError& error) {
    Require(error.Number() == TypeMismatch, "a text that is not enciphered is a type mismatch");
  }

  const Date today = std::chrono::sys_days(std::chrono::year(2003) / 3 / 14);
  const bool fits = Template_Fault(request_template).empty();
  for (const int days_ago : {0, 1, 100}) {
    settings.EndDate = today - std::chrono::days(days_ago);
    const std::string address = Compose_Request(request_template, settings, today);
    if (!fits) continue;
    Require(address.starts_with(request_template.substr(0, 7)), "the address begins as its template does");
    const bool plain = settings.CurrentSymbol.find_first_of("%&+#") == std::string::npos;
    Require(!plain || Contains(address, settings.CurrentSymbol), "the address holds a plain symbol");
  }
  return 0;
}
