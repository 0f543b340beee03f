#include "errortrap/trap_session.h"

#include <utility>

#include "base/strings.h"
#include "errortrap/entry_text.h"
#include "errortrap/error_category.h"
#include "errortrap/error_record_labels.h"
#include "errortrap/report_text.h"
#include "errortrap/trace_file.h"
#include "platform/debugger.h"
#include "platform/machine.h"
#include "platform/private_folder.h"

namespace hq {

namespace {

constexpr const char* Module = "modFailSafe.bas";
using error_record::NoLineNumbers;

std::string With_Detail(const std::string& description, const std::string& detail) {
  return detail.empty() ? description : description + ": " + detail;
}

// In plain words first, then what an engineer asks for.
std::string Error_Information(const ErrorRecord& record) {
  return "An unexpected '" + record.Category + "' error occurred in\n" + record.Procedure + " (" +
         record.Module + ").\n\n" + record.Description + "\n\nRuntime error " +
         std::to_string(record.Number) + " on line" + std::string(NoLineNumbers) +
         "\nCode Pointer = " + record.CodePointer + "\n\nProgram: " + record.Source +
         "\nTime: " + record.When + "\n";
}

}  // namespace

TrapSession::TrapSession(modFailSafe& trap, TrapSessionParts parts) : trap_(trap), parts_(std::move(parts)) {
  trap_.Read_Options = [this] { return Start(); };
  trap_.Set_Reporter(this);
  if (!parts_.WatchesCrashes) return;
  // With the default settings: a crash may come before the trap starts.
  crash_records_ = std::make_unique<CrashRecords>(trap_, Source(), Error_Log_Places());
  crash_records_->Set_Last_Place(Private_Folder_Path(), LastErrorLogName);
  crash_watch_ = std::make_unique<CrashWatch>(*crash_records_);
}

TrapSession::~TrapSession() {
  trap_.Read_Options = nullptr;
  trap_.Set_Reporter(nullptr);
  End_Logs();
}

void TrapSession::End_Logs() {
  trap_.Write_Record = nullptr;
  if (trace_) trace_->End(trap_.RecordCount() + 1, trap_.Elapsed());
  trace_.reset();
  for (const int record : std::exchange(unfinished_, {})) error_log_->Finish(record, {});
}

TraceOptions TrapSession::Start() {
  settings_ = Load_Trap_Settings(parts_.FileSystem, parts_.Application.Folder);
  for (const std::string& fault : settings_.Faults) notes_.emplace_back(InvalidProcedureCall, fault);
  error_log_ = std::make_unique<ErrorLog>(Error_Log_Places(), [] {
    const std::string folder = Private_Folder_Path();
    if (Make_Private_Folder(folder.c_str())) return Join_Path(folder, LastErrorLogName);
    throw RunTimeError(PermissionDenied, folder + ": not a folder of this user alone");
  });
  if (crash_records_) {
    crash_records_->Set_Places(Error_Log_Places());
    crash_records_->Set_Includes_Arguments(settings_.IncludeArguments);
  }
  auto circular = settings_.CircularLog ? Open_Circular() : nullptr;
  auto plain = settings_.CaptureToDisk && !circular ? Open_Trace() : nullptr;
  if (plain || circular) Trace_To(std::move(plain), std::move(circular));
  Tell_Notes();
  // A development tool's own watch over the program is what the check for balance is for.
  return {.CheckBalance = Debugger_Attached(), .Timing = trace_ != nullptr};
}

void TrapSession::Trace_To(std::unique_ptr<LogFile> plain, std::unique_ptr<CircularLog> circular) {
  trace_ = std::make_unique<TraceLog>(
      TraceLog::Options{
          .Name = parts_.Application.ExeName,
          .DecimalSeparator = Decimal_Separator(),
          .Load = [this] { return Load(); },
          .On_Failure =
              [this](const RunTimeError& error) { trap_.Complain(Module, "Sub Write_Record", error); }},
      std::move(plain), std::move(circular));
  trace_->Start(Source() + " <" + System_Date_Text(parts_.Time.Today()) + ", " +
                System_Time_Text(parts_.Time.Time_Of_Day()) + ">");
  trap_.Write_Record = [this](const TraceRecord& record) { trace_->Write(record); };
}

std::unique_ptr<LogFile> TrapSession::Open_Trace() {
  return Opened("Sub Open_Trace", "Could not open trace log file " + std::string(TraceFileName),
                [this] { return Begin_Trace_File(parts_.FileSystem, parts_.Application.Folder); });
}

std::unique_ptr<CircularLog> TrapSession::Open_Circular() {
  const std::string fault = CouldNotOpenCircularLog + settings_.CircularFileName;
  auto log = Opened("Sub Open_Circular", fault, [&]() -> std::unique_ptr<CircularLog> {
    try {
      return std::make_unique<CircularLog>(In_Folder(settings_.CircularFileName), settings_.RecordSize,
                                           settings_.MaxRecords);
    } catch (const FileInUse& error) {
      // Trying again would not help before the other program ends.
      notes_.emplace_back(error.Number(), fault +
                                              ": another run of the program is writing to it, so this run "
                                              "goes on without it.");
      return nullptr;
    }
  });
  if (log && !log->Spoiled_Kept_As().empty()) {
    notes_.emplace_back(DeviceIOError,
                        "The circular log " + settings_.CircularFileName +
                            " was spoiled, as by a power cut. What is left of it was kept as " +
                            log->Spoiled_Kept_As() + ", and a new one was begun.");
  }
  return log;
}

void TrapSession::Tell_Notes() {
  if (notes_.empty()) return;
  const std::vector<RunTimeError> notes = std::exchange(notes_, {});
  std::string text;
  for (const RunTimeError& note : notes) text += (text.empty() ? "" : "\n") + note.Detail();
  trap_.Complain(Module, "Sub Read_Options", RunTimeError(notes.front().Number(), text));
}

template <class Open>
std::invoke_result_t<Open> TrapSession::Opened(const char* procedure, const std::string& fault, Open&& open) {
  for (;;) {
    try {
      return open();
    } catch (const RunTimeError& error) {
      const RunTimeError told(error.Number(), fault + "\n" + error.Detail());
      if (trap_.fsERROR(Module, procedure, told) != trap_choice::Retry) return nullptr;
    }
  }
}

TraceLoad TrapSession::Load() const {
  return {settings_.IncludeResources ? Free_Resources_Percent() : std::nullopt,
          settings_.IncludeMemory ? Memory_Load_Percent() : std::nullopt};
}

int TrapSession::Report(const TrappedError& error) {
  const ErrorRecord record = Record_Of(error);
  const bool logs = error_log_ != nullptr && (settings_.WriteToDisk || settings_.SilentRun);
  const int logged = logs ? error_log_->Begin(record) : 0;
  if (logged != 0) unfinished_.push_back(logged);
  const auto finish = [&](const std::string& user_text) {
    if (std::erase(unfinished_, logged) != 0) error_log_->Finish(logged, user_text);
  };
  if (!error.Asks) {
    finish({});
    return trap_choice::Continue;
  }
  if (settings_.SilentRun) {
    finish({});
    // Once a run: an error that comes again and again must not fill anybody's mailbox.
    if (!settings_.EmailAddress.empty() && !std::exchange(mailed_silently_, true)) Send_Report(record, {});
    return trap_choice::Continue;
  }
  if (asking_) {
    finish({});
    parts_.Dialog.Further_Error(error.Count, record.Description + " (" + record.CodePointer + ")");
    return trap_choice::Continue;
  }
  struct Asking {
    explicit Asking(bool& flag) : flag_(flag) { flag_ = true; }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;
    ~Asking() { flag_ = false; }
    bool& flag_;
  };
  ErrorAnswer answer;
  {
    const Asking asking(asking_);
    answer = parts_.Dialog.Ask(Question_Of(record, error));
  }
  if (!settings_.IncludeUser) answer.UserText.clear();
  finish(answer.UserText);
  if (answer.Choice == trap_choice::More) {
    const std::string path = Write_Report(record, answer.UserText);
    if (!path.empty()) parts_.Dialog.Show_Report(path);
  }
  return answer.Choice;
}

std::string TrapSession::Source() const {
  return parts_.Application.Title + " " + parts_.Application.Version;
}

std::string TrapSession::In_Folder(const std::string& name) const {
  return Join_Path(parts_.Application.Folder, name);
}

std::vector<std::string> TrapSession::Call_Tree(const TrappedError& error) const {
  if (error.CallStack.empty()) {
    return {std::string(trap_.Has_Entered() ? error_record::NoProcedure : error_record::NoProcedureYet)};
  }
  if (settings_.IncludeArguments) return error.CallStack;
  std::vector<std::string> tree;
  tree.reserve(error.CallStack.size());
  for (const std::string& entry : error.CallStack) tree.emplace_back(Without_Argument(entry));
  return tree;
}

std::vector<std::string> TrapSession::Error_Log_Places() const {
  return {Log_File_Path(settings_, parts_.Application.Folder), In_Folder(SecondErrorLogName)};
}

MachineFacts TrapSession::Machine() const {
  try {
    return parts_.Look_At_Machine();
  } catch (const std::exception&) {
    // A report without the machine is worth more than none.
    return {};
  }
}

std::string TrapSession::System_Information() const {
  return Machine_Description(parts_.Application, Machine());
}

ErrorRecord TrapSession::Record_Of(const TrappedError& error) const {
  ErrorRecord record;
  record.When = General_Date_Text(parts_.Time);
  record.Category = Error_Category(error.Number);
  record.Source = Source();
  record.Module = Or_Unknown(error.Module);
  record.Procedure = Or_Unknown(error.Procedure);
  if (error.Procedure.empty() && !trap_.Has_Entered()) record.Procedure = error_record::NoProcedureYet;
  record.CodePointer = record.Module + std::string(EntrySeparator) + record.Procedure;
  record.Number = error.Number;
  record.Description = With_Detail(error.Description, error.Detail);
  record.CallTree = Call_Tree(error);
  if (settings_.ForceSystemInfo) record.SystemInformation = System_Information();
  return record;
}

ErrorQuestion TrapSession::Question_Of(const ErrorRecord& record, const TrappedError& error) {
  ErrorQuestion question;
  question.Category = record.Category;
  question.Project = record.Source;
  question.Module = record.Module;
  question.Procedure = record.Procedure;
  question.Line = NoLineNumbers;
  question.Number = record.Number;
  question.Description = Or_Unknown(error.Description);
  question.Detail = error.Detail;
  question.CallTree = record.CallTree;
  question.ErrorCount = error.Count;
  question.ErrorInformation = Error_Information(record);
  question.CallTreeText = Joined_Lines(record.CallTree);
  question.SystemInformation = [this, known = record.SystemInformation] {
    return known.empty() ? System_Information() : known;
  };
  question.Display = settings_.Display;
  question.AsksUser = settings_.IncludeUser;
  question.CanGoOn = error.CanGoOn;
  question.MailAddress = settings_.EmailAddress;
  question.CanBreak = Debugger_Attached();
  question.Clear_Pause = [this] {
    // From here on procedures go on while the dialog is on its way out, and one of them may fail.
    asking_ = false;
    trap_.Pause(false);
  };
  question.Send_Mail = [this, record](const std::string& user_text) {
    return Send_Report(record, user_text);
  };
  return question;
}

std::string TrapSession::Write_Report(const ErrorRecord& record, const std::string& user_text) {
  try {
    const MachineFacts machine = Machine();
    std::string text = Error_Information(record);
    if (!user_text.empty()) text += "\nUser Said\n" + user_text + "\n";
    text += "\nCall Tree & Arguments\n" + Joined_Lines(record.CallTree);
    text += "\nSystem State Information\n" + Machine_Description(parts_.Application, machine);
    text += "\n" + Defect_Report(parts_.Application, machine, settings_, record, user_text);
    LogFile file(In_Folder(ReportFileName), LogFile::Begin::Anew);
    file.Append(Replace_All(text, "\n", "\r\n"));
    return file.Path();
  } catch (const std::exception&) {
    return {};
  }
}

std::string TrapSession::Send_Report(const ErrorRecord& record, const std::string& user_text) {
  const MachineFacts machine = Machine();
  const std::string report =
      Defect_Report(parts_.Application, machine, settings_, record, settings_.IncludeUser ? user_text : "");
  const std::string written = Write_Report(record, settings_.IncludeUser ? user_text : "");
  std::string attachment;
  if (settings_.AttachLog) {
    // Somebody may have moved the log away meanwhile.
    const bool logged = error_log_ && parts_.FileSystem.Exists(error_log_->Path());
    attachment = logged ? error_log_->Path() : written;
  }
  const std::string fault = parts_.Mail.Send(Error_Mail(settings_, machine, report, attachment));
  return fault.empty() ? "The report was handed to the mail program." : fault;
}

}  // namespace hq
