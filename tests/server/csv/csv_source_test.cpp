#include "server/csv/csv_source.h"

#include <array>
#include <gmock/gmock.h>
#include <thread>

#include "built_places.h"
#include "market/market_support.h"

namespace hq::server {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* one_day = "Date,Close\n2003-03-10,1\n";
constexpr const char* two_days = "Date,Close\n2003-03-10,1\n2003-03-11,2\n";

// A source over a folder of the test's own, with what it reported.
struct Fixture {
  TemporaryFolder Folder;
  std::vector<std::string> Reports;
  CsvSource Source{Folder.Path(), [this](const std::string& line) { Reports.push_back(line); }};

  std::vector<Bar> Daily(const std::string& symbol) { return Bars_Of(Source.Bars({symbol, 1440, {}, 500})); }
  Failure Refusal(const std::string& symbol) { return Failure_Of(Source.Bars({symbol, 1440, {}, 500})); }
};

TEST(CsvSource, FindsTheFileOfASymbolInAnyLetterCase) {
  Fixture fixture;
  fixture.Folder.Write("Ibm.CSV", one_day);
  fixture.Folder.Write("brk.b.txt", one_day);
  fixture.Folder.Write("MSFT.tsv", one_day);
  fixture.Folder.Write("other.doc", one_day);
  for (const char* symbol : {"IBM", "ibm", "BRK.B", "msft"})
    EXPECT_THAT(fixture.Daily(symbol), SizeIs(1)) << symbol;
  for (const char* unknown : {"OTHER", "BRK", "IBM.CSV", "I"}) {
    EXPECT_EQ(fixture.Refusal(unknown).Kind, FailureKind::UnknownSymbol) << unknown;
  }
  EXPECT_THAT(fixture.Reports, IsEmpty());
}

TEST(CsvSource, AllowsForCharactersThatFileNamesCannotHold) {
  Fixture fixture;
  fixture.Folder.Write("indexDJI.csv", one_day);
  fixture.Folder.Write("opra_XYZAB.csv", one_day);
  fixture.Folder.Write("mutual FUND.csv", one_day);
  fixture.Folder.Write("EURUSD.csv", two_days);
  EXPECT_THAT(fixture.Daily("index:DJI"), SizeIs(1));
  EXPECT_THAT(fixture.Daily("opra:XYZAB"), SizeIs(1));
  EXPECT_THAT(fixture.Daily("mutual FUND"), SizeIs(1));
  EXPECT_THAT(fixture.Daily("EUR/USD"), SizeIs(2));
}

TEST(CsvSource, NeverLeavesTheFolder) {
  Fixture fixture;
  const auto inner = fixture.Folder.Path() / "inner";
  std::filesystem::create_directory(inner);
  fixture.Folder.Write("secret.csv", one_day);
  std::filesystem::create_directory(inner / "folder.csv");
  CsvSource source{inner};
  const std::string outside = (fixture.Folder.Path() / "secret").string();
  for (const std::string& symbol :
       {std::string{"../secret"}, std::string{"..\\secret"}, std::string{"./../secret"},
        std::string{"SECRET"}, outside, std::string{"../secret.csv"}, std::string{"."}, std::string{".."},
        std::string{"/"}, std::string{"folder"}, std::string{"..\0/secret", 10}}) {
    EXPECT_EQ(Failure_Of(source.Bars({symbol, 1440, {}, 500})).Kind, FailureKind::UnknownSymbol) << symbol;
  }
}

TEST(CsvSource, TakesOneOfSeveralFilesAndSaysSoOnce) {
  Fixture fixture;
  fixture.Folder.Write("ibm.txt", one_day);
  fixture.Folder.Write("IBM.csv", two_days);
  fixture.Folder.Write("ibm.tsv", one_day);
  for (int i = 0; i < 2; ++i) EXPECT_THAT(fixture.Daily("ibm"), SizeIs(2));
  EXPECT_THAT(fixture.Reports,
              ElementsAre(AllOf(HasSubstr("IBM.csv: taken"), HasSubstr("ibm.txt, ibm.tsv"))));
}

TEST(CsvSource, PrefersTheNameThatIsTheSymbol) {
  Fixture fixture;
  fixture.Folder.Write("a_b.csv", one_day);
  fixture.Folder.Write("ab.csv", two_days);
  EXPECT_THAT(fixture.Daily("A:B"), SizeIs(2));
  EXPECT_THAT(fixture.Daily("A_B"), SizeIs(1));
}

TEST(CsvSource, ReportsBadLinesOnceAReading) {
  Fixture fixture;
  std::string text = "Date,Close\n2003-03-10,1\n";
  for (int i = 0; i < 25; ++i) text += "bad,1\n";
  const auto file = fixture.Folder.Write("ibm.csv", text);
  for (int i = 0; i < 3; ++i) EXPECT_THAT(fixture.Daily("IBM"), SizeIs(1));
  ASSERT_THAT(fixture.Reports, SizeIs(21));
  EXPECT_EQ(fixture.Reports[0], file.string() + ":3: passed over, because its date is no date");
  EXPECT_EQ(fixture.Reports[20], file.string() + ": passed over 5 more lines");

  fixture.Folder.Write("ibm.csv", text + "2003-03-11,1\n");
  EXPECT_THAT(fixture.Daily("IBM"), SizeIs(2));
  EXPECT_THAT(fixture.Reports, SizeIs(42));
}

TEST(CsvSource, ReadsAFileAgainWhenItChanges) {
  Fixture fixture;
  const auto file = fixture.Folder.Write("ibm.csv", one_day);
  const auto time = std::filesystem::last_write_time(file);
  EXPECT_EQ(fixture.Daily("IBM").at(0).Close, 1);

  fixture.Folder.Write("ibm.csv", two_days);
  std::filesystem::last_write_time(file, time);
  EXPECT_THAT(fixture.Daily("IBM"), SizeIs(2)) << "the size has changed";

  fixture.Folder.Write("ibm.csv", "Date,Close\n2003-03-10,5\n2003-03-11,6\n");
  std::filesystem::last_write_time(file, time + std::chrono::seconds{2});
  EXPECT_EQ(fixture.Daily("IBM").at(0).Close, 5) << "the time has changed";

  std::filesystem::remove(file);
  EXPECT_EQ(fixture.Refusal("IBM").Kind, FailureKind::UnknownSymbol);
}

TEST(CsvSource, SaysWhatCannotBeRead) {
  Fixture fixture;
  fixture.Folder.Write("empty.csv", "");
  EXPECT_EQ(fixture.Refusal("EMPTY").Kind, FailureKind::Unreadable);
  EXPECT_THAT(fixture.Refusal("EMPTY").Reason, HasSubstr("empty.csv holds no quotes"));

  const auto huge = fixture.Folder.Write("huge.csv", "");
  std::filesystem::resize_file(huge, CsvSource::Largest_File + 1);
  EXPECT_EQ(fixture.Refusal("HUGE").Kind, FailureKind::Unreadable);
  EXPECT_THAT(fixture.Refusal("HUGE").Reason, HasSubstr("huge.csv is larger than 512 MiB"));

  CsvSource missing{fixture.Folder.Path() / "missing"};
  const Failure failure = Failure_Of(missing.Bars({"IBM", 1440, {}, 500}));
  EXPECT_EQ(failure.Kind, FailureKind::Unreadable);
  EXPECT_THAT(failure.Reason, HasSubstr("can't be listed"));
  EXPECT_THAT(missing.Find_Symbols("", 10), IsEmpty());
}

TEST(CsvSource, ServesExportsFromFileToBars) {
  CsvSource source{HQ_TEST_DATA "/csv"};
  const Day day = Date(2025, 4, 22);
  EXPECT_THAT(Bars_Of(source.Bars({"BEFORE_THE_OPEN", 30, {}, 38})),
              ElementsAre(Bar{day, At(9, 30), 181.6, 182.5, 181.5, 182.4, 1900},
                          Bar{day, At(10, 0), 182.4, 182.6, 182.1, 182.2, 800}));
  EXPECT_THAT(Bars_Of(source.Bars({"before:the:open", 1440, {}, 500})),
              ElementsAre(Bar{day, At(9, 30), 150.1234, 185.6789, 150.1234, 182.2, 2700}));
  EXPECT_THAT(Failure_Of(source.Bars({"BEFORE_THE_OPEN", 20, {}, 24})).Reason, HasSubstr("15-minute bars"));
  EXPECT_THAT(Failure_Of(source.Bars({"HOURS_ON_THE_HOUR", 60, {}, 71})).Reason,
              HasSubstr("times like 14:00"));
  EXPECT_THAT(Bars_Of(source.Bars({"QUOTED_LINES", 5, {}, 6})),
              ElementsAre(Bar{Date(2020, 9, 17), At(9, 30), 1.3021, 1.3021, 1.3021, 1.3021, 0},
                          Bar{Date(2020, 9, 17), At(16, 5), 1.3021, 1.30245, 1.3019, 1.30233, 310},
                          Bar{Date(2020, 9, 17), At(16, 10), 1.30234, 1.30251, 1.30201, 1.30208, 77}));
}

TEST(CsvSource, ListsItsFiles) {
  Fixture fixture;
  fixture.Folder.Write("msft.csv", one_day);
  fixture.Folder.Write("ibm.txt", one_day);
  fixture.Folder.Write("notes.doc", "");
  const auto is = [](const char* symbol, const char* description) {
    return AllOf(Field(&SymbolEntry::Symbol, symbol), Field(&SymbolEntry::Description, description));
  };
  EXPECT_THAT(fixture.Source.Find_Symbols("", 10),
              ElementsAre(is("IBM", "file ibm.txt"), is("MSFT", "file msft.csv")));
  EXPECT_THAT(fixture.Source.Find_Symbols("SF", 10), ElementsAre(is("MSFT", "file msft.csv")));
  EXPECT_THAT(fixture.Source.Find_Symbols("", 1), SizeIs(1));
  EXPECT_THAT(fixture.Source.Description(), HasSubstr(fixture.Folder.Path().string()));
}

TEST(CsvSource, ServesSeveralThreads) {
  const TemporaryFolder folder;
  std::string text = "Date,Close\n";
  for (int day = 1; day <= 28; ++day) text += "2003-02-" + std::to_string(day) + ",1\n";
  for (const char* name : {"a.csv", "b.csv", "c.csv"}) folder.Write(name, text);
  CsvSource source{folder.Path()};
  std::array<std::size_t, 4> answered{};
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < answered.size(); ++i) {
      threads.emplace_back([&source, &answered, i] {
        for (int round = 0; round < 30; ++round) {
          for (const char* symbol : {"A", "B", "C"})
            answered[i] += Bars_Of(source.Bars({symbol, 1440, {}, 500})).size();
        }
      });
    }
  }
  for (const std::size_t count : answered) EXPECT_EQ(count, 30U * 3U * 28U);
}

}  // namespace
}  // namespace hq::server
