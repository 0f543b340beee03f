#include "shell/server_settings.h"

#include "base/profile.h"
#include "base/run_time_error.h"
#include "base/strings.h"
#include "quotes/request.h"

namespace hq {

ServerSettings Load_Server_Settings(Files& files, const std::string& program_folder) {
  const std::string path = Join_Path(program_folder, ServerSettingsFileName);
  std::string text;
  try {
    text = files.Read(path);
  } catch (const RunTimeError& error) {
    if (error.Number() == FileNotFound) return {};
    throw;
  }
  if (Contains(text, std::string_view("\0", 1)))
    throw RunTimeError(TypeMismatch, path + ": the file is no plain text");
  const Profile profile(text);
  const auto refuse = [&](const std::string& reason) {
    throw RunTimeError(TypeMismatch, path + ", [Request] Template: " + reason);
  };
  ServerSettings settings;
  settings.SymbolSearchAddress = profile.Get("Symbol Search", "Address");
  try {
    settings.RequestTemplate = Decipher(profile.Get("Request", "Template"));
  } catch (const RunTimeError& error) {
    refuse(error.Detail());
  }
  const std::string fault = settings.RequestTemplate.empty() ? "" : Template_Fault(settings.RequestTemplate);
  if (!fault.empty()) refuse(fault);
  return settings;
}

}  // namespace hq
