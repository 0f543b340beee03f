#include "errortrap/trap_session.h"

#include <utility>

#include "base/strings.h"
#include "errortrap/error_category.h"
#include "platform/debugger.h"
#include "platform/machine.h"

namespace hq {

namespace {

constexpr const char* Module = "modFailSafe.bas";
constexpr std::string_view Separator = " : ";
constexpr const char* NoLineNumbers = " <unavailable: line numbers not used>";
constexpr const char* Unknown = "<unknown>";

std::string Or_Unknown(const std::string& text) {
  return text.empty() ? Unknown : text;
}

// An entry text without the arguments at its end.
std::string Without_Arguments(const std::string& entry) {
  // Depth, module, procedure, each followed by a separator.
  size_t end = 0;
  for (int part = 0; part < 3; ++part) {
    const size_t found = entry.find(Separator, end);
    if (found == std::string::npos) return entry;
    end = found + Separator.size();
  }
  return entry.substr(0, end);
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text.append(line).append("\n");
  return text;
}

std::string With_Detail(const std::string& description, const std::string& detail) {
  return detail.empty() ? description : description + ": " + detail;
}

std::string_view Kept_Back_By(const void* log) {
  return static_cast<const TraceLog*>(log)->Kept_Back();
}

// In plain words first, then what an engineer asks for.
std::string Error_Information(const ErrorRecord& record) {
  return "An unexpected '" + record.Category + "' error occurred in\n" + record.Procedure + " (" +
         record.Module + ").\n\n" + record.Description + "\n\nRuntime error " +
         std::to_string(record.Number) + " on line" + NoLineNumbers +
         "\nCode Pointer = " + record.CodePointer + "\n\nProgram: " + record.Source +
         "\nTime: " + record.When + "\n";
}

}  // namespace

TrapSession::TrapSession(modFailSafe& trap, TrapSessionParts parts) : trap_(trap), parts_(std::move(parts)) {
  trap_.Read_Options = [this] { return Start(); };
  trap_.Set_Reporter(this);
}

TrapSession::~TrapSession() {
  trap_.Read_Options = nullptr;
  trap_.Write_Record = nullptr;
  trap_.Set_Reporter(nullptr);
  if (crash_records_) crash_records_->Set_Trace_Log(nullptr, nullptr, {});
  if (trace_) trace_->End(trap_.RecordCount() + 1, trap_.Elapsed());
}

TraceOptions TrapSession::Start() {
  settings_ = Load_Trap_Settings(parts_.FileSystem, parts_.Application.Folder);
  error_log_ = std::make_unique<ErrorLog>(
      std::vector<std::string>{Log_File_Path(settings_, parts_.Application.Folder), In_Folder("!error!.log"),
                               Join_Path(Temporary_Folder(), "fsError.log")});
  const bool traces = settings_.CaptureToDisk || settings_.CircularLog;
  if (traces) {
    auto plain = settings_.CaptureToDisk && !settings_.CircularLog ? Open_Trace() : nullptr;
    auto circular = settings_.CircularLog ? Open_Circular() : nullptr;
    if (plain || circular) {
      trace_ = std::make_unique<TraceLog>(TraceLog::Options{.Name = parts_.Application.ExeName,
                                                            .DecimalSeparator = Decimal_Separator(),
                                                            .Load = [this] { return Load(); },
                                                            .On_Failure = {}},
                                          std::move(plain), std::move(circular));
      trace_->Start(Source() + " <" + System_Date_Text(parts_.Time.Today()) + ", " +
                    System_Time_Text(parts_.Time.Time_Of_Day()) + ">");
      if (crash_records_ && !settings_.CircularLog)
        crash_records_->Set_Trace_Log(Kept_Back_By, trace_.get(), In_Folder(TraceFileName));
      trap_.Write_Record = [this](const TraceRecord& record) { trace_->Write(record); };
    }
  }
  // A development tool's own watch over the program is what the check for balance is for.
  return {.CheckBalance = Debugger_Attached(), .Timing = trace_ != nullptr};
}

std::unique_ptr<LogFile> TrapSession::Open_Trace() {
  const std::string path = In_Folder(TraceFileName);
  try {
    // The trace of the run before is what tells of a program that ended by an error.
    if (parts_.FileSystem.Exists(path)) parts_.FileSystem.Copy(path, path + ".bak");
    return std::make_unique<LogFile>(path, LogFile::Begin::Anew);
  } catch (const RunTimeError& error) {
    trap_.fsERROR(Module, "Sub Open_Trace",
                  RunTimeError(error.Number(), "Could not open trace log file " + std::string(TraceFileName) +
                                                   " (" + error.what() + ")"));
    return nullptr;
  }
}

std::unique_ptr<CircularLog> TrapSession::Open_Circular() {
  try {
    return std::make_unique<CircularLog>(In_Folder(settings_.CircularFileName), settings_.RecordSize,
                                         settings_.MaxRecords);
  } catch (const RunTimeError& error) {
    trap_.fsERROR(Module, "Sub Open_Circular",
                  RunTimeError(error.Number(), "Could not open circular log file " +
                                                   settings_.CircularFileName + " (" + error.what() + ")"));
    return nullptr;
  }
}

TraceLoad TrapSession::Load() const {
  return {settings_.IncludeResources ? Free_Resources_Percent() : std::nullopt,
          settings_.IncludeMemory ? Memory_Load_Percent() : std::nullopt};
}

int TrapSession::Report(const TrappedError& error) {
  const ErrorRecord record = Record_Of(error);
  if (trace_) trace_->Flush();
  const bool logs = error_log_ != nullptr && (settings_.WriteToDisk || settings_.SilentRun);
  const int logged = logs ? error_log_->Begin(record) : 0;
  const auto finish = [&](const std::string& user_text) {
    if (logged != 0) error_log_->Finish(logged, user_text);
  };
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
  if (settings_.IncludeArguments) return error.CallStack;
  std::vector<std::string> tree;
  tree.reserve(error.CallStack.size());
  for (const std::string& entry : error.CallStack) tree.push_back(Without_Arguments(entry));
  return tree;
}

ErrorRecord TrapSession::Record_Of(const TrappedError& error) const {
  ErrorRecord record;
  record.When = General_Date_Text(parts_.Time);
  record.Category = Error_Category(error.Number);
  record.Source = Source();
  record.Module = Or_Unknown(error.Module);
  record.Procedure = Or_Unknown(error.Procedure);
  record.CodePointer = record.Module + std::string(Separator) + record.Procedure;
  record.Number = error.Number;
  record.Description = With_Detail(error.Description, error.Detail);
  record.CallTree = Call_Tree(error);
  if (settings_.ForceSystemInfo)
    record.SystemInformation = Machine_Description(parts_.Application, parts_.Look_At_Machine());
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
  question.Description = error.Description;
  question.Detail = error.Detail;
  question.CallTree = record.CallTree;
  question.ErrorCount = error.Count;
  question.ErrorInformation = Error_Information(record);
  question.CallTreeText = Joined(record.CallTree);
  question.SystemInformation = [this, known = record.SystemInformation] {
    return known.empty() ? Machine_Description(parts_.Application, parts_.Look_At_Machine()) : known;
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
    const MachineFacts machine = parts_.Look_At_Machine();
    std::string text = Error_Information(record);
    if (!user_text.empty()) text += "\nUser Said\n" + user_text + "\n";
    text += "\nCall Tree & Arguments\n" + Joined(record.CallTree);
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
  const MachineFacts machine = parts_.Look_At_Machine();
  const std::string report =
      Defect_Report(parts_.Application, machine, settings_, record, settings_.IncludeUser ? user_text : "");
  const std::string written = Write_Report(record, settings_.IncludeUser ? user_text : "");
  std::string attachment;
  if (settings_.AttachLog)
    attachment = error_log_ && !error_log_->Path().empty() ? error_log_->Path() : written;
  const std::string fault = parts_.Mail.Send(Error_Mail(settings_, machine, report, attachment));
  return fault.empty() ? "The report was handed to the mail program." : fault;
}

}  // namespace hq
