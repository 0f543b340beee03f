#include "server/setup/make_source.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "base/strings.h"
#include "platform/paths.h"
#include "server/live/live_source.h"
#include "server/services/profile_reader.h"
#include "server/simulated/simulated_source.h"

namespace hq::server {
namespace {

constexpr std::string_view csv_marker = "csv:";

// The order in which "live" asks services; others follow by name.
constexpr auto usual_order =
    std::to_array<std::string_view>({"tiingo", "alpaca", "twelvedata", "polygon", "alphavantage", "eodhd"});

std::unique_ptr<QuoteSource> Make_Csv(std::string_view spec, Reporter reporter) {
  const std::string folder{spec.substr(csv_marker.size())};
  if (folder.empty())
    throw std::invalid_argument("The quote source \"csv:\" lacks a folder: write csv:FOLDER.");
  const std::filesystem::path path = System_Path(folder);
  std::error_code unknown;
  if (!std::filesystem::is_directory(path, unknown)) {
    throw std::invalid_argument("The quote source's folder \"" + folder + "\" is not there or is no folder.");
  }
  return std::make_unique<CsvSource>(path, std::move(reporter));
}

// The services of the set-up. Profiles are read when the first one is asked for.
class Services {
 public:
  Services(const LiveSetUp& live, const Reporter& reporter) : live_(live), reporter_(reporter) {}

  // All whose keys are there and that need not be turned on. Raises std::invalid_argument when there is none.
  std::vector<LiveService> Ready() {
    std::vector<LiveService> ready;
    for (const SourceProfile& profile : Folder().Profiles) {
      KeyTexts keys = Keys_Of(profile, live_.Keys, live_.Variables);
      if (profile.Off_Until_Read.empty() && Missing_Keys(profile, keys).empty())
        ready.push_back({std::make_shared<const SourceProfile>(profile), std::move(keys)});
    }
    if (ready.empty()) throw std::invalid_argument(Why_None());
    std::ranges::stable_sort(ready, {}, [](const LiveService& service) {
      return std::ranges::find(usual_order, service.Profile->Name) - usual_order.begin();
    });
    return ready;
  }

  // None when there is no such profile. Raises std::invalid_argument.
  std::optional<LiveService> Find(const std::string& name) {
    if (name.empty() || live_.Profiles.empty()) return std::nullopt;
    const ProfileFolder& folder = Folder();
    const auto found = std::ranges::find(folder.Profiles, name, &SourceProfile::Name);
    if (found == folder.Profiles.end()) {
      for (const ProfileError& error : folder.Errors) {
        const std::string_view file = error.File;
        if (file.substr(file.find_last_of("/\\") + 1) == name + ".json")
          throw std::invalid_argument(error.Text());
      }
      return std::nullopt;
    }
    KeyTexts keys = Keys_Of(*found, live_.Keys, live_.Variables);
    if (!found->Off_Until_Read.empty() && reporter_) reporter_(found->Title + ": " + found->Off_Until_Read);
    return LiveService{std::make_shared<const SourceProfile>(*found), std::move(keys)};
  }

  // Why a service can't be asked; empty when it has its keys.
  static std::string Lack(const LiveService& service) {
    const SourceProfile& profile = *service.Profile;
    const auto missing = Missing_Keys(profile, service.Keys);
    if (missing.empty()) return {};
    const std::string setting = Key_Settings(profile, missing.front()).front();
    return profile.Title + " needs a key (" + missing.front().Label + "): write " + setting +
           "=... into the section [Keys] of the settings, or set " + Key_Variable(setting) + ".";
  }

 private:
  // Why no service can be asked, by the keys that there are.
  std::string Why_None() {
    std::string names;
    for (const SourceProfile& profile : Folder().Profiles) {
      LiveService service{std::make_shared<const SourceProfile>(profile),
                          Keys_Of(profile, live_.Keys, live_.Variables)};
      if (!service.Keys.empty()) return Lack(service);
      if (!profile.Keys.empty()) names += (names.empty() ? "" : ", ") + profile.Name;
    }
    for (const auto& [setting, key] : live_.Keys) {
      if (Trim_White(key).empty()) continue;
      if (!Folder().Errors.empty()) return Folder().Errors.front().Text();
      std::string text = "The key \"";
      text.append(setting).append(
          "\" in the section [Keys] of the settings is that of no service: there are ");
      return text.append(names).append(".");
    }
    return "No source of live quotes is set up: put a key into the section [Keys] of the settings, or into "
           "an "
           "environment variable such as HQ_KEY_TIINGO.";
  }

