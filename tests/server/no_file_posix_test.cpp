// What has a file's name and is none, so that opening it could wait for ever.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "market/market_support.h"
#include "server/archive/archive.h"
#include "server/services/profile_reader.h"

namespace hq::server {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(NoFile, APipeAmongTheProfilesIsNotWaitedFor) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder.Path() / "pipe.json").c_str(), 0600), 0);
  const ProfileFolder read = Load_Profiles(folder.Path());
  ASSERT_EQ(read.Errors.size(), 1U);
  EXPECT_EQ(read.Errors[0].Reason, "it is a pipe, not a file");
}

TEST(NoFile, APipeInTheArchivesPlaceIsToldAndStays) {
  const TemporaryFolder folder;
  const auto file = folder.Path() / "quotes.db";
  ASSERT_EQ(mkfifo(file.c_str(), 0644), 0);
  std::vector<std::string> told;
  const Archive archive{file, [&told](const std::string& line) { told.push_back(line); }};
  EXPECT_THAT(told, ElementsAre(HasSubstr("what has its name is no file")));
  struct stat state {};
  ASSERT_EQ(stat(file.c_str(), &state), 0);
  EXPECT_TRUE(S_ISFIFO(state.st_mode));
  EXPECT_EQ(state.st_mode & 07777, 0644U);
}

}  // namespace
}  // namespace hq::server
