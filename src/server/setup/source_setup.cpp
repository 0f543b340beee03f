#include "server/setup/source_setup.h"

#include <algorithm>
#include <array>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "base/profile.h"
#include "base/strings.h"
#include "platform/paths.h"
#include "server/archive/archive.h"
#include "server/live/live_source.h"
#include "server/services/profile_reader.h"

namespace hq::server {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view quotes_section = "Quotes";
constexpr std::string_view keys_section = "Keys";

constexpr auto adjustment_words = std::to_array<std::pair<Adjustment, std::string_view>>(
    {{Adjustment::Splits, "splits"}, {Adjustment::Raw, "raw"}, {Adjustment::Full, "full"}});

std::string One_Value(std::string_view text) {
  return std::string{Trim_White(text.substr(0, text.find_first_of("\r\n")))};
}

}  // namespace

SourceSettings Read_Source_Settings(std::string_view settings_text) {
  SourceSettings settings;
  const Profile profile{settings_text};
  settings.Source = profile.Get(quotes_section, "Source");
  const std::string adjusted = Lower_Case(profile.Get(quotes_section, "Adjustment"));
  for (const auto& [adjustment, word] : adjustment_words) {
    if (adjusted == word) settings.Adjusted = adjustment;
  }
  settings.Keys = Read_Keys(settings_text);
  settings.Hosts = Parts_Of_List(profile.Get("Server", "Hosts"));
  return settings;
}

std::vector<SettingsChange> Source_Changes(const SourceSettings& before, const SourceSettings& after) {
  const auto word = [](Adjustment adjusted) {
    const auto found =
        std::ranges::find(adjustment_words, adjusted, &std::pair<Adjustment, std::string_view>::first);
    return std::string(adjusted == Adjustment::Splits ? "" : found->second);
  };
  std::vector<SettingsChange> changes;
  const auto change = [&changes](std::string_view section, std::string key, std::string value) {
    changes.push_back({std::string(section), std::move(key), std::move(value)});
  };
  if (after.Source != before.Source) change(quotes_section, "Source", One_Value(after.Source));
  if (after.Adjusted != before.Adjusted) change(quotes_section, "Adjustment", word(after.Adjusted));
  const auto find = [](const SourceSettings& settings, const std::string& name) {
    return std::ranges::find_if(settings.Keys,
                                [&name](const auto& entry) { return Equal_Without_Case(entry.first, name); });
  };
  for (const auto& [name, key] : before.Keys) {
    if (find(after, name) == after.Keys.end()) change(keys_section, name, {});
  }
  for (const auto& [name, key] : after.Keys) {
    const auto known = find(before, name);
    const std::string setting = One_Value(name);
    if (!setting.empty() && (known == before.Keys.end() || known->second != key))
      change(keys_section, setting, One_Value(key));
  }
  return changes;
}

SourcePlaces Places_In(const fs::path& program_folder, std::string program, const fs::path& own_folder) {
  SourcePlaces places;
  places.Profiles = program_folder / "sources";
  std::error_code unknown;
  if (!own_folder.empty() && !fs::is_directory(places.Profiles, unknown))
    places.Profiles = own_folder / "sources";
  places.Archive = program_folder / "quotes.db";
  places.Program = std::move(program);
  return places;
}

SourceSetUp::SourceSetUp(SourcePlaces places, ServerSettingsFile& file, Reporter report)
    : places_(std::move(places)), file_(file), report_(std::move(report)), fetcher_(places_.Fetcher) {
  Warn_Of_Readers();
  if (!fetcher_) {
    CurlFetcherOptions fetching;
    fetching.User_Agent = places_.Program;
    fetcher_ = std::make_shared<CurlFetcher>(std::move(fetching));
  }
}

SourceSettings SourceSetUp::Settings() const {
  return Read_Source_Settings(file_.Text());
}

void SourceSetUp::Save(const SourceSettings& settings) {
  file_.Save(Source_Changes(Settings(), settings));
  Warn_Of_Readers();
}

void SourceSetUp::Warn_Of_Readers() {
  if (!report_ || Settings().Keys.empty() || !Others_Can_Read(System_Path(file_.Path()))) return;
  if (warned_.exchange(true)) return;
  report_("Other users of this computer can read the keys in " + file_.Path() +
          ": let only yourself read that file (chmod 600).");
}

