#include "platform/program_places.h"

#include <cstdlib>
#include <filesystem>

#include "base/run_time_error.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/program.h"

namespace hq {

namespace {

bool Is_There(const std::string& path) {
  std::error_code unknown;
  return std::filesystem::exists(System_Path(path), unknown);
}

}  // namespace

ProgramPlaces Places_Of_Program(const std::string& own_folder, const std::optional<std::string>& named,
                                const Variables& variables) {
  if (named) return {*named, own_folder};
  if (!Is_There(Join_Path(own_folder, InstalledCopyMark))) return {own_folder, own_folder};
  return {detail::User_Program_Folder(variables), own_folder, true};
}

ProgramPlaces Places_Of_Program(const std::optional<std::string>& named) {
  return Places_Of_Program(Program_Folder(), named,
                           [](const std::string& name) -> std::optional<std::string> {
                             const char* value = std::getenv(name.c_str());
                             return value == nullptr ? std::nullopt : std::optional<std::string>(value);
                           });
}

std::string Folder_With(const ProgramPlaces& places, std::string_view name) {
  return Is_There(Join_Path(places.Program, name)) || !Is_There(Join_Path(places.Package, name))
             ? places.Program
             : places.Package;
}

std::string Prepare_Program_Folder(const ProgramPlaces& places) {
  try {
    if (places.MayBeMade) detail::Make_Closed_Folder(places.Program);
    detail::Check_Writable(places.Program);
    return {};
  } catch (const RunTimeError& error) {
    return "Choices, keys and fetched quotes can't be kept in the program folder: " + error.Detail() + ".";
  }
}

}  // namespace hq
