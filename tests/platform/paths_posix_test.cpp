#include <filesystem>
#include <gtest/gtest.h>

#include "platform/paths.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

TEST(Paths, OthersCanReadWhatItsModeLetsThem) {
  using std::filesystem::perms;
  const test::TempFolder folder;
  folder.Write("a", "text");
  const std::filesystem::path file = folder / "a";
  for (const perms mode : {perms{0600}, perms{0700}, perms{0622}}) {
    std::filesystem::permissions(file, mode);
    EXPECT_FALSE(Others_Can_Read(file)) << static_cast<int>(mode);
  }
  for (const perms mode : {perms{0640}, perms{0604}, perms{0644}}) {
    std::filesystem::permissions(file, mode);
    EXPECT_TRUE(Others_Can_Read(file)) << static_cast<int>(mode);
  }
  EXPECT_FALSE(Others_Can_Read(folder / "missing"));
}

TEST(Paths, AreShownInUtf8) {
  EXPECT_EQ(Utf8_Text(System_Path("/M\xC3\xBCll")), "/M\xC3\xBCll");
}

}  // namespace
}  // namespace hq
