#include "shell/quote_service.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "base/run_time_error.h"
#include "quotes/request.h"
#include "shell/server_settings.h"

namespace hq {

namespace {

std::unique_ptr<server::QuoteServer> Server_Of(std::shared_ptr<server::QuoteSource> source,
                                               const server::SourceSettings& settings) {
  server::ServerOptions options;
  options.Hosts = settings.Hosts;
  return std::make_unique<server::QuoteServer>(std::move(source), std::move(options));
}

// Starts the server inside for the source and puts its addresses where no other are named.
QuotePlace Start_Server(server::QuoteServer& server, const server::QuoteSource& source, QuotePlace place) {
  int port = 0;
  try {
    port = server.Start();
  } catch (const std::exception& error) {
    throw std::runtime_error(std::string("The program's own quote server can't be started: ") + error.what());
  }
  if (place.SymbolSearchAddress.empty()) place.SymbolSearchAddress = server.Symbol_Search_Address();
  if (place.RequestTemplate.empty()) {
    place.RequestTemplate = Default_Request_Template(port);
    if (!source.Real_Quotes()) place.Note = "Simulated market, not real quotes";
  }
  return place;
}

}  // namespace

class QuoteService::Messages {
 public:
  void Add(const std::string& line) {
    constexpr size_t Most = 20;
    const std::lock_guard lock(mutex_);
    std::erase(lines_, line);
    lines_.push_back(line);
    if (lines_.size() > Most) lines_.erase(lines_.begin());
  }
  [[nodiscard]] std::vector<std::string> Lines() {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

QuoteService::QuoteService(ServerSettingsFile& settings, server::SourcePlaces places,
                           std::optional<std::string> source)
    : settings_(settings),
      source_list_(std::move(source)),
      messages_(std::make_shared<Messages>()),
      sources_(std::move(places), settings,
               [messages = messages_](const std::string& line) { messages->Add(line); }) {}

QuotePlace QuoteService::Start(MessageBoxes& boxes) {
  try {
    Serving serving = As_Asked();
    if (!serving.Told.empty()) boxes.Show(serving.Told);
    return Put_Into_Force(std::move(serving));
  } catch (const std::exception& error) {
    boxes.Show(error.what());
    return Without_Server(error.what());
  }
}

std::optional<QuotePlace> QuoteService::Look_Again() {
  if (fault_.empty()) return std::nullopt;
  settings_.Read_Again();
  try {
    return Put_Into_Force(As_Asked());
  } catch (const std::exception& error) {
    return Without_Server(error.what());
  }
}

QuoteChoice QuoteService::Choice() const {
  return {Read_Server_Settings(settings_.Text()).RequestTemplate, sources_.Settings()};
}

QuotePlace QuoteService::Change(const QuoteChoice& choice) {
  if (const std::string fault = Fault_Of_Template(choice.RequestTemplate); !fault.empty())
    throw std::runtime_error(fault);
  const QuoteChoice before = Choice();
  std::vector<SettingsChange> changes = server::Source_Changes(before.Sources, choice.Sources);
  if (choice.RequestTemplate != before.RequestTemplate)
    changes.push_back(Template_Change(choice.RequestTemplate));
  Serving serving;
  // All that can fail but the writing itself goes before it.
  const auto make_ready = [&](const std::string& text) { serving = As_Text_Asks(text); };
  if (settings_.Fault().empty()) {
    settings_.Save(changes, make_ready);
  } else {
    settings_.Replace(changes, make_ready);
  }
  source_list_.reset();
  sources_.Warn_Of_Readers();
  return Put_Into_Force(std::move(serving));
}

std::string QuoteService::Fault_Of_Template(const std::string& request_template) {
  return request_template.empty() ? std::string() : Template_Fault(request_template);
}

std::string QuoteService::First_Start_Note() {
  const bool is_inside = fault_.empty() && !source_list_ && Choice().RequestTemplate.empty();
  return is_inside ? sources_.First_Start_Note() : std::string();
}

std::vector<std::string> QuoteService::Told() {
  std::vector<std::string> lines = sources_.Profile_Errors();
  std::vector<std::string> others = messages_->Lines();
  for (const server::SourceEntry& entry : sources_.Sources()) {
    // Why a service is off is shown where it is turned on.
    std::erase(others, entry.Status.Title + ": " + entry.Off_Until_Read);
  }
  for (std::string& line : others) {
    if (std::ranges::find(lines, line) == lines.end()) lines.push_back(std::move(line));
  }
  return lines;
}

QuoteService::Serving QuoteService::As_Asked() const {
  if (const std::string fault = settings_.Fault(); !fault.empty()) throw SettingsError(fault);
  const ServerSettings named = Read_Server_Settings(settings_.Text());
  Serving serving;
  serving.Place.SymbolSearchAddress = named.SymbolSearchAddress;
  if (!source_list_) {
    if (!named.Fault.empty()) throw std::runtime_error(settings_.Path() + ", " + named.Fault);
    serving.Place.RequestTemplate = named.RequestTemplate;
  }
  const bool elsewhere = !serving.Place.RequestTemplate.empty();
  if (elsewhere && !named.SymbolSearchAddress.empty()) return serving;
  try {
    serving.Source = sources_.Make(source_list_);
    serving.Server = Server_Of(serving.Source, sources_.Settings());
    serving.Place = Start_Server(*serving.Server, *serving.Source, std::move(serving.Place));
    return serving;
  } catch (const std::invalid_argument& error) {
    serving.Told = (source_list_ ? "--source: " : settings_.Path() + ": ") + error.what();
  } catch (const std::exception& error) {
    serving.Told = error.what();
  }
  // Without its page the symbol search has nothing to show; quotes come from elsewhere all the same.
  if (!elsewhere) throw std::runtime_error(serving.Told);
  QuotePlace place{named.RequestTemplate, {}, {}, {}};
  return {std::move(place), nullptr, nullptr, std::move(serving.Told)};
}

QuoteService::Serving QuoteService::As_Text_Asks(const std::string& text) const {
  const ServerSettings named = Read_Server_Settings(text);
  if (!named.Fault.empty()) throw std::runtime_error(settings_.Path() + ", " + named.Fault);
  Serving serving;
  serving.Place.RequestTemplate = named.RequestTemplate;
  serving.Place.SymbolSearchAddress = named.SymbolSearchAddress;
  // Also when quotes come from elsewhere: a list that can't serve is refused.
  const server::SourceSettings sources = server::Read_Source_Settings(text);
  std::shared_ptr<server::QuoteSource> source = sources_.Make_Of(sources);
  if (!named.RequestTemplate.empty() && !named.SymbolSearchAddress.empty()) return serving;
  serving.Server = Server_Of(source, sources);
  serving.Place = Start_Server(*serving.Server, *source, std::move(serving.Place));
  serving.Source = std::move(source);
  return serving;
}

QuotePlace QuoteService::Put_Into_Force(Serving serving) {
  fault_.clear();
  server_before_ = std::exchange(server_, std::move(serving.Server));
  source_ = std::move(serving.Source);
  return std::move(serving.Place);
}

QuotePlace QuoteService::Without_Server(const std::string& fault) {
  fault_ = fault;
  return {{}, Read_Server_Settings(settings_.Text()).SymbolSearchAddress, "No quotes can be fetched", fault};
}

}  // namespace hq
