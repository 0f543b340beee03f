#pragma once

#include <string>

#include "errortrap/modFailSafe.h"
#include "quotes/quote_table.h"

namespace hq {

// What a transfer and the parser tell each other and the program.
struct TransferState {
  std::string TransferStatus;  // the status text of the current transfer
  std::string ResponseText;    // the whole body of the server's answer
  std::string Trouble;         // what the parser could not read, one printable line; empty when it could
  unsigned Number = 0;         // of the current transfer, counted from the program's start
};

// Turns the server's answer, which it consumes, into the table: the first line whose time is 0930 and every
// line after it, seven fields each (YYMMDD,HHMM,open,high,low,close,volume), ended by a line feed. On an
// answer it can't read it leaves QuoteCount at 0 and puts its message into TransferStatus:
//   "Server returns no data. try later!"                      nothing, or no line with the time 0930
//   "Incomplete data received! retry!"                        a line with fewer than six commas
//   "Bad data inside received stream. try to re-download!"    a field that is no number, more than 32767
//   lines, ...
// In the last two cases Trouble says where: "line 17: 030115,0930,x,...", counted from the answer's first
// line. Takes time and memory in proportion to the answer.
void Process_Interday(modFailSafe& trap, TransferState& transfer, QuoteTable& table);

}  // namespace hq
