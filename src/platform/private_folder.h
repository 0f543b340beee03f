#pragma once

#include <string>

namespace hq {

// The place of a folder among the temporary files that is the user's alone, for what must be kept when it can
// be kept nowhere else. On Windows that is the folder of the user's temporary files.
[[nodiscard]] std::string Private_Folder_Path();

// Makes that folder when it is not there. False when it can't be made, when it is a link, belongs to another
// user or lets others in: then nothing in it is safe to write to. Allocates nothing and waits for nobody, so
// that a crashing program may call it.
[[nodiscard]] bool Make_Private_Folder(const char* path) noexcept;

}  // namespace hq
