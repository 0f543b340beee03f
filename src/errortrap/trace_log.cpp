#include "errortrap/trace_log.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <exception>
#include <utility>

namespace hq {

namespace {

constexpr std::size_t UsualLine = 1024;
constexpr double LoadLifeMilliseconds = 250;
constexpr std::string_view LineEnd = "\r\n";

// Appends a number with at least so many digits.
void Append_Number(std::string& text, std::uint64_t number, std::ptrdiff_t least_digits) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  const std::ptrdiff_t length = end - digits;
  if (length < least_digits) text.append(static_cast<std::size_t>(least_digits - length), '0');
  text.append(digits, end);
}

// "00000.0000"
void Append_Milliseconds(std::string& text, double milliseconds, char separator) {
  constexpr double Units = 10000;
  constexpr double Most = 900'000'000'000'000;
  // A time that is no number is none at all.
  const double within = milliseconds > 0 ? std::min(milliseconds, Most) : 0;
  const auto units = static_cast<std::uint64_t>(std::llround(within * Units));
  Append_Number(text, units / 10000, 5);
  text += separator;
  Append_Number(text, units % 10000, 4);
}

// The exception now being handled, as what became of the file.
RunTimeError Failure_To_Write(const std::string& path) {
  const RunTimeError error = Current_Error();
  return RunTimeError(error.Number(), "Could not write to log file " + path + "\n" + error.Detail());
}

}  // namespace

TraceLog::TraceLog(Options options, std::unique_ptr<LogFile> plain, std::unique_ptr<CircularLog> circular)
    : options_(std::move(options)),
      plain_(std::move(plain)),
      circular_(std::move(circular)),
      prefix_("[" + options_.Name + "] [") {
  line_.reserve(UsualLine);
}

void TraceLog::Start(const std::string& line) {
  line_ = line;
  Put_Line();
}

void TraceLog::Write(const TraceRecord& record) {
  if (!plain_ && !circular_) return;
  Make_Record(record);
  Put_Line();
}

void TraceLog::End(std::int32_t number, double milliseconds) {
  Append_Prefix(number, milliseconds);
  line_ += "] END PROGRAM ";
  Put_Line();
}

std::string TraceLog::Record_Text(const TraceRecord& record) {
  Make_Record(record);
  return line_;
}

void TraceLog::Append_Prefix(std::int32_t number, double milliseconds) {
  line_ = prefix_;
  Append_Number(line_, static_cast<std::uint64_t>(std::max(number, 0)), 5);
  line_ += "] [";
  Append_Milliseconds(line_, options_.Timing ? milliseconds : 0, options_.DecimalSeparator);
}

void TraceLog::Append_Load(double milliseconds) {
  if (!options_.Load) return;
  const bool fresh =
      load_asked_ && milliseconds >= *load_asked_ && milliseconds - *load_asked_ < LoadLifeMilliseconds;
  if (!fresh) {
    load_asked_ = milliseconds;
    try {
      load_ = options_.Load();
    } catch (const std::exception&) {
      // A record without its load is worth more than none.
      load_ = {};
    }
  }
  const auto append_percent = [this](int percent) {
    Append_Number(line_, static_cast<std::uint64_t>(std::max(percent, 0)), 1);
    line_ += '%';
  };
  const auto& [resources, memory] = load_;
  if (resources) {
    line_ += " : [res =";
    append_percent(*resources);
  }
  if (memory) {
    line_ += resources ? ", mem = " : " : [mem = ";
    append_percent(*memory);
  }
  if (resources || memory) line_ += ']';
}

void TraceLog::Make_Record(const TraceRecord& record) {
  Append_Prefix(record.Number, record.Milliseconds);
  line_ += record.Way == TraceRecord::Direction::Entry ? "] ->" : "] <-";
  line_ += record.EntryText;
  Append_Load(record.Milliseconds);
}

void TraceLog::Put_Line() {
  // One record is one line, whatever a text in it holds.
  if (line_.find_first_of(LineEnd) != std::string::npos) {
    std::replace_if(
        line_.begin(), line_.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
  }
  const auto put = [](Failure& failure, const std::string& path, const auto& write) {
    try {
      write();
    } catch (const std::exception&) {
      if (!std::exchange(failure.Seen, true)) failure.ToTell = Failure_To_Write(path);
    }
  };
  if (circular_) put(failures_[0], circular_->Path(), [this] { circular_->Write(line_); });
  if (plain_) {
    // In one piece: whoever ends the process meanwhile leaves the whole record or none of it.
    line_ += LineEnd;
    put(failures_[1], plain_->Path(), [this] { plain_->Append(line_); });
  }
  Tell_Failures();
}

void TraceLog::Tell_Failures() {
  for (Failure& failure : failures_) {
    if (!failure.ToTell) continue;
    // Who is told may run traced procedures, which come back here.
    const RunTimeError error = *std::exchange(failure.ToTell, std::nullopt);
    if (!options_.On_Failure) continue;
    try {
      options_.On_Failure(error);
    } catch (const std::exception&) {
      // There is nobody left to tell.
      continue;
    }
  }
}

}  // namespace hq
