#include <QApplication>
#include <QPointer>
#include <QWidget>
#include <array>
#include <vector>
#include <windows.h>

// Needs the names of windows.h.
#include <objbase.h>
#include <shlobj.h>

#include "entry/system_folder_dialog.h"

namespace hq {

namespace {

// An item identifier list of the shell, released at the end.
class ItemList {
 public:
  explicit ItemList(LPITEMIDLIST list = nullptr) : list_(list) {}
  ItemList(const ItemList&) = delete;
  ItemList& operator=(const ItemList&) = delete;
  ~ItemList() { CoTaskMemFree(list_); }
  [[nodiscard]] LPITEMIDLIST Get() const { return list_; }

 private:
  LPITEMIDLIST list_;
};

// Keeps the program's windows from being used beside a dialog that has no owner, while the object lives.
class OtherWindowsDisabled {
 public:
  OtherWindowsDisabled() : active_(QApplication::activeWindow()) {
    for (const QWidget* widget : QApplication::topLevelWidgets()) {
      if (!widget->isVisible()) continue;
      const auto window = reinterpret_cast<HWND>(widget->winId());
      if (EnableWindow(window, FALSE) == 0) windows_.push_back(window);
    }
  }
  OtherWindowsDisabled(const OtherWindowsDisabled&) = delete;
  OtherWindowsDisabled& operator=(const OtherWindowsDisabled&) = delete;
  ~OtherWindowsDisabled() {
    for (const HWND window : windows_) EnableWindow(window, TRUE);
    if (active_ != nullptr) active_->activateWindow();
  }

 private:
  QPointer<QWidget> active_;
  std::vector<HWND> windows_;
};

}  // namespace

struct SystemFolderDialog::Root {
  explicit Root(LPITEMIDLIST items) : Items(items) {}
  ItemList Items;
};

SystemFolderDialog::SystemFolderDialog() = default;

SystemFolderDialog::~SystemFolderDialog() = default;

bool SystemFolderDialog::Locate_Root(std::int32_t root_folder) {
  LPITEMIDLIST items = nullptr;
  const HRESULT result = SHGetSpecialFolderLocation(nullptr, root_folder, &items);
  root_ = std::make_unique<Root>(items);
  return SUCCEEDED(result);
}

// The system's dialog of this kind begins at its root, whatever the folder is that is set now.
std::optional<FolderDialog::Item> SystemFolderDialog::Browse(std::int32_t flags, std::intptr_t owner,
                                                             const std::string& prompt, const std::string&) {
  std::array<char, MAX_PATH> display_name{};
  BROWSEINFOA browse{};
  browse.hwndOwner = reinterpret_cast<HWND>(owner);
  browse.pidlRoot = root_ != nullptr ? root_->Items.Get() : nullptr;
  browse.pszDisplayName = display_name.data();
  browse.lpszTitle = prompt.c_str();
  browse.ulFlags = static_cast<UINT>(flags);
  const OtherWindowsDisabled others;
  const ItemList chosen(SHBrowseForFolderA(&browse));
  if (chosen.Get() == nullptr) return std::nullopt;
  Item item;
  item.DisplayName = display_name.data();
  std::array<char, MAX_PATH> path{};
  if (SHGetPathFromIDListA(chosen.Get(), path.data()) != 0) item.Path = path.data();
  return item;
}

}  // namespace hq
