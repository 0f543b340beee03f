#include "server/archive/archive.h"

#include <array>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <sqlite3.h>
#include <sstream>
#include <thread>

#ifndef _WIN32
#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "market/market_support.h"
#include "server/archive/sqlite_database.h"
#include "server/csv/csv_reader.h"
#include "server/live/pacing.h"

namespace hq::server {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const SeriesKey daily{"tiingo", "MSFT", daily_interval, "split"};
const SeriesKey minutes_key{"tiingo", "MSFT", 5, "split"};

Moment At_Noon(Day day) {
  return Moment{day} + hours{12};
}

NativeBar Daily_Bar(Day day, double price, bool final = true) {
  return {{day, session_open, price, price + 1, price - 1, price, 100}, final};
}

void Store_Days(Archive& archive, const SeriesKey& key, Day first, int count, double price = 10) {
  std::vector<NativeBar> bars;
  for (int i = 0; i < count; ++i) bars.push_back(Daily_Bar(first + days{i}, price + i));
  archive.Store(key, {bars,
                      DayRange{first, first + days{count - 1}},
                      {first + days{count}, seconds{0}},
                      At_Noon(first + days{count})});
}

std::string Bytes_Of(const fs::path& file) {
  std::ifstream stream{file, std::ios::binary};
  return {std::istreambuf_iterator<char>{stream}, {}};
}

std::vector<std::string> Names_In(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator{folder}) names.push_back(entry.path().filename().string());
  std::ranges::sort(names);
  return names;
}

class ArchiveTest : public testing::Test {
 protected:
  [[nodiscard]] std::unique_ptr<Archive> Open() {
    return std::make_unique<Archive>(file_, [this](const std::string& line) { reports_.push_back(line); });
  }

  TemporaryFolder folder_;
  fs::path file_ = folder_.Path() / "quotes.db";
  std::vector<std::string> reports_;
};

