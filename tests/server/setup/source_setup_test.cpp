#include "server/setup/source_setup.h"

#include <gmock/gmock.h>
#include <stdexcept>

#include "server/archive/archive.h"
#include "server/live/pacing.h"
#include "server/live/scripted_fetcher.h"
#include "server/services/answer_writer.h"
#include "support/fakes.h"

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

// The set-up of a program that starts now, with its settings file.
struct Started {
  explicit Started(const SourcePlaces& places, const std::string& file, Reporter report = {})
      : File(Disk, file), SetUp(places, File, std::move(report)) {}
  SourceSetUp* operator->() { return &SetUp; }

  SystemFiles Disk;
  ServerSettingsFile File;
  SourceSetUp SetUp;
};

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
  [[nodiscard]] std::string Settings_Path() const { return (Folder.Path() / "server.ini").string(); }
  [[nodiscard]] Started Start() const { return Started(Places(), Settings_Path()); }
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

// A settings text after it was read, changed and saved.
std::string Saved(const std::string& text, const SourceSettings& settings) {
  SettingsText made(text);
  for (const SettingsChange& change : Source_Changes(Read_Source_Settings(text), settings)) made.Put(change);
  return made.Bytes();
}

TEST(SourceSettings, AreWrittenWithoutTouchingTheRest) {
  const std::string text =
      "; mine\r\n[Request]\r\nTemplate=http://a/\r\n\r\n[Keys]\r\n; my keys\r\nTiingo=old\r\nother=1\r\n"
      "[Symbol Search]\r\nAddress=http://b/\r\n";
  SourceSettings settings;
  settings.Source = "live,csv:F\nTemplate=http://evil/";
  settings.Adjusted = Adjustment::Raw;
  settings.Keys = {{"tiingo", "new\r\n[Request]"}, {"eodhd", ""}};
  const std::string made = Saved(text, settings);
  EXPECT_EQ(made,
            "; mine\r\n[Request]\r\nTemplate=http://a/\r\n\r\n[Keys]\r\n; my keys\r\ntiingo=new\r\n"
            "[Symbol Search]\r\nAddress=http://b/\r\n\r\n[Quotes]\r\nSource=live,csv:F\r\n"
            "Adjustment=raw\r\n");
  settings.Source = "live,csv:F";
  settings.Keys = {{"tiingo", "new"}};
  EXPECT_EQ(Read_Source_Settings(made), settings);
  EXPECT_EQ(Saved(made, settings), made);
  EXPECT_EQ(Saved("", SourceSettings{}), "");
  EXPECT_EQ(Saved("[Quotes]\nSource=a", SourceSettings{}), "[Quotes]\n");
}

TEST(SourceSettings, OnlyWhatDiffersChanges) {
  SourceSettings before;
  before.Source = "tiingo";
  before.Adjusted = Adjustment::Full;
  before.Keys = {{"tiingo", "a"}, {"polygon", "b"}, {"eodhd", "c"}};
  EXPECT_THAT(Source_Changes(before, before), IsEmpty());
  SourceSettings after = before;
  after.Keys = {{"tiingo", "a"}, {"polygon", "new"}};
  EXPECT_THAT(Source_Changes(before, after),
              ElementsAre(SettingsChange{"Keys", "eodhd", ""}, SettingsChange{"Keys", "polygon", "new"}));
  after = before;
  after.Source = "";
  after.Adjusted = Adjustment::Splits;
  EXPECT_THAT(Source_Changes(before, after), ElementsAre(SettingsChange{"Quotes", "Source", ""},
                                                         SettingsChange{"Quotes", "Adjustment", ""}));
}

TEST_F(SourceSetUpTest, WithoutSettingsQuotesAreSimulatedAndThatIsSaidOnce) {
  Started setup = Start();
  EXPECT_FALSE(setup->Is_Set_Up());
  EXPECT_EQ(setup->Source_List(), "simulated");
  EXPECT_FALSE(setup->Make()->Real_Quotes());
  EXPECT_THAT(setup->First_Start_Note(),
              AllOf(HasSubstr("simulated"), HasSubstr("server.ini"), Not(HasSubstr("\n"))));
  EXPECT_EQ(setup->First_Start_Note(), "");
  EXPECT_EQ(Start()->First_Start_Note(), "");
  EXPECT_FALSE(Start()->Is_Set_Up());
}

TEST_F(SourceSetUpTest, TheNoteIsGivenAgainWhereTheFileCantBeWritten) {
  Started setup(Places(), (Folder.Path() / "missing" / "server.ini").string());
  EXPECT_NE(setup->First_Start_Note(), "");
  EXPECT_NE(setup->First_Start_Note(), "");
}

