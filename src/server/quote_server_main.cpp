#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/latch.h"
#include "platform/interrupts.h"
#include "platform/program.h"
#include "server/quote_server.h"
#include "server/source_setup.h"

namespace {

// Writes whole lines to the error stream from any thread.
class ErrorLines {
 public:
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
  std::filesystem::path Settings;
  std::string Address = "127.0.0.1";
  int Port = 0;
  bool Verbose = false;
};

void Serve(const Options& options) {
  hq::Latch end_wanted;
  hq::InterruptWatch watch;
  ErrorLines errors;
  const auto report = [&errors](const std::string& line) { errors.Write(line); };

  hq::server::SourcePlaces places;
  places.Settings = options.Settings;
  places.Profiles = options.Profiles;
  places.Archive = options.Archive;
  places.Program = "history-quotes/" HQ_VERSION;
  const hq::server::SourceSetUp setup{std::move(places), report};
  const std::shared_ptr<hq::server::QuoteSource> source = setup.Make(options.Source);
  hq::server::QuoteServer server{source, options.Verbose ? report : hq::server::QuoteServer::RequestLog{}};
  server.Start(options.Address, options.Port);
  watch.Ask([&end_wanted] { end_wanted.Count_Down(); });
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
  const std::filesystem::path folder = hq::Program_Folder();
  options.Profiles = folder / "sources";
  options.Archive = folder / "quotes.db";
  options.Settings = folder / "server.ini";
  CLI::App app{"Answers requests for historical stock quotes over HTTP.", "quote-server"};
  app.set_version_flag("--version", "quote-server " HQ_VERSION);
  app.add_option("--port", options.Port, "Port to listen on; 0 takes a free one")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option(
      "--source", options.Source,
      "Where quotes come from: simulated, csv:FOLDER for your own files, live for all services whose "
      "keys are set, a service's name such as tiingo, or a list of these with commas, asked in its "
      "order; otherwise as the settings say, and simulated when they say nothing");
  app.add_option("--sources", options.Profiles, "Folder of the source profiles; sources beside the program");
  app.add_option("--archive", options.Archive, "File of the quotes fetched; quotes.db beside the program");
  app.add_option("--settings", options.Settings,
                 "File with the sections [Quotes] and [Keys]; server.ini beside the program");
  app.add_option("--address", options.Address, "Address to listen on; the default lets only this computer in")
      ->capture_default_str();
  app.add_flag("--verbose", options.Verbose, "Write a line for each request to the error stream");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }

  try {
    Serve(options);
  } catch (const std::invalid_argument& error) {
    std::cerr << "quote-server: " << error.what() << std::endl;
    return 2;
  } catch (const std::exception& error) {
    std::cerr << "quote-server: " << error.what() << std::endl;
    return 1;
  }
  return 0;
}
