#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "platform/log_file.h"

namespace hq {

// The file of the trace log in the program folder.
inline constexpr std::string_view TraceFileName = "trace.log";

// Begins the trace log of a run, which is this run's alone while the object lives: "trace.log", or while
// another program writes to that "trace-2.log" and so on up to "trace-99.log". What the run before has left
// under the name becomes "trace.log.bak" (".bak" behind any of the names) and replaces an earlier one. A file
// that another program has or that the user may not write is left alone. Raises RunTimeError when no name can
// be had.
[[nodiscard]] std::unique_ptr<LogFile> Begin_Trace_File(Files& files, const std::string& folder);

}  // namespace hq
