#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "errortrap/trap_settings.h"

namespace hq {

// What the user is shown of a trapped error. The texts are complete; the dialog decides on nothing.
struct ErrorQuestion {
  std::string Category;  // "File System (disk, directory or file) access"
  std::string Project;
  std::string Module;
  std::string Procedure;
  std::string Line;  // " <unavailable: line numbers not used>"
  int Number = 0;
  std::string Description;
  std::string Detail;                 // what failed and the system's reason; may be empty
  std::vector<std::string> CallTree;  // the outermost first; outside of all procedures a line that says so
  std::int32_t ErrorCount = 1;        // errors trapped since the start

  std::string ErrorInformation;                    // the page "Error Information"
  std::string CallTreeText;                        // the page "Call Tree & Arguments"
  std::function<std::string()> SystemInformation;  // the page "System State Information", made when looked at

  DisplayMode Display = DisplayMode::Whole;
  bool AsksUser = true;     // offers the box for what the user was doing
  bool CanGoOn = true;      // offers Retry and Ignore
  std::string MailAddress;  // offers to mail the report when not empty
  bool CanBreak = false;    // offers to break into the debugger

  std::function<void()> Clear_Pause;  // must be called by the press that ends the dialog
  // Mails the report with what the user has typed so far; returns what came of it, for the user.
  std::function<std::string(const std::string& user_text)> Send_Mail;
};

struct ErrorAnswer {
  int Choice = 0;  // one of trap_choice
  std::string UserText;
};

// Who shows a trapped error to the user.
class ErrorDialog {
 public:
  ErrorDialog() = default;
  ErrorDialog(const ErrorDialog&) = delete;
  ErrorDialog& operator=(const ErrorDialog&) = delete;
  virtual ~ErrorDialog() = default;

  // Shows the error and waits for the answer; the message loop runs meanwhile. Never called again before it
  // has returned.
  virtual ErrorAnswer Ask(const ErrorQuestion& question) = 0;
  // A further error was trapped while Ask waits; it has been logged.
  virtual void Further_Error(std::int32_t error_count, const std::string& text) = 0;
  // Brings the complete report, a text file, before the user.
  virtual void Show_Report(const std::string& path) = 0;
};

}  // namespace hq
