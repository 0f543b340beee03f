#pragma once

#include <memory>

#include "entry/filebrowse.h"

namespace hq {

// The system's own dialog where it has the special folders and items that FolderDialog speaks of. Elsewhere
// the desktop's, which knows one root, the desktop, and names folders by their paths.
class SystemFolderDialog final : public FolderDialog {
 public:
  SystemFolderDialog();
  ~SystemFolderDialog() override;

  bool Locate_Root(std::int32_t root_folder) override;
  std::optional<Item> Browse(std::int32_t flags, std::intptr_t owner, const std::string& prompt,
                             const std::string& start) override;

 private:
  struct Root;
  std::unique_ptr<Root> root_;
};

}  // namespace hq
