#include "platform/program_places.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "platform/files.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::TempFolder;
using testing::HasSubstr;

const Variables None = [](const std::string&) { return std::nullopt; };

class ProgramPlacesTest : public testing::Test {
 protected:
  ProgramPlacesTest() { std::filesystem::create_directories(Own); }

  void Install() { Folder.Write("own/installed-copy", ""); }

  const TempFolder Folder;
  const std::string Own = Folder / "own";
  const std::string User = Folder / "user";
};

TEST_F(ProgramPlacesTest, APortableCopyKeepsItsFilesBesideItself) {
  const ProgramPlaces places = Places_Of_Program(Own, {}, None);
  EXPECT_EQ(places.Program, Own);
  EXPECT_EQ(places.Package, Own);
  EXPECT_EQ(Prepare_Program_Folder(places), "");
  // Never another one instead.
  std::filesystem::remove(Own);
  EXPECT_EQ(Places_Of_Program(Own, {}, None).Program, Own);
  EXPECT_THAT(Prepare_Program_Folder(places), HasSubstr("can't be kept in the program folder: " + Own));
  EXPECT_FALSE(std::filesystem::exists(Own));
}

TEST_F(ProgramPlacesTest, TheFolderThatTheUserNamesComesFirst) {
  Install();
  const ProgramPlaces places = Places_Of_Program(Own, User, None);
  EXPECT_EQ(places.Program, User);
  EXPECT_EQ(places.Package, Own);
  EXPECT_NE(Prepare_Program_Folder(places), "");
  EXPECT_FALSE(std::filesystem::exists(User)) << "made unasked";
}

TEST_F(ProgramPlacesTest, WhatCameWithTheProgramIsFoundInThePackageUnlessTheUserHasAnother) {
  std::filesystem::create_directory(User);
  const ProgramPlaces places{User, Own};
  EXPECT_EQ(Folder_With(places, "t8.ico"), User);
  Folder.Write("own/t8.ico", "");
  EXPECT_EQ(Folder_With(places, "t8.ico"), Own);
  Folder.Write("user/t8.ico", "");
  EXPECT_EQ(Folder_With(places, "t8.ico"), User);
}

}  // namespace
}  // namespace hq
