#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "errortrap/crash_record.h"
#include "errortrap/defect_report.h"
#include "errortrap/error_dialog.h"
#include "errortrap/error_log.h"
#include "errortrap/machine_description.h"
#include "errortrap/modFailSafe.h"
#include "errortrap/trace_log.h"
#include "errortrap/trap_settings.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/mail.h"

namespace hq {

// What a run under the trap needs from outside. All of it must outlive the session.
struct TrapSessionParts {
  Files& FileSystem;
  const Clock& Time;
  ErrorDialog& Dialog;
  MailSender& Mail;
  ApplicationFacts Application;
  std::function<MachineFacts()> Look_At_Machine;
  bool WatchesCrashes = false;  // keeps a record of a crash of the process; one session in it may
};

// One run of the program under the error trap: reads FSCLIENT.INI when the trap starts, writes the logs that
// it asks for, and brings trapped errors before the user. Used on the trap's thread.
class TrapSession final : public ErrorReporter {
 public:
  // The file that holds the complete report of the latest error, in the program folder.
  static constexpr const char* ReportFileName = "fserror.log";

  // Ties itself to the trap until it goes; then it writes the end of the trace.
  TrapSession(modFailSafe& trap, TrapSessionParts parts);
  TrapSession(const TrapSession&) = delete;
  TrapSession& operator=(const TrapSession&) = delete;
  ~TrapSession() override;

  // Ends the run's logs, of which nothing more is written: for a program that ends without the object's
  // destructor, at any moment on the trap's thread, also while an error is shown.
  void End_Logs();

  // Logs the error, shows it unless the run is silent, and returns the choice.
  int Report(const TrappedError& error) override;

  [[nodiscard]] const TrapSettings& Settings() const { return settings_; }

 private:
  TraceOptions Start();
  void Trace_To(std::unique_ptr<LogFile> plain, std::unique_ptr<CircularLog> circular);
  std::unique_ptr<LogFile> Open_Trace();
  std::unique_ptr<CircularLog> Open_Circular();
  // What open makes; null when that fails and is not to be tried again. fault: what is told then.
  template <class Open>
  std::invoke_result_t<Open> Opened(const char* procedure, const std::string& fault, Open&& open);
  // Tells, once and together, what the start has noted.
  void Tell_Notes();
  [[nodiscard]] TraceLoad Load() const;
  [[nodiscard]] std::string Source() const;
  [[nodiscard]] std::string In_Folder(const std::string& name) const;
  [[nodiscard]] std::vector<std::string> Call_Tree(const TrappedError& error) const;
  [[nodiscard]] std::vector<std::string> Error_Log_Places() const;
  // Without what can't be looked at.
  [[nodiscard]] MachineFacts Machine() const;
  [[nodiscard]] std::string System_Information() const;
  [[nodiscard]] ErrorRecord Record_Of(const TrappedError& error) const;
  [[nodiscard]] ErrorQuestion Question_Of(const ErrorRecord& record, const TrappedError& error);
  // Writes the complete report and returns its path, empty when it can't be written.
  std::string Write_Report(const ErrorRecord& record, const std::string& user_text);
  // What came of it, for the user.
  std::string Send_Report(const ErrorRecord& record, const std::string& user_text);

  modFailSafe& trap_;
  TrapSessionParts parts_;
  TrapSettings settings_;
  std::unique_ptr<TraceLog> trace_;
  std::unique_ptr<ErrorLog> error_log_;
  std::unique_ptr<CrashRecords> crash_records_;
  std::unique_ptr<CrashWatch> crash_watch_;
  std::vector<RunTimeError> notes_;  // of the start, not told yet; the details are whole sentences
  std::vector<int> unfinished_;      // records of the error log that wait for the user's text
  bool asking_ = false;
  bool mailed_silently_ = false;
};

}  // namespace hq
