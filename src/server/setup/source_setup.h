#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "market/quote_source.h"
#include "market/source_status.h"
#include "platform/server_settings_file.h"
#include "server/csv/csv_source.h"
#include "server/live/http_fetch.h"
#include "server/services/source_profile.h"
#include "server/setup/make_source.h"
#include "server/setup/source_keys.h"

namespace hq::server {

// What the user has chosen, as the settings file "server.ini" holds it.
struct SourceSettings {
  // [Quotes] Source: the sources in the order in which they are asked, as Make_Source takes them; empty when
  // nothing was chosen.
  std::string Source;
  // [Quotes] Adjustment: splits (also when nothing is said), raw or full.
  Adjustment Adjusted = Adjustment::Splits;
  // [Keys], by their names as written.
  std::map<std::string, std::string> Keys;
  // [Server] Hosts: those that a server on a loopback address answers beside the loopback names.
  std::vector<std::string> Hosts;

  friend bool operator==(const SourceSettings&, const SourceSettings&) = default;
};

// Reads the sections; of what is not understood the defaults hold.
[[nodiscard]] SourceSettings Read_Source_Settings(std::string_view settings_text);

// What must change in the settings file to make of the settings before those after; nothing of what both
// have. Values lose what follows a line end.
[[nodiscard]] std::vector<SettingsChange> Source_Changes(const SourceSettings& before,
                                                         const SourceSettings& after);

// Where the program keeps what its sources need.
struct SourcePlaces {
  // The folder of the profiles.
  std::filesystem::path Profiles;
  // The archive's file.
  std::filesystem::path Archive;
  // Where keys are looked for before the settings.
  Environment Variables = Program_Environment;
  // How the program calls itself to services.
  std::string Program = "history-quotes";
  // How requests are sent; by default over the network.
  std::shared_ptr<HttpFetcher> Fetcher;
};

// "sources" and "quotes.db" in the program folder. Where that has no "sources" those beside the
// program are used, in `own_folder`.
[[nodiscard]] SourcePlaces Places_In(const std::filesystem::path& program_folder, std::string program,
                                     const std::filesystem::path& own_folder = {});

// A key that a source needs, as the user is shown it.
struct KeyEntry {
  // What the service calls it.
  std::string Label;
  // Its name in the section [Keys], such as "tiingo", and the environment variable that comes before it.
  std::string Setting;
  std::string Variable;
  // "" when there is none, otherwise as of Masked_Key.
  std::string Masked;
  // Whether it is from the environment, where the settings can't change it.
  bool From_Variable = false;
};

// A source as a form or a list shows it.
struct SourceEntry {
  SourceStatus Status;
  // Whether it is among the sources that are asked.
  bool In_Use = false;
  // The service's address for people, what a trader should know, and why it is off until the user turns it
  // on; each may be empty.
  std::string Site;
  std::string Remark;
  std::string Off_Until_Read;
  std::vector<KeyEntry> Keys;
};

// All that a user can see and change of the sources of quotes, for forms and command lines. The methods may
// be called from several threads at once, those that are not const from one.
class SourceSetUp {
 public:
  // `file` outlives the object. `report` is told what files say about themselves, and may be empty.
  SourceSetUp(SourcePlaces places, ServerSettingsFile& file, Reporter report = {});

  // The settings as they were read or saved last; the defaults when the file can't be read.
  [[nodiscard]] SourceSettings Settings() const;

  // Changes in the settings file what differs from Settings(). Raises SettingsError, and then nothing has
  // changed.
  void Save(const SourceSettings& settings);

  // Tells the reporter, once, when others can read the keys in the settings file.
  void Warn_Of_Readers();

  // The list of sources that is asked: the one chosen, without one "live" when a key is set, and otherwise
  // "simulated". Empty when the settings can't be read.
  [[nodiscard]] std::string Source_List() const;

  // Whether the user has chosen sources or set a key, or may have where the settings can't be read.
  [[nodiscard]] bool Is_Set_Up() const;

  // One friendly sentence that quotes are simulated and where to change it; empty when sources are set up.
  [[nodiscard]] std::string Simulated_Note() const;

  // The same, and empty when it was given before, which the settings file remembers.
  [[nodiscard]] std::string First_Start_Note();

  // The sources that are asked in their order, then all other services by name. States are those of the
  // archive, which running servers share; `running`, the source of a server in this program, may add its own.
  [[nodiscard]] std::vector<SourceEntry> Sources(QuoteSource* running = nullptr);

  // Which profiles can't be used and why, a line each.
  [[nodiscard]] std::vector<std::string> Profile_Errors() const;

  // Asks one source for the last days of a symbol over the network, in at most 25 seconds, and keeps nothing.
  [[nodiscard]] SourceTrial Test(const std::string& name, const std::string& symbol);

  // Ends tests under way soon, or lets new ones begin again.
  void Give_Up(bool on);

  // The source to serve: that of Source_List(), or of `list` instead. Raises std::invalid_argument as
  // Make_Source does, and SettingsError when the settings can't be read, which say how services are asked.
  [[nodiscard]] std::unique_ptr<QuoteSource> Make(const std::optional<std::string>& list = {}) const;

  // The source that other settings would serve. Raises std::invalid_argument as Make_Source does.
  [[nodiscard]] std::unique_ptr<QuoteSource> Make_Of(const SourceSettings& settings) const;

  // The size of the archive in bytes; 0 when there is none.
  [[nodiscard]] std::uintmax_t Archive_Size() const;

  [[nodiscard]] const SourcePlaces& Places() const { return places_; }

 private:
  [[nodiscard]] LiveSetUp Live(const SourceSettings& settings) const;
  [[nodiscard]] std::string Source_List(const SourceSettings& settings) const;
  [[nodiscard]] std::string Lack_Of(const SourceProfile& profile, const SourceSettings& settings) const;

  SourcePlaces places_;
  ServerSettingsFile& file_;
  const Reporter report_;
  std::shared_ptr<HttpFetcher> fetcher_;
  std::atomic<bool> warned_ = false;
};

}  // namespace hq::server
