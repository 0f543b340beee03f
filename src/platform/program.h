#pragma once

#include <string>

namespace hq {

// The folder that holds the running program's file, without a separator at its end.
[[nodiscard]] std::string Program_Folder();

// The width in characters of the terminal that standard error goes to, 0 when it goes elsewhere.
[[nodiscard]] int Error_Terminal_Width();

// Keeps the system from showing error boxes of its own for critical and file-open errors, where it has such
// boxes.
void Suppress_System_Error_Boxes();

}  // namespace hq
