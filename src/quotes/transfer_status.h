#pragma once

#include <functional>
#include <optional>

#include "errortrap/message_loop.h"
#include "errortrap/modFailSafe.h"
#include "quotes/quote_parser.h"
#include "quotes/transfer_control.h"

namespace hq {

// The one line of text that tells the user what goes on (lblstatus).
class StatusLine {
 public:
  StatusLine() = default;
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;
  virtual ~StatusLine() = default;

  virtual void Show(const std::string& text) = 0;
};

// The transfer's event handler: puts the state's text into TransferStatus and, but for the error state, shows
// it; on the last state it reads the whole body into ResponseText first, letting the message loop run after
// each piece. next_state is asked for the state when the entry hook has let the handler in, which may be long
// after its call; nothing when that state's transfer is no longer the current one. A body whose reading
// another transfer has broken into is dropped, and nothing is told of it.
void Inet1_StateChanged(modFailSafe& trap, TransferControl& inet, MessageLoop& loop, StatusLine& status,
                        TransferState& transfer, const std::function<std::optional<int>()>& next_state);

// How a waiting procedure recognises outcomes: by these parts of TransferStatus, with regard to case.
[[nodiscard]] bool Transfer_Failed(const TransferState& transfer);
[[nodiscard]] bool Transfer_Ended(const TransferState& transfer);

}  // namespace hq
