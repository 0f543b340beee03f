#include "cli/command_line.h"

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "base/arguments.h"
#include "base/strings.h"
#include "cli/command_line_options.h"
#include "cli/console.h"
#include "cli/sources_command.h"
#include "cli/trap_parts.h"
#include "entry/interval_choice.h"
#include "errortrap/trap_session.h"
#include "platform/paths.h"
#include "platform/server_settings_file.h"
#include "quotes/curl_transfer.h"
#include "quotes/request.h"
#include "server/http/quote_server.h"
#include "server/setup/source_setup.h"
#include "shell/server_settings.h"
#include "shell/settings_file.h"

namespace hq {

namespace {

constexpr int IntradayTextWithHeader = 11;
constexpr size_t MostSymbols = 32768;

// The folder as one that another name is joined to: "C:\data\" and "C:\" as "C:\data" and "C:".
std::string Without_Separator_At_End(std::string folder) {
  const std::string separators{'/', static_cast<char>(std::filesystem::path::preferred_separator)};
  // In some code pages a letter ends in the byte of a backslash.
  while (folder.size() > 1 && Contains(separators, folder.substr(folder.size() - 1)) &&
         !System_Path(folder).has_filename())
    folder.pop_back();
  return folder;
}

// Why nothing was done, for the user.
struct Refusal {
  std::string Text;
};

void List_Formats(std::ostream& out) {
  for (const std::string& item : Format_Items()) {
    out << item.substr(item.size() - 2) << "  " << Format_Display_Name(item) << '\n';
  }
}

void List_Intervals(std::ostream& out) {
  for (const IntervalChoice& choice : Interval_Choices()) {
    const std::string minutes = std::to_string(choice.Minutes);
    out << std::string(4 - minutes.size(), ' ') << minutes << "  " << Interval_Caption(choice.Text) << '\n';
  }
}

// The year as its box takes it, two digits that stand for 1950 to 2049.
std::string Year_Text(const std::string& year, const std::string& date) {
  const std::optional<int> number = Number_Of_Digits(year);
  if (number && year.size() <= 2) return year;
  if (!number || year.size() != 4)
    throw Refusal{"--end-date: the year of " + date + " has neither two digits nor four"};
  if (*number < 1950 || *number > 2049)
    throw Refusal{"--end-date: the year " + year + " is none of 1950 to 2049"};
  return year.substr(2);
}

// A date as the three boxes of the window take it.
std::array<std::string, 3> End_Date_Texts(const std::string& date) {
  const size_t first = date.find('/');
  const size_t second = first == std::string::npos ? first : date.find('/', first + 1);
  if (second == std::string::npos)
    throw Refusal{"--end-date: " + date + " is not of the form MM/DD/YY or MM/DD/YYYY"};
  std::array<std::string, 3> texts = {date.substr(0, first), date.substr(first + 1, second - first - 1), ""};
  for (int box = 0; box < 2; ++box) {
    const std::string fault = End_Date_Fault(box, texts[static_cast<size_t>(box)]);
    if (!fault.empty()) throw Refusal{"--end-date: " + fault};
  }
  texts[2] = Year_Text(date.substr(second + 1), date);
  try {
    static_cast<void>(Parse_Date(texts[0] + "/" + texts[1] + "/" + texts[2]));
  } catch (const RunTimeError&) {
    throw Refusal{"--end-date: " + date + " is no date"};
  }
  return texts;
}

// The days as the window's box takes them. The box takes "1e9" and "5," too, for what they begin with.
std::string Days_Text(const std::string& days, const std::string& interval) {
  const std::optional<int> number = Number_Of_Digits(days);
  if (number && *number <= Day_Limit(interval)) return days;
  const bool is_number =
      number || (!days.empty() && days.find_first_not_of("0123456789") == std::string::npos);
  throw Refusal{(is_number ? "--days: " : "--days: " + days + " is no whole number. ") +
                Days_Fault(interval, "0")};
}

// A folder given by an option, so that no file is taken for one.
void Refuse_Unless_Folder(const char* option, const std::string& path) {
  std::error_code unknown;
  const auto status = std::filesystem::status(System_Path(path), unknown);
  if (std::filesystem::exists(status) && !std::filesystem::is_directory(status))
    throw Refusal{std::string(option) + ": " + path + " is no folder"};
}

int Position_In_List(int position, int count, const char* what) {
  if (position >= 0 && position < count) return position;
  throw Refusal{"user.cfg: no " + std::string(what) + " has the position " + std::to_string(position)};
}

// One run of the command line.
class CommandLineRun {
 public:
  CommandLineRun(CommandLineOptions options, const CommandLineEnvironment& environment)
      : options_(std::move(options)),
        environment_(environment),
        places_(Places_Of_Run(environment, options_.ProgramFolder)),
        program_folder_(places_.Program),
        folder_fault_(Prepare_Program_Folder(places_)),
        console_(environment.Out, environment.Err, environment.TerminalWidth),
        trap_(&environment.Loop),
        session_(trap_, Trap_Parts(environment, program_folder_, console_)) {}

