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

QuoteService::QuoteService(Files& files, std::string program_folder, server::SourcePlaces places,
                           std::optional<std::string> source)
    : files_(files),
      folder_(std::move(program_folder)),
      source_list_(std::move(source)),
      messages_(std::make_shared<Messages>()),
      sources_(std::move(places), [messages = messages_](const std::string& line) { messages->Add(line); }) {}

QuotePlace QuoteService::Start(MessageBoxes& boxes) {
  try {
    const ServerSettings settings = Load_Server_Settings(files_, folder_);
    request_template_ = settings.RequestTemplate;
    search_address_ = settings.SymbolSearchAddress;
  } catch (const RunTimeError& error) {
    boxes.Show(error.Detail() + "\nThe program's own quote server is used.");
  }
  try {
    std::shared_ptr<server::QuoteSource> source;
    try {
      source = Make_Source();
    } catch (const std::invalid_argument& error) {
      boxes.Show(std::string(error.what()) + "\nQuotes are simulated.");
      source_list_ = "simulated";
      source = Make_Source();
    }
    return Serve(std::move(source));
  } catch (const std::exception& error) {
    boxes.Show(std::string("The program's own quote server can't be started: ") + error.what());
    return {request_template_, search_address_, {}};
  }
}

QuoteChoice QuoteService::Choice() const {
  return {request_template_, sources_.Settings()};
}

QuotePlace QuoteService::Change(const QuoteChoice& choice) {
  if (const std::string fault = Fault_Of_Template(choice.RequestTemplate); !fault.empty())
    throw std::runtime_error(fault);
  const QuoteChoice before = Choice();
  const std::optional<std::string> list_before = std::exchange(source_list_, std::nullopt);
  sources_.Save(choice.Sources);
  try {
    // Before the server's address is saved: a list that can't serve is refused.
    std::shared_ptr<server::QuoteSource> source = Make_Source();
    if (choice.RequestTemplate != before.RequestTemplate)
      Save_Request_Template(files_, folder_, choice.RequestTemplate);
    request_template_ = choice.RequestTemplate;
    return Serve(std::move(source));
  } catch (const std::exception& error) {
    source_list_ = list_before;
    request_template_ = before.RequestTemplate;
    sources_.Save(before.Sources);
    throw std::runtime_error(error.what());
  }
}

std::string QuoteService::Fault_Of_Template(const std::string& request_template) {
  return request_template.empty() ? std::string() : Template_Fault(request_template);
}

std::string QuoteService::First_Start_Note() {
  return request_template_.empty() && !source_list_ ? sources_.First_Start_Note() : std::string();
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

std::shared_ptr<server::QuoteSource> QuoteService::Make_Source() const {
  return sources_.Make(source_list_);
}

QuotePlace QuoteService::Serve(std::shared_ptr<server::QuoteSource> source) {
  const bool elsewhere = !request_template_.empty() && !source_list_;
  QuotePlace place{request_template_, search_address_, {}};
  if (elsewhere && !search_address_.empty()) {
    server_before_ = std::move(server_);
    source_ = nullptr;
    return place;
  }
  server::ServerOptions serving;
  serving.Hosts = sources_.Settings().Hosts;
  auto server = std::make_unique<server::QuoteServer>(source, std::move(serving));
  const int port = server->Start();
  if (search_address_.empty()) place.SymbolSearchAddress = server->Symbol_Search_Address();
  if (!elsewhere) {
    place.RequestTemplate = Default_Request_Template(port);
    if (!source->Real_Quotes()) place.Note = "Simulated market, not real quotes";
  }
  server_before_ = std::exchange(server_, std::move(server));
  source_ = std::move(source);
  return place;
}

}  // namespace hq
