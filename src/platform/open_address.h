#pragma once

#include <cstdint>
#include <string>

namespace hq {

// Asks the system to open a page or a file with the program that the user has for it, and returns at once.
// That it can't be opened is not told. owner is the native window that messages of the system belong to.
void Open_Address(std::intptr_t owner, const std::string& address);

}  // namespace hq
