#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "errortrap/message_box.h"
#include "platform/files.h"
#include "server/quote_server.h"
#include "server/source_setup.h"

namespace hq {

// Where the window program gets its quotes.
struct QuotePlace {
  std::string RequestTemplate;      // plain; empty when there is no server
  std::string SymbolSearchAddress;  // may be empty
  std::string Note;                 // what the user must know about the quotes, empty for nothing
};

// What the user can choose of it.
struct QuoteChoice {
  std::string RequestTemplate;  // of a quote server elsewhere, plain; empty: the program's own
  server::SourceSettings Sources;
};

// The program's own quote server, run when no other one is named, and the settings that say so.
class QuoteService {
 public:
  // files outlives the object. places: those in program_folder. source: what the server inside serves
  // whatever the settings say.
  QuoteService(Files& files, std::string program_folder, server::SourcePlaces places,
               std::optional<std::string> source = {});

  // Reads the settings and starts the server inside when it is needed. What can't serve is told in a message,
  // and the next best is used.
  QuotePlace Start(MessageBoxes& boxes);

  // The choice in force.
  [[nodiscard]] QuoteChoice Choice() const;
  // Saves another choice and puts it into force. Raises std::runtime_error with a text for the user; then
  // nothing has changed.
  QuotePlace Change(const QuoteChoice& choice);

  // Why a text is no request template for Choice, empty when it is one.
  [[nodiscard]] static std::string Fault_Of_Template(const std::string& request_template);

  // For the first start of a program whose quotes are simulated: a sentence that says so, once.
  [[nodiscard]] std::string First_Start_Note();

  // What files and services have said about themselves since the program's start, a line each, the latest
  // last and not too many: a profile that can't be used, an archive that was damaged, a service that is down.
  [[nodiscard]] std::vector<std::string> Told();

  [[nodiscard]] server::SourceSetUp& Sources() { return sources_; }
  // The source that the server inside serves; null when it does not run.
  [[nodiscard]] server::QuoteSource* Running() const { return source_.get(); }

 private:
  // The source that is asked for. Raises std::invalid_argument.
  [[nodiscard]] std::shared_ptr<server::QuoteSource> Make_Source() const;
  // Serves the source, or another server's address when there is one. Raises std::runtime_error.
  QuotePlace Serve(std::shared_ptr<server::QuoteSource> source);

  // Keeps lines from any thread, also when the service is gone.
  class Messages;

  Files& files_;
  std::string folder_;
  std::optional<std::string> source_list_;
  std::shared_ptr<Messages> messages_;
  server::SourceSetUp sources_;
  std::string request_template_;  // of a server elsewhere
  std::string search_address_;    // as the settings name it
  std::shared_ptr<server::QuoteSource> source_;
  std::unique_ptr<server::QuoteServer> server_;
  std::unique_ptr<server::QuoteServer> server_before_;  // may still answer the request under way
};

}  // namespace hq
