#include "server/services/profile_reader.h"

#include <gmock/gmock.h>

#include "server/services/answer_writer.h"
#include "server/services/feed_choice.h"

namespace hq::server {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A profile that is right; tests spoil one place of it.
constexpr std::string_view good = R"({
  "name": "good",
  "title": "Good Quotes",
  "keys": [{"name": "token", "label": "API token"}],
  "zone": "America/New_York",
  "symbols": {"kinds": [{"kind": ""}]},
  "troubles": [{"when": {"status": 429}, "is": "throttled", "wait": 60}],
  "feeds": [
    {
      "minutes": 5,
      "serves": [5, 30],
      "adjustments": {"raw": "none"},
      "address": "https://quotes.example/{symbol}?from={from:date}",
      "headers": {"X-Key": "{key:token}"},
      "answer": {
        "shape": "rows",
        "fields": {"stamp": "t", "open": "o", "high": "h", "low": "l", "close": "c"},
        "stamp": {"form": "epoch-seconds"}
      }
    }
  ]
})";

ProfileError Error_Of(const std::variant<SourceProfile, ProfileError>& read) {
  if (const auto* error = std::get_if<ProfileError>(&read)) return *error;
  ADD_FAILURE() << "the profile was taken";
  return {};
}

ProfileError Spoiled(std::string_view part, std::string_view by) {
  std::string text{good};
  const auto at = text.find(part);
  if (at == std::string::npos) ADD_FAILURE() << part << " is not there";
  text.replace(at, part.size(), by);
  return Error_Of(Read_Profile(text, "folder/good.json"));
}

TEST(SourceProfile, ShippedOnesAreAllRight) {
  const ProfileFolder folder = Load_Profiles(Sources_Folder());
  for (const auto& error : folder.Errors) ADD_FAILURE() << error.Text();
  std::vector<std::string> names;
  for (const auto& profile : folder.Profiles) names.push_back(profile.Name);
  EXPECT_THAT(names, ElementsAre("alpaca", "alphavantage", "cboe", "eodhd", "polygon", "tiingo", "twelvedata",
                                 "yahoo"));
}

TEST(SourceProfile, TheOnesWithoutKeysAreOffUntilTheReasonIsReadAndSlow) {
  for (const auto& profile : Load_Profiles(Sources_Folder()).Profiles) {
    EXPECT_EQ(profile.Keys.empty(), !profile.Off_Until_Read.empty()) << profile.Name;
    if (!profile.Keys.empty()) continue;
    EXPECT_GE(profile.Pacing.Pause, std::chrono::seconds{2}) << profile.Name;
    EXPECT_LE(profile.Pacing.Calls_A_Minute, 20) << profile.Name;
  }
}

TEST(SourceProfile, EveryShippedOneHasDailyBarsAndServesWhatItsFeedsAreFor) {
  for (const auto& profile : Load_Profiles(Sources_Folder()).Profiles) {
    for (const int interval : {1, 5, 10, 20, 30, 60, daily_interval})
      EXPECT_TRUE(Choose_Feed(profile, interval, Adjustment::Splits)) << profile.Name << ' ' << interval;
  }
}

TEST(SourceProfile, TheOneOfTheseTestsIsRight) {
  const auto read = Read_Profile(good, "folder/good.json");
  ASSERT_TRUE(std::holds_alternative<SourceProfile>(read)) << Error_Of(read).Text();
  const auto& profile = std::get<SourceProfile>(read);
  EXPECT_EQ(profile.Title, "Good Quotes");
  EXPECT_THAT(profile.Hosts, ElementsAre("quotes.example"));
  EXPECT_EQ(profile.Troubles.front().Fixed_Wait, std::chrono::seconds{60});
}

TEST(SourceProfile, AnErrorNamesFilePlaceAndReason) {
  EXPECT_EQ(Spoiled(R"("minutes": 5,)", R"("minutes": "5",)").Text(),
            "folder/good.json: /feeds/0/minutes: it must be a whole number from 1 to 1440.");
}

TEST(SourceProfile, WhatIsNoJsonIsRefusedWithLineAndColumn) {
  const ProfileError error = Spoiled(R"("zone": )", R"("zone" )");
  EXPECT_EQ(error.Place, "line 5, column 27");
  EXPECT_EQ(Error_Of(Read_Profile("", "good")).Place, "line 1, column 1");
  EXPECT_EQ(Error_Of(Read_Profile(std::string(largest_profile + 1, ' '), "good")).Reason,
            "it is larger than 256 KiB");
}

