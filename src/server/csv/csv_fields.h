#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "market/bar.h"

namespace hq::server {

// Whether a field stands for "no value": empty, "-", "null", "N/A", "NaN" and the like.
[[nodiscard]] bool Is_No_Value(std::string_view text);

// Which sign separates whole numbers from decimals; the other one groups thousands.
enum class DecimalMark { Point, Comma };

// Reads a price: a decimal number below 1e12 in size, with or without a currency sign and groups of three
// digits. None when `text` is anything else.
[[nodiscard]] std::optional<double> Read_Price(std::string_view text, DecimalMark mark);

// Reads a volume: a number that is not negative, rounded to a whole one; K, M, B and T at its end multiply
// it. A field without a value counts as 0; none when `text` is anything else.
[[nodiscard]] std::optional<std::int64_t> Read_Volume(std::string_view text, DecimalMark mark);

// Which number stands first in dates like 03/10/2003.
enum class DateOrder { MonthFirst, DayFirst };

// A date with or without a time of day, as a field gives them.
struct Stamp {
  Day Date;
  std::optional<std::chrono::seconds> Time;
  // Whether the field counts in universal time, and not as the clock at the exchange showed.
  bool Universal = false;
};

// Reads a date: YYYY-MM-DD (also with dots and slashes), YYYYMMDD, YYMMDD, MM/DD/YYYY, MM/DD/YY, DD.MM.YYYY,
// "Mar 10, 2003", "10-Mar-03", or seconds or milliseconds since 1970 in universal time. A time may follow
// after a blank or a T, as Read_Time reads it. Two-digit years 00 to 49 are 2000 to 2049, 50 to 99 are 1950
// to 1999. A zone offset at the end is passed over, because the time before it is the exchange's own; a Z
// means universal time. None when `text` is anything else or no day of the calendar.
[[nodiscard]] std::optional<Stamp> Read_Stamp(std::string_view text, DateOrder order);

// Reads a time of day alone: HH:MM or HH:MM:SS, with AM or PM or without, HHMM or HHMMSS; parts of seconds
// are passed over.
[[nodiscard]] std::optional<std::chrono::seconds> Read_Time(std::string_view text);

}  // namespace hq::server
