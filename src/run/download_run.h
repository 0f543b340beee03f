#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "entry/entry_checks.h"
#include "entry/symbol_list.h"
#include "errortrap/message_box.h"
#include "errortrap/message_loop.h"
#include "errortrap/modFailSafe.h"
#include "output/format_catalogue.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "quotes/quote_parser.h"
#include "quotes/quote_table.h"
#include "quotes/run_settings.h"
#include "quotes/transfer_control.h"
#include "quotes/transfer_status.h"

namespace hq {

// What the parts of a run share: one object, made at start-up and handed on by reference.
struct SharedState {
  RunSettings Settings;
  QuoteTable Quotes;
  TransferState Transfer;
  FormatCatalogue Formats;
  std::string RequestTemplate;  // plain
  std::string NoServer;         // why there is no server to ask, for the user; empty when there is one
};

// The lines that tell a run step by step (lstlog).
class DownloadLog {
 public:
  DownloadLog() = default;
  DownloadLog(const DownloadLog&) = delete;
  DownloadLog& operator=(const DownloadLog&) = delete;
  virtual ~DownloadLog() = default;

  // Brings the log before the user.
  virtual void Show() = 0;
  virtual void Clear() = 0;
  virtual void Add(const std::string& line) = 0;
};

// What became of one symbol, for who wants to tell more than the log does.
struct SymbolOutcome {
  std::string Symbol;    // as the list holds it
  bool Written = false;  // its file is there, whole
  std::string
      Reason;  // why there is no file, or what is wrong with it, in plain words; empty when all is well
  // How many rows were recorded, when the shared table is by now another run's.
  std::optional<std::int16_t> Rows = {};
};

// Everything outside of the engine that a run needs. All of it must outlive the run.
struct RunServices {
  modFailSafe& Trap;
  MessageBoxes& Boxes;
  MessageLoop& Loop;
  Files& FileSystem;
  const Clock& Time;
  TransferControl& Inet;
  StatusLine& Status;
  DownloadLog& Log;
};

// The run over the selected symbols of a list: fetches each one's quotes and writes its file.
//
// While it waits for an answer it lets the message loop run, so anything may happen between two steps: the
// list may change, and a second run may be started over the same state, which then goes first. Every step
// reads the shared state anew and none holds on to a part of it across a wait.
class DownloadRun {
 public:
  // Takes over the transfer control's event until it goes.
  DownloadRun(SharedState& state, const RunServices& services);
  DownloadRun(const DownloadRun&) = delete;
  DownloadRun& operator=(const DownloadRun&) = delete;
  ~DownloadRun();

  // Called with each symbol's outcome when the symbol is done; may be left empty.
  std::function<void(const SymbolOutcome&)> Symbol_Done;

  // Checks the entries and goes through the selected symbols. focus_days as for Valid_Entry. False when the
  // entries were refused, and then nothing has changed.
  bool cmddownload_Click(const StockList& stocks, const EntryTexts& entry,
                         const std::function<void()>& focus_days = {});

  // Fetches, parses, orders and writes the current symbol. Never stops the run: what goes wrong is in the
  // outcome. When another run has begun meanwhile, the status line is left to that one.
  SymbolOutcome Process_Onestock();

 private:
  enum class WaitEnd { TransferEnded, TimeOut, Superseded };

  void State_Came(int number);
  // Makes what comes of earlier transfers count no more.
  void Forget_Transfer();
  WaitEnd Wait_For_Transfer();
  // Puts the number of rows to write into rows.
  SymbolOutcome Process_Answer(SymbolOutcome outcome, std::int16_t& rows);

  SharedState& state_;
  RunServices services_;
  std::map<std::string, std::string> written_;  // the files of this run and whose they are
  std::deque<int> states_;                      // of the current transfer, not handled yet, the oldest first
  bool state_waits_ = false;                    // a handler for them is called and not let in yet
};

}  // namespace hq
