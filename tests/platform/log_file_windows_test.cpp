#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "base/run_time_error.h"
#include "platform/log_file.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::Put_Bytes;
using test::TempFolder;

TEST(LogFile, AppendsAtTheEndAsItIsNow) {
  const TempFolder folder;
  Put_Bytes(folder / "log", "old\r\n");
  LogFile first(folder / "log", LogFile::Begin::AtTheEnd);
  LogFile second(folder / "log", LogFile::Begin::AtTheEnd);
  first.Append("one\r\n");
  second.Append("two\r\n");
  first.Append("three\r\n");
  EXPECT_EQ(Bytes_Of(folder / "log"), "old\r\none\r\ntwo\r\nthree\r\n");
  EXPECT_EQ(first.Size(), 22U);
}

TEST(LogFile, KeepsTheLinesOfSeveralWritersWhole) {
  const TempFolder folder;
  constexpr size_t Lines = 200;
  const std::string line(99, 'x');
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      LogFile log(folder / "log", LogFile::Begin::AtTheEnd);
      for (size_t count = 0; count < Lines; ++count) log.Append(line + "\n");
    });
  }
  for (std::thread& writer : writers) writer.join();
  std::string expected;
  for (size_t count = 0; count < 4 * Lines; ++count) expected += line + "\n";
  EXPECT_TRUE(Bytes_Of(folder / "log") == expected);
}

TEST(LogFile, BeginsAnew) {
  const TempFolder folder;
  Put_Bytes(folder / "log", "old");
  LogFile log(folder / "log", LogFile::Begin::Anew);
  EXPECT_EQ(log.Size(), 0U);
  log.Append("new");
  EXPECT_EQ(Bytes_Of(folder / "log"), "new");
}

TEST(LogFile, WritesAndReadsInPlace) {
  const TempFolder folder;
  Put_Bytes(folder / "log", "0123456789");
  LogFile log(folder / "log", LogFile::Begin::InPlace);
  log.Write_At(2, "ab");
  log.Write_At(9, "cde");
  EXPECT_EQ(log.Read_At(0, 100), "01ab45678cde");
  EXPECT_EQ(log.Read_At(3, 2), "b4");
  EXPECT_EQ(log.Read_At(12, 5), "");
  EXPECT_RAISES(log.Write_At(13, "x"), InvalidProcedureCall);
  log.Cut(4);
  EXPECT_EQ(Bytes_Of(folder / "log"), "01ab");
  EXPECT_RAISES(log.Cut(5), InvalidProcedureCall);
}

TEST(LogFile, RefusesWhatIsNoFile) {
  const TempFolder folder;
  EXPECT_RAISES(LogFile(folder.Path(), LogFile::Begin::AtTheEnd), PathFileAccessError);
  EXPECT_RAISES(LogFile("NUL", LogFile::Begin::AtTheEnd), PathFileAccessError);
  EXPECT_RAISES(LogFile(folder / "missing\\log", LogFile::Begin::AtTheEnd), PathNotFound);
  EXPECT_RAISES(LogFile("", LogFile::Begin::AtTheEnd), BadFileName);
  LogFile log(folder / "log", LogFile::Begin::AtTheEnd);
  EXPECT_RAISES(log.Write_At(0, "x"), InvalidProcedureCall);
}

}  // namespace
}  // namespace hq
