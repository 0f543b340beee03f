#pragma once

#include <string>
#include <windows.h>

#include "base/run_time_error.h"

namespace hq {

// The system's words for an error number of its own, without a line end.
[[nodiscard]] std::string Windows_Error_Text(DWORD reason);

// The run-time error for a failed file operation on path, from an error number of the system.
[[nodiscard]] RunTimeError Windows_File_Error(DWORD reason, const std::string& path);

}  // namespace hq
