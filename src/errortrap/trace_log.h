#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

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

// Where the trace of entries and exits goes: a plain file, a circular file, or both. Every record is with the
// system when the call that writes it returns, so that a process that is killed loses none. Lines end in CR
// LF. Nothing here raises an error: a record that a file does not take is missing from it, and the next one
// is tried anew.
class TraceLog {
 public:
  struct Options {
    std::string Name;  // in brackets at the start of every record
    char DecimalSeparator = '.';
    bool Timing = true;               // without it every time reads as 0
    std::function<TraceLoad()> Load;  // asked at most every 250 ms of the records' time; may be empty
    // Told once for each file, at the first record that it does not take; may be empty.
    std::function<void(const RunTimeError& error)> On_Failure;
  };
  // Takes over the files; either may be null.
  TraceLog(Options options, std::unique_ptr<LogFile> plain, std::unique_ptr<CircularLog> circular);
  TraceLog(const TraceLog&) = delete;
  TraceLog& operator=(const TraceLog&) = delete;

  // The line that a run begins with, as it stands.
  void Start(const std::string& line);
  void Write(const TraceRecord& record);
  // The last record of a run: number and milliseconds as a record has them.
  void End(std::int32_t number, double milliseconds);

  // The text of a record without a line end, as both logs get it.
  [[nodiscard]] std::string Record_Text(const TraceRecord& record);

 private:
  void Append_Prefix(std::int32_t number, double milliseconds);
  void Append_Load(double milliseconds);
  void Make_Record(const TraceRecord& record);
  void Put_Line();
  void Tell_Failures();

  Options options_;
  std::unique_ptr<LogFile> plain_;
  std::unique_ptr<CircularLog> circular_;
  std::string prefix_;
  std::string line_;
  // Of the circular and the plain log.
  struct Failure {
    bool Seen = false;
    std::optional<RunTimeError> ToTell;
  };
  std::array<Failure, 2> failures_;
  TraceLoad load_;
  std::optional<double> load_asked_;  // milliseconds of the record
};

}  // namespace hq
