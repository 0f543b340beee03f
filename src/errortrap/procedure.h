#pragma once

#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "base/run_time_error.h"
#include "errortrap/modFailSafe.h"

// How a procedure is entered, left and guarded. Every procedure's body is run by one of three functions, so
// its first line tells its mode:
//
// - Keep_Trap_Handler: an error of a statement goes to the trap, whose choice decides what is done next;
// - With_Own_Handler: an error of the body goes to a handler of the procedure's own, which gives its result;
// - Skip_Failing_Statements: a statement that raises an error is abandoned and the next one runs.
//
// All three call the entry hook first, with the trap's handler armed, and the exit hook on every way out.
// When the trap says to leave the procedure its result is R{}.

namespace hq {

// A procedure as the hooks name it: its module's file ("global.bas") and its kind and name ("Sub
// Write_File").
struct ProcedureName {
  std::string_view Module;
  std::string_view Procedure;
};

namespace detail {

struct LeaveProcedure {};

// Calls the entry hook until it succeeds or the trap says otherwise. False: leave the procedure.
bool Enter(modFailSafe& trap, const ProcedureName& here);

class ExitHook {
 public:
  ExitHook(modFailSafe& trap, const ProcedureName& here) : trap_(trap), here_(here) {}
  ExitHook(const ExitHook&) = delete;
  ExitHook& operator=(const ExitHook&) = delete;
  ~ExitHook();

 private:
  modFailSafe& trap_;
  const ProcedureName& here_;
};

template <class Result>
Result Nothing() {
  if constexpr (!std::is_void_v<Result>) return Result{};
}

}  // namespace detail

// Runs single statements whose errors go to the trap. A statement is tried again, passed over, or ends the
// procedure.
class TrappedStatements {
 public:
  TrappedStatements(modFailSafe& trap, const ProcedureName& here) : trap_(trap), here_(here) {}

  template <class Statement>
  void operator()(Statement&& statement) {
    for (;;) {
      try {
        statement();
        return;
      } catch (const std::exception&) {
        const int choice = trap_.fsERROR(here_.Module, here_.Procedure, Current_Error());
        if (choice == trap_choice::Ignore) return;
        if (choice != trap_choice::Retry) throw detail::LeaveProcedure();
      }
    }
  }

 private:
  modFailSafe& trap_;
  const ProcedureName& here_;
};

// Runs single statements and passes over those that fail.
class SkippingStatements {
 public:
  // False when the statement failed and was abandoned.
  template <class Statement>
  bool operator()(Statement&& statement) {
    try {
      statement();
      return true;
    } catch (const std::exception&) {
      if (!first_error_) first_error_ = Current_Error();
      return false;
    }
  }

  // The first error passed over, for a caller that wants to tell it.
  [[nodiscard]] const std::optional<RunTimeError>& FirstError() const { return first_error_; }

 private:
  std::optional<RunTimeError> first_error_;
};

// body(TrappedStatements& statement): each statement(lambda) is guarded by the trap's handler. What the body
// does outside of them must not raise errors.
template <class Body>
auto Keep_Trap_Handler(modFailSafe& trap, const ProcedureName& here, Body&& body)
    -> std::invoke_result_t<Body, TrappedStatements&> {
  using Result = std::invoke_result_t<Body, TrappedStatements&>;
  const detail::ExitHook exit_hook(trap, here);
  if (!detail::Enter(trap, here)) return detail::Nothing<Result>();
  TrappedStatements statement(trap, here);
  try {
    return std::forward<Body>(body)(statement);
  } catch (const detail::LeaveProcedure&) {
    return detail::Nothing<Result>();
  }
}

// body(): any error in it ends it; handler(const RunTimeError&) then gives the procedure's result.
template <class Body, class Handler>
auto With_Own_Handler(modFailSafe& trap, const ProcedureName& here, Body&& body, Handler&& handler)
    -> std::invoke_result_t<Body> {
  const detail::ExitHook exit_hook(trap, here);
  if (!detail::Enter(trap, here)) return detail::Nothing<std::invoke_result_t<Body>>();
  std::optional<RunTimeError> error;
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception&) {
    error = Current_Error();
  }
  return std::forward<Handler>(handler)(*error);
}

// body(SkippingStatements& statement): each statement(lambda) is passed over when it fails. What the body
// does outside of them must not raise errors.
template <class Body>
auto Skip_Failing_Statements(modFailSafe& trap, const ProcedureName& here, Body&& body)
    -> std::invoke_result_t<Body, SkippingStatements&> {
  using Result = std::invoke_result_t<Body, SkippingStatements&>;
  const detail::ExitHook exit_hook(trap, here);
  if (!detail::Enter(trap, here)) return detail::Nothing<Result>();
  SkippingStatements statement;
  return std::forward<Body>(body)(statement);
}

}  // namespace hq
