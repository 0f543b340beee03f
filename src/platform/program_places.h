#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace hq {

// The value of an environment variable; nothing when there is none of the name.
using Variables = std::function<std::optional<std::string>(const std::string& name)>;

// A file of this name beside the program marks a copy that was installed where its user may not write.
inline constexpr std::string_view InstalledCopyMark = "installed-copy";

// Where a program finds its files. Folders have no separator at their end.
struct ProgramPlaces {
  std::string Program;     // the program folder: settings, logs, archive
  std::string Package;     // what came with the program; only read in an installed copy
  bool MayBeMade = false;  // whether the program folder is made when it is missing
};

// The places of a program whose file lies in own_folder. The program folder is the one that the user named,
// else in an installed copy the user's own, "history-quotes" in $XDG_DATA_HOME (when that is absolute, else
// in
// ~/.local/share) or "History Quotes" in %APPDATA%, and otherwise own_folder. Nothing is made.
[[nodiscard]] ProgramPlaces Places_Of_Program(const std::string& own_folder,
                                              const std::optional<std::string>& named,
                                              const Variables& variables);

// The same for the running program and its environment.
[[nodiscard]] ProgramPlaces Places_Of_Program(const std::optional<std::string>& named = {});

// The folder that has a file which came with the program: the program folder, where the user may have put
// another, or else the package's.
[[nodiscard]] std::string Folder_With(const ProgramPlaces& places, std::string_view name);

// Makes a missing program folder that may be made, closed to other users. A sentence for the user when
// nothing can be written into the program folder, empty otherwise.
[[nodiscard]] std::string Prepare_Program_Folder(const ProgramPlaces& places);

namespace detail {

// Where a user's program folder is in an installed copy.
std::string User_Program_Folder(const Variables& variables);
// Makes a folder and those above it that are missing. Raises a run-time error.
void Make_Closed_Folder(const std::string& folder);
// Raises a run-time error when no file can be made in a folder.
void Check_Writable(const std::string& folder);

}  // namespace detail

}  // namespace hq
