#include "shell/server_settings.h"

#include "base/profile.h"
#include "base/run_time_error.h"
#include "quotes/request.h"

namespace hq {

ServerSettings Read_Server_Settings(std::string_view text) {
  const Profile profile(text);
  ServerSettings settings;
  settings.SymbolSearchAddress = profile.Get("Symbol Search", "Address");
  settings.RequestTemplate = profile.Get("Request", "Template");
  try {
    settings.RequestTemplate = Decipher(settings.RequestTemplate);
    if (!settings.RequestTemplate.empty()) settings.Fault = Template_Fault(settings.RequestTemplate);
  } catch (const RunTimeError& error) {
    settings.Fault = error.Detail();
  }
  if (!settings.Fault.empty()) settings.Fault = "[Request] Template: " + settings.Fault;
  return settings;
}

SettingsChange Template_Change(const std::string& request_template) {
  return {"Request", "Template", request_template};
}

}  // namespace hq
