#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "platform/program.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

// A variable of the environment, put back at the end.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    setenv(name, value, 1);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() {
    if (before_) {
      setenv(name_, before_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> before_;
};

TEST(ProgramFolder, HoldsTheRunningProgram) {
  const std::filesystem::path folder(Program_Folder());
  EXPECT_TRUE(folder.is_absolute());
  EXPECT_TRUE(std::filesystem::is_regular_file(folder / "platform_tests")) << folder;
  EXPECT_FALSE(Program_Folder().ends_with('/'));
}

TEST(ProgramFolder, DoesNotDependOnTheWorkingFolder) {
  const std::string folder = Program_Folder();
  const test::TempFolder other;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(other.Path());
  const std::string there = Program_Folder();
  std::filesystem::current_path(before);
  EXPECT_EQ(there, folder);
}

TEST(SystemTimeText, FollowsTheUsersLocale) {
  const Variable locale("LC_ALL", "C");
  EXPECT_EQ(System_Time_Text(hours(14) + minutes(5) + seconds(9)), "14:05:09");
  EXPECT_EQ(System_Time_Text(seconds(0)), "00:00:00");
  EXPECT_EQ(System_Time_Text(hours(23) + minutes(59) + seconds(59)), "23:59:59");
}

TEST(SystemTimeText, TakesALocaleThatIsNotInstalled) {
  const Variable locale("LC_ALL", "xx_NOWHERE.UTF-8");
  EXPECT_EQ(System_Time_Text(hours(9) + minutes(30)), "09:30:00");
}

TEST(SystemErrorBoxes, CanBeSuppressedAnyNumberOfTimes) {
  EXPECT_NO_THROW(Suppress_System_Error_Boxes());
  EXPECT_NO_THROW(Suppress_System_Error_Boxes());
}

}  // namespace
}  // namespace hq