TEST_F(SourceSetUpTest, SettingsThatCantBeReadAreLeftAloneAndServeNothing) {
  test::MemoryFiles files;
  const std::string keys = "[Keys]\ntiingo=abc\n";
  files.Contents["server.ini"] = keys;
  files.ReadError = PermissionDenied;
  ServerSettingsFile file(files, "server.ini");
  SourceSetUp setup{Places(), file};
  EXPECT_EQ(setup.First_Start_Note(), "");
  EXPECT_EQ(setup.Simulated_Note(), "");
  EXPECT_EQ(setup.Source_List(), "");
  for (const SourceEntry& entry : setup.Sources()) EXPECT_FALSE(entry.In_Use) << entry.Status.Name;
  EXPECT_THROW(static_cast<void>(setup.Make()), SettingsError);
  EXPECT_THROW(static_cast<void>(setup.Make("simulated")), SettingsError);
  SourceSettings settings;
  settings.Source = "simulated";
  EXPECT_THROW(setup.Save(settings), SettingsError);
  EXPECT_EQ(files.Contents.at("server.ini"), keys);
  EXPECT_EQ(files.Opens, 0);
}

TEST_F(SourceSetUpTest, TheFirstStartNoteWritesOverNothingThatCantBeReadAnyMore) {
  test::MemoryFiles files;
  files.Contents["server.ini"] = "; mine\n";
  ServerSettingsFile file(files, "server.ini");
  SourceSetUp setup{Places(), file};
  files.ReadError = DeviceIOError;
  files.Contents["server.ini"] = "[Keys]\ntiingo=abc\n";
  EXPECT_NE(setup.First_Start_Note(), "");
  EXPECT_EQ(files.Contents.at("server.ini"), "[Keys]\ntiingo=abc\n");
}

TEST_F(SourceSetUpTest, AKeyTurnsLiveQuotesOn) {
  Folder.Write("server.ini", "[Keys]\neodhd=abc\n");
  EXPECT_EQ(Start()->Source_List(), "live");
  EXPECT_EQ(Start()->First_Start_Note(), "");
  Folder.Write("server.ini", "");
  Variables["HQ_KEY_TIINGO"] = "abc";
  Started setup = Start();
  EXPECT_TRUE(setup->Is_Set_Up());
  EXPECT_EQ(setup->Make()->Description(), "Tiingo.");
}

TEST_F(SourceSetUpTest, AKeyThatIsNoUseGivesNoMadeUpQuotes) {
  const auto refusal = [&] {
    Started setup = Start();
    EXPECT_TRUE(setup->Is_Set_Up());
    try {
      static_cast<void>(setup->Make());
    } catch (const std::invalid_argument& error) {
      return std::string(error.what());
    }
    return std::string("made");
  };
  Folder.Write("server.ini", "[Keys]\nalpaca=abc\n");
  EXPECT_THAT(refusal(), StartsWith("Alpaca needs a key (API secret key): write alpaca_secret=..."));
  Folder.Write("server.ini", "[Keys]\ntingo=abc\n");
  EXPECT_THAT(refusal(), AllOf(StartsWith("The key \"tingo\" in the section [Keys]"), HasSubstr("tiingo")));
  Folder.Write("server.ini", "[Keys]\ntingo=\n");
  EXPECT_EQ(Start()->Source_List(), "simulated");
  Folder.Write("server.ini", "");
  Variables["HQ_KEY_ALPACA"] = "abc";
  EXPECT_THAT(refusal(), StartsWith("Alpaca needs a key"));
}

TEST_F(SourceSetUpTest, AKeyWhoseProfileIsSpoiledGivesNoMadeUpQuotes) {
  Folder.Write("server.ini", "[Keys]\nacme=abc\n");
  Folder.Write("acme.json", "{");
  SourcePlaces places = Places();
  places.Profiles = Folder.Path();
  Started setup(places, Settings_Path());
  try {
    static_cast<void>(setup->Make());
    FAIL();
  } catch (const std::invalid_argument& error) {
    EXPECT_THAT(error.what(), HasSubstr("acme.json"));
  }
}

TEST_F(SourceSetUpTest, NewSettingsAreForTheUserAloneAndOtherPermissionsStay) {
  Started setup = Start();
  SourceSettings settings;
  settings.Source = "tiingo";
  settings.Keys["tiingo"] = "k";
  setup->Save(settings);
  EXPECT_EQ(setup->Settings(), settings);
  EXPECT_EQ(Start()->Settings(), settings);
#ifndef _WIN32
  const auto mine = fs::perms::owner_read | fs::perms::owner_write;
  EXPECT_EQ(fs::status(Settings_Path()).permissions(), mine);
  fs::permissions(Settings_Path(), mine | fs::perms::group_read);
  std::vector<std::string> told;
  Started again(Places(), Settings_Path(), [&](const std::string& line) { told.push_back(line); });
  EXPECT_THAT(told, ElementsAre(HasSubstr("chmod 600")));
  settings.Keys["tiingo"] = "other";
  again->Save(settings);
  EXPECT_EQ(fs::status(Settings_Path()).permissions(), mine | fs::perms::group_read);
  EXPECT_EQ(told.size(), 1U);
#endif
  EXPECT_FALSE(fs::exists(Folder.Path() / "server.ini.new"));
}

