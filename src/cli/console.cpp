#include "cli/console.h"

#include <algorithm>

namespace hq {

namespace {

constexpr int BarWidth = 20;
constexpr const char* WipeLine = "\r\x1b[K";

}  // namespace

void Console::Symbol_Done() {
  ++done_;
  Draw();
}

void Console::End_Progress() {
  Wipe();
  symbols_ = 0;
  err_.flush();
}

void Console::Tell(const std::string& text) {
  Wipe();
  err_ << text << '\n' << std::flush;
  Draw();
}

MessageAnswer Console::Show(const std::string& text, const std::string&, MessageButtons buttons,
                            MessageIcon) {
  Tell(text);
  return buttons == MessageButtons::Ok ? MessageAnswer::Ok : MessageAnswer::Cancel;
}

void Console::Show(const std::string& status) {
  status_ = status;
  Draw();
}

int Console::Report(const TrappedError& error) {
  std::string text = "Error " + std::to_string(error.Number) + " in " + error.Procedure + " (" +
                     error.Module + "): " + error.Description;
  if (!error.Detail.empty()) text += ": " + error.Detail;
  for (const std::string& level : error.CallStack) text += "\n " + level;
  Tell(text);
  return trap_choice::Continue;
}

void Console::Add(const std::string& line) {
  Wipe();
  err_.flush();
  out_ << line << '\n' << std::flush;
  Draw();
}

void Console::Draw() {
  if (terminal_width_ == 0 || symbols_ == 0) return;
  const auto filled = static_cast<size_t>(BarWidth * std::min(done_, symbols_) / symbols_);
  std::string line = "[" + std::string(filled, '#') + std::string(BarWidth - filled, '.') + "] " +
                     std::to_string(done_) + "/" + std::to_string(symbols_) + "  " + status_;
  // A line that fills the last column would wrap on some terminals and could not be drawn over.
  line.resize(std::min(line.size(), static_cast<size_t>(std::max(terminal_width_ - 1, 1))));
  err_ << WipeLine << line << std::flush;
  drawn_ = true;
}

void Console::Wipe() {
  if (drawn_) err_ << WipeLine;
  drawn_ = false;
}

}  // namespace hq
