#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <set>

#include "server/answer_writer.h"
#include "server/quote_text.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::HasSubstr;

// What a recorded answer gives: how many bars with the first and the last one, or the kind of trouble.
struct Recorded {
  const char* File;
  const char* Profile;
  std::size_t Feed;
  const char* Symbol;
  Adjustment Adjusted;
  int Status;
  std::size_t Bars;
  const char* First;
  const char* Last;
  const char* Trouble = "";
};

constexpr auto splits = Adjustment::Splits;
constexpr auto raw = Adjustment::Raw;
constexpr auto full = Adjustment::Full;

const std::vector<Recorded>& Expected_Answers() {
  static const std::vector<Recorded> answers = {
#include "server/recorded_answers.inc"
  };
  return answers;
}

std::filesystem::path Fixtures_Folder() {
  const char* elsewhere = std::getenv("HQ_SHARED_FIXTURES");
  return std::filesystem::path{elsewhere != nullptr ? elsewhere : HQ_SHARED_FIXTURES} / "providers";
}

// Answers of the services themselves. They may not be handed on, so they lie outside the tree.
TEST(UpstreamFixtures, AreReadOrRefusedWithTheReason) {
  const auto folder = Fixtures_Folder();
  if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "the shared fixtures are not here: " << folder;
  const sys_seconds now = sys_days{2026y / November / 21} + hours{12};

  for (const Recorded& recorded : Expected_Answers()) {
    SCOPED_TRACE(recorded.File);
    const SourceProfile profile = Shipped(recorded.Profile);
    std::ifstream stream{folder / recorded.File, std::ios::binary};
    ASSERT_TRUE(stream);
    const std::string body{std::istreambuf_iterator<char>{stream}, {}};
    UpstreamRequest request;
    request.Feed = recorded.Feed;
    request.Adjusted = recorded.Adjusted;
    request.Symbol = recorded.Symbol;
    request.Spelled_Symbol = Spell_Symbol(profile, recorded.Symbol).value();
    request.Url = "https://" + profile.Hosts.front() + "/";
    request.Hosts = profile.Hosts;
    const auto answer = Read_Answer(profile, request, {recorded.Status, {}, body}, now);
    if (const auto* trouble = std::get_if<Trouble>(&answer)) {
      EXPECT_EQ(Trouble_Name(trouble->Kind), recorded.Trouble) << trouble->Reason;
      continue;
    }
    const auto& bars = std::get<UpstreamBars>(answer);
    EXPECT_STREQ(recorded.Trouble, "");
    EXPECT_EQ(bars.Bad_Rows, 0U);
    BarTable table;
    for (const NativeBar& bar : bars.Bars) {
      EXPECT_TRUE(bar.Final);
      table.Bars.push_back(bar.Quote);
    }
    const auto lines = Lines(Quote_Text(table));
    EXPECT_EQ(lines.size(), recorded.Bars);
    if (lines.empty()) continue;
    EXPECT_EQ(lines.front(), recorded.First);
    EXPECT_EQ(lines.back(), recorded.Last);
  }
}

}  // namespace
}  // namespace hq::server
