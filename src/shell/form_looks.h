#pragma once

#include <QFont>
#include <QIcon>

namespace hq {

// The font of all forms: MS Sans Serif or what the system has in its place, a little smaller than the user's
// own.
[[nodiscard]] QFont Form_Font();

// A picture of the program in all its sizes: "download", "samples", "logo" or the icon "t8".
[[nodiscard]] QIcon Picture(const char* name);

}  // namespace hq
