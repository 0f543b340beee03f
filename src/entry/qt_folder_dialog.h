#pragma once

#include "entry/filebrowse.h"

namespace hq {

// The folder dialog of the desktop. It knows one root, the desktop, and always names folders by their paths.
class QtFolderDialog final : public FolderDialog {
 public:
  bool Locate_Root(std::int32_t root_folder) override;
  std::optional<Item> Browse(std::int32_t flags, std::intptr_t owner, const std::string& prompt,
                             const std::string& start) override;
};

}  // namespace hq
