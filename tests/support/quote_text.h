#pragma once

#include <string>
#include <vector>

#include "errortrap/modFailSafe.h"
#include "quotes/quote_parser.h"
#include "quotes/quote_table.h"

namespace hq::test {

// A table with these keys (row numbers included in them) and, for each, the values 1, 2, 3, 4, 5 plus ten
// times its row.
inline QuoteTable Table_Of(const std::vector<std::string>& keys) {
  QuoteTable table;
  table.QuoteCount = static_cast<std::int16_t>(keys.size());
  table.QuoteKeys.resize(keys.size() + 2);
  table.QuoteValues.resize(keys.size() + 2);
  for (size_t i = 0; i < keys.size(); ++i) {
    table.QuoteKeys[i] = QuoteKey(keys[i]);
    for (size_t column = 0; column < 5; ++column) {
      table.QuoteValues[i][column] = static_cast<float>(column + 1 + 10 * i);
    }
  }
  return table;
}

inline std::vector<std::string> Keys_Of(const QuoteTable& table) {
  std::vector<std::string> keys;
  for (int i = 0; i < table.QuoteCount; ++i) keys.emplace_back(table.Key(i).Text());
  return keys;
}

// Parses an answer.
struct Parsed {
  TransferState Transfer;
  QuoteTable Table;
};
inline Parsed Parse(const std::string& answer) {
  modFailSafe trap;
  Parsed parsed;
  parsed.Transfer.TransferStatus = "Data downloading is done!";
  parsed.Transfer.ResponseText = answer;
  Process_Interday(trap, parsed.Transfer, parsed.Table);
  return parsed;
}

}  // namespace hq::test