TEST(SourceProfile, FaultsAreRefusedAtTheirPlace) {
  struct Case {
    const char* Part;
    const char* By;
    const char* Place;
    const char* Reason;
  };
  const std::vector<Case> cases = {
      {R"("name": "good")", R"("name": "Good")", "/name", "lower-case"},
      {R"("name": "good")", R"("name": "other")", "/name", "the name of the file, \"good\""},
      {R"("title": "Good Quotes",)", "", "/", "\"title\" is missing"},
      {R"("title": "Good Quotes")", R"("title": "")", "/title", "must not be empty"},
      {R"("title": "Good Quotes")", R"("title": "a\nb")", "/title", "control character"},
      {R"("title": "Good Quotes")", R"("title": ["a"])", "/title", "a text in quotes"},
      {R"("title")", R"("tilte": "x", "title")", "/tilte", "knows no such member"},
      {R"("title")", R"("title": "x", "title")", "/title", "stands here twice"},
      {R"(America/New_York)", "America/Nowhere", "/zone", "no zone of this name"},
      {R"({"kind": ""})", R"({"kind": "fx"})", "/symbols/kinds/0/kind", "must be one of"},
      {R"({"kind": ""})", R"({"kind": ""}, {"kind": ""})", "/symbols/kinds/1/kind", "twice"},
      {R"({"kind": ""})", "", "/symbols/kinds", "no symbol at all"},
      {R"("status": 429)", R"("status": 99)", "/troubles/0/when/status", "from 100 to 599"},
      {R"("status": 429)", "", "/troubles/0/when", "hold for every answer"},
      {R"("status": 429)", R"("equals": "x", "status": 200)", "/troubles/0/when", "\"at\" is missing"},
      {R"("is": "throttled")", R"("is": "tired")", "/troubles/0/is", "must be one of \"unknown-symbol\""},
      {R"("wait": 60)", R"("wait": 0)", "/troubles/0/wait", "from 1 to"},
      {R"("wait": 60)", R"("wait": "soon")", "/troubles/0/wait", "next-minute"},
      {R"("minutes": 5)", R"("minutes": 240)", "/feeds/0/minutes", "1 to 60, or 1440"},
      {R"([5, 30])", "[5, 7]", "/feeds/0/serves/1", "must be 1, 5, 10"},
      {R"([5, 30])", "[1]", "/feeds/0/serves/0", "can't be made of 5-minute bars"},
      {R"([5, 30])", "[1440]", "/feeds/0/serves/0", "can't be made of 5-minute bars"},
      {R"([5, 30])", "[]", "/feeds/0/serves", "must not be empty"},
      {R"({"raw": "none"})", R"({"rough": "none"})", "/feeds/0/adjustments/rough", "one of"},
      {R"({"raw": "none"})", R"({"raw": "none"}, "instead_of_splits": "full")", "/feeds/0/instead_of_splits",
       "one of the adjustments"},
      {R"(https://quotes)", "http://quotes", "/feeds/0/address", "https://"},
      {R"(https://quotes.example)", "https://user@quotes.example", "/feeds/0/address", "host name"},
      {R"(https://quotes.example)", "https://{symbol}.example", "/feeds/0/address", "host name"},
      {R"(https://quotes.example)", "ftp://quotes.example", "/feeds/0/address", "host name"},
      {R"(/{symbol}?)", "/?", "/feeds/0/address", "{symbol} is missing"},
      {R"({from:date})", "{from:noon}", "/feeds/0/address", "{from:noon} is no placeholder"},
      {R"({from:date})", "{from:date", "/feeds/0/address", "no partner"},
      {R"({from:date})", "{key:other}", "/feeds/0/address", "none of the keys"},
      {R"({from:date})", "a b", "/feeds/0/address", "no address has"},
      {R"("X-Key")", R"("User-Agent")", "/feeds/0/headers/User-Agent", "says honestly who asks"},
      {R"("X-Key")", R"("cookie")", "/feeds/0/headers/cookie", "says honestly who asks"},
      {R"("X-Key")", R"("Referer")", "/feeds/0/headers/Referer", "says honestly who asks"},
      {R"("X-Key")", R"("X Key")", "/feeds/0/headers/X Key", "no header's name"},
      {R"("shape": "rows")", R"("shape": "square")", "/feeds/0/answer/shape", "must be one of"},
      {R"("open": "o")", R"("open": [])", "/feeds/0/answer/fields", "path to a price is empty"},
      {R"("open": "o")", R"("open": [true])", "/feeds/0/answer/fields/open/0", "text in quotes"},
      {R"("open": "o")", R"("open": [-1])", "/feeds/0/answer/fields/open/0", "whole number"},
      {R"("stamp": "t", )", "", "/feeds/0/answer/fields", "\"stamp\" is missing"},
      {R"({"form": "epoch-seconds"})", R"({"form": "date"})", "/feeds/0/answer", "only daily bars"},
      {R"({"form": "epoch-seconds"})", R"({"form": "epoch-seconds", "zone": "UTC"})",
       "/feeds/0/answer/stamp/zone", "only local stamps"},
      {R"("shape": "rows")", R"("shape": "rows", "delimiter": ";")", "/feeds/0/answer/delimiter",
       "CSV answers only"},
      {R"("shape": "rows")", R"("shape": "csv", "rows": ["a"])", "/feeds/0/answer",
       "no paths but its columns"},
      {R"("minutes": 5,)", R"("minutes": 5, "month_a_request": true, "days_a_request": 3,)",
       "/feeds/0/days_a_request", "not for both"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.By);
    const ProfileError error = Spoiled(each.Part, each.By);
    EXPECT_EQ(error.File, "folder/good.json");
    EXPECT_EQ(error.Place, each.Place);
    EXPECT_THAT(error.Reason, HasSubstr(each.Reason));
  }
}

