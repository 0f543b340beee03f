#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "errortrap/modFailSafe.h"

namespace hq {

// The system's dialog for choosing a folder, in the steps that the system's own calls have.
class FolderDialog {
 public:
  struct Item {
    std::string DisplayName;
    std::optional<std::string> Path;  // nothing for an item that is not in the file system
  };

  FolderDialog() = default;
  FolderDialog(const FolderDialog&) = delete;
  FolderDialog& operator=(const FolderDialog&) = delete;
  virtual ~FolderDialog() = default;

  // Whether the folder that the dialog is to begin at, a special-folder number, can be located.
  virtual bool Locate_Root(std::int32_t root_folder) = 0;

  // Shows the dialog and waits. Nothing when the user cancels. start is the folder to show first when it
  // exists.
  virtual std::optional<Item> Browse(std::int32_t flags, std::intptr_t owner, const std::string& prompt,
                                     const std::string& start) = 0;
};

// Lets the user choose a folder below root_folder (0 is the desktop). True when one was chosen: path is then
// its path, or its display name when it has no path, and ends in the NUL character that the system's call
// writes behind it. False when the user cancelled. When the root can't be located nothing is shown, path
// stays and the result is true.
bool BrowseForFolder(modFailSafe& trap, FolderDialog& dialog, std::int32_t root_folder, std::int32_t flags,
                     std::string& path, std::intptr_t owner, const std::string& prompt,
                     const std::string& start = {});

// What the box of the output folder shows for a path: a text box ends its text at the first NUL.
[[nodiscard]] std::string Shown_Path(const std::string& path);

}  // namespace hq
