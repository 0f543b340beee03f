#include "cli/console.h"

#include <algorithm>

#include "errortrap/error_record_labels.h"

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

ErrorAnswer Console::Ask(const ErrorQuestion& question) {
  std::string text = "Error " + std::to_string(question.Number) + " in " + question.Procedure + " (" +
                     question.Module + "): " + question.Description;
  if (!question.Detail.empty()) text += ": " + question.Detail;
  for (const std::string& level : question.CallTree) {
    if (level != error_record::NoProcedureYet && level != error_record::NoProcedure) text += "\n " + level;
  }
  Tell(text);
  return {};
}

void Console::Further_Error(std::int32_t /*error_count*/, const std::string& text) {
  Tell(text);
}

void Console::Show_Report(const std::string& path) {
  Tell("The complete report is in " + path);
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
