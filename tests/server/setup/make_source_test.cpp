#include "server/setup/make_source.h"

#include <gmock/gmock.h>
#include <stdexcept>

#include "market/market_support.h"

namespace hq::server {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

std::string Refusal(const std::string& spec) {
  try {
    (void)Make_Source(spec);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

TEST(Make_Source, MakesTheSimulatedMarketWithTheClock) {
  const auto source = Make_Source("simulated", Fixed_Clock(Date(2003, 3, 10), At(16, 0)));
  EXPECT_FALSE(source->Real_Quotes());
  EXPECT_THAT(source->Description(), HasSubstr("NOT real"));
  EXPECT_EQ(Bars_Of(source->Bars({"IBM", 1440, {}, 1})).at(0).Date, Date(2003, 3, 10));
}

TEST(Make_Source, MakesAFolderOfFilesWithTheReporter) {
  const TemporaryFolder folder;
  folder.Write("ibm.csv", "Date,Open,High,Low,Close\n2003-03-10,1,2,1,2\nnonsense,1,2,1,2\n");
  std::vector<std::string> reports;
  const auto source = Make_Source("csv:" + folder.Path().string(), New_York_Now,
                                  [&reports](const std::string& line) { reports.push_back(line); });
  EXPECT_TRUE(source->Real_Quotes());
  EXPECT_THAT(Bars_Of(source->Bars({"IBM", 1440, {}, 500})), SizeIs(1));
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_THAT(reports[0], HasSubstr("ibm.csv:3: "));
}

TEST(Make_Source, TakesListsWithBlanksAndFoldersWithCommas) {
  const TemporaryFolder folder;
  for (const char* name : {"my, files", "other"}) std::filesystem::create_directory(folder.Path() / name);
  const std::string mine = "csv:" + (folder.Path() / "my, files").string();
  const std::string other = "csv:" + (folder.Path() / "other").string();
  EXPECT_THAT(Split_Source_List(" tiingo , live,simulated"), ElementsAre("tiingo", "live", "simulated"));
  EXPECT_THAT(Split_Source_List(mine), ElementsAre(mine));
  EXPECT_THAT(Split_Source_List("tiingo," + mine + ", simulated"), ElementsAre("tiingo", mine, "simulated"));
  EXPECT_THAT(Split_Source_List(mine + "," + other + ",live"), ElementsAre(mine, other, "live"));
  EXPECT_THAT(Split_Source_List("csv:/missing,live"), ElementsAre("csv:/missing", "live"));
  EXPECT_THAT(Split_Source_List("csv:"), ElementsAre("csv:"));
  EXPECT_THAT(Split_Source_List("a,,b,"), ElementsAre("a", "", "b", ""));
  EXPECT_EQ(Make_Source(mine + ", simulated")->Sources().size(), 2U);
}

TEST(Make_Source, RefusesEverythingElse) {
  const TemporaryFolder folder;
  EXPECT_THAT(Refusal(""), HasSubstr("no quote source"));
  EXPECT_THAT(Refusal("Simulated"), HasSubstr("\"Simulated\""));
  EXPECT_THAT(Refusal("csv"), HasSubstr("csv:FOLDER"));
  EXPECT_THAT(Refusal("csv:"), HasSubstr("lacks a folder"));
  EXPECT_THAT(Refusal("csv:" + (folder.Path() / "missing").string()), HasSubstr("missing"));
  EXPECT_THAT(Refusal("csv:" + folder.Write("file.csv", "").string()), HasSubstr("no folder"));
}

}  // namespace
}  // namespace hq::server
