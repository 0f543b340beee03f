#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "errortrap/trace_log.h"
#include "support/file_size_limit.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::FileSizeLimit;
using test::TempFolder;
using Way = TraceRecord::Direction;

TEST(TraceLogOnAFullDisk, ClosesItsFileAndSaysSoOnce) {
  const TempFolder folder;
  std::vector<std::string> told;
  TraceLog::Options options;
  options.Name = "name";
  options.On_Failure = [&told](const RunTimeError& error) { told.emplace_back(error.what()); };
  TraceLog log(options, std::make_unique<LogFile>(folder / "plain", LogFile::Begin::Anew), nullptr);
  log.Write({Way::Entry, 1, 1, "a"});
  log.Flush();
  const std::string before = Bytes_Of(folder / "plain");
  {
    const FileSizeLimit full(before.size() + 10);
    ASSERT_TRUE(full.Is_Set());
    log.Write({Way::Entry, 2, 1, "b"});
    log.Flush();
    log.Write({Way::Entry, 3, 1, "c"});
    log.Flush();
  }
  log.Write({Way::Entry, 4, 1, "d"});
  log.Flush();
  EXPECT_EQ(log.Kept_Back(), "");
  EXPECT_EQ(Bytes_Of(folder / "plain"), before);
  ASSERT_EQ(told.size(), 1U);
  EXPECT_NE(told[0].find("Disk full"), std::string::npos) << told[0];
}

TEST(TraceLogOnAFullDisk, ClosesItsFileAlsoAmongRecords) {
  const TempFolder folder;
  int told = 0;
  TraceLog::Options options;
  options.On_Failure = [&told](const RunTimeError&) { ++told; };
  TraceLog log(options, std::make_unique<LogFile>(folder / "plain", LogFile::Begin::Anew), nullptr);
  const FileSizeLimit full(1000);
  ASSERT_TRUE(full.Is_Set());
  const std::string text(1000, 'x');
  for (int i = 1; i <= 200; ++i) log.Write({Way::Entry, i, 1, text});
  EXPECT_EQ(told, 1);
  EXPECT_EQ(log.Kept_Back(), "");
  EXPECT_EQ(Bytes_Of(folder / "plain"), "");
}

}  // namespace
}  // namespace hq
