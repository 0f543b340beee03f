#pragma once

#include <cstdio>
#include <cstdlib>

// Ends the program when a condition of a fuzz target does not hold.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "Not so: %s\n", what);
  std::abort();
}