TEST_F(ArchiveTest, KeepsBarsAsTheyWereFetched) {
  const Day day = Date(2026, 11, 20);
  const std::vector<NativeBar> bars{{{day, At(9, 30), 0.1, 123456.789, 1e-8, 1e-7, 0}, true},
                                    {{day, At(9, 35), 1.0 / 3, 2, 0.25, 1, 9'000'000'000'000}, true},
                                    {{day, At(15, 55), 2, 2, 2, 2, 1}, false}};
  Open()->Store(minutes_key, {bars, {}, {day, At(16, 5)}, At_Noon(day), *Find_Zone("Europe/Berlin"), false});

  const auto archive = Open();
  const ArchivedBars kept = archive->Last_Sessions(minutes_key, day, 1);
  EXPECT_THAT(kept.Bars, ElementsAre(bars[0].Quote, bars[1].Quote));
  EXPECT_EQ(kept.Last_Fetch, At_Noon(day));
  EXPECT_EQ(kept.Known_Until, (ExchangeTime{day, At(16, 5)}));
  EXPECT_EQ(kept.Market_Zone.Name(), "Europe/Berlin");
  EXPECT_FALSE(kept.Us_Sessions);
  EXPECT_THAT(archive->Bars(minutes_key, {day, day}),
              ElementsAre(bars[0].Quote, bars[1].Quote, bars[2].Quote));
  EXPECT_TRUE(archive->Is_Kept());
  EXPECT_THAT(archive->Check(), IsEmpty());
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(ArchiveTest, KnowsASymbolInAnyLetterCaseAndKeepsSeriesApart) {
  const auto archive = Open();
  const Day day = Date(2026, 11, 20);
  double price = 1;
  std::vector<SeriesKey> keys;
  for (const char* source : {"tiingo", "alpaca"}) {
    for (const char* symbol : {"MSFT", "MSFTX", "index:MSFT"}) {
      for (const int interval : {1, 5, daily_interval}) {
        for (const char* adjustment : {"raw", "split"}) {
          keys.push_back({source, symbol, interval, adjustment});
          archive->Store(keys.back(), {std::vector{Daily_Bar(day, ++price)}, {}, {}, At_Noon(day)});
        }
      }
    }
  }
  price = 1;
  for (SeriesKey key : keys) {
    std::ranges::transform(key.Symbol, key.Symbol.begin(),
                           [](char c) { return static_cast<char>(std::tolower(c)); });
    const auto bars = archive->Last_Sessions(key, day, 5).Bars;
    ASSERT_THAT(bars, SizeIs(1));
    EXPECT_EQ(bars[0].Open, ++price);
  }
}

TEST_F(ArchiveTest, GivesTheLastSessionsNotAfterADay) {
  const auto archive = Open();
  std::vector<NativeBar> bars;
  for (int i = 0; i < 4; ++i) {
    for (const auto at : {At(9, 30), At(12, 0), At(15, 55)})
      bars.push_back({{Date(2026, 11, 16) + days{i}, at, 5, 6, 4, 5, i}, true});
  }
  archive->Store(minutes_key, {bars, {}, {}, At_Noon(Date(2026, 11, 20))});
  const auto chosen = archive->Last_Sessions(minutes_key, Date(2026, 11, 18), 2).Bars;
  ASSERT_THAT(chosen, SizeIs(6));
  EXPECT_EQ(chosen.front(), bars[3].Quote);
  EXPECT_EQ(chosen.back(), bars[8].Quote);
  EXPECT_THAT(archive->Last_Sessions(minutes_key, Date(2026, 11, 15), 2).Bars, IsEmpty());
  EXPECT_THAT(archive->Last_Sessions(minutes_key, Date(2030, 1, 1), 99).Bars, SizeIs(12));
  EXPECT_THAT(archive->Last_Sessions(daily, Date(2030, 1, 1), 99).Bars, IsEmpty());
}

TEST_F(ArchiveTest, TakesCorrectionsAndKeepsWhatAServiceNoLongerSends) {
  const auto archive = Open();
  Store_Days(*archive, daily, Date(2026, 11, 2), 5, 10);
  const std::vector<NativeBar> corrected{Daily_Bar(Date(2026, 11, 6), 99),
                                         Daily_Bar(Date(2026, 11, 7), 98, false)};
  archive->Store(daily,
                 {corrected, DayRange{Date(2026, 11, 4), Date(2026, 11, 6)}, {}, At_Noon(Date(2026, 11, 9))});
  const auto bars = archive->Last_Sessions(daily, Date(2026, 11, 30), 500).Bars;
  ASSERT_THAT(bars, SizeIs(5));
  EXPECT_EQ(bars[2].Open, 12);
  EXPECT_EQ(bars[4].Open, 99);
  EXPECT_EQ(archive->List().at(0).Not_Final, 1U);
}

TEST_F(ArchiveTest, TellsWhichDaysAreMissing) {
  const auto archive = Open();
  const auto answer = [&](Day first, Day last) {
    archive->Store(daily, {{}, DayRange{first, last}, {}, At_Noon(last)});
  };
  const DayRange november{Date(2026, 11, 1), Date(2026, 11, 30)};
  EXPECT_THAT(archive->Missing(daily, november), ElementsAre(november));
  answer(Date(2026, 11, 10), Date(2026, 11, 12));
  answer(Date(2026, 11, 20), Date(2026, 11, 22));
  EXPECT_THAT(archive->Missing(daily, november),
              ElementsAre(DayRange{Date(2026, 11, 1), Date(2026, 11, 9)},
                          DayRange{Date(2026, 11, 13), Date(2026, 11, 19)},
                          DayRange{Date(2026, 11, 23), Date(2026, 11, 30)}));
  answer(Date(2026, 11, 13), Date(2026, 11, 19));
  EXPECT_THAT(archive->Missing(daily, {Date(2026, 11, 10), Date(2026, 11, 22)}), IsEmpty());
  answer(Date(2026, 11, 5), Date(2026, 11, 30));
  EXPECT_THAT(archive->Missing(daily, november), ElementsAre(DayRange{Date(2026, 11, 1), Date(2026, 11, 4)}));
  answer(Date(2026, 11, 8), Date(2026, 11, 9));
  EXPECT_THAT(archive->Missing(daily, november), ElementsAre(DayRange{Date(2026, 11, 1), Date(2026, 11, 4)}));
  EXPECT_THAT(archive->Missing(minutes_key, november), ElementsAre(november));
  EXPECT_THAT(archive->Check(), IsEmpty());
}

TEST_F(ArchiveTest, AFetchThatCantBeStoredLeavesNothing) {
  const auto archive = Open();
  Store_Days(*archive, daily, Date(2026, 11, 2), 2);
  const double nothing = std::numeric_limits<double>::quiet_NaN();
  const std::vector<NativeBar> bad{Daily_Bar(Date(2026, 11, 4), 1), Daily_Bar(Date(2026, 11, 5), nothing)};
  EXPECT_THROW(
      archive->Store(daily,
                     {bad, DayRange{Date(2026, 11, 4), Date(2026, 11, 5)}, {}, At_Noon(Date(2026, 11, 6))}),
      ArchiveError);
  EXPECT_THAT(archive->Last_Sessions(daily, Date(2026, 12, 1), 9).Bars, SizeIs(2));
  EXPECT_THAT(archive->Missing(daily, {Date(2026, 11, 4), Date(2026, 11, 5)}), SizeIs(1));
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(ArchiveTest, SetsASeriesAside) {
  const auto archive = Open();
  Store_Days(*archive, daily, Date(2026, 11, 2), 2, 400);
  archive->Set_Aside(daily, "split before 2026-11-04");
  EXPECT_THAT(archive->Last_Sessions(daily, Date(2026, 12, 1), 9).Bars, IsEmpty());
  EXPECT_THAT(archive->Missing(daily, {Date(2026, 11, 2), Date(2026, 11, 3)}), SizeIs(1));
  Store_Days(*archive, daily, Date(2026, 11, 2), 2, 100);
  archive->Set_Aside(daily, "split before 2026-11-04");
  const auto list = archive->List();
  ASSERT_THAT(list, SizeIs(1));
  EXPECT_EQ(list[0].Key.Adjustment, "split before 2026-11-04");
  EXPECT_EQ(archive->Last_Sessions(list[0].Key, Date(2026, 12, 1), 9).Bars.at(0).Open, 100);
  EXPECT_THAT(archive->Check(), IsEmpty());
}

TEST_F(ArchiveTest, RemembersRefusalsForTheirTime) {
  const Moment noon = At_Noon(Date(2026, 11, 20));
  Open()->Limits().Remember_Refusal({"tiingo", "nosuch", 0, ""}, "unknown", noon + hours{24});
  const auto archive = Open();
  EXPECT_EQ(archive->Limits().Refusal({"tiingo", "NoSuch", 0, ""}, noon), "unknown");
  EXPECT_EQ(archive->Limits().Refusal({"tiingo", "NOSUCH", 0, ""}, noon + hours{24}), std::nullopt);
  EXPECT_EQ(archive->Limits().Refusal({"tiingo", "NOSUCH", 5, ""}, noon), std::nullopt);
  EXPECT_EQ(archive->Limits().Refusal({"alpaca", "NOSUCH", 0, ""}, noon), std::nullopt);
}

TEST_F(ArchiveTest, ExportsWhatTheReaderOfFilesReads) {
  const auto archive = Open();
  const Day day = Date(1999, 12, 31);
  const std::vector<NativeBar> bars{{{day, At(9, 30), 0.1, 0.3, 0.00000012, 1.0 / 3, 0}, true},
                                    {{day, At(9, 35), 1e9, 1e9, 0.5, 1, 5}, true},
                                    {{day, At(9, 40), 7, 7, 7, 7, 5}, true}};
  archive->Store(minutes_key, {bars, {}, {}, At_Noon(day)});
  std::ostringstream text;
  EXPECT_EQ(archive->Export_Csv(minutes_key, {day, day}, text), 3U);
  EXPECT_THAT(text.str(),
              testing::StartsWith("Date,Time,Open,High,Low,Close,Volume\n1999-12-31,09:30,0.1,0.3,"
                                  "0.00000012,0.3333333333333333,0\n"));
  const CsvTable table = Read_Csv(text.str());
  EXPECT_THAT(table.Bars, ElementsAre(bars[0].Quote, bars[1].Quote, bars[2].Quote));
  EXPECT_EQ(table.Bar_Length, minutes{5});

  Store_Days(*archive, daily, Date(2026, 11, 2), 4);
  std::ostringstream days_text;
  EXPECT_EQ(archive->Export_Csv(daily, {Date(2026, 11, 3), Date(2026, 11, 4)}, days_text), 2U);
  EXPECT_EQ(days_text.str(),
            "Date,Open,High,Low,Close,Volume\n2026-11-03,11,12,10,11,100\n2026-11-04,12,13,11,12,100\n");
}

TEST_F(ArchiveTest, ShrinksAndGivesTheRoomBack) {
  const auto archive = Open();
  Store_Days(*archive, daily, Date(1990, 1, 1), 10'000);
  archive->Store(
      {"tiingo", "OLD", daily_interval, "raw"},
      {std::vector{Daily_Bar(Date(1980, 1, 1), 5)}, DayRange{Date(1980, 1, 1), Date(1980, 1, 1)}, {}, {}});
  const auto size = archive->File_Size();
  EXPECT_EQ(archive->Shrink(Date(2016, 1, 1)), 9497U);
  EXPECT_LT(archive->File_Size(), size / 4);
  EXPECT_THAT(archive->List(), SizeIs(1));
  EXPECT_EQ(archive->List()[0].Days.First, Date(2016, 1, 1));
  EXPECT_THAT(archive->Missing(daily, {Date(2015, 12, 31), Date(2016, 1, 1)}),
              ElementsAre(DayRange{Date(2015, 12, 31), Date(2015, 12, 31)}));
  EXPECT_THAT(archive->Check(), IsEmpty());
}

TEST_F(ArchiveTest, FindsSymbolsThatHaveBars) {
  const auto archive = Open();
  for (const char* symbol : {"MSFT", "msi", "AMS", "IBM"})
    Store_Days(*archive, {"tiingo", symbol, 5, "raw"}, Date(2026, 11, 2), 1);
  archive->Store({"tiingo", "MSEMPTY", 5, "raw"},
                 {{}, DayRange{Date(2026, 11, 2), Date(2026, 11, 2)}, {}, {}});
  EXPECT_THAT(archive->Find_Symbols("ms", 10), ElementsAre("AMS", "MSFT", "MSI"));
  EXPECT_THAT(archive->Find_Symbols("", 2), ElementsAre("AMS", "IBM"));
}

#ifndef _WIN32

TEST_F(ArchiveTest, IsReadByItsOwnerAlone) {
  const auto archive = Open();
  Store_Days(*archive, daily, Date(2026, 11, 2), 2);
  for (const char* name : {"quotes.db", "quotes.db-wal", "quotes.db-shm"}) {
    EXPECT_EQ(fs::status(folder_.Path() / name).permissions(), fs::perms::owner_read | fs::perms::owner_write)
        << name;
  }
}

#endif

// What was in place of the archive's file.
struct Damage {
  const char* Name;
  std::string (*Change)(std::string bytes);
};

class DamagedArchive : public ArchiveTest, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedArchive, IsSetAsideToldAndBegunAnew) {
  Store_Days(*Open(), daily, Date(1990, 1, 1), 5000);
  const std::string damaged = GetParam().Change(Bytes_Of(file_));
  folder_.Write("quotes.db", damaged);

  const auto archive = Open();
  // Damage is met at the latest when the part is read.
  EXPECT_THAT(archive->Last_Sessions(daily, Date(2030, 1, 1), 10'000).Bars, IsEmpty());
  EXPECT_TRUE(archive->Is_Kept());
  ASSERT_THAT(reports_, SizeIs(1));
  EXPECT_THAT(reports_[0], HasSubstr("is damaged"));
  EXPECT_THAT(reports_[0], HasSubstr("set aside as quotes.db.damaged-1"));
  EXPECT_EQ(Bytes_Of(folder_.Path() / "quotes.db.damaged-1").size(), damaged.size());

  Store_Days(*archive, daily, Date(2026, 11, 2), 2);
  EXPECT_THAT(archive->Check(), IsEmpty());
  EXPECT_THAT(Open()->Last_Sessions(daily, Date(2030, 1, 1), 10).Bars, SizeIs(2));
  EXPECT_THAT(reports_, SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(
    All, DamagedArchive,
    testing::Values(
        Damage{"garbage", [](std::string) { return std::string(20'000, 'x'); }},
        Damage{"html", [](std::string) { return std::string{"<html>Sorry</html>"}; }},
        Damage{"truncated", [](std::string bytes) { return bytes.substr(0, bytes.size() / 2); }},
        Damage{"cut_in_a_page", [](std::string bytes) { return bytes.substr(0, bytes.size() - 1000); }},
        Damage{"header_only", [](std::string bytes) { return bytes.substr(0, 100); }},
        Damage{
            "page_overwritten",
            [](std::string bytes) { return bytes.replace(bytes.size() / 8192 * 4096, 4096, 4096, '\xaa'); }},
        Damage{"schema_overwritten", [](std::string bytes) { return bytes.replace(100, 3000, 3000, '\0'); }},
        Damage{"database_of_another_program",
               [](std::string bytes) { return bytes.replace(68, 4, 4, '\x01'); }}),
    [](const auto& damage) { return std::string{damage.param.Name}; });

TEST_F(ArchiveTest, DamageOfALargeFileIsMetWhenItIsRead) {
  {
    const auto archive = Open();
    for (int i = 0; i < 12; ++i)
      Store_Days(*archive, {"tiingo", "S" + std::to_string(i), daily_interval, "raw"}, Date(1990, 1, 1),
                 10'000);
  }
  std::string bytes = Bytes_Of(file_);
  ASSERT_GT(bytes.size(), std::size_t{4} << 20U);
  const auto archive = Open();
  for (std::size_t page = 100; page < bytes.size() / 4096; page += 3)
    bytes.replace(page * 4096, 4096, 4096, '\xaa');
  {
    std::fstream stream{file_, std::ios::binary | std::ios::in | std::ios::out};
    stream << bytes;
  }
  for (int i = 0; i < 12; ++i)
    (void)archive->Last_Sessions({"tiingo", "S" + std::to_string(i), daily_interval, "raw"}, Date(2030, 1, 1),
                                 10'000);
  EXPECT_THAT(reports_, SizeIs(1));
  EXPECT_THAT(archive->List(), IsEmpty());
  EXPECT_TRUE(fs::exists(folder_.Path() / "quotes.db.damaged-1"));
}

TEST_F(ArchiveTest, CountsTheDamagedFiles) {
  for (int i = 0; i < 3; ++i) {
    folder_.Write("quotes.db", std::string(5000, 'x'));
    (void)Open();
  }
  EXPECT_THAT(Names_In(folder_.Path()),
              testing::IsSupersetOf(
                  {"quotes.db", "quotes.db.damaged-1", "quotes.db.damaged-2", "quotes.db.damaged-3"}));
}

TEST_F(ArchiveTest, IsOpenedWhileAnotherProcessChangesIt) {
  Store_Days(*Open(), daily, Date(2026, 11, 2), 2);
  SqliteDatabase other{file_};
  const SqliteDatabase::Change under_way{other};
  const auto archive = Open();
  EXPECT_TRUE(archive->Is_Kept());
  EXPECT_THAT(archive->Last_Sessions(daily, Date(2026, 12, 1), 9).Bars, SizeIs(2));
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(ArchiveTest, AnEmptyFileIsBegun) {
  folder_.Write("quotes.db", "");
  const auto archive = Open();
  EXPECT_TRUE(archive->Is_Kept());
  EXPECT_THAT(reports_, IsEmpty());
}

void Expect_Works_In_Memory(Archive& archive, const std::vector<std::string>& reports) {
  EXPECT_FALSE(archive.Is_Kept());
  EXPECT_EQ(archive.File_Size(), 0U);
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_THAT(reports[0], HasSubstr("kept in memory until the program ends"));
  Store_Days(archive, daily, Date(2026, 11, 2), 2);
  EXPECT_THAT(archive.Last_Sessions(daily, Date(2030, 1, 1), 10).Bars, SizeIs(2));
  EXPECT_THAT(archive.Check(), IsEmpty());
}

TEST_F(ArchiveTest, WorksInMemoryWhereAFolderHasItsName) {
  fs::create_directory(file_);
  Expect_Works_In_Memory(*Open(), reports_);
  EXPECT_TRUE(fs::is_directory(file_));
}

TEST_F(ArchiveTest, WorksInMemoryWhereNoFileCanBe) {
  file_ = folder_.Path() / "missing" / "quotes.db";
  Expect_Works_In_Memory(*Open(), reports_);
}

TEST_F(ArchiveTest, LeavesAnArchiveOfAnotherVersionAlone) {
  Store_Days(*Open(), daily, Date(2026, 11, 2), 2);
  std::string bytes = Bytes_Of(file_);
  bytes[63] = 9;
  folder_.Write("quotes.db", bytes);
  Expect_Works_In_Memory(*Open(), reports_);
  EXPECT_EQ(Bytes_Of(file_), bytes);
}

// Another program that holds on to the file, as long as the object lives.
class OtherConnection {
 public:
  OtherConnection(const fs::path& file, const char* begin) {
    const std::u8string name = file.u8string();
    if (sqlite3_open(std::string(name.begin(), name.end()).c_str(), &handle_) != SQLITE_OK ||
        sqlite3_exec(handle_, begin, nullptr, nullptr, nullptr) != SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(handle_));
  }
  OtherConnection(const OtherConnection&) = delete;
  OtherConnection& operator=(const OtherConnection&) = delete;
  ~OtherConnection() { sqlite3_close(handle_); }

 private:
  sqlite3* handle_ = nullptr;
};

class BusyArchive : public ArchiveTest, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Locks, BusyArchive, testing::Values("BEGIN IMMEDIATE", "BEGIN EXCLUSIVE"));

TEST_P(BusyArchive, OfANewFileIsUsedAsSoonAsItIsFree) {
  auto other = std::make_unique<OtherConnection>(file_, GetParam());
  Archive archive{file_, [this](const std::string& line) { reports_.push_back(line); }, milliseconds{20}};
  EXPECT_FALSE(archive.Is_Kept());
  EXPECT_THAT(reports_,
              ElementsAre(testing::AllOf(HasSubstr("quotes.db can't be used now: "), HasSubstr("locked"))));
  EXPECT_THROW(Store_Days(archive, daily, Date(2026, 11, 2), 2), ArchiveError);
  EXPECT_THAT(archive.Check(), ElementsAre(HasSubstr("locked")));
  EXPECT_EQ(archive.File_Size(), 0U);
  other.reset();
  Store_Days(archive, daily, Date(2026, 11, 2), 2);
  EXPECT_TRUE(archive.Is_Kept());
  EXPECT_THAT(archive.Check(), IsEmpty());
  // For everybody.
  EXPECT_THAT(Open()->Last_Sessions(daily, Date(2030, 1, 1), 10).Bars, SizeIs(2));
  EXPECT_THAT(reports_, SizeIs(1));
}

TEST_P(BusyArchive, OfANewFileIsWaitedFor) {
  auto other = std::make_unique<OtherConnection>(file_, GetParam());
  std::thread opening{[this] { Store_Days(*Open(), daily, Date(2026, 11, 2), 2); }};
  // Whether it has come to the file by then or not: it has to have it in the end.
  std::this_thread::sleep_for(milliseconds{50});
  other.reset();
  opening.join();
  EXPECT_THAT(reports_, IsEmpty());
  EXPECT_THAT(Open()->Last_Sessions(daily, Date(2030, 1, 1), 10).Bars, SizeIs(2));
}

TEST_P(BusyArchive, OfBarsIsUsedAsSoonAsItIsFree) {
  Store_Days(*Open(), daily, Date(2026, 11, 2), 2);
  auto other = std::make_unique<OtherConnection>(file_, GetParam());
  Archive archive{file_, {}, milliseconds{20}};
  EXPECT_THROW(Store_Days(archive, daily, Date(2026, 11, 4), 2), ArchiveError);
  other.reset();
  Store_Days(archive, daily, Date(2026, 11, 4), 2);
  EXPECT_THAT(archive.Last_Sessions(daily, Date(2030, 1, 1), 10).Bars, SizeIs(4));
}

TEST_P(BusyArchive, GivesNoTokensOfItsOwn) {
  const std::vector<RateLimit> limits{{1, hours{1}, {}}};
  const auto clock = [] { return PacingTime{sys_days{year{2026} / 11 / 20}}; };
  auto other = std::make_unique<OtherConnection>(file_, GetParam());
  Archive one{file_, {}, milliseconds{20}};
  Archive two{file_, {}, milliseconds{20}};
  Pacing first{one.Limits(), clock};
  Pacing second{two.Limits(), clock};
  EXPECT_THROW((void)first.Take("tiingo", limits), ArchiveError);
  other.reset();
  EXPECT_EQ(first.Take("tiingo", limits).Wait, milliseconds{0});
  EXPECT_EQ(second.Take("tiingo", limits).Wait, hours{1});
}

#ifndef _WIN32

TEST_F(ArchiveTest, WorksInMemoryWhereNothingCanBeWritten) {
  // A file may not grow, as on a full disk.
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit none{0, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &none);
  const auto archive = Open();
  setrlimit(RLIMIT_FSIZE, &old);
  std::signal(SIGXFSZ, old_handler);
  Expect_Works_In_Memory(*archive, reports_);
}

TEST_F(ArchiveTest, AFullDiskIsToldAndLeavesTheArchiveSound) {
  const auto archive = Open();
  Store_Days(*archive, daily, Date(2026, 11, 2), 2);
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{200'000, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_THROW(Store_Days(*archive, {"tiingo", "LONG", daily_interval, "raw"}, Date(1990, 1, 1), 10'000),
               ArchiveError);
  setrlimit(RLIMIT_FSIZE, &old);
  std::signal(SIGXFSZ, old_handler);
  EXPECT_THAT(archive->List(), SizeIs(1));
  Store_Days(*archive, {"tiingo", "LONG", daily_interval, "raw"}, Date(1990, 1, 1), 10'000);
  EXPECT_THAT(archive->Check(), IsEmpty());
  EXPECT_TRUE(archive->Is_Kept());
}

TEST_F(ArchiveTest, IsBegunAnewWhenItsFileIsTakenAway) {
  const auto archive = Open();
  Store_Days(*archive, daily, Date(2026, 11, 2), 2);
  for (const char* name : {"quotes.db", "quotes.db-wal", "quotes.db-shm"}) fs::remove(folder_.Path() / name);
  EXPECT_THAT(archive->List(), IsEmpty());
  Store_Days(*archive, daily, Date(2026, 11, 2), 3);
  EXPECT_THAT(Open()->Last_Sessions(daily, Date(2030, 1, 1), 10).Bars, SizeIs(3));
}

// A process of its own that stores one day after the other, and says so in a pipe after each.
class StoringProcess {
 public:
  StoringProcess(const fs::path& file, const SeriesKey& key, int first, int count) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
      close(ends[0]);
      Archive archive{file};
      for (int i = first; i < first + count; ++i) {
        // Three bars a fetch, so that half a fetch would show.
        const Day day = Date(2000, 1, 1) + days{3 * i};
        Store_Days(archive, key, day, 3, i);
        const char stored = 's';
        if (write(ends[1], &stored, 1) != 1) break;
      }
      _exit(archive.Is_Kept() ? 0 : 1);
    }
    close(ends[1]);
    from_ = ends[0];
  }
  ~StoringProcess() { close(from_); }
  StoringProcess(const StoringProcess&) = delete;
  StoringProcess& operator=(const StoringProcess&) = delete;

  bool Wait_For_One() const {
    char stored = 0;
    return read(from_, &stored, 1) == 1;
  }
  int Count_To_The_End() const {
    int count = 0;
    while (Wait_For_One()) ++count;
    return count;
  }
  void Kill() const { kill(process_, SIGKILL); }
  int End() const {
    int status = 0;
    waitpid(process_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_ = -1;
  int from_ = -1;
};

TEST_F(ArchiveTest, AProgramThatIsKilledLosesAtMostTheFetchUnderWay) {
  int stored = 0;
  for (int round = 0; round < 25; ++round) {
    const StoringProcess process{file_, daily, stored, 100'000};
    ASSERT_TRUE(process.Wait_For_One());
    // At a different place each time.
    for (int more = 0; more < round % 5; ++more) ASSERT_TRUE(process.Wait_For_One());
    std::this_thread::sleep_for(microseconds{37 * round});
    process.Kill();
    const int told = 1 + round % 5 + process.Count_To_The_End();
    (void)process.End();

    const auto archive = Open();
    EXPECT_THAT(archive->Check(), IsEmpty());
    const auto bars = archive->Last_Sessions(daily, Date(2400, 1, 1), 1'000'000).Bars;
    ASSERT_EQ(bars.size() % 3, 0U);
    const int kept = static_cast<int>(bars.size() / 3);
    EXPECT_GE(kept, stored + told);
    EXPECT_LE(kept, stored + told + 1);
    stored = kept;
    const Day last = Date(2000, 1, 1) + days{3 * kept - 1};
    EXPECT_THAT(archive->Missing(daily, {Date(2000, 1, 1), last}), IsEmpty());
  }
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(ArchiveTest, TwoProcessesShareAFile) {
  constexpr int count = 300;
  (void)Open();
  const SeriesKey other{"tiingo", "IBM", daily_interval, "split"};
  const StoringProcess first{file_, daily, 0, count};
  const StoringProcess second{file_, other, 0, count};
  const auto archive = Open();
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(archive->Last_Sessions(daily, Date(2400, 1, 1), 1'000'000).Bars.size() % 3, 0U);
    archive->Limits().Remember_Refusal({"tiingo", "X" + std::to_string(i), 0, ""}, "unknown",
                                       At_Noon(Date(2400, 1, 1)));
  }
  EXPECT_EQ(first.Count_To_The_End(), count);
  EXPECT_EQ(second.Count_To_The_End(), count);
  EXPECT_EQ(first.End(), 0);
  EXPECT_EQ(second.End(), 0);
  for (const auto& key : {daily, other})
    EXPECT_THAT(archive->Last_Sessions(key, Date(2400, 1, 1), 1'000'000).Bars, SizeIs(3 * count));
  EXPECT_THAT(archive->Check(), IsEmpty());
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(ArchiveTest, TwoThatMeetOneDamagedFileSetItAsideOnce) {
  const auto first = Open();
  Store_Days(*first, daily, Date(1990, 1, 1), 5000);
  // Brings all into the file itself.
  (void)first->Shrink(Date(1900, 1, 1));
  const auto second = Open();
  {
    std::fstream stream{file_, std::ios::binary | std::ios::in | std::ios::out};
    stream << std::string(fs::file_size(file_), '\xaa');
  }
  const auto third = Open();
  EXPECT_THAT(third->List(), IsEmpty());
  Store_Days(*first, daily, Date(2026, 11, 2), 2);
  for (const auto& archive : {first.get(), second.get(), third.get()})
    EXPECT_THAT(archive->Last_Sessions(daily, Date(2030, 1, 1), 10).Bars, SizeIs(2));
  EXPECT_THAT(reports_, SizeIs(1));
  EXPECT_FALSE(fs::exists(folder_.Path() / "quotes.db.damaged-2"));
}

#endif

TEST_F(ArchiveTest, IsUsedByManyThreadsAtOnce) {
  const auto archive = Open();
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&, number] {
      const SeriesKey key{"tiingo", "S" + std::to_string(number), daily_interval, "raw"};
      for (int i = 0; i < 20; ++i) {
        Store_Days(*archive, key, Date(2020, 1, 1) + days{i}, 1, 1000 * number + i);
        const auto bars = archive->Last_Sessions(key, Date(2030, 1, 1), 100).Bars;
        EXPECT_THAT(bars, SizeIs(i + 1));
        for (const Bar& bar : bars) EXPECT_EQ(static_cast<int>(bar.Open) / 1000, number);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(archive->Check(), IsEmpty());
}

TEST_F(ArchiveTest, CheckNamesWhatIsWrong) {
  const auto archive = Open();
  const Day day = Date(2026, 11, 20);
  archive->Store(daily,
                 {std::vector<NativeBar>{{{day, session_open, 5, 4, 3, 4, 1}, true}}, {}, {}, At_Noon(day)});
  EXPECT_THAT(archive->Check(), ElementsAre("1 bars whose prices lie outside of their range"));
}

}  // namespace
}  // namespace hq::server
