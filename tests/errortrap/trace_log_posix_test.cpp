#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "errortrap/circular_log_support.h"
#include "errortrap/trace_log.h"
#include "support/file_size_limit.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::FileSizeLimit;
using test::Records_In_Order;
using test::TempFolder;
using testing::ElementsAre;
using Way = TraceRecord::Direction;

TEST(TraceLogOnAFullDisk, SaysSoOnceAndGoesOnWhenThereIsRoomAgain) {
  const TempFolder folder;
  std::vector<std::string> told;
  TraceLog::Options options;
  options.Name = "name";
  options.On_Failure = [&told](const RunTimeError& error) { told.emplace_back(error.what()); };
  TraceLog log(options, std::make_unique<LogFile>(folder / "plain", LogFile::Begin::Anew), nullptr);
  log.Write({Way::Entry, 1, 1, "a"});
  const std::string before = Bytes_Of(folder / "plain");
  for (int time = 0; time < 2; ++time) {
    const FileSizeLimit full(before.size() + 10);
    ASSERT_TRUE(full.Is_Set());
    log.Write({Way::Entry, 2, 1, "b"});
    log.Write({Way::Entry, 3, 1, "c"});
    EXPECT_EQ(Bytes_Of(folder / "plain"), before);
  }
  log.Write({Way::Entry, 4, 1, "d"});
  EXPECT_EQ(Bytes_Of(folder / "plain"), before + "[name] [00004] [00001.0000] ->d\r\n");
  ASSERT_EQ(told.size(), 1U);
  EXPECT_NE(told[0].find("Disk full"), std::string::npos) << told[0];
}

TEST(TraceLogOnAFullDisk, LeavesACircularLogThatGoesOnToo) {
  const TempFolder folder;
  int told = 0;
  TraceLog::Options options;
  options.Name = "name";
  options.On_Failure = [&told](const RunTimeError&) { ++told; };
  TraceLog log(options, nullptr, std::make_unique<CircularLog>(folder / "circular", 128, 9));
  log.Write({Way::Entry, 1, 1, "a"});
  {
    const FileSizeLimit full(Bytes_Of(folder / "circular").size() + 10);
    ASSERT_TRUE(full.Is_Set());
    log.Write({Way::Entry, 2, 1, "b"});
    log.Write({Way::Entry, 3, 1, "c"});
  }
  log.Write({Way::Entry, 4, 1, "d"});
  EXPECT_EQ(told, 1);
  EXPECT_THAT(Records_In_Order(Bytes_Of(folder / "circular"), 128),
              ElementsAre("[name] [00001] [00001.0000] ->a", "[name] [00004] [00001.0000] ->d"));
}

}  // namespace
}  // namespace hq
