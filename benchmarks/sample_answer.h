#pragma once

#include <string>

namespace hq::benchmarks {

enum class RowOrder { InOrder, Shuffled };

// A server's answer of one-minute bars from 2 January 2003 on, the same at every call. Shuffled, its first
// row stays the first, since reading starts at a row of 0930.
[[nodiscard]] std::string Sample_Answer(int rows, RowOrder order);

}  // namespace hq::benchmarks
