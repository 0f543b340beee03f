#include "server/source_setup.h"

#include <gmock/gmock.h>
#include <iterator>
#include <stdexcept>

#include "server/answer_writer.h"
#include "server/archive.h"
#include "server/scripted_fetcher.h"

namespace hq::server {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

std::string Text_Of(const fs::path& file) {
  std::ifstream stream{file, std::ios::binary};
  return {std::istreambuf_iterator<char>{stream}, {}};
}

class SourceSetUpTest : public testing::Test {
 protected:
  [[nodiscard]] SourcePlaces Places() const {
    SourcePlaces places = Places_In(Folder.Path(), "history-quotes/test");
    places.Profiles = Sources_Folder();
    places.Variables = [variables = Variables](const std::string& name) -> std::optional<std::string> {
      const auto found = variables.find(name);
      return found == variables.end() ? std::nullopt : std::optional{found->second};
    };
    places.Fetcher = Fetcher;
    return places;
  }
  static SourceEntry Entry(const std::vector<SourceEntry>& entries, std::string_view name) {
    for (const SourceEntry& entry : entries) {
      if (entry.Status.Name == name) return entry;
    }
    ADD_FAILURE() << name << " is not listed";
    return {};
  }

  TemporaryFolder Folder;
  std::map<std::string, std::string> Variables;
  std::shared_ptr<ScriptedFetcher> Fetcher = std::make_shared<ScriptedFetcher>();
};

TEST(SourceSettings, AreReadFromTheirTwoSections) {
  const SourceSettings settings = Read_Source_Settings(
      "\xEF\xBB\xBF; mine\r\n[Request]\r\nSource=no\r\n[quotes]\r\nSOURCE = tiingo,csv:My Folder "
      "\r\nAdjustment=Full\r\n"
      "Source=second\r\n[Keys]\r\ntiingo=abc\r\n#alpaca=x\r\n");
  EXPECT_EQ(settings.Source, "tiingo,csv:My Folder");
  EXPECT_EQ(settings.Adjusted, Adjustment::Full);
  EXPECT_THAT(settings.Keys, ElementsAre(Pair("tiingo", "abc")));
  EXPECT_EQ(Read_Source_Settings(""), SourceSettings{});
  EXPECT_EQ(Read_Source_Settings("[Quotes]\nAdjustment=sideways\n").Adjusted, Adjustment::Splits);
}

TEST(SourceSettings, AreWrittenWithoutTouchingTheRest) {
  const std::string text =
      "; mine\r\n[Request]\r\nTemplate=http://a/\r\n\r\n[Keys]\r\n; my keys\r\nTiingo=old\r\nother=1\r\n"
      "[Symbol Search]\r\nAddress=http://b/\r\n";
  SourceSettings settings;
  settings.Source = "live,csv:F\nTemplate=http://evil/";
  settings.Adjusted = Adjustment::Raw;
  settings.Keys = {{"tiingo", "new\r\n[Request]"}, {"eodhd", ""}};
  const std::string made = With_Source_Settings(text, settings);
  EXPECT_EQ(made,
            "; mine\r\n[Request]\r\nTemplate=http://a/\r\n\r\n[Keys]\r\n; my keys\r\ntiingo=new\r\n"
            "[Symbol Search]\r\nAddress=http://b/\r\n\r\n[Quotes]\r\nSource=live,csv:F\r\n"
            "Adjustment=raw\r\n");
  settings.Source = "live,csv:F";
  settings.Keys = {{"tiingo", "new"}};
  EXPECT_EQ(Read_Source_Settings(made), settings);
  EXPECT_EQ(With_Source_Settings(made, settings), made);
  EXPECT_EQ(With_Source_Settings("", SourceSettings{}), "");
  EXPECT_EQ(With_Source_Settings("[Quotes]\nSource=a", SourceSettings{}), "[Quotes]\n");
}

TEST_F(SourceSetUpTest, WithoutSettingsQuotesAreSimulatedAndThatIsSaidOnce) {
  SourceSetUp setup{Places()};
  EXPECT_FALSE(setup.Is_Set_Up());
  EXPECT_EQ(setup.Source_List(), "simulated");
  EXPECT_FALSE(setup.Make()->Real_Quotes());
  EXPECT_THAT(setup.First_Start_Note(),
              AllOf(HasSubstr("simulated"), HasSubstr("server.ini"), Not(HasSubstr("\n"))));
  EXPECT_EQ(setup.First_Start_Note(), "");
  EXPECT_EQ(SourceSetUp{Places()}.First_Start_Note(), "");
  EXPECT_FALSE(SourceSetUp{Places()}.Is_Set_Up());
}

TEST_F(SourceSetUpTest, TheNoteIsKeptQuietlyWhereTheFileCantBeWritten) {
  fs::create_directory(Folder.Path() / "server.ini");
  SourceSetUp setup{Places()};
  EXPECT_NE(setup.First_Start_Note(), "");
  EXPECT_NE(setup.First_Start_Note(), "");
}

TEST_F(SourceSetUpTest, AKeyTurnsLiveQuotesOn) {
  Folder.Write("server.ini", "[Keys]\neodhd=abc\n");
  EXPECT_EQ(SourceSetUp{Places()}.Source_List(), "live");
  EXPECT_EQ(SourceSetUp{Places()}.First_Start_Note(), "");
  Folder.Write("server.ini", "");
  Variables["HQ_KEY_TIINGO"] = "abc";
  const SourceSetUp setup{Places()};
  EXPECT_TRUE(setup.Is_Set_Up());
  EXPECT_EQ(setup.Make()->Description(), "Tiingo.");
}

TEST_F(SourceSetUpTest, AKeyThatIsHalfThereTurnsNothingOn) {
  Folder.Write("server.ini", "[Keys]\nalpaca=abc\n");
  EXPECT_EQ(SourceSetUp{Places()}.Source_List(), "simulated");
}

TEST_F(SourceSetUpTest, SettingsAreSavedForTheUserAlone) {
  const auto file = Folder.Write("server.ini", "[Request]\nTemplate=http://a/\n");
  SourceSetUp setup{Places()};
  SourceSettings settings;
  settings.Source = "tiingo";
  settings.Keys["tiingo"] = "k";
  setup.Save(settings);
  EXPECT_EQ(setup.Settings(), settings);
  EXPECT_EQ(SourceSetUp{Places()}.Settings(), settings);
  EXPECT_THAT(Text_Of(file), StartsWith("[Request]\nTemplate=http://a/\n"));
#ifndef _WIN32
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
#endif
  EXPECT_FALSE(fs::exists(Folder.Path() / "server.ini.new"));
}

TEST_F(SourceSetUpTest, SettingsThatCantBeSavedChangeNothing) {
  fs::create_directories(Folder.Path() / "server.ini" / "held");
  SourceSetUp setup{Places()};
  SourceSettings settings;
  settings.Source = "tiingo";
  EXPECT_THROW(setup.Save(settings), std::runtime_error);
  EXPECT_EQ(setup.Settings(), SourceSettings{});
  SourcePlaces nowhere = Places();
  nowhere.Settings = Folder.Path() / "missing" / "server.ini";
  EXPECT_THROW(SourceSetUp{nowhere}.Save(settings), std::runtime_error);
}

TEST_F(SourceSetUpTest, SourcesAreListedInTheirOrderWithTheirStatesAndMaskedKeys) {
  const std::string key = "0123456789abcdefKEYS";
  Variables["HQ_KEY_EODHD"] = "from-a-variable";
  Folder.Write("server.ini", "[Quotes]\nSource=tiingo,alpaca,csv:" + Folder.Path().string() +
                                 "\n[Keys]\ntiingo=" + key + "\neodhd=other\n");
  SourceSetUp setup{Places()};
  const auto entries = setup.Sources();
  std::vector<std::string> in_use;
  for (const SourceEntry& entry : entries) {
    if (entry.In_Use) in_use.push_back(entry.Status.Name);
  }
  EXPECT_THAT(in_use, ElementsAre("tiingo", "alpaca", "csv:" + Folder.Path().string()));
  EXPECT_EQ(entries.size(), 9U);

  const SourceEntry tiingo = Entry(entries, "tiingo");
  EXPECT_EQ(State_Text(tiingo.Status), "ready");
  ASSERT_EQ(tiingo.Keys.size(), 1U);
  EXPECT_EQ(tiingo.Keys[0].Masked, "****KEYS");
  EXPECT_EQ(tiingo.Keys[0].Setting, "tiingo");
  EXPECT_EQ(tiingo.Keys[0].Variable, "HQ_KEY_TIINGO");
  EXPECT_FALSE(tiingo.Keys[0].From_Variable);
  const SourceEntry alpaca = Entry(entries, "alpaca");
  EXPECT_EQ(State_Text(alpaca.Status), "needs a key");
  EXPECT_EQ(alpaca.Keys.size(), 2U);
  EXPECT_EQ(alpaca.Keys[0].Masked, "");
  EXPECT_TRUE(Entry(entries, "eodhd").Keys.at(0).From_Variable);
  EXPECT_EQ(State_Text(Entry(entries, "eodhd").Status), "off");
  EXPECT_EQ(State_Text(Entry(entries, "yahoo").Status), "off");
  EXPECT_NE(Entry(entries, "yahoo").Off_Until_Read, "");
  EXPECT_EQ(State_Text(Entry(entries, "polygon").Status), "needs a key");
  EXPECT_FALSE(fs::exists(Folder.Path() / "quotes.db")) << "looking begins no archive";
}

TEST_F(SourceSetUpTest, AListThatMakesNoSenseIsShownWithTheReason) {
  Folder.Write("server.ini", "[Quotes]\nSource=tingo,csv:/no/such/folder,simulated\n");
  const auto entries = SourceSetUp{Places()}.Sources();
  EXPECT_THAT(Entry(entries, "tingo").Status.Reason, HasSubstr("no quote source"));
  EXPECT_THAT(Entry(entries, "csv:/no/such/folder").Status.Reason, HasSubstr("not there"));
  EXPECT_EQ(State_Text(Entry(entries, "simulated").Status), "ready");
}

TEST_F(SourceSetUpTest, AQuotaUsedUpElsewhereIsShown) {
  Folder.Write("server.ini", "[Keys]\ntiingo=abc\n");
  const PacingTime until = floor<milliseconds>(system_clock::now()) + hours{2};
  {
    Archive archive{Folder.Path() / "quotes.db"};
    Pacing{archive, [] { return floor<milliseconds>(system_clock::now()); }}.Close("tiingo", until, "enough");
  }
  SourceSetUp setup{Places()};
  const SourceStatus status = Entry(setup.Sources(), "tiingo").Status;
  EXPECT_EQ(status.State, SourceState::OutOfQuota);
  EXPECT_EQ(State_Text(status), "out of quota until " + New_York_Text(status.Until.value()));
  EXPECT_NEAR(static_cast<double>((*status.Until - until).count()), 0, 2000);
  EXPECT_EQ(status.Reason, "enough.");
  EXPECT_GT(setup.Archive_Size(), 0U);
}

TEST_F(SourceSetUpTest, AWrongProfileIsTold) {
  Folder.Write("broken.json", "{");
  SourcePlaces places = Places();
  places.Profiles = Folder.Path();
  EXPECT_THAT(SourceSetUp{places}.Profile_Errors(),
              ElementsAre(AllOf(HasSubstr("broken.json"), HasSubstr("line 1"), HasSubstr("no JSON"))));
}

TEST_F(SourceSetUpTest, ATestNamesTheHopAndTheNextStep) {
  Variables["HQ_KEY_TIINGO"] = "sEcReT-kEy-4711";
  SourceSetUp setup{Places()};
  const auto test = [&](const FetchResult& answer) {
    Fetcher->Answer = [answer](const HttpRequest&) { return answer; };
    // A quota that was used up by the test before must not stop this one.
    fs::remove(Folder.Path() / "quotes.db");
    SourceTrial trial = setup.Test("tiingo", "MSFT");
    EXPECT_FALSE(trial.Works);
    EXPECT_NE(trial.Text, "");
    EXPECT_NE(trial.Next_Step, "");
    EXPECT_THAT(trial.Text + trial.Next_Step, Not(HasSubstr("sEcReT")));
    return trial.Failed_Hop;
  };
  const auto reply = [](int status, std::string body) { return HttpReply{status, {}, std::move(body)}; };
  EXPECT_EQ(test(FetchFailure{FetchHop::NameLookUp, "No such name."}), "name look-up");
  EXPECT_EQ(test(FetchFailure{FetchHop::Proxy, "The proxy refuses."}), "proxy");
  EXPECT_EQ(test(FetchFailure{FetchHop::Certificate, "Not trusted."}), "certificate");
  EXPECT_EQ(test(FetchFailure{FetchHop::Redirect, "Elsewhere."}), "redirect");
  EXPECT_EQ(test(FetchFailure{FetchHop::TimeOut, "Too slow."}), "time-out");
  EXPECT_EQ(test(reply(401, R"({"detail":"Invalid token sEcReT-kEy-4711."})")), "refused key");
  EXPECT_EQ(test(reply(429, R"({"detail":"Error: You have run over your hourly request allocation."})")),
            "quota");
  EXPECT_EQ(test(reply(404, R"({"detail":"Error: Ticker 'X' not found"})")), "unknown symbol");
  EXPECT_EQ(test(reply(200, "<html>log in</html>")), "changed format");
  EXPECT_EQ(test(reply(200, "[]")), "nothing there");
}

TEST_F(SourceSetUpTest, ATestThatWorksSaysHowManyBarsCame) {
  Variables["HQ_KEY_TIINGO"] = "sEcReT-kEy-4711";
  SourceSetUp setup{Places()};
  const SourceProfile profile = Shipped("tiingo");
  const Day today = New_York_Now().Date;
  std::vector<Bar> bars;
  for (int back = 9; back > 0; --back) bars.push_back({today - days{back}, session_open, 1, 2, 1, 2, 3});
  Fetcher->Answer = [&](const HttpRequest&) {
    return HttpReply{200, {}, AnswerWriter{profile, 0, "MSFT"}.Body(Sent(bars))};
  };
  const SourceTrial trial = setup.Test("tiingo", "MSFT");
  EXPECT_TRUE(trial.Works) << trial.Text;
  EXPECT_EQ(trial.Failed_Hop, "");
  EXPECT_GT(trial.Bars, 4U);
  EXPECT_THAT(trial.Text, HasSubstr("Tiingo works"));
  Archive archive{Folder.Path() / "quotes.db"};
  EXPECT_THAT(archive.List(), IsEmpty());
}

TEST_F(SourceSetUpTest, ATestOfASourceWithoutItsKeyOrOfNoneSaysSo) {
  SourceSetUp setup{Places()};
  EXPECT_EQ(setup.Test("alpaca", "MSFT").Failed_Hop, "missing key");
  EXPECT_EQ(setup.Test("nonsense", "MSFT").Failed_Hop, "source");
  EXPECT_TRUE(setup.Test("simulated", "MSFT").Works);
  Folder.Write("msft.csv", "Date,Open,High,Low,Close\n2003-03-10,1,2,1,2\n");
  EXPECT_TRUE(setup.Test("csv:" + Folder.Path().string(), "MSFT").Works);
  EXPECT_EQ(setup.Test("csv:" + Folder.Path().string(), "IBM").Failed_Hop, "unknown symbol");
  EXPECT_TRUE(Fetcher->Requests().empty());
}

TEST(State_Text, NamesTheMomentInNewYork) {
  SourceStatus status{"x", "X", SourceState::OutOfQuota, sys_days{2026y / November / 21} + hours{21}, ""};
  EXPECT_EQ(State_Text(status), "out of quota until 2026-11-21 16:00");
  status.State = SourceState::Down;
  EXPECT_EQ(State_Text(status), "down until 2026-11-21 16:00");
  status.Until.reset();
  EXPECT_EQ(State_Text(status), "down");
  status.State = SourceState::KeyRefused;
  EXPECT_EQ(State_Text(status), "key refused");
}

}  // namespace
}  // namespace hq::server
