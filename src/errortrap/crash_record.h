#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "errortrap/modFailSafe.h"
#include "platform/crash.h"

namespace hq {

// What the error log keeps of a crash: a record like that of a trapped error, but for its date, which the
// user's own form can't be asked for any more. It holds the procedures that the trap's call stack holds at
// that moment; those of a crash on another thread are none of that thread's, and the record says which one it
// is.
//
// Everything that a crash needs is made ready by the constructor; nothing is allocated later. A call stack
// that another thread works on meanwhile is read as it stands.
class CrashRecords final : public CrashHandler {
 public:
  // trap outlives the object. source: the program. places: the error log's paths, tried in their order until
  // one takes the record; rich text is none of them.
  CrashRecords(const modFailSafe& trap, std::string source, std::vector<std::string> places);

  // From now on other places, one more place, and whether the procedures' arguments are told. Call them while
  // nothing crashes.
  void Set_Places(std::vector<std::string> places);
  // The folder is made private to the user first (platform/private_folder.h).
  void Set_Last_Place(std::string private_folder, const std::string& name);
  void Set_Includes_Arguments(bool includes) { includes_arguments_ = includes; }

  void Crashed(const Crash& crash) noexcept override;

 private:
  using Buffer = std::array<char, 16384>;
  class Text;
  bool Write_Record(const Crash& crash, CrashFile& file) noexcept;

  const modFailSafe& trap_;
  std::string source_;
  std::vector<std::string> places_;
  std::string private_folder_;
  std::string last_place_;
  bool includes_arguments_ = true;
  Buffer buffer_{};
};

}  // namespace hq
