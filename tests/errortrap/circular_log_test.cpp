#include "errortrap/circular_log.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "base/run_time_error.h"
#include "errortrap/circular_log_support.h"
#include "support/raises.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::Records_In_Order;
using test::TempFolder;
using testing::ElementsAre;

TEST(CircularLog, IsMadeAndGoneOnWith) {
  const TempFolder folder;
  const std::string path = folder / "circ0001.log";
  for (int i = 1; i <= 12; ++i) {
    CircularLog log(path, 64, 5);
    EXPECT_EQ(log.Path(), path);
    log.Write("record " + std::to_string(i));
    // With the system at once.
    ASSERT_EQ(Records_In_Order(Bytes_Of(path), 64).back(), "record " + std::to_string(i));
  }
  EXPECT_THAT(Records_In_Order(Bytes_Of(path), 64),
              ElementsAre("record 9", "record 10", "record 11", "record 12"));
  EXPECT_THAT(folder.Names(), ElementsAre("circ0001.log"));
}

TEST(CircularLog, NeverGrowsBeyondItsRecords) {
  const TempFolder folder;
  CircularLog log(folder / "log", 512, 100);
  for (int i = 1; i <= 300; ++i) {
    log.Write("record " + std::to_string(i));
    ASSERT_LE(std::filesystem::file_size(folder / "log"), 51200U);
  }
  EXPECT_EQ(std::filesystem::file_size(folder / "log"), 51200U);
  EXPECT_EQ(Records_In_Order(Bytes_Of(folder / "log"), 512).size(), 99U);
}

TEST(CircularLog, SetsALogOfAnotherLayoutAside) {
  const TempFolder folder;
  for (const auto& [size, most] : {std::pair<size_t, size_t>{128, 5}, {64, 4}}) {
    const std::string path = folder / std::to_string(size);
    {
      CircularLog log(path, 64, 5);
      for (int i = 1; i <= 9; ++i) log.Write(std::to_string(i));
    }
    const std::string before = Bytes_Of(path);
    CircularLog log(path, size, most);
    log.Write("anew");
    EXPECT_THAT(Records_In_Order(Bytes_Of(path), size), ElementsAre("anew"));
    EXPECT_EQ(Bytes_Of(path + ".bak"), before);
  }
}

TEST(CircularLog, KeepsAnEarlierOneSetAside) {
  const TempFolder folder;
  folder.Write("log.bak", "earlier");
  CircularLog(folder / "log", 64, 5).Write("1");
  const std::string before = Bytes_Of(folder / "log");
  CircularLog(folder / "log", 128, 5).Write("2");
  EXPECT_EQ(Bytes_Of(folder / "log.bak"), "earlier");
  EXPECT_EQ(Bytes_Of(folder / "log.bak2"), before);
}

TEST(CircularLog, SetsASpoiledLogAside) {
  const TempFolder folder;
  const std::string path = folder / "log";
  for (const auto& [kept_as, bytes] :
       {std::pair<std::string, std::string>{"log.bak", std::string(4096, '\0')},
        {"log.bak2", std::string(64, '\0') + "CIRCULAR\r\n" + std::string(52, ' ') + "\r\n"}}) {
    folder.Write("log", bytes);
    {
      CircularLog log(path, 64, 5);
      EXPECT_EQ(log.Spoiled_Kept_As(), folder / kept_as);
      log.Write("anew");
    }
    EXPECT_THAT(Records_In_Order(Bytes_Of(path), 64), ElementsAre("anew"));
    EXPECT_EQ(Bytes_Of(folder / kept_as), bytes);
    // From then on it is a log like any other.
    EXPECT_EQ(CircularLog(path, 64, 5).Spoiled_Kept_As(), "");
  }
  EXPECT_THAT(folder.Names(), ElementsAre("log", "log.bak", "log.bak2"));
}

TEST(CircularLog, TellsNothingOfALogOfAnotherLayout) {
  const TempFolder folder;
  CircularLog(folder / "log", 64, 5).Write("1");
  EXPECT_EQ(CircularLog(folder / "log", 128, 5).Spoiled_Kept_As(), "");
}

TEST(CircularLog, LeavesAForeignFileAlone) {
  const TempFolder folder;
  const std::string bytes = "Dear reader,\r\nthis file is mine.\r\nCIRCULAR\r\n";
  folder.Write("log", bytes);
  EXPECT_RAISES(CircularLog(folder / "log", 64, 5), PathFileAccessError);
  EXPECT_EQ(Bytes_Of(folder / "log"), bytes);
  EXPECT_THAT(folder.Names(), ElementsAre("log"));
}

TEST(CircularLog, IsKeptByOneAtATime) {
  const TempFolder folder;
  {
    CircularLog first(folder / "log", 64, 5);
    EXPECT_RAISES(CircularLog(folder / "log", 64, 5), PermissionDenied);
    EXPECT_THROW(CircularLog(folder / "log", 64, 5), FileInUse);
    first.Write("still in order");
  }
  CircularLog(folder / "log", 64, 5).Write("afterwards");
  EXPECT_NE(Bytes_Of(folder / "log").find("still in order"), std::string::npos);
  EXPECT_NE(Bytes_Of(folder / "log").find("afterwards"), std::string::npos);
}

TEST(CircularLog, RefusesALayoutBeforeItTouchesAnything) {
  const TempFolder folder;
  EXPECT_RAISES(CircularLog(folder / "log", 10, 5), InvalidProcedureCall);
  EXPECT_RAISES(CircularLog(folder / "log", 64, 0), InvalidProcedureCall);
  EXPECT_RAISES(CircularLog(folder / "log.rtf", 64, 2), InvalidProcedureCall);
  EXPECT_TRUE(folder.Names().empty());
}

TEST(CircularLog, SaysThatItCannotBeOpened) {
  const TempFolder folder;
  EXPECT_RAISES(CircularLog(folder / "missing/log", 64, 5), PathNotFound);
  EXPECT_RAISES(CircularLog(folder.Path(), 64, 5), PathFileAccessError);
  EXPECT_RAISES(CircularLog("", 64, 5), BadFileName);
}

TEST(CircularLog, IsRichTextWhenItsNameSaysSo) {
  const TempFolder folder;
  CircularLog(folder / "log.RTF", 128, 5).Write("text");
  const std::string bytes = Bytes_Of(folder / "log.RTF");
  EXPECT_TRUE(bytes.starts_with("{\\rtf1"));
  EXPECT_TRUE(bytes.ends_with("\\par}\r\n"));
  CircularLog(folder / "log.RTF", 128, 5).Write("more");
  EXPECT_THAT(folder.Names(), ElementsAre("log.RTF"));
}

TEST(CircularLog, RefusesToWriteBehindAFileThatWasCut) {
  const TempFolder folder;
  CircularLog log(folder / "log", 64, 5);
  for (int i = 1; i <= 3; ++i) log.Write(std::to_string(i));
  folder.Write("log", "");
  EXPECT_RAISES(log.Write("4"), InvalidProcedureCall);
  EXPECT_EQ(Bytes_Of(folder / "log"), "");
}

}  // namespace
}  // namespace hq