  // An error that no procedure has handled goes to the trap.
  int Run() {
    try {
      return Run_To_Its_End();
    } catch (const std::exception&) {
      trap_.Complain("command_line.cpp", "Function Run", Current_Error());
      return exit_code::SymbolsFailed;
    }
  }

 private:
  int Run_To_Its_End() {
    Load_Format(trap_, state_.Formats, state_.Settings);
    if (options_.ProgramFolder && !environment_.FileSystem.Exists(program_folder_)) {
      throw Refusal{"--program-folder: " + program_folder_ + " does not exist"};
    }
    if (!folder_fault_.empty()) console_.Tell(folder_fault_);
    const bool readable = !options_.Saved || Load_Config(trap_, console_, environment_.FileSystem,
                                                         program_folder_, saved_, state_.Settings);
    if (!readable) return exit_code::Refused;
    const EntryTexts entry = Entry();
    Fill_Symbols();
    state_.RequestTemplate = Request_Template();
    if (environment_.Before_Run) environment_.Before_Run();
    int code = exit_code::Done;
    try {
      code = Download(entry);
    } catch (const Interrupted&) {
      // The program ends at once: a server that is in the middle of a large file is not waited for.
      static_cast<void>(server_.release());
      throw;
    }
    server_.reset();
    // What the server has told last.
    environment_.Loop.DoEvents();
    return code;
  }

  EntryTexts Entry() const {
    EntryTexts entry;
    const int interval =
        options_.IntervalPosition
            ? *options_.IntervalPosition
            : Position_In_List(Restored_Interval(saved_.IntervalPosition), IntervalCount, "interval");
    entry.IntervalPosition = interval;
    entry.Interval = Interval_Choices()[static_cast<size_t>(interval)].Text;
    entry.OutputFormat = Format_Items()[static_cast<size_t>(Format_Position(entry.Interval))];
    if (options_.OutputFolder) Refuse_Unless_Folder("--output", *options_.OutputFolder);
    entry.OutputFolder = options_.OutputFolder ? Without_Separator_At_End(*options_.OutputFolder)
                                               : state_.Settings.OutputFolder;
    entry.Days =
        options_.Days ? Days_Text(*options_.Days, entry.Interval) : std::to_string(Day_Limit(entry.Interval));
    entry.EndDate =
        End_Date_Texts(options_.EndDate.value_or(Format_Date(environment_.Time.Today(), "MM/DD/YY")));
    return entry;
  }

  int Format_Position(const std::string& interval_text) const {
    if (options_.FormatPosition) return *options_.FormatPosition;
    // Nobody has chosen a format: one that goes with the interval.
    if (saved_.FormatPosition == -1 && Is_Intraday(interval_text)) return IntradayTextWithHeader;
    return Position_In_List(Restored_Format(saved_.FormatPosition), FormatItemCount, "output format");
  }

  static void Refuse_Too_Many(size_t symbols) {
    if (symbols > MostSymbols) throw Refusal{"at most 32768 symbols go into one run"};
  }

  void Fill_Symbols() {
    Refuse_Too_Many(options_.Symbols.size());
    for (const std::string& typed : options_.Symbols) {
      const std::string symbol = Stored_Symbol(typed);
      if (symbol.empty()) throw Refusal{"a symbol is empty"};
      if (stocks_.Holds(symbol)) {
        console_.Tell("Stock symbol " + symbol + " already exists.");
      } else {
        stocks_.Add(symbol);
      }
    }
    if (options_.Symbols.empty() && options_.Saved) {
      const std::vector<std::string> saved = Restored_Symbols(saved_.SymbolLine);
      Refuse_Too_Many(saved.size());
      for (const std::string& symbol : saved) {
        if (!Trim(symbol).empty()) stocks_.Add(symbol);
      }
    }
    stocks_.Select_All();
  }

  // The template to use; starts the server inside when no other is named.
  std::string Request_Template() {
    try {
      if (options_.RequestTemplate) {
        const std::string plain = Decipher(*options_.RequestTemplate);
        const std::string fault = Template_Fault(plain);
        if (!fault.empty()) throw Refusal{"--template: " + fault};
        return plain;
      }
    } catch (const RunTimeError& error) {
      throw Refusal{error.Detail()};
    }
    ServerSettingsFile settings(environment_.FileSystem, Join_Path(program_folder_, ServerSettingsFileName));
    if (const std::string fault = settings.Fault(); !fault.empty()) throw Refusal{fault};
    if (!options_.Source) {
      const ServerSettings named = Read_Server_Settings(settings.Text());
      if (!named.Fault.empty()) throw Refusal{settings.Path() + ", " + named.Fault};
      if (!named.RequestTemplate.empty()) return named.RequestTemplate;
    }
    return Start_Server(settings);
  }

