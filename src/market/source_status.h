#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace hq::server {

// Whether a source of quotes can be asked.
enum class SourceState {
  Ready,
  NeedsKey,
  KeyRefused,
  OutOfQuota,
  // It failed a moment ago and is left alone for a while.
  Down,
  // The user has not put it among the sources to be asked.
  Off,
};

// A source as the user is shown it. No text holds a key.
struct SourceStatus {
  // What it is called in lists of sources: "tiingo", "csv:FOLDER", "simulated".
  std::string Name;
  // What traders call it.
  std::string Title;
  SourceState State = SourceState::Ready;
  // When it may be asked again, for OutOfQuota and Down.
  std::optional<std::chrono::sys_seconds> Until;
  // Why it can't be asked, one sentence; empty when it can.
  std::string Reason;
};

// The state in words: "ready", "needs a key", "key refused", "out of quota until 2026-11-21 16:00", "down
// until
// ...", "off". Times are New York's.
[[nodiscard]] std::string State_Text(const SourceStatus& status);

// "2026-11-21 16:00", in New York.
[[nodiscard]] std::string New_York_Text(std::chrono::sys_seconds moment);

// A sentence without its full stop, to be gone on with.
[[nodiscard]] std::string Without_Stop(std::string text);

// What trying a source out brought. No text holds a key.
struct SourceTrial {
  bool Works = false;
  // The hop that failed, in words: "name look-up", "connection", "proxy", "certificate", "refused key",
  // "quota", "unknown symbol", "changed format" or another one; empty when it works.
  std::string Failed_Hop;
  // One sentence on what came back.
  std::string Text;
  // What the user can do next, one or two sentences; empty when it works.
  std::string Next_Step;
  // How many bars were read.
  std::size_t Bars = 0;
};

}  // namespace hq::server
