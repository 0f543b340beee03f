#include "quotes/transfer_status.h"

#include "base/strings.h"
#include "errortrap/procedure.h"

namespace hq {

namespace {

constexpr size_t PieceSize = 1024;
constexpr int TextData = 0;

const char* State_Text(int state) {
  switch (state) {
    case ResolvingHost:
      return "Lookup host name..";
    case HostResolved:
      return "Host IP found ..";
    case Connecting:
      return "Connecting to the host computer ..";
    case Connected:
      return "host computer connected...";
    case Requesting:
      return "Sending request to host ...";
    case RequestSent:
      return "Requests sent successfully";
    case ReceivingResponse:
      return "Waiting for server response...";
    case ResponseReceived:
      return "Downloading...";
    case Disconnecting:
      return "Disconnecting from the server";
    case Disconnected:
      return "disconnected from the server";
    case TransferError:
      return "Failed to download data! Try another time at night!";
    case ResponseCompleted:
      return "Data downloading is done!";
    default:
      return "Failed!";
  }
}

}  // namespace

void Inet1_StateChanged(modFailSafe& trap, TransferControl& inet, MessageLoop& loop, StatusLine& status,
                        TransferState& transfer, const std::function<std::optional<int>()>& next_state) {
  Skip_Failing_Statements(trap, {"frmmain1.frm", "Sub Inet1_StateChanged"},
                          [&](SkippingStatements& statement) {
                            const std::optional<int> state = next_state();
                            if (!state) return;
                            const unsigned own = transfer.Number;
                            if (*state == ResponseCompleted) {
                              statement([&] {
                                std::string text;
                                std::string piece = inet.GetChunk(PieceSize, TextData);
                                statement([&] { loop.DoEvents(); });
                                while (!piece.empty() && transfer.Number == own) {
                                  text += piece;
                                  piece = inet.GetChunk(PieceSize, TextData);
                                  statement([&] { loop.DoEvents(); });
                                }
                                if (transfer.Number == own) transfer.ResponseText = std::move(text);
                              });
                            }
                            if (transfer.Number != own) return;
                            statement([&] { transfer.TransferStatus = State_Text(*state); });
                            if (*state != TransferError)
                              statement([&] { status.Show(transfer.TransferStatus); });
                          });
}

bool Transfer_Failed(const TransferState& transfer) {
  return Contains(transfer.TransferStatus, "Fail");
}

bool Transfer_Ended(const TransferState& transfer) {
  return Transfer_Failed(transfer) || Contains(transfer.TransferStatus, "done") ||
         Contains(transfer.TransferStatus, "Time out");
}

}  // namespace hq
