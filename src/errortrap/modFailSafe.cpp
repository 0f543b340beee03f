#include "errortrap/modFailSafe.h"

#include <charconv>

#include "errortrap/entry_text.h"
#include "platform/program.h"
#include "platform/timer.h"

namespace hq {

namespace {

constexpr const char* TooDeep =
    "The program is too deeply nested. The error handler can only handle 1000 levels of recursion.";
constexpr const char* Unbalanced = "Procedure is unbalanced or contains calls to unbalanced routines.";
constexpr const char* ExitWithoutEntry = "'fsPOP()' was called without 'fsPUSH()'.";
constexpr const char* NotStarted =
    "The error handler was not initialized before a call to 'fsPOP()' was made.";

// Whether text holds module, " : " and procedure joined.
bool Names_Procedure(std::string_view text, std::string_view module, std::string_view procedure) {
  for (size_t at = text.find(module); at != std::string_view::npos; at = text.find(module, at + 1)) {
    const std::string_view rest = text.substr(at + module.size());
    if (rest.starts_with(EntrySeparator) && rest.substr(EntrySeparator.size()).starts_with(procedure))
      return true;
  }
  return false;
}

}  // namespace

modFailSafe::modFailSafe(MessageLoop* loop, ErrorReporter* reporter)
    : loop_(loop), reporter_(reporter), start_(Timer_Now()) {}

void modFailSafe::fsPUSH(std::string_view module, std::string_view procedure, std::string_view text) {
  if (options_.TraceOff) return;
  if (!started_) {
    Start();
    if (options_.TraceOff) return;
  }
  if (options_.Timing) timing_ = Elapsed();
  Wait_While_Paused(module);
  if (depth_ >= DeepestLevel) throw RunTimeError(InternalError, TooDeep);
  ++depth_;
  has_entered_ = true;
  if (levels_.size() < static_cast<size_t>(depth_)) levels_.emplace_back();
  Level& level = levels_[static_cast<size_t>(depth_) - 1];
  level.TrackMark = 0;

  // " 3 : ", the indent and the names are put together in place: a level's text keeps its room between
  // entries.
  char number[16];
  const auto number_end = std::to_chars(number, number + sizeof number, depth_).ptr;
  const auto indents = static_cast<size_t>(depth_) - 1;
  if (indent_.size() < indents)
    indent_.resize(indents, options_.IndentCharacter.empty() ? ' ' : options_.IndentCharacter[0]);
  std::string& entry = level.EntryText;
  entry.assign(1, ' ').append(number, number_end).append(EntrySeparator);
  const size_t prefix = entry.size();
  entry.append(indent_, 0, indents)
      .append(module)
      .append(EntrySeparator)
      .append(procedure)
      .append(EntrySeparator)
      .append(text);
  if (Write_Record) {
    Write_Record(
        {TraceRecord::Direction::Entry, ++record_count_, Elapsed(), std::string_view(entry).substr(prefix)});
  }
  Suppress_System_Error_Boxes();
}

void modFailSafe::fsPOP(std::string_view module, std::string_view procedure, std::string_view /*text*/) {
  if (options_.TraceOff) return;
  Wait_While_Paused(module);
  if (!started_) return Complain(module, procedure, RunTimeError(InternalError, NotStarted));
  if (depth_ == 0) return Complain(module, procedure, RunTimeError(InternalError, ExitWithoutEntry));
  const Level& level = levels_[static_cast<size_t>(depth_) - 1];
  if (!Names_Procedure(level.EntryText, module, procedure)) {
    if (!options_.CheckBalance) return;
    depth_ = 0;
    return Complain(module, procedure, RunTimeError(InternalError, Unbalanced));
  }
  struct Leaving {
    explicit Leaving(modFailSafe& trap) : trap_(trap) {}
    Leaving(const Leaving&) = delete;
    Leaving& operator=(const Leaving&) = delete;
    ~Leaving() { trap_.Drop_To(trap_.depth_ - 1); }
    modFailSafe& trap_;
  };
  // The procedure has left, whether or not its record could be written.
  const Leaving leaving(*this);
  if (Write_Record) {
    // An exit is written without the depth that the entry text begins with.
    const std::string_view entry = level.EntryText;
    Write_Record({TraceRecord::Direction::Exit, ++record_count_, Elapsed(),
                  entry.substr(entry.find(EntrySeparator) + EntrySeparator.size())});
  }
}

void modFailSafe::Drop_To(std::int32_t depth) {
  for (; depth_ > depth; --depth_) {
    Level& level = levels_[static_cast<size_t>(depth_) - 1];
    level.EntryText.clear();
    level.Argument = 0;
    level.TrackMark = 0;
  }
}

int modFailSafe::fsERROR(std::string_view module, std::string_view procedure, const RunTimeError& error) {
  return Tell({.Module = std::string(module),
               .Procedure = std::string(procedure),
               .Number = error.Number(),
               .Description = error.Description(),
               .Detail = error.Detail()});
}

void modFailSafe::Note(std::string_view module, std::string_view procedure, const RunTimeError& error) {
  Tell({.Module = std::string(module),
        .Procedure = std::string(procedure),
        .Number = error.Number(),
        .Description = error.Description(),
        .Detail = error.Detail(),
        .CanGoOn = false,
        .Asks = false});
}

int modFailSafe::Tell(TrappedError error) {
  if (error.Asks) ++error_count_;
  error.Count = error_count_;
  if (reporter_ == nullptr) return trap_choice::Continue;
  // An error may come before the first procedure; how it is told is in the settings.
  if (!started_) {
    try {
      Start();
    } catch (const std::exception&) {
      // Then it is told by default.
      static_cast<void>(0);
    }
  }
  // Put back also when an interruption passes through the reporter: the hooks would wait for ever.
  struct Pausing {
    explicit Pausing(bool& flag) : flag_(flag), before_(flag) { flag_ = true; }
    Pausing(const Pausing&) = delete;
    Pausing& operator=(const Pausing&) = delete;
    ~Pausing() { flag_ = before_; }
    bool& flag_;
    bool before_;
  };
  const Pausing pausing(paused_);
  try {
    error.CallStack = CallStack();
    return reporter_->Report(error);
  } catch (const std::exception&) {
    // The last resort for errors must not add one: a reporter that fails counts as acknowledged.
    return trap_choice::Continue;
  }
}

std::vector<std::string> modFailSafe::CallStack() const {
  std::vector<std::string> texts;
  texts.reserve(static_cast<size_t>(depth_));
  for (std::int32_t i = 0; i < depth_; ++i) texts.push_back(levels_[static_cast<size_t>(i)].EntryText);
  return texts;
}

void modFailSafe::Start() {
  started_ = true;
  start_ = Timer_Now();
  // The levels never move, so that a record's text stays where it is while its reader runs traced procedures.
  levels_.reserve(DeepestLevel);
  if (Read_Options) options_ = Read_Options();
}

void modFailSafe::Wait_While_Paused(std::string_view module) {
  if (module == DialogModule) return;
  while (paused_ && loop_ != nullptr) {
    loop_->DoEvents();
    if (paused_) loop_->Sleep(std::chrono::milliseconds(10));
  }
}

void modFailSafe::Complain(std::string_view module, std::string_view procedure, const RunTimeError& trouble) {
  Tell({.Module = std::string(module),
        .Procedure = std::string(procedure),
        .Number = trouble.Number(),
        .Description = trouble.Description(),
        .Detail = trouble.Detail(),
        .CanGoOn = false});
}

double modFailSafe::Elapsed() const {
  return std::chrono::duration<double, std::milli>(Timer_Now() - start_).count();
}

}  // namespace hq
