#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "base/arguments.h"
#include "base/latch.h"
#include "errortrap/procedure.h"
#include "errortrap/trap_session.h"
#include "platform/interrupts.h"
#include "platform/machine.h"
#include "platform/mail.h"
#include "platform/paths.h"
#include "platform/program_places.h"
#include "platform/server_settings_file.h"
#include "server/http/quote_server.h"
#include "server/setup/source_setup.h"

namespace {

// Writes whole lines to the error stream from any thread. Errors are told there and nobody is asked.
class ErrorLines final : public hq::ErrorDialog {
 public:
  hq::ErrorAnswer Ask(const hq::ErrorQuestion& question) override {
    const std::string& detail = question.Detail;
    Write("quote-server: " + (detail.empty() ? question.Description : detail));
    return {};
  }
  void Further_Error(std::int32_t /*error_count*/, const std::string& text) override { Write(text); }
  void Show_Report(const std::string& path) override { Write("The complete report is in " + path); }

  void Write(const std::string& line) {
    const std::lock_guard lock{mutex_};
    std::cerr << line << std::endl;
  }

 private:
  std::mutex mutex_;
};

struct Options {
  std::optional<std::string> Source;
  std::filesystem::path Profiles;
  std::filesystem::path Archive;
  std::string Settings;
  bool NamesSettings = false;
  std::string Address = "127.0.0.1";
  std::string Port = "0";
  std::string FolderFault;
  bool Verbose = false;
};

// The library for options would take "010" for 8.
std::string Port_Fault(const std::string& text) {
  const std::optional<int> port = hq::Number_Of_Digits(text);
  return port && *port <= 65535 ? std::string{} : text + " is no number from 0 to 65535";
}

// The places that are not named lie in the program folder.
void Fill_Places(Options& options, const hq::ProgramPlaces& places) {
  const hq::server::SourcePlaces usual =
      hq::server::Places_In(hq::System_Path(places.Program), {}, hq::System_Path(places.Package));
  // Its logs lie there, too.
  std::string fault = Prepare_Program_Folder(places);
  if (options.Archive.empty() || options.Settings.empty()) options.FolderFault = std::move(fault);
  if (options.Profiles.empty()) options.Profiles = usual.Profiles;
  if (options.Archive.empty()) options.Archive = usual.Archive;
  if (options.Settings.empty()) options.Settings = hq::Join_Path(places.Program, hq::ServerSettingsFileName);
}

void Serve(const Options& options, ErrorLines& errors) {
  hq::Latch end_wanted;
  hq::InterruptWatch watch;
  const auto report = [&errors](const std::string& line) { errors.Write(line); };
  if (!options.FolderFault.empty()) report(options.FolderFault);

  hq::SystemFiles files;
  hq::ServerSettingsFile settings{files, options.Settings};
  if (const std::string fault = settings.Fault(); !fault.empty()) throw std::invalid_argument(fault);
  if (options.NamesSettings && !settings.Is_There())
    throw std::invalid_argument("--settings: " + options.Settings + " does not exist");
  hq::server::SourcePlaces places;
  places.Profiles = options.Profiles;
  places.Archive = options.Archive;
  places.Program = "history-quotes/" HQ_VERSION;
  const hq::server::SourceSetUp setup{std::move(places), settings, report};
  const std::shared_ptr<hq::server::QuoteSource> source = setup.Make(options.Source);
  hq::server::ServerOptions serving;
  serving.Hosts = setup.Settings().Hosts;
  if (options.Verbose) serving.Log = report;
  hq::server::QuoteServer server{source, std::move(serving)};
  server.Start(options.Address, hq::Number_Of_Digits(options.Port).value_or(0));
  watch.Ask([&end_wanted] { end_wanted.Count_Down(); });
  if (const std::string note = server.Reach_Note(); !note.empty()) report(note);
  std::cout << "Request template: " << server.Request_Template() << '\n'
            << "Symbol search: " << server.Symbol_Search_Address() << '\n'
            << "Source: " << source->Description() << '\n'
            << "Press Ctrl-C to end." << std::endl;
  end_wanted.Wait();
  server.Stop();
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app{"Answers requests for historical stock quotes over HTTP.", "quote-server"};
  bool version = false;
  app.add_flag("--version", version, "Print the version and the program folder");
  std::optional<std::string> folder;
  app.add_option(
      "--program-folder", folder,
      "Where server.ini and quotes.db lie; the program's own folder, or with the user's own data in "
      "an installed copy");
  app.add_option("--port", options.Port, "Port to listen on; 0 takes a free one")
      ->check(Port_Fault)
      ->capture_default_str();
  app.add_option(
      "--source", options.Source,
      "Where quotes come from: simulated, csv:FOLDER for your own files, live for all services whose "
      "keys are set, a service's name such as tiingo, or a list of these with commas, asked in its "
      "order; otherwise as the settings say, and simulated when they say nothing");
  app.add_option("--sources", options.Profiles,
                 "Folder of the source profiles; sources in the program folder, or else beside the program");
  app.add_option("--archive", options.Archive, "File of the quotes fetched; quotes.db in the program folder");
  const CLI::Option* settings = app.add_option(
      "--settings", options.Settings,
      "File with the sections [Quotes], [Keys] and [Server]; server.ini in the program folder");
  app.add_option("--address", options.Address,
                 "Address to listen on; the default lets only this computer in, 0.0.0.0 is all addresses")
      ->capture_default_str();
  app.add_flag("--verbose", options.Verbose, "Write a line for each request to the error stream");
  if (const std::string option = hq::Option_Without_Value({argv + 1, argv + argc}); !option.empty()) {
    std::cerr << option << " has no value" << std::endl;
    return 2;
  }
  try {
    app.parse(argc, argv);
    options.NamesSettings = settings->count() > 0;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  const hq::ProgramPlaces places = hq::Places_Of_Program(folder);
  if (version) {
    std::cout << "quote-server " HQ_VERSION "\n"
              << "Program folder: " << places.Program << std::endl;
    return 0;
  }
  std::error_code unknown;
  if (folder && !std::filesystem::is_directory(hq::System_Path(*folder), unknown)) {
    std::cerr << "--program-folder: " << *folder << " is no folder" << std::endl;
    return 2;
  }
  Fill_Places(options, places);

  ErrorLines errors;
  hq::SystemFiles files;
  const hq::SystemClock clock;
  hq::SystemMail mail;
  hq::modFailSafe trap;
  const hq::TrapSession session(trap, {files, clock, errors, mail,
                                       hq::ApplicationFacts{.Title = "quote-server",
                                                            .ExeName = "quote-server",
                                                            .Version = HQ_VERSION,
                                                            .Folder = places.Program},
                                       hq::Look_At_Machine, true});
  constexpr hq::ProcedureName here{"quote_server_main.cpp", "Sub Serve"};
  return hq::With_Own_Handler(
      trap, here,
      [&] {
        try {
          Serve(options, errors);
          return 0;
        } catch (const std::invalid_argument& error) {
          errors.Write(std::string("quote-server: ") + error.what());
          return 2;
        }
      },
      [&](const hq::RunTimeError& error) {
        trap.fsERROR(here.Module, here.Procedure, error);
        return 1;
      });
}
