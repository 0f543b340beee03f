#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/console_message_loop.h"
#include "platform/files.h"
#include "platform/interrupts.h"
#include "platform/mail.h"
#include "platform/program_places.h"
#include "run/download_run.h"

namespace hq {

// What the command line is run with. All of it outlives the run.
struct CommandLineEnvironment {
  std::ostream& Out;         // the log
  std::ostream& Err;         // everything else
  int TerminalWidth;         // of the terminal behind Err in characters, 0 for none
  ConsoleMessageLoop& Loop;  // interrupting it ends the run
  const Clock& Time;
  Files& FileSystem;
  MailSender& Mail;
  std::string ProgramFolder;    // used unless the arguments name another
  bool WatchesCrashes = false;  // leaves a record of a crash of the process
  // Called when the start is over and a run begins, which interrupting Loop can end.
  std::function<void()> Before_Run = {};
  std::string PackageFolder = {};     // what came with the program; empty: the program folder
  bool MayMakeProgramFolder = false;  // when it is missing, and the arguments name no other
};

// The places of a run: in the folder that its arguments name, if they do.
[[nodiscard]] ProgramPlaces Places_Of_Run(const CommandLineEnvironment& environment,
                                          const std::optional<std::string>& named);

namespace exit_code {
inline constexpr int Done = 0;
inline constexpr int SymbolsFailed = 1;
inline constexpr int Refused = 2;
inline constexpr int InterruptedByUser = InterruptWatch::ExitCode;
}  // namespace exit_code

// Does what the arguments (those behind the program's name) ask for and returns the program's exit code.
[[nodiscard]] int Command_Line(const std::vector<std::string>& arguments,
                               const CommandLineEnvironment& environment);

}  // namespace hq
