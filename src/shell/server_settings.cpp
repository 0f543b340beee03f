#include "shell/server_settings.h"

#include <memory>

#include "base/profile.h"
#include "base/run_time_error.h"
#include "base/strings.h"
#include "quotes/request.h"

namespace hq {

namespace {

// Empty for a missing file.
std::string Text_Of(Files& files, const std::string& path) {
  try {
    return files.Read(path);
  } catch (const RunTimeError& error) {
    if (error.Number() == FileNotFound) return {};
    throw;
  }
}

}  // namespace

ServerSettings Load_Server_Settings(Files& files, const std::string& program_folder) {
  const std::string path = Join_Path(program_folder, ServerSettingsFileName);
  const std::string text = Text_Of(files, path);
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

void Save_Request_Template(Files& files, const std::string& program_folder,
                           const std::string& request_template) {
  const std::string path = Join_Path(program_folder, ServerSettingsFileName);
  const std::string text = With_Profile_Value(Text_Of(files, path), "Request", "Template", request_template);
  const std::unique_ptr<OutputFile> file = files.Open_For_Output(path);
  file->Write(text);
  file->Close();
}

}  // namespace hq