TEST(SourceProfile, AKeyInTheAddressCantGoWithWholeAddressesOfNextPages) {
  std::string text{good};
  const auto replace = [&text](std::string_view part, std::string_view by) {
    text.replace(text.find(part), part.size(), by);
  };
  replace(R"("shape": "rows")", R"("shape": "rows", "next_page": {"at": "next"})");
  EXPECT_TRUE(std::holds_alternative<SourceProfile>(Read_Profile(text, "good")));
  replace("{from:date}", "{from:date}&key={key:token}");
  EXPECT_THAT(Error_Of(Read_Profile(text, "good")).Reason, HasSubstr("need the key in a header"));
  replace(R"({"at": "next"})", R"({"at": "next", "parameter": "page"})");
  EXPECT_TRUE(std::holds_alternative<SourceProfile>(Read_Profile(text, "good")));
}

TEST(SourceProfile, AFolderGivesTheRightOnesAndTheErrors) {
  const TemporaryFolder folder;
  folder.Write("good.json", good);
  folder.Write("bad.json", "{}");
  folder.Write("notes.txt", "no profile");
  std::filesystem::create_directory(folder.Path() / "sub.json");
  const ProfileFolder read = Load_Profiles(folder.Path());
  ASSERT_EQ(read.Profiles.size(), 1U);
  EXPECT_EQ(read.Profiles.front().Name, "good");
  ASSERT_EQ(read.Errors.size(), 2U);
  EXPECT_THAT(read.Errors[0].Text(), HasSubstr("bad.json: /: \"name\" is missing."));
  EXPECT_THAT(read.Errors[1].Text(), HasSubstr("sub.json: /: it is a folder, not a file."));
}

TEST(SourceProfile, AFolderOrAFileThatIsNotThereIsAnError) {
  const TemporaryFolder folder;
  const ProfileFolder read = Load_Profiles(folder.Path() / "missing");
  EXPECT_THAT(read.Profiles, IsEmpty());
  ASSERT_EQ(read.Errors.size(), 1U);
  EXPECT_THAT(read.Errors.front().Reason, HasSubstr("can't be listed"));
  EXPECT_THAT(read.Errors.front().Text(), HasSubstr(": it can't be listed: "));
  EXPECT_THAT(read.Errors.front().Text(), testing::Not(HasSubstr("/: ")));
  EXPECT_THAT(Error_Of(Load_Profile(folder.Path() / "missing.json")).Reason, HasSubstr("can't be read"));
}

TEST(SourceProfile, TheExampleOfTheDocumentationIsRead) {
  std::ifstream stream{Sources_Folder().parent_path() / "docs" / "sources.md"};
  const std::string text{std::istreambuf_iterator<char>{stream}, {}};
  const auto begin = text.find("```json\n");
  ASSERT_NE(begin, std::string::npos);
  const auto end = text.find("```", begin + 8);
  const auto read = Read_Profile(text.substr(begin + 8, end - begin - 8), "acme.json");
  if (const auto* error = std::get_if<ProfileError>(&read)) FAIL() << error->Text();
  EXPECT_EQ(std::get<SourceProfile>(read).Feeds.size(), 1U);
}

}  // namespace
}  // namespace hq::server
