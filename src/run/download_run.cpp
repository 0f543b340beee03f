#include "run/download_run.h"

#include "base/numbers.h"
#include "base/strings.h"
#include "entry/interval_choice.h"
#include "errortrap/procedure.h"
#include "output/file_name.h"
#include "output/file_writer.h"
#include "quotes/quote_ordering.h"
#include "quotes/request.h"

namespace hq {

namespace {

using namespace std::chrono_literals;

constexpr int LastPass = 100;
constexpr auto PassTime = 300ms;
constexpr auto RestAfterTimeOut = 300ms;
constexpr auto RestAfterFailure = 100ms;
constexpr std::chrono::seconds NoReorderingFrom = 18h + 30min;
constexpr const char* TimeOut = "Time out. no response";
constexpr size_t LongestQuotedAnswer = 200;
constexpr int RowsThatKeysCanName = 10000;

// The first line of an answer, for telling what a server said instead of sending quotes; nothing when that is
// no text.
std::string First_Line(std::string_view answer) {
  const std::string_view line = answer.substr(0, answer.find_first_of("\r\n"));
  if (line.size() > LongestQuotedAnswer) return {};
  for (const char c : line) {
    if (c < 32 || c > 126 || c == '<') return {};
  }
  return std::string(line);
}

std::string With_Details(std::string text, const std::string& one, const std::string& other) {
  if (one.empty() && other.empty()) return text;
  return text.append(" (")
      .append(one)
      .append(one.empty() || other.empty() ? "" : ": ")
      .append(other)
      .append(")");
}

}  // namespace

DownloadRun::DownloadRun(SharedState& state, const RunServices& services)
    : state_(state), services_(services) {
  services_.Inet.StateChanged = [this](int number) { State_Came(number); };
}

DownloadRun::~DownloadRun() {
  services_.Inet.Cancel();
  services_.Inet.StateChanged = nullptr;
}

// A handler that is called while the trap is paused waits in a loop of its own, which brings the next state.
// One waits for all of a transfer, and they are handled in the order of their coming: the last one must not
// be overtaken, or the transfer would never seem to end. One that still waits when another transfer has begun
// finds nothing to handle.
void DownloadRun::State_Came(int number) {
  states_.push_back(number);
  if (state_waits_) return;
  const unsigned own = state_.Transfer.Number;
  const auto next_state = [this, own]() -> std::optional<int> {
    if (state_.Transfer.Number != own || states_.empty()) return std::nullopt;
    state_waits_ = false;
    const int state = states_.front();
    states_.pop_front();
    return state;
  };
  while (state_.Transfer.Number == own && !states_.empty()) {
    state_waits_ = true;
    Inet1_StateChanged(services_.Trap, services_.Inet, services_.Loop, services_.Status, state_.Transfer,
                       next_state);
    // The trap has not let it in.
    if (state_waits_) next_state();
  }
}

bool DownloadRun::cmddownload_Click(const StockList& stocks, const EntryTexts& entry,
                                    const std::function<void()>& focus_days) {
  modFailSafe& trap = services_.Trap;
  return Skip_Failing_Statements(
      trap, {"frmmain1.frm", "Sub cmddownload_Click"}, [&](SkippingStatements& statement) {
        bool valid = false;
        statement([&] {
          valid = Valid_Entry(trap, services_.Boxes, services_.Loop, services_.FileSystem, stocks, entry,
                              focus_days);
        });
        if (!valid) return false;

        RunSettings& settings = state_.Settings;
        DownloadLog& log = services_.Log;
        const auto now = [&] { return System_Time_Text(services_.Time.Time_Of_Day()); };
        statement([&] { settings.OutputFolder = entry.OutputFolder; });
        statement([&] {
          const auto position = static_cast<size_t>(entry.IntervalPosition);
          settings.IntervalCode = Narrow_To_16(Interval_Choices().at(position).Minutes);
        });
        statement([&] { settings.CurrentFormat = Format_Index(entry.OutputFormat); });
        statement([&] {
          settings.EndDate = Parse_Date(entry.EndDate[0] + "/" + entry.EndDate[1] + "/" + entry.EndDate[2]);
        });
        statement([&] { settings.DayCount = Days_Entered(entry.Days); });
        written_.clear();
        statement([&] { log.Show(); });
        statement([&] { log.Clear(); });
        statement([&] { log.Add("Start download at " + now()); });

        std::int16_t last = -1;
        statement([&] { last = Narrow_To_16(stocks.Count() - 1); });
        for (int i = 0; i <= last; ++i) {
          bool selected = false;
          statement([&] { selected = stocks.Selected(i); });
          if (!selected) continue;
          statement([&] { settings.CurrentSymbol = stocks.Text(i); });
          statement([&] { services_.Inet.Cancel(); });
          statement([&] { log.Add("downloading symbol   " + settings.CurrentSymbol); });
          statement([&] { state_.Quotes.QuoteCount = 0; });
          SymbolOutcome outcome;
          statement([&] { outcome = Process_Onestock(); });
          statement([&] {
            const std::int16_t rows = outcome.Rows
                                          ? *outcome.Rows
                                          : Narrow_To_16(state_.Quotes.QuoteCount - state_.Quotes.FirstRow);
            log.Add("Recorded " + std::to_string(rows) + " lines");
          });
          statement([&] {
            if (Symbol_Done) Symbol_Done(outcome);
          });
        }
        statement([&] { log.Add("Finish at " + now()); });
        return true;
      });
}

SymbolOutcome DownloadRun::Process_Onestock() {
  modFailSafe& trap = services_.Trap;
  TransferState& transfer = state_.Transfer;
  TransferControl& inet = services_.Inet;
  const std::string symbol = state_.Settings.CurrentSymbol;
  unsigned own = transfer.Number;
  std::int16_t rows = 0;
  SymbolOutcome result = With_Own_Handler(
      trap, {"frmmain1.frm", "Sub Process_Onestock"},
      [&]() -> SymbolOutcome {
        Forget_Transfer();
        own = transfer.Number;
        if (!state_.NoServer.empty()) {
          transfer.TransferStatus = "Failed! " + symbol + ": " + state_.NoServer;
          services_.Status.Show(transfer.TransferStatus);
          inet.Cancel();
          services_.Loop.Sleep(RestAfterFailure);
          return {symbol, false, state_.NoServer};
        }
        inet.Execute(Compose_Request(state_.RequestTemplate, state_.Settings, services_.Time.Today()), "GET");
        transfer.TransferStatus = "Start downloading " + symbol;
        switch (Wait_For_Transfer()) {
          case WaitEnd::Superseded:
            return {symbol, false, "given up for another download"};
          case WaitEnd::TimeOut: {
            services_.Status.Show(TimeOut);
            const std::string reason = With_Details(TimeOut, transfer.TransferStatus, "");
            inet.Cancel();
            services_.Loop.Sleep(RestAfterTimeOut);
            return {symbol, false, reason};
          }
          case WaitEnd::TransferEnded:
            break;
        }
        if (Transfer_Failed(transfer)) {
          services_.Status.Show(transfer.TransferStatus);
          const std::string reason = With_Details(transfer.TransferStatus, inet.Reason(), "");
          inet.Cancel();
          services_.Loop.Sleep(RestAfterFailure);
          return {symbol, false, reason};
        }
        return Process_Answer({symbol, false, {}}, rows);
      },
      [&](const RunTimeError& error) -> SymbolOutcome {
        rows = 0;
        transfer.TransferStatus =
            error.Number() == UnableToCompleteRequest
                ? "Internet request failed! Check connection"
                : "Unexpected error " + std::to_string(error.Number()) + " inside Process_Onestock()";
        SkippingStatements statement;
        statement([&] { services_.Status.Show(transfer.TransferStatus); });
        state_.Quotes.QuoteCount = 0;
        statement([&] { inet.Cancel(); });
        return {symbol, false, With_Details(transfer.TransferStatus, error.what(), "")};
      });
  if (transfer.Number != own) result.Rows = rows;
  return result;
}

void DownloadRun::Forget_Transfer() {
  TransferState& transfer = state_.Transfer;
  // Nothing left over from another transfer must ever be taken for this one's.
  transfer.ResponseText.clear();
  states_.clear();
  state_waits_ = false;
  ++transfer.Number;
}

DownloadRun::WaitEnd DownloadRun::Wait_For_Transfer() {
  const unsigned own = state_.Transfer.Number;
  for (int pass = 0; pass <= LastPass; ++pass) {
    if (Transfer_Ended(state_.Transfer)) return WaitEnd::TransferEnded;
    services_.Loop.Sleep(PassTime);
    services_.Loop.DoEvents();
    // A second run has cancelled this transfer: no answer can come any more, so the rest of the passes is not
    // spent.
    if (state_.Transfer.Number != own) return WaitEnd::Superseded;
  }
  return WaitEnd::TimeOut;
}

SymbolOutcome DownloadRun::Process_Answer(SymbolOutcome outcome, std::int16_t& rows) {
  modFailSafe& trap = services_.Trap;
  RunSettings& settings = state_.Settings;
  QuoteTable& quotes = state_.Quotes;
  TransferState& transfer = state_.Transfer;
  const std::string answer = First_Line(transfer.ResponseText);
  const std::string status = transfer.TransferStatus;

  Process_Interday(trap, transfer, quotes);
  if (quotes.QuoteCount == 0) {
    // The parser has no message for an answer that is all in one line.
    const std::string cause = transfer.TransferStatus != status ? transfer.TransferStatus
                              : Contains(transfer.ResponseText, "\r")
                                  ? "the answer's lines end in carriage returns alone"
                                  : "the answer breaks off in its first line";
    outcome.Reason =
        With_Details(cause, services_.Inet.Reason(), transfer.Trouble.empty() ? answer : transfer.Trouble);
  } else if (!services_.Inet.Reason().empty()) {
    outcome.Reason = "the server sent quotes with an error (" + services_.Inet.Reason() + ")";
  } else if (!transfer.ResponseText.empty()) {
    outcome.Reason = "the answer breaks off in its last line, which was left out";
  } else if (quotes.QuoteCount > RowsThatKeysCanName) {
    outcome.Reason = "rows from number 10000 on have the numbers of other rows";
  }
  if (services_.Time.Time_Of_Day() < NoReorderingFrom && Need_Sort(trap, quotes)) {
    QuickSort(trap, services_.Boxes, quotes.QuoteKeys, 0, quotes.QuoteCount - 1);
  }
  transfer.TransferStatus = "Procsss " + settings.CurrentSymbol;
  services_.Status.Show(transfer.TransferStatus);
  settings.CurrentSymbol = Replace_All(settings.CurrentSymbol, ":", "");
  Set_StartIndex(trap, settings, quotes);
  rows = Narrow_To_16(quotes.QuoteCount - quotes.FirstRow);

  const auto file_name = [&] { return Create_FileName(trap, services_.Boxes, settings, quotes); };
  services_.Log.Add("exporting to " + Join_Path(settings.OutputFolder, file_name()));
  const std::string name = file_name();
  if (!name.empty()) {
    const std::string path = Join_Path(settings.OutputFolder, file_name());
    const WriteResult result = Write_File(trap, services_.Loop, services_.Boxes, services_.FileSystem,
                                          state_.Formats, settings, quotes, path);
    outcome.Written = result.Written;
    if (result.Error) outcome.Reason = result.Error->what();
    const auto [earlier, is_new] = written_.try_emplace(path, outcome.Symbol);
    if (result.Written && !is_new && earlier->second != outcome.Symbol) {
      outcome.Reason = "its file has the name of that of " + earlier->second + ", which it replaces";
    }
  } else if (outcome.Reason.empty()) {
    outcome.Reason = "no file name could be made";
  }
  services_.Loop.DoEvents();
  return outcome;
}

}  // namespace hq
