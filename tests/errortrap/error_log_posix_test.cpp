#include <gtest/gtest.h>
#include <string>

#include "errortrap/error_log.h"
#include "errortrap/error_log_support.h"
#include "support/file_size_limit.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::FileSizeLimit;
using test::Some_Error;
using test::TempFolder;

TEST(ErrorLogOnAFullDisk, KeepsWhatItHeldAndGoesToTheNextPlace) {
  for (const std::string name : {"error.log", "error.rtf"}) {
    const TempFolder folder;
    ErrorLog log({folder / name, folder / "fsError.log"});
    for (int i = 0; i < 5; ++i) log.Finish(log.Begin(Some_Error()), "text");
    const std::string before = Bytes_Of(folder / name);
    const FileSizeLimit full(before.size() + 100);
    ASSERT_TRUE(full.Is_Set());
    EXPECT_NE(log.Begin(Some_Error()), 0);
    EXPECT_EQ(log.Path(), folder / "fsError.log");
    EXPECT_EQ(Bytes_Of(folder / name), before);
  }
}

TEST(ErrorLogOnAFullDisk, KeepsTheRecordWhenTheTextOfTheUserIsLost) {
  for (const std::string name : {"error.log", "error.rtf"}) {
    const TempFolder folder;
    ErrorLog log({folder / name});
    const int record = log.Begin(Some_Error());
    const std::string before = Bytes_Of(folder / name);
    const FileSizeLimit full(before.size() + 3);
    ASSERT_TRUE(full.Is_Set());
    EXPECT_FALSE(log.Finish(record, "a longer text"));
    EXPECT_EQ(Bytes_Of(folder / name), before);
  }
}

}  // namespace
}  // namespace hq
