#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/run_time_error.h"
#include "errortrap/circular_log.h"
#include "errortrap/modFailSafe.h"
#include "platform/log_file.h"

namespace hq {

// The load of the machine that a trace record can carry; empty for what the machine does not tell.
struct TraceLoad {
  std::optional<int> FreeResourcesPercent;
  std::optional<int> MemoryLoadPercent;
};

// Where the trace of entries and exits goes: a plain file, a circular file, or both. A record of a circular
// log is with the system at once, that of a plain log when Flush is called or 64 KiB have come together.
// Lines end in CR LF. Nothing here raises an error: a file that can't be written to is closed, and the trace
// goes on without it.
class TraceLog {
 public:
  struct Options {
    std::string Name;  // in brackets at the start of every record
    char DecimalSeparator = '.';
    bool Timing = true;               // without it every time reads as 0
    std::function<TraceLoad()> Load;  // asked at most every 250 ms of the records' time; may be empty
    // Told once for each file that can't be written to any more; may be empty.
    std::function<void(const RunTimeError& error)> On_Failure;
  };
  // Takes over the files; either may be null.
  TraceLog(Options options, std::unique_ptr<LogFile> plain, std::unique_ptr<CircularLog> circular);
  TraceLog(const TraceLog&) = delete;
  TraceLog& operator=(const TraceLog&) = delete;
  // Flushes.
  ~TraceLog();

  // The line that a run begins with, as it stands.
  void Start(const std::string& line);
  void Write(const TraceRecord& record);
  // The last record of a run: number and milliseconds as a record has them.
  void End(std::int32_t number, double milliseconds);
  void Flush();
  // What a plain log keeps back, for a process that dies: nothing here is allocated or freed by the call.
  [[nodiscard]] std::string_view Kept_Back() const { return kept_back_; }

  // The text of a record without a line end, as both logs get it.
  [[nodiscard]] std::string Record_Text(const TraceRecord& record);

 private:
  void Append_Prefix(std::int32_t number, double milliseconds);
  void Append_Load(double milliseconds);
  void Make_Record(const TraceRecord& record);
  void Put_Line();
  void Put_Kept_Back();
  void Tell_Failures();

  Options options_;
  std::unique_ptr<LogFile> plain_;
  std::unique_ptr<CircularLog> circular_;
  std::string prefix_;
  std::string line_;
  std::string kept_back_;
  std::optional<RunTimeError> failures_[2];  // not told yet; of the circular and the plain log
  TraceLoad load_;
  std::optional<double> load_asked_;  // milliseconds of the record
};

}  // namespace hq
