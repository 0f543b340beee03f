#pragma once

#include <QFont>
#include <QIcon>
#include <string>

namespace hq {

// The font of all forms: MS Sans Serif or what the system has in its place, a little smaller than the user's
// own.
[[nodiscard]] QFont Form_Font();

// The program's icon: the file "t8.ico" of the program folder, or the one inside the program when that is
// missing.
[[nodiscard]] QIcon Program_Icon(const std::string& program_folder);

// A picture of the program in all its sizes: "download", "samples" or "logo".
[[nodiscard]] QIcon Picture(const char* name);

}  // namespace hq
