#pragma once

#include <ostream>
#include <string>

#include "errortrap/error_dialog.h"
#include "errortrap/message_box.h"
#include "quotes/transfer_status.h"
#include "run/download_run.h"

namespace hq {

// Where the command line's texts go: the log to one stream, everything else to the other. On a terminal the
// second also carries one line that is drawn over and over: a bar over the symbols and the state of the
// transfer.
class Console final : public MessageBoxes, public DownloadLog, public StatusLine, public ErrorDialog {
 public:
  // terminal_width: characters in a line of the terminal that err goes to, 0 when it goes elsewhere.
  Console(std::ostream& out, std::ostream& err, int terminal_width)
      : out_(out), err_(err), terminal_width_(terminal_width) {}

  // How many symbols the bar stands for.
  void Begin_Progress(int symbols) { symbols_ = symbols; }
  void Symbol_Done();
  // Takes the drawn line away.
  void End_Progress();

  // A line for the user, beside the log.
  void Tell(const std::string& text);

  MessageAnswer Show(const std::string& text, const std::string& title, MessageButtons buttons,
                     MessageIcon icon) override;
  void Show(const std::string& status) override;
  // Tells of the error and answers Continue: nobody is asked.
  ErrorAnswer Ask(const ErrorQuestion& question) override;
  void Further_Error(std::int32_t error_count, const std::string& text) override;
  void Show_Report(const std::string& path) override;
  void Show() override {}
  void Clear() override {}
  void Add(const std::string& line) override;

 private:
  void Draw();
  void Wipe();

  std::ostream& out_;
  std::ostream& err_;
  int terminal_width_;
  int symbols_ = 0;
  int done_ = 0;
  bool drawn_ = false;
  std::string status_;
};

}  // namespace hq
