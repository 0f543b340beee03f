#include "entry/filebrowse.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace hq {
namespace {

class FakeFolderDialog final : public FolderDialog {
 public:
  bool Locate_Root(std::int32_t root_folder) override {
    Root = root_folder;
    return Located;
  }
  std::optional<Item> Browse(std::int32_t flags, std::intptr_t owner, const std::string& prompt,
                             const std::string&) override {
    ++Shown;
    Flags = flags;
    Owner = owner;
    Prompt = prompt;
    if (Fails) throw std::runtime_error("no dialog");
    return Chosen;
  }

  bool Located = true;
  bool Fails = false;
  std::optional<Item> Chosen;
  int Shown = 0;
  std::int32_t Root = -1;
  std::int32_t Flags = -1;
  std::intptr_t Owner = -1;
  std::string Prompt;
};

class FileBrowse : public ::testing::Test {
 protected:
  bool Browse() { return BrowseForFolder(Trap, Dialog, 0, 1, Path, 0, "Select a folder:"); }

  modFailSafe Trap;
  FakeFolderDialog Dialog;
  std::string Path = "before";
};

TEST_F(FileBrowse, AChosenFolderComesWithTheNulBehindIt) {
  Dialog.Chosen = {"quotes", "/data/quotes"};
  EXPECT_TRUE(Browse());
  EXPECT_EQ(Path, std::string("/data/quotes\0", 13));
  EXPECT_EQ(Shown_Path(Path), "/data/quotes");
  EXPECT_EQ(Dialog.Root, 0);
  EXPECT_EQ(Dialog.Flags, 1);
  EXPECT_EQ(Dialog.Owner, 0);
  EXPECT_EQ(Dialog.Prompt, "Select a folder:");
  EXPECT_EQ(Trap.Depth(), 0);
}

TEST_F(FileBrowse, AnItemWithoutAPathGivesItsDisplayName) {
  Dialog.Chosen = {"My Computer", std::nullopt};
  EXPECT_TRUE(Browse());
  EXPECT_EQ(Shown_Path(Path), "My Computer");
}

TEST_F(FileBrowse, ADriveRootKeepsItsSeparator) {
  Dialog.Chosen = {"Disk (C:)", "C:\\"};
  EXPECT_TRUE(Browse());
  EXPECT_EQ(Shown_Path(Path), "C:\\");
}

TEST_F(FileBrowse, CancellingLeavesThePath) {
  EXPECT_FALSE(Browse());
  EXPECT_EQ(Path, "before");
}

TEST_F(FileBrowse, ARootThatCannotBeLocatedShowsNothingAndCountsAsChosen) {
  Dialog.Located = false;
  EXPECT_TRUE(Browse());
  EXPECT_EQ(Path, "before");
  EXPECT_EQ(Dialog.Shown, 0);
}

TEST_F(FileBrowse, ADialogThatFailsCountsAsCancelled) {
  Dialog.Fails = true;
  EXPECT_FALSE(Browse());
  EXPECT_EQ(Path, "before");
  EXPECT_EQ(Trap.Depth(), 0);
}

}  // namespace
}  // namespace hq
