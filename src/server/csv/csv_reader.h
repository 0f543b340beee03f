#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "market/bar.h"

namespace hq::server {

// A line that was passed over.
struct BadLine {
  // Counted from 1.
  std::size_t Line = 0;
  std::string Reason;
};

// What a text of quotes holds.
struct CsvTable {
  // The bars, oldest first, one for a stamp: the line that stands later in the text wins. Of intraday bars
  // the stamps are taken as they stand for the bars' beginnings, because nothing in a file says whether they
  // mean the ends; daily and longer bars carry 09:30, one bar a day (the later one by time of day, where a
  // daily file has two). The days lie in the years 1950 to 2049, which two digits can tell apart.
  std::vector<Bar> Bars;
  // How long a bar lasts: the most common distance of neighbours within a day; 24 hours for daily bars and
  // when there is only one bar a day, whole days for longer ones, judged by the most common distance of three
  // bars or more.
  std::chrono::seconds Bar_Length = std::chrono::hours{24};
  // The first lines that were passed over because they can't be read, at most most_bad_lines.
  std::vector<BadLine> Bad_Lines;
  // How many such lines there are in all.
  std::size_t Bad_Line_Count = 0;
  // How many lines were passed over because a price in them has no value.
  std::size_t Lines_Without_Data = 0;
};

// How many of the lines that can't be read a table names.
inline constexpr std::size_t most_bad_lines = 20;

// Reads the quotes of one symbol from text separated by commas, semicolons or tabs, with or without a header,
// in any order of time. Never fails: text without quotes gives a table without bars. Days are told from
// months in dates like 13/01/2003, and decimal commas in prices like 12,34, by the first line that has only
// one reading.
[[nodiscard]] CsvTable Read_Csv(std::string_view text);

}  // namespace hq::server