TEST_F(SourceSetUpTest, SettingsThatCantBeSavedChangeNothing) {
  fs::create_directories(Folder.Path() / "server.ini" / "held");
  Started setup = Start();
  SourceSettings settings;
  settings.Source = "tiingo";
  EXPECT_THROW(setup->Save(settings), SettingsError);
  EXPECT_EQ(setup->Settings(), SourceSettings{});
  EXPECT_THROW(Started(Places(), (Folder.Path() / "missing" / "server.ini").string())->Save(settings),
               SettingsError);
}

TEST_F(SourceSetUpTest, SourcesAreListedInTheirOrderWithTheirStatesAndMaskedKeys) {
  const std::string key = "0123456789abcdefKEYS";
  Variables["HQ_KEY_EODHD"] = "from-a-variable";
  Folder.Write("server.ini", "[Quotes]\nSource=tiingo,alpaca,csv:" + Folder.Path().string() +
                                 "\n[Keys]\ntiingo=" + key + "\neodhd=other\n");
  Started setup = Start();
  const auto entries = setup->Sources();
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
  const auto entries = Start()->Sources();
  EXPECT_THAT(Entry(entries, "tingo").Status.Reason, HasSubstr("no quote source"));
  EXPECT_THAT(Entry(entries, "csv:/no/such/folder").Status.Reason, HasSubstr("not there"));
  EXPECT_EQ(State_Text(Entry(entries, "simulated").Status), "ready");
}

TEST_F(SourceSetUpTest, AQuotaUsedUpElsewhereIsShown) {
  Folder.Write("server.ini", "[Keys]\ntiingo=abc\n");
  const PacingTime until = floor<milliseconds>(system_clock::now()) + hours{2};
  {
    Archive archive{Folder.Path() / "quotes.db"};
    Pacing{archive.Limits(), [] { return floor<milliseconds>(system_clock::now()); }}.Close("tiingo", until,
                                                                                            "enough");
  }
  Started setup = Start();
  const SourceStatus status = Entry(setup->Sources(), "tiingo").Status;
  EXPECT_EQ(status.State, SourceState::OutOfQuota);
  EXPECT_EQ(State_Text(status), "out of quota until " + New_York_Text(status.Until.value()));
  EXPECT_NEAR(static_cast<double>((*status.Until - until).count()), 0, 2000);
  EXPECT_EQ(status.Reason, "enough.");
  EXPECT_GT(setup->Archive_Size(), 0U);
}

TEST_F(SourceSetUpTest, AWrongProfileIsTold) {
  Folder.Write("broken.json", "{");
  SourcePlaces places = Places();
  places.Profiles = Folder.Path();
  EXPECT_THAT(Started(places, Settings_Path())->Profile_Errors(),
              ElementsAre(AllOf(HasSubstr("broken.json"), HasSubstr("line 1"), HasSubstr("no JSON"))));
}

TEST_F(SourceSetUpTest, ATestNamesTheHopAndTheNextStep) {
  Variables["HQ_KEY_TIINGO"] = "sEcReT-kEy-4711";
  Started setup = Start();
  const auto test = [&](const FetchResult& answer) {
    Fetcher->Answer = [answer](const HttpRequest&) { return answer; };
    // A quota that was used up by the test before must not stop this one.
    fs::remove(Folder.Path() / "quotes.db");
    SourceTrial trial = setup->Test("tiingo", "MSFT");
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
  Started setup = Start();
  const SourceProfile profile = Shipped("tiingo");
  const Day today = New_York_Now().Date;
  std::vector<Bar> bars;
  for (int back = 9; back > 0; --back) bars.push_back({today - days{back}, session_open, 1, 2, 1, 2, 3});
  Fetcher->Answer = [&](const HttpRequest&) {
    return HttpReply{200, {}, AnswerWriter{profile, 0, "MSFT"}.Body(Sent(bars))};
  };
  const SourceTrial trial = setup->Test("tiingo", "MSFT");
  EXPECT_TRUE(trial.Works) << trial.Text;
  EXPECT_EQ(trial.Failed_Hop, "");
  EXPECT_GT(trial.Bars, 4U);
  EXPECT_THAT(trial.Text, HasSubstr("Tiingo works"));
  Archive archive{Folder.Path() / "quotes.db"};
  EXPECT_THAT(archive.List(), IsEmpty());
}

TEST_F(SourceSetUpTest, ATestOfASourceWithoutItsKeyOrOfNoneSaysSo) {
  Started setup = Start();
  EXPECT_EQ(setup->Test("alpaca", "MSFT").Failed_Hop, "missing key");
  EXPECT_EQ(setup->Test("nonsense", "MSFT").Failed_Hop, "source");
  EXPECT_TRUE(setup->Test("simulated", "MSFT").Works);
  Folder.Write("msft.csv", "Date,Open,High,Low,Close\n2003-03-10,1,2,1,2\n");
  EXPECT_TRUE(setup->Test("csv:" + Folder.Path().string(), "MSFT").Works);
  EXPECT_EQ(setup->Test("csv:" + Folder.Path().string(), "IBM").Failed_Hop, "unknown symbol");
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
