#include "server/source_setup.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "base/profile.h"
#include "base/strings.h"
#include "platform/paths.h"
#include "server/archive.h"
#include "server/host_rule.h"
#include "server/live_source.h"

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

std::string Read_File(const fs::path& file) {
  const std::ifstream stream{file, std::ios::binary};
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

// Writes a file that only the user can read, whole or not at all.
void Write_Private(const fs::path& file, const std::string& text) {
  fs::path beside = file;
  beside += ".new";
  std::error_code failed;
  fs::remove(beside, failed);
  {
    // Closed to others before the first key goes in.
    std::ofstream stream{beside, std::ios::binary};
    fs::permissions(beside, fs::perms::owner_read | fs::perms::owner_write, failed);
    stream << text << std::flush;
    if (!stream) {
      stream.close();
      fs::remove(beside, failed);
      throw std::runtime_error("The settings can't be written to " + Utf8_Text(file) + ".");
    }
  }
  fs::rename(beside, file, failed);
  if (!failed) return;
  const std::string reason = failed.message();
  fs::remove(beside, failed);
  throw std::runtime_error("The settings can't be written to " + Utf8_Text(file) + ": " + reason + ".");
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
  settings.Hosts = Hosts_Of_List(profile.Get("Server", "Hosts"));
  return settings;
}

std::string With_Source_Settings(std::string_view settings_text, const SourceSettings& settings) {
  const auto adjusted =
      std::ranges::find(adjustment_words, settings.Adjusted, &std::pair<Adjustment, std::string_view>::first);
  std::string text = With_Profile_Value(settings_text, quotes_section, "Source", One_Value(settings.Source));
  text = With_Profile_Value(text, quotes_section, "Adjustment",
                            settings.Adjusted == Adjustment::Splits ? "" : adjusted->second);
  for (const auto& [name, key] : Read_Keys(settings_text)) {
    const auto is_same = [&name = name](const auto& kept) { return Equal_Without_Case(kept.first, name); };
    if (std::ranges::none_of(settings.Keys, is_same)) text = With_Profile_Value(text, keys_section, name, {});
  }
  for (const auto& [name, key] : settings.Keys) {
    if (const std::string setting = One_Value(name); !setting.empty())
      text = With_Profile_Value(text, keys_section, setting, One_Value(key));
  }
  return text;
}

SourcePlaces Places_In(const fs::path& program_folder, std::string program, const fs::path& own_folder) {
  SourcePlaces places;
  places.Settings = program_folder / "server.ini";
  places.Profiles = program_folder / "sources";
  std::error_code unknown;
  if (!own_folder.empty() && !fs::is_directory(places.Profiles, unknown))
    places.Profiles = own_folder / "sources";
  places.Archive = program_folder / "quotes.db";
  places.Program = std::move(program);
  return places;
}

SourceSetUp::SourceSetUp(SourcePlaces places, Reporter report)
    : places_(std::move(places)), report_(std::move(report)), fetcher_(places_.Fetcher) {
  // For its warning that others can read the file.
  static_cast<void>(Load_Keys(places_.Settings, report_));
  settings_ = Read_Source_Settings(Read_File(places_.Settings));
  if (!fetcher_) {
    CurlFetcherOptions fetching;
    fetching.User_Agent = places_.Program;
    fetcher_ = std::make_shared<CurlFetcher>(std::move(fetching));
  }
}

SourceSettings SourceSetUp::Settings() const {
  const std::lock_guard lock{mutex_};
  return settings_;
}

void SourceSetUp::Save(const SourceSettings& settings) {
  const std::lock_guard lock{mutex_};
  const std::string text = With_Source_Settings(Read_File(places_.Settings), settings);
  Write_Private(places_.Settings, text);
  settings_ = Read_Source_Settings(text);
}

LiveSetUp SourceSetUp::Live() const {
  const SourceSettings settings = Settings();
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
  const SourceSettings settings = Settings();
  if (!settings.Source.empty()) return settings.Source;
  for (const SourceProfile& profile : Load_Profiles(places_.Profiles).Profiles) {
    if (!profile.Off_Until_Read.empty() || profile.Keys.empty()) continue;
    if (Missing_Keys(profile, Keys_Of(profile, settings.Keys, places_.Variables)).empty()) return "live";
  }
  return "simulated";
}

bool SourceSetUp::Is_Set_Up() const {
  return !Settings().Source.empty() || Source_List() != "simulated";
}

std::string SourceSetUp::Simulated_Note() const {
  if (Is_Set_Up()) return {};
  return "The quotes are simulated until you choose a source of real ones: put a service's key into " +
         Utf8_Text(places_.Settings) + " or use Quote Server... in the menu.";
}

std::string SourceSetUp::First_Start_Note() {
  std::string note = Simulated_Note();
  if (note.empty()) return {};
  const std::lock_guard lock{mutex_};
  const std::string text = Read_File(places_.Settings);
  if (!Profile{text}.Get(quotes_section, "Told").empty()) return {};
  try {
    Write_Private(places_.Settings, With_Profile_Value(text, quotes_section, "Told", "yes"));
  } catch (const std::runtime_error&) {
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
  LiveSetUp live = Live();
  std::error_code unknown;
  // Nothing was fetched yet; to look is no reason to begin an archive.
  if (!fs::exists(places_.Archive, unknown)) live.Archive.clear();
  for (const std::string& name : Split_Source_List(Source_List())) {
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
    LiveSetUp live = Live();
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
  return Make_Source(list.value_or(Source_List()), New_York_Now, report_, Live());
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
