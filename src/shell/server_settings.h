#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"

namespace hq {

// The file "server.ini" in the program folder, which sets another quote server than the program's own. It may
// be missing.
//   [Request]        Template=  request template, plain or enciphered
//   [Symbol Search]  Address=   the page that looks symbols up
inline constexpr std::string_view ServerSettingsFileName = "server.ini";

struct ServerSettings {
  std::string RequestTemplate;      // plain; empty: the program's own server
  std::string SymbolSearchAddress;  // empty: that server's page
};

// Reads the file. A missing file gives empty settings. Raises TypeMismatch, with the file and the reason in
// its detail, when a value can't serve, and what reading a file raises.
[[nodiscard]] ServerSettings Load_Server_Settings(Files& files, const std::string& program_folder);

// Saves the request template in the file, plain, and leaves the rest as it is; an empty one is taken out, so
// that the program's own server is used. Raises what reading and writing a file raise.
void Save_Request_Template(Files& files, const std::string& program_folder,
                           const std::string& request_template);

}  // namespace hq
