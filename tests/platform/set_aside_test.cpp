#include "platform/set_aside.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>

#include "base/run_time_error.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::TempFolder;

TEST(SetAside, TakesTheFirstFreeNameAndLosesNothing) {
  const TempFolder folder;
  SystemFiles files;
  folder.Write("user.cfg", "first");
  EXPECT_EQ(Set_Aside(files, folder / "user.cfg"), folder / "user.cfg.bak");
  folder.Write("user.cfg", "second");
  EXPECT_EQ(Set_Aside(files, folder / "user.cfg"), folder / "user.cfg.bak2");
  // A folder has its name too.
  std::filesystem::create_directory(folder / "user.cfg.bak3");
  folder.Write("user.cfg", "third");
  EXPECT_EQ(Free_Backup_Name(files, folder / "user.cfg"), folder / "user.cfg.bak4");
  EXPECT_EQ(Set_Aside(files, folder / "user.cfg"), folder / "user.cfg.bak4");
  EXPECT_EQ(folder.Files(),
            (std::map<std::string, std::string>{
                {"user.cfg.bak", "first"}, {"user.cfg.bak2", "second"}, {"user.cfg.bak4", "third"}}));
}

TEST(SetAside, SaysThatThereIsNothing) {
  const TempFolder folder;
  SystemFiles files;
  EXPECT_RAISES(Set_Aside(files, folder / "user.cfg"), FileNotFound);
  EXPECT_TRUE(folder.Names().empty());
}

}  // namespace
}  // namespace hq
