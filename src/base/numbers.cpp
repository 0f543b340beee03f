#include "base/numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <system_error>

#include "base/run_time_error.h"

namespace hq {

namespace {

bool Is_Digit(char c) {
  return c >= '0' && c <= '9';
}

// Whether a number that from_chars found out of range is too small rather than too large. What counts is the
// place of its first digit other than 0: "0.0001e3" is small and "1000e-3" is not, whatever their exponents.
bool Is_Too_Small(std::string_view number) {
  const std::string_view digits = number.substr(0, number.find_first_of("eE"));
  const auto first = static_cast<std::int64_t>(digits.find_first_of("123456789"));
  const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
  std::int64_t exponent = 0;
  if (digits.size() < number.size()) {
    std::string_view power = number.substr(digits.size() + 1);
    const bool negative = power.starts_with('-');
    if (negative || power.starts_with('+')) power.remove_prefix(1);
    constexpr std::int64_t Beyond = 1'000'000'000'000;
    for (const char c : power) exponent = std::min(exponent * 10 + (c - '0'), Beyond);
    if (negative) exponent = -exponent;
  }
  return point - first + exponent <= 0;
}

// The value of a text of nothing but a few digits and at most one point, such as nearly every number is: the
// quotient of two whole numbers that Float holds exactly, so the division alone rounds. Nothing for any other
// text.
template <class Float>
std::optional<Float> Read_Plain(std::string_view text) {
  static constexpr std::array<Float, 10> powers{1, 1e1F, 1e2F, 1e3F, 1e4F, 1e5F, 1e6F, 1e7F, 1e8F, 1e9F};
  constexpr auto largest_exact = std::uint64_t{1}
                                 << static_cast<unsigned>(std::numeric_limits<Float>::digits);
  constexpr size_t longest = 9;  // with more digits the whole number could leave its type
  if (text.empty() || text.size() > longest) return std::nullopt;
  std::uint32_t whole = 0;
  size_t point = text.size();
  for (size_t i = 0; i < text.size(); ++i) {
    if (Is_Digit(text[i])) {
      whole = whole * 10 + static_cast<std::uint32_t>(text[i] - '0');
    } else if (text[i] == '.' && point == text.size()) {
      point = i;
    } else {
      return std::nullopt;
    }
  }
  if (whole > largest_exact || text == ".") return std::nullopt;
  const auto value = static_cast<Float>(whole);
  return point == text.size() ? value : value / powers[text.size() - point - 1];
}

template <class Float>
Float Read_Whole(std::string_view text) {
  if (const std::optional<Float> value = Read_Plain<Float>(text)) return *value;
  std::string_view number = text;
  if (!number.empty() && number.back() == '\r') number.remove_suffix(1);
  while (!number.empty() && number.front() == ' ') number.remove_prefix(1);
  while (!number.empty() && number.back() == ' ') number.remove_suffix(1);
  bool negative = false;
  if (!number.empty() && (number.front() == '+' || number.front() == '-')) {
    negative = number.front() == '-';
    number.remove_prefix(1);
  }
  // from_chars would also take a second sign, "nan" and "inf".
  if (number.empty() || !(Is_Digit(number.front()) || number.front() == '.'))
    throw RunTimeError(TypeMismatch);
  Float value = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (error == std::errc::invalid_argument || end != number.data() + number.size()) {
    throw RunTimeError(TypeMismatch);
  }
  if (error == std::errc::result_out_of_range) {
    if (!Is_Too_Small(number)) throw RunTimeError(Overflow);
    value = 0;
  }
  return negative ? -value : value;
}

// Appends value rounded to units of 1 / Power, at most 1000, when that can be told from the value itself. The
// shortest decimal text lies within half a unit of the value's last place, so only near a half could the two
// round to different sides; nothing is appended there. A whole value, as every volume is, is its own shortest
// text.
template <std::uint32_t Power>
bool Append_Units(std::string& text, float value) {
  constexpr double half_of_last_place = 1.0 / (1U << 24U);
  // Exact: 24 bits of the value and 10 of the power fit into double precision.
  const double exact = std::fabs(static_cast<double>(value)) * Power;
  if (!(exact < 1ULL << 32U)) return false;
  auto units = static_cast<std::uint32_t>(exact);
  if (Power != 1 || exact != units) {
    const double above_half = exact - units - 0.5;
    if (std::fabs(above_half) <= exact * half_of_last_place) return false;
    if (above_half > 0) ++units;
  }
  std::array<char, 24> buffer;
  char* const last = buffer.data() + buffer.size();
  char* end = std::to_chars(buffer.data(), last, units / Power).ptr;
  if constexpr (Power > 1) {
    // The power's own digit keeps the zeros behind the point, which takes its place.
    char* const point = end;
    end = std::to_chars(point, last, units % Power + Power).ptr;
    *point = '.';
  }
  if (std::signbit(value) && units != 0) text += '-';
  text.append(buffer.data(), end);
  return true;
}

}  // namespace

double Leading_Number(std::string_view text) {
  const size_t start = text.find_first_not_of(' ');
  if (start == std::string_view::npos) return 0;
  text.remove_prefix(start);
  bool negative = false;
  if (text.front() == '+' || text.front() == '-') {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  size_t length = 0;
  bool point = false;
  while (length < text.size() && (Is_Digit(text[length]) || (text[length] == '.' && !point))) {
    point = point || text[length] == '.';
    ++length;
  }
  const std::string_view number = text.substr(0, length);
  double value = 0;
  const auto [end, error] =
      std::from_chars(number.data(), number.data() + number.size(), value, std::chars_format::fixed);
  if (error == std::errc::result_out_of_range) {
    value = Is_Too_Small(number) ? 0 : std::numeric_limits<double>::infinity();
  } else if (error != std::errc()) {
    value = 0;
  }
  return negative ? -value : value;
}

std::int16_t To_Integer16(double value) {
  // remainder() is exact and puts a half on the even side, whatever the rounding mode of the processor.
  if (value >= -32768.0 && value <= 32767.0) {
    const auto whole = static_cast<std::int16_t>(value);
    if (whole == value) return whole;
  }
  const double rounded = value - std::remainder(value, 1.0);
  if (!(rounded >= -32768.0 && rounded <= 32767.0)) throw RunTimeError(Overflow);
  return static_cast<std::int16_t>(rounded);
}

std::int16_t Narrow_To_16(std::int64_t value) {
  if (value < -32768 || value > 32767) throw RunTimeError(Overflow);
  return static_cast<std::int16_t>(value);
}

float To_Single(std::string_view text) {
  return Read_Whole<float>(text);
}

std::int16_t Text_To_Integer16(std::string_view text) {
  return To_Integer16(Read_Whole<double>(text));
}

void Append_Fixed(std::string& text, float value, int decimals) {
  if (decimals == 0 && Append_Units<1>(text, value)) return;
  if (decimals == 3 && Append_Units<1000>(text, value)) return;
  if (!std::isfinite(value)) throw RunTimeError(Overflow);
  // The longest fixed text of a float is a sign, "0." and some fifty digits, or some forty digits before the
  // point.
  std::array<char, 128> buffer;
  buffer[0] = '0';  // room for a digit that rounding carries out at the front
  char* const begin = buffer.data() + 1;
  char* end =
      std::to_chars(begin, buffer.data() + buffer.size(), std::fabs(value), std::chars_format::fixed).ptr;
  char* point = std::find(begin, end, '.');
  char* first = begin;
  if (end - point - 1 > decimals) {
    char* const cut = point + 1 + decimals;
    const bool up = *cut >= '5';
    end = decimals == 0 ? point : cut;
    if (up) {
      char* digit = end - 1;
      for (;; --digit) {
        if (*digit == '.') continue;
        if (*digit != '9') break;
        *digit = '0';
      }
      ++*digit;
      first = std::min(first, digit);
    }
  }
  if (std::signbit(value) && std::any_of(first, end, [](char c) { return c >= '1' && c <= '9'; }))
    text += '-';
  text.append(first, end);
  if (decimals == 0) return;
  if (point >= end) text += '.';
  const auto present = point < end ? end - point - 1 : 0;
  text.append(static_cast<size_t>(decimals - present), '0');
}

}  // namespace hq
