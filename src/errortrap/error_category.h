#pragma once

#include <string>

namespace hq {

// The category that an error number belongs to, as the dialog and the error log name it.
[[nodiscard]] std::string Error_Category(int number);

}  // namespace hq
