#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace hq {

// Numbers are read and written in one way whatever the user's locale: decimal point, no grouping.

// The number a text begins with: blanks, an optional sign, digits and a decimal point; reading stops at the
// first other character. A text that begins with no number gives 0, one beyond double precision infinity.
[[nodiscard]] double Leading_Number(std::string_view text);

// value rounded to a whole number, halves to the even neighbour. Raises Overflow when it leaves -32768 to
// 32767.
[[nodiscard]] std::int16_t To_Integer16(double value);

// value as a 16-bit number. Raises Overflow when it does not fit.
[[nodiscard]] std::int16_t Narrow_To_16(std::int64_t value);

// The whole text as a single-precision number: optional sign, digits, decimal point, optional exponent;
// blanks around it and a carriage return at its end do not spoil it. Raises TypeMismatch when the text is no
// such number (also when it is empty, "nan" or "inf") and Overflow when it is beyond single precision. A
// number too small to hold is 0.
[[nodiscard]] float To_Single(std::string_view text);

// The whole text as a 16-bit whole number, read as To_Single reads a number and rounded as To_Integer16 does.
[[nodiscard]] std::int16_t Text_To_Integer16(std::string_view text);

// Appends value with exactly decimals digits after the point (none and no point for 0), at least one before
// it, no grouping. Rounds half away from zero, and rounds the shortest decimal text of the value, so that a
// price received as 12.3445 is a half although single precision holds a little less. A value that rounds to
// zero has no sign. Raises Overflow for infinity and for what is no number.
void Append_Fixed(std::string& text, float value, int decimals);

}  // namespace hq
