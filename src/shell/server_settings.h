#pragma once

#include <string>
#include <string_view>

#include "platform/settings_text.h"

namespace hq {

// What the file "server.ini" says of another quote server than the program's own.
//   [Request]        Template=  request template, plain or enciphered
//   [Symbol Search]  Address=   the page that looks symbols up
struct ServerSettings {
  std::string RequestTemplate;      // plain; empty: the program's own server
  std::string SymbolSearchAddress;  // empty: that server's page
  std::string Fault;                // why the template can't serve, empty when it can
};

// Reads the file's text.
[[nodiscard]] ServerSettings Read_Server_Settings(std::string_view text);

// What puts a request template into the file, plain; an empty one is taken out, so that the program's own
// server is used.
[[nodiscard]] SettingsChange Template_Change(const std::string& request_template);

}  // namespace hq
