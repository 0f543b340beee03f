#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "errortrap/message_box.h"
#include "platform/server_settings_file.h"
#include "server/http/quote_server.h"
#include "server/setup/source_setup.h"

namespace hq {

// Where the window program gets its quotes.
struct QuotePlace {
  std::string RequestTemplate;      // plain; empty when there is no server
  std::string SymbolSearchAddress;  // may be empty
  std::string Note;                 // what the user must know about the quotes, empty for nothing
  std::string Fault;                // why there is no server to ask, empty when there is one
};

// What the user can choose of it.
struct QuoteChoice {
  std::string RequestTemplate;  // of a quote server elsewhere, plain; empty: the program's own
  server::SourceSettings Sources;
};

// The program's own quote server, run when no other one is named, and the settings that say so.
class QuoteService {
 public:
  // settings outlives the object. places: those in the program folder. source: what the server inside serves
  // whatever the settings say.
  QuoteService(ServerSettingsFile& settings, server::SourcePlaces places,
               std::optional<std::string> source = {});

  // Starts the server inside when it is needed. When the settings can't be read or can't serve, no server is
  // started, and the user is told why in a message. Quotes are simulated only when there are no settings, or
  // when they say so.
  QuotePlace Start(MessageBoxes& boxes);

  // Reads settings once more that could not serve, and starts the server when they can by now; nothing when
  // there was no such trouble.
  std::optional<QuotePlace> Look_Again();

  // Why there is no server to ask, empty when there is one.
  [[nodiscard]] const std::string& Fault() const { return fault_; }
  // Why the settings can't be read; empty when they were.
  [[nodiscard]] std::string Settings_Fault() const { return settings_.Fault(); }

  // The choice that the settings hold.
  [[nodiscard]] QuoteChoice Choice() const;
  // Saves another choice and puts it into force; settings that can't be read are set aside and begun anew.
  // Raises an exception of the standard library with a text for the user; then nothing has changed.
  QuotePlace Change(const QuoteChoice& choice);

  // Why a text is no request template for Choice, empty when it is one.
  [[nodiscard]] static std::string Fault_Of_Template(const std::string& request_template);

  // For the first start of a program whose quotes are simulated: a sentence that says so, once.
  [[nodiscard]] std::string First_Start_Note();

  // What files and services have said about themselves since the program's start, a line each, the latest
  // last and not too many: a profile that can't be used, an archive that was damaged, a service that is down.
  [[nodiscard]] std::vector<std::string> Told();

  [[nodiscard]] server::SourceSetUp& Sources() { return sources_; }
  [[nodiscard]] ServerSettingsFile& Settings() { return settings_; }
  // The source that the server inside serves; null when it does not run.
  [[nodiscard]] server::QuoteSource* Running() const { return source_.get(); }

 private:
  // What answers requests, ready but not in force yet.
  struct Serving {
    QuotePlace Place;
    std::shared_ptr<server::QuoteSource> Source;  // null when the server inside is not needed
    std::unique_ptr<server::QuoteServer> Server;
    std::string Told;  // what does not work beside the quotes
  };

  // What the settings and the source named at the start ask for. Raises an exception of the standard library
  // with a text for the user.
  [[nodiscard]] Serving As_Asked() const;
  // What the text of other settings asks for. Raises likewise.
  [[nodiscard]] Serving As_Text_Asks(const std::string& text) const;
  QuotePlace Put_Into_Force(Serving serving);
  QuotePlace Without_Server(const std::string& fault);

  // Keeps lines from any thread, also when the service is gone.
  class Messages;

  ServerSettingsFile& settings_;
  std::optional<std::string> source_list_;
  std::shared_ptr<Messages> messages_;
  server::SourceSetUp sources_;
  std::string fault_;  // of the latest start
  std::shared_ptr<server::QuoteSource> source_;
  std::unique_ptr<server::QuoteServer> server_;
  std::unique_ptr<server::QuoteServer> server_before_;  // may still answer the request under way
};

}  // namespace hq