LiveSetUp SourceSetUp::Live(const SourceSettings& settings) const {
  LiveSetUp live;
  live.Profiles = places_.Profiles;
  live.Archive = places_.Archive;
  live.Keys = settings.Keys;
  live.Variables = places_.Variables;
  live.Program = places_.Program;
  live.Adjusted = settings.Adjusted;
  live.Fetcher = places_.Fetcher;
  return live;
}

std::string SourceSetUp::Source_List() const {
  return file_.Fault().empty() ? Source_List(Settings()) : std::string{};
}

std::string SourceSetUp::Source_List(const SourceSettings& settings) const {
  if (!settings.Source.empty()) return settings.Source;
  // Also a key that is no use: whoever has set one wants no made-up quotes.
  const auto is_set = [](const auto& entry) { return !Trim_White(entry.second).empty(); };
  if (std::ranges::any_of(settings.Keys, is_set)) return "live";
  for (const SourceProfile& profile : Load_Profiles(places_.Profiles).Profiles) {
    if (!Keys_Of(profile, {}, places_.Variables).empty()) return "live";
  }
  return "simulated";
}

bool SourceSetUp::Is_Set_Up() const {
  return !Settings().Source.empty() || Source_List() != "simulated";
}

std::string SourceSetUp::Simulated_Note() const {
  if (Is_Set_Up()) return {};
  return "The quotes are simulated until you choose a source of real ones: put a service's key into " +
         file_.Path() + " or use Quote Server... in the menu.";
}

std::string SourceSetUp::First_Start_Note() {
  std::string note = Simulated_Note();
  if (note.empty() || !Profile{file_.Text()}.Get(quotes_section, "Told").empty()) return {};
  try {
    file_.Save({{std::string(quotes_section), "Told", "yes"}});
  } catch (const SettingsError&) {
    // It is then said once more the next time.
  }
  return note;
}

std::vector<std::string> SourceSetUp::Profile_Errors() const {
  std::vector<std::string> lines;
  for (const ProfileError& error : Load_Profiles(places_.Profiles).Errors) lines.push_back(error.Text());
  return lines;
}

std::string SourceSetUp::Lack_Of(const SourceProfile& profile, const SourceSettings& settings) const {
  const auto missing = Missing_Keys(profile, Keys_Of(profile, settings.Keys, places_.Variables));
  return missing.empty() ? std::string{} : profile.Title + " needs a key (" + missing.front().Label + ").";
}

