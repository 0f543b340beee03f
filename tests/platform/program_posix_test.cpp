#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "platform/program.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

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

TEST(SystemErrorBoxes, CanBeSuppressedAnyNumberOfTimes) {
  EXPECT_NO_THROW(Suppress_System_Error_Boxes());
  EXPECT_NO_THROW(Suppress_System_Error_Boxes());
}

}  // namespace
}  // namespace hq