  const ProfileFolder& Folder() {
    if (!folder_) {
      folder_ = Load_Profiles(live_.Profiles);
      for (const ProfileError& error : folder_->Errors) {
        if (reporter_) reporter_(error.Text());
      }
    }
    return *folder_;
  }

  const LiveSetUp& live_;
  const Reporter& reporter_;
  std::optional<ProfileFolder> folder_;
};

// Where the first name of a list ends that begins with a folder: a folder may have commas in its name, and
// the longest name that is one counts. `first_comma` when none is.
std::size_t End_Of_Folder(std::string_view spec, std::size_t first_comma) {
  for (auto end = spec.size(); end != std::string_view::npos && end > first_comma;
       end = spec.rfind(',', end - 1)) {
    const auto folder = Trim_White(spec.substr(csv_marker.size(), end - csv_marker.size()));
    std::error_code unknown;
    if (std::filesystem::is_directory(System_Path(std::string{folder}), unknown)) return end;
  }
  return first_comma;
}

}  // namespace

std::vector<std::string> Split_Source_List(std::string_view spec) {
  std::vector<std::string> names;
  for (;;) {
    while (spec.starts_with(' ')) spec.remove_prefix(1);
    auto end = std::min(spec.find(','), spec.size());
    if (spec.starts_with(csv_marker)) end = End_Of_Folder(spec, end);
    names.emplace_back(Trim_White(spec.substr(0, end)));
    if (end == spec.size()) return names;
    spec.remove_prefix(end + 1);
  }
}

std::unique_ptr<QuoteSource> Make_Source(std::string_view spec, ExchangeClock clock, Reporter reporter,
                                         const LiveSetUp& live) {
  const std::vector<std::string> names = Split_Source_List(spec);
  if (names.size() == 1 && names[0] == "simulated")
    return std::make_unique<SimulatedSource>(std::move(clock));
  if (names.size() == 1 && names[0].starts_with(csv_marker)) return Make_Csv(names[0], std::move(reporter));

  std::vector<ChainLink> chain;
  std::set<std::string> in_chain;
  Services services{live, reporter};
  std::vector<std::string> lacks;
  const auto add = [&](LiveService service) {
    if (!in_chain.insert(service.Profile->Name).second) return;
    if (std::string lack = Services::Lack(service); !lack.empty()) lacks.push_back(std::move(lack));
    chain.emplace_back(std::move(service));
  };
  for (const std::string& name : names) {
    if (name == "simulated") {
      chain.emplace_back(OtherSource{name, std::make_shared<SimulatedSource>(clock)});
    } else if (name.starts_with(csv_marker)) {
      chain.emplace_back(OtherSource{name, Make_Csv(name, reporter)});
    } else if (name == "live") {
      for (LiveService& service : services.Ready()) add(std::move(service));
    } else if (auto service = services.Find(name)) {
      add(std::move(*service));
    } else {
      throw std::invalid_argument(
          "\"" + name +
          "\" is no quote source: it must be \"simulated\", \"csv:FOLDER\", \"live\" or "
          "the name of a source profile.");
    }
  }
  if (lacks.size() == chain.size()) throw std::invalid_argument(lacks.front());
  for (const std::string& lack : lacks) {
    if (reporter) reporter(lack);
  }
  LiveOptions options;
  options.Adjusted = live.Adjusted;
  options.Program = live.Program;
  std::shared_ptr<HttpFetcher> fetcher = live.Fetcher;
  if (!fetcher) {
    CurlFetcherOptions fetching;
    fetching.User_Agent = live.Program;
    fetcher = std::make_shared<CurlFetcher>(std::move(fetching));
  }
  // Without services there is nothing to keep.
  auto archive =
      std::make_shared<Archive>(in_chain.empty() ? std::filesystem::path{} : live.Archive, reporter);
  return std::make_unique<LiveSource>(std::move(chain), std::move(archive), std::move(fetcher),
                                      std::move(options), std::move(reporter));
}

}  // namespace hq::server