  std::string Start_Server(ServerSettingsFile& settings) {
    std::shared_ptr<server::QuoteSource> source;
    server::ServerOptions serving;
    std::string note;
    try {
      // Called from the server's threads, so it goes through the loop to the one thread that writes.
      const auto report = [this, alive = std::weak_ptr<char>(alive_)](const std::string& line) {
        environment_.Loop.Post([this, alive, line] {
          if (!alive.expired()) console_.Tell(line);
        });
      };
      server::SourceSetUp setup{
          server::Places_In(program_folder_, "history-quotes/" HQ_VERSION, places_.Package), settings,
          report};
      if (!options_.Source) note = setup.First_Start_Note();
      source = setup.Make(options_.Source);
      serving.Hosts = setup.Settings().Hosts;
    } catch (const std::invalid_argument& error) {
      throw Refusal{(options_.Source ? "--source: " : "server.ini: ") + std::string(error.what())};
    }
    if (!source->Real_Quotes()) console_.Tell(source->Description());
    if (!note.empty()) console_.Tell(note);
    server_ = std::make_unique<server::QuoteServer>(std::move(source), std::move(serving));
    return Default_Request_Template(server_->Start());
  }

  int Download(const EntryTexts& entry) {
    CurlTransfer inet(environment_.Loop, {.Version = HQ_VERSION});
    DownloadRun run(state_, {trap_, console_, environment_.Loop, environment_.FileSystem, environment_.Time,
                             inet, console_, console_});
    int written = 0;
    run.Symbol_Done = [&](const SymbolOutcome& outcome) {
      if (outcome.Written && outcome.Reason.empty()) ++written;
      if (!outcome.Reason.empty()) console_.Tell(outcome.Symbol + ": " + outcome.Reason);
      console_.Symbol_Done();
    };
    console_.Begin_Progress(stocks_.Count());
    const bool valid = run.cmddownload_Click(stocks_, entry);
    console_.End_Progress();
    if (!valid) return exit_code::Refused;
    return written == stocks_.Count() ? exit_code::Done : exit_code::SymbolsFailed;
  }

  const CommandLineOptions options_;
  const CommandLineEnvironment& environment_;
  const ProgramPlaces places_;
  const std::string program_folder_;
  const std::string folder_fault_;
  Console console_;
  modFailSafe trap_;
  TrapSession session_;
  SharedState state_;
  SavedChoices saved_;
  SymbolList stocks_;
  std::unique_ptr<server::QuoteServer> server_;
  std::shared_ptr<char> alive_ =
      std::make_shared<char>();  // goes with this object: events in the loop may outlive it
};

// The exit code, or that of a failure when standard output did not take what was written to it.
int Unless_Lost(int code, const CommandLineEnvironment& environment) {
  if (environment.Out.flush() || code != exit_code::Done) return code;
  environment.Err << "Standard output could not be written." << std::endl;
  return exit_code::SymbolsFailed;
}

}  // namespace

ProgramPlaces Places_Of_Run(const CommandLineEnvironment& environment,
                            const std::optional<std::string>& named) {
  const std::string& package =
      environment.PackageFolder.empty() ? environment.ProgramFolder : environment.PackageFolder;
  if (named) return {*named, package};
  return {environment.ProgramFolder, package, environment.MayMakeProgramFolder};
}

int Command_Line(const std::vector<std::string>& arguments, const CommandLineEnvironment& environment) {
  if (Is_Sources_Command(arguments)) return Unless_Lost(Sources_Command(arguments, environment), environment);
  const auto read = Read_Command_Line(arguments);
  if (const auto* text = std::get_if<CommandLineText>(&read)) {
    (text->ExitCode == exit_code::Done ? environment.Out : environment.Err) << text->Text << std::flush;
    return text->ExitCode;
  }
  const auto& options = std::get<CommandLineOptions>(read);
  if (options.Version) {
    environment.Out << "history-quotes-cli " HQ_VERSION "\n"
                    << "Program folder: " << Places_Of_Run(environment, options.ProgramFolder).Program
                    << '\n';
    return Unless_Lost(exit_code::Done, environment);
  }
  if (options.ListFormats) List_Formats(environment.Out);
  if (options.ListIntervals) List_Intervals(environment.Out);
  if (options.TextToEncipher) environment.Out << Encipher(*options.TextToEncipher) << '\n';
  if (options.ListFormats || options.ListIntervals || options.TextToEncipher)
    return Unless_Lost(exit_code::Done, environment);
  try {
    // Before the trap looks for its settings in there.
    if (options.ProgramFolder) Refuse_Unless_Folder("--program-folder", *options.ProgramFolder);
    return Unless_Lost(CommandLineRun(options, environment).Run(), environment);
  } catch (const Refusal& refusal) {
    environment.Err << refusal.Text << std::endl;
    return exit_code::Refused;
  } catch (const Interrupted&) {
    environment.Err << "Interrupted." << std::endl;
    return exit_code::InterruptedByUser;
  } catch (const std::exception& error) {
    environment.Err << error.what() << std::endl;
    return exit_code::SymbolsFailed;
  }
}

}  // namespace hq