std::vector<SourceEntry> SourceSetUp::Sources(QuoteSource* running) {
  const SourceSettings settings = Settings();
  const ProfileFolder folder = Load_Profiles(places_.Profiles);
  std::vector<SourceStatus> in_use;
  LiveSetUp live = Live(settings);
  std::error_code unknown;
  // Nothing was fetched yet; to look is no reason to begin an archive.
  if (!fs::exists(places_.Archive, unknown)) live.Archive.clear();
  const std::string list = Source_List();
  for (const std::string& name : list.empty() ? std::vector<std::string>{} : Split_Source_List(list)) {
    const auto profile = std::ranges::find(folder.Profiles, name, &SourceProfile::Name);
    if (profile != folder.Profiles.end() && !Lack_Of(*profile, settings).empty()) {
      in_use.push_back({name, profile->Title, SourceState::NeedsKey, {}, Lack_Of(*profile, settings)});
      continue;
    }
    try {
      const auto source = Make_Source(name, New_York_Now, {}, live);
      auto states = source->Sources();
      if (states.empty()) states.push_back({name, source->Description(), SourceState::Ready, {}, {}});
      std::ranges::move(states, std::back_inserter(in_use));
    } catch (const std::invalid_argument& error) {
      in_use.push_back({name, name, SourceState::Down, {}, error.what()});
    }
  }
  if (running != nullptr) {
    for (const SourceStatus& told : running->Sources()) {
      const auto same = std::ranges::find(in_use, told.Name, &SourceStatus::Name);
      if (same != in_use.end() && same->State == SourceState::Ready) *same = told;
    }
  }

  std::vector<SourceEntry> entries;
  const auto add = [&](SourceStatus status, bool is_in_use) {
    SourceEntry entry;
    entry.In_Use = is_in_use;
    const auto profile = std::ranges::find(folder.Profiles, status.Name, &SourceProfile::Name);
    entry.Status = std::move(status);
    if (profile != folder.Profiles.end()) {
      entry.Site = profile->Site;
      entry.Remark = profile->Remark;
      entry.Off_Until_Read = profile->Off_Until_Read;
      const KeyTexts from_variables = Keys_Of(*profile, {}, places_.Variables);
      const KeyTexts all = Keys_Of(*profile, settings.Keys, places_.Variables);
      for (const SourceKey& key : profile->Keys) {
        const std::string setting = Key_Settings(*profile, key).front();
        const auto found = all.find(key.Name);
        entry.Keys.push_back({key.Label, setting, Key_Variable(setting),
                              found == all.end() ? std::string{} : Masked_Key(found->second),
                              from_variables.contains(key.Name)});
      }
    }
    entries.push_back(std::move(entry));
  };
  std::set<std::string> named;
  for (SourceStatus& status : in_use) {
    named.insert(status.Name);
    add(std::move(status), true);
  }
  for (const SourceProfile& profile : folder.Profiles) {
    if (named.contains(profile.Name)) continue;
    SourceStatus status{profile.Name, profile.Title, SourceState::Off, {}, profile.Off_Until_Read};
    if (std::string lack = Lack_Of(profile, settings); !lack.empty()) {
      status.State = SourceState::NeedsKey;
      status.Reason = std::move(lack);
    }
    add(std::move(status), false);
  }
  return entries;
}

SourceTrial SourceSetUp::Test(const std::string& name, const std::string& symbol) {
  try {
    LiveSetUp live = Live(Settings());
    live.Fetcher = fetcher_;
    const auto source = Make_Source(name, New_York_Now, report_, live);
    if (auto* chain = dynamic_cast<LiveSource*>(source.get())) return chain->Try_Out(name, symbol);
    const Answer answer = source->Bars({symbol, daily_interval, {}, 5});
    if (const auto* failure = std::get_if<Failure>(&answer)) {
      return {false, failure->Kind == FailureKind::UnknownSymbol ? "unknown symbol" : "file", failure->Reason,
              "Look whether the folder has a file of that symbol's name with daily bars.", 0};
    }
    const std::size_t count = std::get<BarTable>(answer).Bars.size();
    return {true,
            {},
            source->Description() + " It has " + std::to_string(count) + " bars of " + symbol + ".",
            {},
            count};
  } catch (const std::invalid_argument& error) {
    const std::string text = error.what();
    if (text.find("needs a key") != std::string::npos)
      return {false, "missing key", text, "Get a key from the service and enter it.", 0};
    const auto faults = Profile_Errors();
    const bool is_profile = std::ranges::find(faults, text) != faults.end();
    return {false, "source", text,
            is_profile ? "Mend that file, or take the one that came with the program."
                       : "Choose one of the sources in the list.",
            0};
  }
}

void SourceSetUp::Give_Up(bool on) {
  fetcher_->Give_Up(on);
}

std::unique_ptr<QuoteSource> SourceSetUp::Make(const std::optional<std::string>& list) const {
  if (const std::string fault = file_.Fault(); !fault.empty()) throw SettingsError(fault);
  const SourceSettings settings = Settings();
  return Make_Source(list ? *list : Source_List(settings), New_York_Now, report_, Live(settings));
}

std::unique_ptr<QuoteSource> SourceSetUp::Make_Of(const SourceSettings& settings) const {
  return Make_Source(Source_List(settings), New_York_Now, report_, Live(settings));
}

std::uintmax_t SourceSetUp::Archive_Size() const {
  std::uintmax_t sum = 0;
  for (const char* ending : {"", "-wal", "-shm"}) {
    fs::path file = places_.Archive;
    file += ending;
    std::error_code missing;
    const auto size = fs::file_size(file, missing);
    if (!missing) sum += size;
  }
  return sum;
}

}  // namespace hq::server
