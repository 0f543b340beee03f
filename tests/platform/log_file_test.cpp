#include "platform/log_file.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "base/run_time_error.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::TempFolder;
using Begin = LogFile::Begin;

TEST(LogFile, IsMadeWhenThereIsNone) {
  const TempFolder folder;
  for (const Begin begin : {Begin::Anew, Begin::AtTheEnd, Begin::InPlace}) {
    const std::string path = folder / std::to_string(static_cast<int>(begin));
    LogFile log(path, begin);
    EXPECT_EQ(Bytes_Of(path), "");
    EXPECT_EQ(log.Size(), 0U);
    EXPECT_EQ(log.Path(), path);
    log.Append("text");
    EXPECT_EQ(Bytes_Of(path), "text");
  }
}

TEST(LogFile, KeepsWhatItHeldUnlessBegunAnew) {
  const TempFolder folder;
  folder.Write("log", "before ");
  LogFile(folder / "log", Begin::AtTheEnd).Append("1 ");
  EXPECT_EQ(Bytes_Of(folder / "log"), "before 1 ");
  LogFile(folder / "log", Begin::InPlace).Append("2");
  EXPECT_EQ(Bytes_Of(folder / "log"), "before 1 2");
  LogFile(folder / "log", Begin::Anew).Append("3");
  EXPECT_EQ(Bytes_Of(folder / "log"), "3");
}

TEST(LogFile, ShowsEveryWriteToOthersAtOnce) {
  const TempFolder folder;
  LogFile log(folder / "log", Begin::Anew);
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    const std::string line = std::to_string(i) + "\r\n";
    log.Append(line);
    expected += line;
    ASSERT_EQ(Bytes_Of(folder / "log"), expected);
  }
}

TEST(LogFile, AppendsBehindWhatAnotherHasWritten) {
  const TempFolder folder;
  LogFile one(folder / "log", Begin::Anew);
  LogFile other(folder / "log", Begin::AtTheEnd);
  LogFile third(folder / "log", Begin::InPlace);
  one.Append("1");
  other.Append("2");
  third.Append("3");
  one.Append("4");
  EXPECT_EQ(Bytes_Of(folder / "log"), "1234");
}

TEST(LogFile, WritesInPlace) {
  const TempFolder folder;
  folder.Write("log", "0123456789");
  LogFile log(folder / "log", Begin::InPlace);
  log.Write_At(0, "ab");
  log.Write_At(4, "c");
  log.Write_At(9, "def");
  log.Write_At(12, "g");
  log.Write_At(3, "");
  EXPECT_EQ(Bytes_Of(folder / "log"), "ab23c5678defg");
}

TEST(LogFile, LeavesNoGap) {
  const TempFolder folder;
  folder.Write("log", "0123");
  LogFile log(folder / "log", Begin::InPlace);
  EXPECT_RAISES(log.Write_At(5, "x"), InvalidProcedureCall);
  EXPECT_RAISES(log.Write_At(5, ""), InvalidProcedureCall);
  EXPECT_EQ(Bytes_Of(folder / "log"), "0123");
}

TEST(LogFile, WritesInPlaceOnlyWhenOpenedForThat) {
  const TempFolder folder;
  folder.Write("log", "0123");
  LogFile log(folder / "log", Begin::AtTheEnd);
  EXPECT_RAISES(log.Write_At(0, "x"), InvalidProcedureCall);
  EXPECT_EQ(Bytes_Of(folder / "log"), "0123");
}

TEST(LogFile, ReadsAnyPart) {
  const TempFolder folder;
  folder.Write("log", "0123456789");
  for (const Begin begin : {Begin::AtTheEnd, Begin::InPlace}) {
    const LogFile log(folder / "log", begin);
    EXPECT_EQ(log.Read_At(0, 3), "012");
    EXPECT_EQ(log.Read_At(8, 2), "89");
    EXPECT_EQ(log.Read_At(8, 100), "89");
    EXPECT_EQ(log.Read_At(10, 1), "");
    EXPECT_EQ(log.Read_At(1000, 1), "");
    EXPECT_EQ(log.Read_At(3, 0), "");
    EXPECT_EQ(log.Read_At(0, SIZE_MAX), "0123456789");
    EXPECT_EQ(log.Size(), 10U);
  }
}

TEST(LogFile, KeepsEveryByte) {
  const TempFolder folder;
  std::string bytes;
  for (int i = 0; i < 300000; ++i) bytes += static_cast<char>(i * 7 % 256);
  LogFile log(folder / "log", Begin::Anew);
  log.Append(bytes);
  EXPECT_EQ(log.Read_At(0, bytes.size() + 1), bytes);
  EXPECT_TRUE(Bytes_Of(folder / "log") == bytes);
}

TEST(LogFile, IsCut) {
  const TempFolder folder;
  folder.Write("log", "0123456789");
  LogFile log(folder / "log", Begin::AtTheEnd);
  EXPECT_RAISES(log.Cut(11), InvalidProcedureCall);
  log.Cut(10);
  EXPECT_EQ(log.Size(), 10U);
  log.Cut(4);
  EXPECT_EQ(Bytes_Of(folder / "log"), "0123");
  log.Append("x");
  EXPECT_EQ(Bytes_Of(folder / "log"), "0123x");
  log.Cut(0);
  EXPECT_EQ(Bytes_Of(folder / "log"), "");
}

TEST(LogFile, RefusesWhatItCannotOpen) {
  const TempFolder folder;
  for (const Begin begin : {Begin::Anew, Begin::AtTheEnd, Begin::InPlace}) {
    EXPECT_RAISES(LogFile(folder / "missing/log", begin), PathNotFound);
    EXPECT_RAISES(LogFile(folder.Path(), begin), PathFileAccessError);
    EXPECT_RAISES(LogFile("", begin), BadFileName);
    EXPECT_RAISES(LogFile(folder / std::string_view("a\0b", 3), begin), BadFileName);
    EXPECT_RAISES(LogFile(folder / std::string(5000, 'a'), begin), BadFileName);
  }
  EXPECT_TRUE(folder.Names().empty());
}

TEST(LogFile, NamesThePathAndTheReasonOfAFailure) {
  const TempFolder folder;
  const std::string path = folder / "missing/log";
  try {
    LogFile(path, Begin::AtTheEnd);
    ADD_FAILURE() << "opened";
  } catch (const RunTimeError& error) {
    EXPECT_EQ(error.Detail().find(path + ": "), 0U) << error.Detail();
    EXPECT_GT(error.Detail().size(), path.size() + 2);
  }
}

}  // namespace
}  // namespace hq
