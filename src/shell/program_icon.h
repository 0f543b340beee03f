#pragma once

#include <QIcon>
#include <optional>
#include <string>

#include "base/run_time_error.h"
#include "errortrap/procedure.h"
#include "platform/files.h"

namespace hq {

// The program's icon: the file "t8.ico", or the one inside the program when that is missing or no picture.
class ProgramIcon {
 public:
  ProgramIcon(Files& files, const std::string& folder);

  [[nodiscard]] const QIcon& Icon() const { return icon_; }
  // Has the trap log, the first time, why the file was not taken. Nobody is asked.
  void Note_Fault(modFailSafe& trap, const ProcedureName& here);

 private:
  QIcon icon_;
  std::optional<RunTimeError> fault_;
};

}  // namespace hq
