#pragma once

#include <string>

#include "platform/files.h"

namespace hq {

// The first of "path.bak", "path.bak2", "path.bak3" ... that nothing has.
[[nodiscard]] std::string Free_Backup_Name(Files& files, const std::string& path);

// Gives a file that name, so that another can be begun in its place and none set aside earlier is lost.
// Returns the name. Raises what Files::Rename does.
std::string Set_Aside(Files& files, const std::string& path);

}  // namespace hq
