#include "entry/filebrowse.h"

#include "errortrap/procedure.h"

namespace hq {

bool BrowseForFolder(modFailSafe& trap, FolderDialog& dialog, std::int32_t root_folder, std::int32_t flags,
                     std::string& path, std::intptr_t owner, const std::string& prompt,
                     const std::string& start) {
  return Skip_Failing_Statements(trap, {"filebrowse.bas", "Function BrowseForFolder"},
                                 [&](SkippingStatements& statement) {
                                   bool located = false;
                                   statement([&] { located = dialog.Locate_Root(root_folder); });
                                   if (!located) return true;
                                   std::optional<FolderDialog::Item> item;
                                   statement([&] { item = dialog.Browse(flags, owner, prompt, start); });
                                   if (!item) return false;
                                   // The cut behind the NUL, not before it, is what the text of the system's
                                   // buffer gives.
                                   statement([&] { path = item->Path.value_or(item->DisplayName) + '\0'; });
                                   return true;
                                 });
}

std::string Shown_Path(const std::string& path) {
  return path.substr(0, path.find('\0'));
}

}  // namespace hq
