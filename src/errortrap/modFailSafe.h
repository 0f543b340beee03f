#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/run_time_error.h"
#include "errortrap/message_loop.h"

namespace hq {

// What a procedure does after fsERROR: every number but Retry and Ignore leaves the procedure.
namespace trap_choice {
inline constexpr int Continue = 0;
inline constexpr int Retry = 1;   // run the failing statement again
inline constexpr int Ignore = 2;  // go on with the statement after it
inline constexpr int More = 5;
}  // namespace trap_choice

// One error that the trap caught, with the procedures that led to it.
struct TrappedError {
  std::string Module;
  std::string Procedure;
  int Number = 0;
  std::string Description;
  std::string Detail;                       // what failed and the system's reason; may be empty
  std::vector<std::string> CallStack = {};  // entry texts, the outermost first
  std::int32_t Count = 1;                   // of errors since the start, this one included
  bool CanGoOn = true;                      // a statement failed, which can be run again or passed over
  bool Asks = true;                         // false: what was got over already is logged without a question
};

// Who is told of a trapped error and of trouble with the trace itself: the dialog, a log, a terminal.
class ErrorReporter {
 public:
  ErrorReporter() = default;
  ErrorReporter(const ErrorReporter&) = delete;
  ErrorReporter& operator=(const ErrorReporter&) = delete;
  virtual ~ErrorReporter() = default;

  // Tells of the error and returns the choice, one of trap_choice.
  virtual int Report(const TrappedError& error) = 0;
};

struct TraceOptions {
  bool TraceOff = false;      // the entry hook does nothing
  bool CheckBalance = false;  // report a procedure that left without its exit hook
  bool Timing = false;        // keep the milliseconds since the start at each entry
  std::string IndentCharacter = " ";
};

// One entry or exit of a procedure, as the trace log gets it.
struct TraceRecord {
  enum class Direction { Entry, Exit };
  Direction Way;
  std::int32_t Number;         // running number of the record, from 1
  double Milliseconds;         // since the trap was started
  std::string_view EntryText;  // the call stack's text for the level, without the depth in front
};

// The error trap: the call stack that every procedure's hooks keep, and the handler of errors that a
// procedure does not handle itself. One object a run of the program, made before everything else and handed
// on by reference; used on the user-interface thread only.
class modFailSafe {
 public:
  static constexpr std::int32_t DeepestLevel = 1000;
  // The error dialog's own module. Its hooks never wait: the pause lasts as long as the dialog is used.
  static constexpr std::string_view DialogModule = "frmFAILSAFE.frm";

  // loop: run while the trap is paused; when it is null the hooks never wait. reporter: told of trapped
  // errors; may be null, then every choice is Continue. Both must outlive the trap.
  explicit modFailSafe(MessageLoop* loop = nullptr, ErrorReporter* reporter = nullptr);

  // Reads the settings when the trap starts, at the first entry hook.
  std::function<TraceOptions()> Read_Options;
  // Gets every entry and exit while it is set.
  std::function<void(const TraceRecord&)> Write_Record;

  // The entry hook: puts the procedure on the call stack. Raises an error when the stack holds 1000 levels.
  void fsPUSH(std::string_view module, std::string_view procedure, std::string_view text = {});

  // Takes the levels above depth off the stack: an entry hook that failed may have put its level there
  // before, and must find the stack as it was when it is called again.
  void Drop_To(std::int32_t depth);

  // The exit hook: takes the procedure off the call stack. An entry of another procedure on top is left
  // there, or reported and the whole stack dropped when the balance is checked.
  void fsPOP(std::string_view module, std::string_view procedure, std::string_view text = {});

  // Records an error of a procedure and asks the reporter; the trap is paused meanwhile. Returns the choice.
  int fsERROR(std::string_view module, std::string_view procedure, const RunTimeError& error);

  // Tells the reporter of trouble with the trap itself: no statement failed that could be run again.
  void Complain(std::string_view module, std::string_view procedure, const RunTimeError& trouble);

  // Has an error logged that the program has got over: nobody is asked, and it is not counted.
  void Note(std::string_view module, std::string_view procedure, const RunTimeError& error);

  // While paused both hooks wait, running the message loop; those of DialogModule do not.
  void Pause(bool paused) { paused_ = paused; }

  void Set_Reporter(ErrorReporter* reporter) { reporter_ = reporter; }

  [[nodiscard]] std::int32_t Depth() const { return depth_; }
  // The entry texts of the procedures now entered, the outermost first.
  [[nodiscard]] std::vector<std::string> CallStack() const;
  // Calls visit(std::string_view) with each of them. Allocates nothing, so that a crashing program may do it
  // at any moment: the text of a level that is just being entered may not be whole.
  template <class Visit>
  void Visit_Levels(Visit&& visit) const noexcept {
    const size_t levels = std::min(static_cast<size_t>(depth_), levels_.size());
    for (size_t i = 0; i < levels; ++i) visit(std::string_view(levels_[i].EntryText));
  }
  // Milliseconds from the start to the latest timed entry; 0 while timing is off.
  [[nodiscard]] double Timing() const { return timing_; }
  [[nodiscard]] std::int32_t ErrorCount() const { return error_count_; }
  // Whether a procedure was entered since the start.
  [[nodiscard]] bool Has_Entered() const { return has_entered_; }
  // Entries and exits recorded so far.
  [[nodiscard]] std::int32_t RecordCount() const { return record_count_; }
  // Milliseconds since the trap was started.
  [[nodiscard]] double Elapsed() const;

 private:
  struct Level {
    std::string EntryText;
    std::int32_t Argument = 0;
    std::int16_t TrackMark = 0;
  };

  void Start();
  void Wait_While_Paused(std::string_view module);
  int Tell(TrappedError error);

  MessageLoop* loop_;
  ErrorReporter* reporter_;
  TraceOptions options_;
  std::vector<Level> levels_;
  std::string indent_;
  std::chrono::steady_clock::time_point start_;
  double timing_ = 0;
  std::int32_t depth_ = 0;
  std::int32_t record_count_ = 0;
  std::int32_t error_count_ = 0;
  bool started_ = false;
  bool has_entered_ = false;
  bool paused_ = false;
};

}  // namespace hq
