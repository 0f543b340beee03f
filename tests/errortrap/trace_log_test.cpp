#include "errortrap/trace_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/run_time_error.h"
#include "errortrap/circular_log_support.h"
#include "support/temp_folder.h"

namespace hq {
namespace {

using test::Bytes_Of;
using test::Records_In_Order;
using test::TempFolder;
using testing::ElementsAre;
using testing::IsEmpty;
using Way = TraceRecord::Direction;

TraceLog::Options Named(std::string name = "name") {
  TraceLog::Options options;
  options.Name = std::move(name);
  return options;
}

std::string Text(TraceLog::Options options, const TraceRecord& record) {
  return TraceLog(std::move(options), nullptr, nullptr).Record_Text(record);
}

TraceLog::Options Loaded(std::optional<int> resources, std::optional<int> memory) {
  TraceLog::Options options = Named();
  options.Load = [=] { return TraceLoad{resources, memory}; };
  return options;
}

TEST(TraceRecordText, HoldsItsParts) {
  EXPECT_EQ(Text(Named(), {Way::Entry, 1, 12.3456, "frmmain1.frm : Sub Form_Load : "}),
            "[name] [00001] [00012.3456] ->frmmain1.frm : Sub Form_Load : ");
  EXPECT_EQ(Text(Named(), {Way::Exit, 2, 12.3457, " frmmain1.frm : Sub Form_Load : "}),
            "[name] [00002] [00012.3457] <- frmmain1.frm : Sub Form_Load : ");
}

TEST(TraceRecordText, EndsWithTheLoad) {
  const TraceRecord record{Way::Entry, 1, 12.3456, "frmmain1.frm : Sub Form_Load : "};
  const std::string start = "[name] [00001] [00012.3456] ->frmmain1.frm : Sub Form_Load : ";
  EXPECT_EQ(Text(Loaded(97, 41), record), start + " : [res =97%, mem = 41%]");
  EXPECT_EQ(Text(Loaded({}, 41), record), start + " : [mem = 41%]");
  EXPECT_EQ(Text(Loaded(97, {}), record), start + " : [res =97%]");
  EXPECT_EQ(Text(Loaded({}, {}), record), start);
  EXPECT_EQ(Text(Loaded(0, 100), record), start + " : [res =0%, mem = 100%]");
}

TEST(TraceRecordText, NumbersGrowBeyondTheirPlaces) {
  EXPECT_EQ(Text(Named(), {Way::Entry, 99999, 99999.9999, ""}), "[name] [99999] [99999.9999] ->");
  EXPECT_EQ(Text(Named(), {Way::Entry, 100000, 99999.99996, ""}), "[name] [100000] [100000.0000] ->");
  EXPECT_EQ(Text(Named(), {Way::Entry, 2147483647, 12345678.5, ""}),
            "[name] [2147483647] [12345678.5000] ->");
}

TEST(TraceRecordText, RoundsTheTime) {
  EXPECT_EQ(Text(Named(), {Way::Entry, 1, 0, ""}), "[name] [00001] [00000.0000] ->");
  EXPECT_EQ(Text(Named(), {Way::Entry, 1, 0.00004, ""}), "[name] [00001] [00000.0000] ->");
  EXPECT_EQ(Text(Named(), {Way::Entry, 1, 0.00006, ""}), "[name] [00001] [00000.0001] ->");
  EXPECT_EQ(Text(Named(), {Way::Entry, 1, 1.99996, ""}), "[name] [00001] [00002.0000] ->");
}

TEST(TraceRecordText, TakesATimeThatIsNoneForZero) {
  for (const double none :
       {-1.0, std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(Text(Named(), {Way::Entry, 1, none, ""}), "[name] [00001] [00000.0000] ->");
  }
  EXPECT_EQ(Text(Named(), {Way::Entry, 1, std::numeric_limits<double>::infinity(), ""}),
            "[name] [00001] [900000000000000.0000] ->");
}

TEST(TraceRecordText, HasNoTimeWithoutTiming) {
  TraceLog::Options options = Named();
  options.Timing = false;
  EXPECT_EQ(Text(options, {Way::Entry, 1, 12.5, "x"}), "[name] [00001] [00000.0000] ->x");
}

TEST(TraceRecordText, HasTheUsersDecimalSeparator) {
  TraceLog::Options options = Named();
  options.DecimalSeparator = ',';
  EXPECT_EQ(Text(options, {Way::Entry, 1, 12.5, "x"}), "[name] [00001] [00012,5000] ->x");
}

TEST(TraceLogLoad, IsAskedEveryQuarterOfASecond) {
  int asked = 0;
  TraceLog::Options options = Named();
  options.Load = [&asked] { return TraceLoad{{}, ++asked}; };
  TraceLog log(options, nullptr, nullptr);
  std::vector<int> seen;
  for (const double at : {0.0, 1.0, 249.9, 250.0, 499.9, 500.0, 10000.0, 10001.0, 20.0, 21.0}) {
    static_cast<void>(log.Record_Text({Way::Entry, 1, at, ""}));
    seen.push_back(asked);
  }
  // A time that goes back belongs to another start.
  EXPECT_THAT(seen, ElementsAre(1, 1, 1, 2, 2, 3, 4, 4, 5, 5));
}

TEST(TraceLogLoad, IsLeftOutWhenItCannotBeTold) {
  TraceLog::Options options = Named();
  options.Load = []() -> TraceLoad { throw RunTimeError(InternalError); };
  EXPECT_EQ(Text(options, {Way::Entry, 1, 1, "x"}), "[name] [00001] [00001.0000] ->x");
}

struct Logs {
  explicit Logs(const TraceLog::Options& options = Named(), bool plain = true, bool circular = true)
      : Log(options, plain ? std::make_unique<LogFile>(Folder / "plain", LogFile::Begin::Anew) : nullptr,
            circular ? std::make_unique<CircularLog>(Folder / "circular", 128, 4) : nullptr) {}

  [[nodiscard]] std::string Plain() const { return Bytes_Of(Folder / "plain"); }
  [[nodiscard]] std::vector<std::string> Circular() const {
    return Records_In_Order(Bytes_Of(Folder / "circular"), 128);
  }

  TempFolder Folder;
  TraceLog Log;
};

TEST(TraceLog, WritesARunToBothFiles) {
  Logs logs;
  logs.Log.Start("Bravint History Quotes Downloader 1.0.0 <03/14/03, 10:00:00>");
  logs.Log.Write({Way::Entry, 1, 1.5, "global.bas : Sub Main : "});
  logs.Log.Write({Way::Exit, 2, 2.5, "global.bas : Sub Main : "});
  EXPECT_THAT(logs.Circular(), ElementsAre("Bravint History Quotes Downloader 1.0.0 <03/14/03, 10:00:00>",
                                           "[name] [00001] [00001.5000] ->global.bas : Sub Main :",
                                           "[name] [00002] [00002.5000] <-global.bas : Sub Main :"));
  logs.Log.End(3, 456.789);
  EXPECT_EQ(logs.Plain(),
            "Bravint History Quotes Downloader 1.0.0 <03/14/03, 10:00:00>\r\n"
            "[name] [00001] [00001.5000] ->global.bas : Sub Main : \r\n"
            "[name] [00002] [00002.5000] <-global.bas : Sub Main : \r\n"
            "[name] [00003] [00456.7890] END PROGRAM \r\n");
  EXPECT_EQ(logs.Circular().back(), "[name] [00003] [00456.7890] END PROGRAM");
}

TEST(TraceLog, HasEachRecordWithTheSystemWhenItIsWritten) {
  Logs logs;
  std::string expected;
  for (int i = 1; i <= 3; ++i) {
    logs.Log.Write({Way::Entry, i, 1, "global.bas : Sub Main : "});
    expected += logs.Log.Record_Text({Way::Entry, i, 1, "global.bas : Sub Main : "}) + "\r\n";
    EXPECT_EQ(logs.Plain(), expected);
  }
}

TEST(TraceLog, WritesEachRecordAsOneLine) {
  Logs logs;
  logs.Log.Write({Way::Entry, 1, 1, "a\r\nb\nc"});
  EXPECT_EQ(logs.Plain(), "[name] [00001] [00001.0000] ->a  b c\r\n");
}

TEST(TraceLog, MayHaveNoFile) {
  int asked = 0;
  TraceLog::Options options = Named();
  options.Load = [&asked] { return TraceLoad{{}, ++asked}; };
  TraceLog log(options, nullptr, nullptr);
  log.Start("start");
  log.Write({Way::Entry, 1, 1, "a"});
  log.End(2, 2);
  EXPECT_EQ(asked, 0);
}

TEST(TraceLog, TakesTheRecordsOfTheTrap) {
  Logs logs;
  modFailSafe trap;
  trap.Write_Record = [&logs](const TraceRecord& record) {
    TraceRecord timeless = record;
    timeless.Milliseconds = 0;
    logs.Log.Write(timeless);
  };
  trap.fsPUSH("global.bas", "Sub Main");
  trap.fsPUSH("frmmain1.frm", "Sub Form_Load");
  trap.fsPOP("frmmain1.frm", "Sub Form_Load");
  trap.fsPOP("global.bas", "Sub Main");
  EXPECT_EQ(logs.Plain(),
            "[name] [00001] [00000.0000] ->global.bas : Sub Main : \r\n"
            "[name] [00002] [00000.0000] -> frmmain1.frm : Sub Form_Load : \r\n"
            "[name] [00003] [00000.0000] <- frmmain1.frm : Sub Form_Load : \r\n"
            "[name] [00004] [00000.0000] <-global.bas : Sub Main : \r\n");
}

TEST(TraceLogFailure, IsToldOnceAndLeavesTheOtherFile) {
  std::vector<std::string> told;
  TraceLog::Options options = Named();
  options.On_Failure = [&told](const RunTimeError& error) { told.push_back(error.Detail()); };
  Logs logs(options);
  logs.Log.Write({Way::Entry, 1, 1, "a"});
  // What a circular log has written is gone, and a gap is no place for a record.
  logs.Folder.Write("circular", "");
  logs.Log.Write({Way::Entry, 2, 1, "b"});
  logs.Log.Write({Way::Entry, 3, 1, "c"});
  ASSERT_EQ(told.size(), 1U);
  EXPECT_TRUE(told[0].starts_with("Could not write to log file " + (logs.Folder / "circular") + "\n"))
      << told[0];
  EXPECT_EQ(Bytes_Of(logs.Folder / "circular"), "");
  EXPECT_EQ(logs.Plain(),
            "[name] [00001] [00001.0000] ->a\r\n[name] [00002] [00001.0000] ->b\r\n"
            "[name] [00003] [00001.0000] ->c\r\n");
}

TEST(TraceLogFailure, LetsWhoIsToldBeTracedAndFail) {
  TraceLog* log = nullptr;
  int told = 0;
  TraceLog::Options options = Named();
  options.On_Failure = [&](const RunTimeError&) {
    ++told;
    log->Write({Way::Entry, 3, 1, "within"});
    throw RunTimeError(InternalError);
  };
  Logs logs(options);
  log = &logs.Log;
  logs.Log.Write({Way::Entry, 1, 1, "a"});
  logs.Folder.Write("circular", "");
  logs.Log.Write({Way::Entry, 2, 1, "b"});
  EXPECT_EQ(told, 1);
  EXPECT_EQ(logs.Plain(),
            "[name] [00001] [00001.0000] ->a\r\n[name] [00002] [00001.0000] ->b\r\n"
            "[name] [00003] [00001.0000] ->within\r\n");
}

TEST(TraceLogFailure, MayBeToldToNobody) {
  Logs logs;
  logs.Log.Write({Way::Entry, 1, 1, "a"});
  logs.Folder.Write("circular", "");
  logs.Log.Write({Way::Entry, 2, 1, "b"});
  logs.Log.Write({Way::Entry, 3, 1, "c"});
  EXPECT_EQ(Bytes_Of(logs.Folder / "circular"), "");
}

}  // namespace
}  // namespace hq
