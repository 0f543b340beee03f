#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "errortrap/modFailSafe.h"
#include "platform/crash.h"

namespace hq {

// What the error log keeps of a crash: an empty line and a record like that of a trapped error, but for its
// date, which the user's own form can't be asked for any more. It holds the procedures that the
// trap's call stack holds at that moment, and behind it what the trace log still keeps back.
//
// Everything that a crash needs is made ready by the constructor; nothing is allocated later. A call stack
// that another thread works on meanwhile is read as it stands.
class CrashRecords final : public CrashHandler {
 public:
  // trap outlives the object. source: the program. places: the error log's paths, tried in their order until
  // one takes the record; rich text is none of them.
  CrashRecords(const modFailSafe& trap, std::string source, std::vector<std::string> places);

  // From now on other places, and whether the procedures' arguments are told. Call them while nothing
  // crashes.
  void Set_Places(std::vector<std::string> places);
  void Set_Includes_Arguments(bool includes) { includes_arguments_ = includes; }

  // What a log keeps back in memory at the moment of the call.
  using KeptBack = std::string_view (*)(const void* log);
  // From now on a crash appends what log keeps back to the file at path. log outlives the object or the next
  // call; a null kept_back ends it. Call it while nothing crashes, with the log whole.
  void Set_Trace_Log(KeptBack kept_back, const void* log, std::string path);

  void Crashed(const Crash& crash) noexcept override;

 private:
  using Buffer = std::array<char, 16384>;
  class Text;
  bool Write_Record(const Crash& crash, const CrashFile& file) noexcept;

  const modFailSafe& trap_;
  std::string source_;
  std::vector<std::string> places_;
  bool includes_arguments_ = true;
  KeptBack kept_back_ = nullptr;
  const void* trace_log_ = nullptr;
  std::string trace_path_;
  Buffer buffer_{};
};

}  // namespace hq
