#include "cli/sources_command.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "base/arguments.h"
#include "cli/console.h"
#include "cli/trap_parts.h"
#include "errortrap/procedure.h"
#include "platform/paths.h"
#include "server/archive/archive.h"
#include "server/setup/source_setup.h"

namespace hq {

namespace {

using server::Archive;
using server::SeriesInfo;
using server::SourceSetUp;

struct Arguments {
  std::string ProgramFolder;
  std::string Name;
  std::string Symbol;
  std::string List;
  std::string Source;
  std::string Adjustment;
  std::string Before;
  std::string From;
  std::string To;
  std::string Interval = std::to_string(server::daily_interval);
};

std::string Padded(std::string text, size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

int Positive_Number(std::string_view text) {
  return Number_Of_Digits(text).value_or(-1);
}

// Raises std::invalid_argument.
server::Day Read_Day(const std::string& text, const std::string& option) {
  const std::string_view view = text;
  if (view.size() == 10 && view[4] == '-' && view[7] == '-') {
    const std::chrono::year_month_day day{
        std::chrono::year{Positive_Number(view.substr(0, 4))},
        std::chrono::month{static_cast<unsigned>(Positive_Number(view.substr(5, 2)))},
        std::chrono::day{static_cast<unsigned>(Positive_Number(view.substr(8, 2)))}};
    if (day.ok() && day.year() >= std::chrono::year{1900}) return day;
  }
  throw std::invalid_argument(option + ": " + text + " is no date of the form YYYY-MM-DD");
}

std::string Day_Text(server::Day day) {
  return server::New_York_Text(std::chrono::sys_days{day} + std::chrono::hours{17}).substr(0, 10);
}

void List_Sources(SourceSetUp& setup, std::ostream& out) {
  int number = 0;
  bool tells_others = false;
  for (const server::SourceEntry& entry : setup.Sources()) {
    if (!entry.In_Use && !tells_others) out << "Not in use:\n";
    tells_others = tells_others || !entry.In_Use;
    out << (entry.In_Use ? Padded(std::to_string(++number), 3) : "   ") << Padded(entry.Status.Name, 14)
        << Padded(server::State_Text(entry.Status), 15);
    for (const server::KeyEntry& key : entry.Keys) {
      if (key.Masked.empty()) continue;
      out << "  " << key.Label << " " << key.Masked << (key.From_Variable ? " (" + key.Variable + ")" : "");
    }
    out << '\n';
    if (!entry.Status.Reason.empty()) out << "     " << entry.Status.Reason << '\n';
  }
  for (const std::string& error : setup.Profile_Errors()) out << "Not used: " << error << '\n';
  out << "Archive: " << setup.Archive_Size() << " bytes\n";
}

int Test_Source(SourceSetUp& setup, const Arguments& arguments, std::ostream& out) {
  const server::SourceTrial trial = setup.Test(arguments.Name, arguments.Symbol);
  if (!trial.Works) out << "Failed: " << trial.Failed_Hop << '\n';
  out << trial.Text << '\n';
  if (!trial.Next_Step.empty()) out << "Next: " << trial.Next_Step << '\n';
  return trial.Works ? exit_code::Done : exit_code::SymbolsFailed;
}

void Use_Sources(SourceSetUp& setup, const std::string& list, std::ostream& out) {
  // Nothing is kept that can't be used.
  static_cast<void>(setup.Make(list));
  server::SourceSettings settings = setup.Settings();
  settings.Source = list;
  setup.Save(settings);
  out << "Sources: " << list << '\n';
}

std::string Same_Case(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

void List_Archive(Archive& archive, const std::string& symbol, std::ostream& out) {
  std::uint64_t bars = 0;
  for (const SeriesInfo& info : archive.List()) {
    if (!symbol.empty() && info.Key.Symbol != Same_Case(symbol)) continue;
    bars += info.Bars;
    out << Padded(info.Key.Source, 14) << Padded(info.Key.Symbol, 12)
        << Padded(std::to_string(info.Key.Interval), 5) << Padded(info.Key.Adjustment, 10)
        << Padded(std::to_string(info.Bars), 9)
        << (info.Bars == 0 ? std::string(22, ' ')
                           : Day_Text(info.Days.First) + "  " + Day_Text(info.Days.Last))
        << "  fetched " << server::New_York_Text(info.Last_Fetch);
    if (info.Not_Final > 0) out << "  (" << info.Not_Final << " not final)";
    out << '\n';
  }
  out << bars << " bars, " << archive.File_Size() << " bytes\n";
}

int Export_Archive(Archive& archive, const Arguments& arguments, const CommandLineEnvironment& environment) {
  const server::DayRange days{
      arguments.From.empty() ? server::Day::min() : Read_Day(arguments.From, "--from"),
      arguments.To.empty() ? server::Day{} : Read_Day(arguments.To, "--to")};
  std::vector<SeriesInfo> found;
  for (SeriesInfo& info : archive.List()) {
    if (info.Bars > 0 && info.Key.Symbol == Same_Case(arguments.Symbol) &&
        info.Key.Interval == Number_Of_Digits(arguments.Interval) &&
        (arguments.Source.empty() || info.Key.Source == arguments.Source) &&
        (arguments.Adjustment.empty() || info.Key.Adjustment == arguments.Adjustment))
      found.push_back(std::move(info));
  }
  if (found.empty()) {
    environment.Err << "The archive has no such bars; \"archive\" lists what it has." << std::endl;
    return exit_code::SymbolsFailed;
  }
  if (found.size() > 1) {
    environment.Err << "The archive has several of these; choose one with --source and --adjustment:\n";
    for (const SeriesInfo& info : found)
      environment.Err << info.Key.Source << ' ' << info.Key.Adjustment << '\n';
    environment.Err << std::flush;
    return exit_code::Refused;
  }
  const server::DayRange held = found.front().Days;
  archive.Export_Csv(
      found.front().Key,
      {arguments.From.empty() ? held.First : days.First, arguments.To.empty() ? held.Last : days.Last},
      environment.Out);
  return exit_code::Done;
}

int Check_Archive(Archive& archive, bool is_trouble_told, std::ostream& out) {
  const std::vector<std::string> findings = archive.Check();
  for (const std::string& finding : findings) out << finding << '\n';
  if (!findings.empty() || is_trouble_told) return exit_code::SymbolsFailed;
  out << "The archive is sound.\n";
  return exit_code::Done;
}

}  // namespace

bool Is_Sources_Command(const std::vector<std::string>& arguments) {
  return !arguments.empty() && (arguments.front() == "sources" || arguments.front() == "archive");
}

int Sources_Command(const std::vector<std::string>& arguments, const CommandLineEnvironment& environment) {
  if (const std::string option = Option_Without_Value(arguments); !option.empty()) {
    environment.Err << option << " has no value" << std::endl;
    return exit_code::Refused;
  }
  Arguments given;
  given.ProgramFolder = environment.ProgramFolder;
  CLI::App app("Looks at and changes where quotes come from.", "history-quotes-cli");
  app.require_subcommand(1);
  app.fallthrough();
  app.allow_windows_style_options(false);
  app.add_option("--program-folder", given.ProgramFolder, "Where server.ini and quotes.db lie")
      ->option_text("DIR");
  CLI::App* sources = app.add_subcommand("sources", "List the sources of quotes with their states");
  sources->require_subcommand(0, 1);
  CLI::App* test = sources->add_subcommand("test", "Ask one source for a symbol over the network");
  test->add_option("NAME", given.Name, "The source, such as tiingo")->required();
  given.Symbol = "MSFT";
  test->add_option("--symbol", given.Symbol, "The symbol to ask for")->capture_default_str();
  CLI::App* use =
      sources->add_subcommand("use", "Keep a list of sources, in the order in which they are asked");
  use->add_option("LIST", given.List, "live, simulated, csv:FOLDER or names of sources, with commas")
      ->required();

  CLI::App* archive = app.add_subcommand("archive", "List what the archive of fetched quotes holds");
  archive->require_subcommand(0, 1);
  std::string listed_symbol;
  archive->add_option("--symbol", listed_symbol, "Only this symbol");
  CLI::App* write =
      archive->add_subcommand("export", "Write bars to standard output, as comma-separated values");
  std::string exported_symbol;
  write->add_option("SYMBOL", exported_symbol, "The symbol")->required();
  write->add_option("--interval", given.Interval, "Of the bars as they were fetched, in minutes")
      ->check([](const std::string& text) {
        return Number_Of_Digits(text) ? std::string{} : text + " is no number of minutes";
      })
      ->capture_default_str();
  write->add_option("--source", given.Source, "Where they were fetched");
  write->add_option("--adjustment", given.Adjustment, "raw, splits or full");
  write->add_option("--from", given.From, "First day")->option_text("YYYY-MM-DD");
  write->add_option("--to", given.To, "Last day")->option_text("YYYY-MM-DD");
  CLI::App* shrink = archive->add_subcommand("shrink", "Delete old bars and give their room back");
  shrink->add_option("--before", given.Before, "Bars of days before this one are deleted")
      ->option_text("YYYY-MM-DD")
      ->required();
  const CLI::App* check = archive->add_subcommand("check", "Look for damage");
  try {
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    app.parse(std::move(reversed));
  } catch (const CLI::ParseError& error) {
    std::ostringstream text;
    const int code = app.exit(error, text, text);
    (code == 0 ? environment.Out : environment.Err) << text.str() << std::flush;
    return code == 0 ? exit_code::Done : exit_code::Refused;
  }

  std::error_code unknown;
  if (given.ProgramFolder != environment.ProgramFolder &&
      !std::filesystem::is_directory(System_Path(given.ProgramFolder), unknown)) {
    environment.Err << "--program-folder: " << given.ProgramFolder << " is no folder" << std::endl;
    return exit_code::Refused;
  }
  const ProgramPlaces program = Places_Of_Run(environment, given.ProgramFolder == environment.ProgramFolder
                                                               ? std::nullopt
                                                               : std::optional(given.ProgramFolder));
  // Before anything that may write there.
  const std::string folder_fault = Prepare_Program_Folder(program);
  if (!folder_fault.empty()) environment.Err << folder_fault << std::endl;
  Console console(environment.Out, environment.Err, environment.TerminalWidth);
  modFailSafe trap(&environment.Loop);
  const TrapSession session(trap, Trap_Parts(environment, given.ProgramFolder, console));
  constexpr ProcedureName here{"sources_command.cpp", "Function Sources_Command"};
  const auto run = [&] {
    const auto report = [&environment](const std::string& line) { environment.Err << line << std::endl; };
    try {
      const server::SourcePlaces places =
          server::Places_In(given.ProgramFolder, "history-quotes/" HQ_VERSION, program.Package);
      if (sources->parsed()) {
        ServerSettingsFile settings(environment.FileSystem,
                                    Join_Path(given.ProgramFolder, ServerSettingsFileName));
        if (const std::string fault = settings.Fault(); !fault.empty()) throw SettingsError(fault);
        SourceSetUp setup{places, settings, report};
        if (test->parsed()) return Test_Source(setup, given, environment.Out);
        if (use->parsed()) {
          Use_Sources(setup, given.List, environment.Out);
        } else {
          List_Sources(setup, environment.Out);
        }
        return exit_code::Done;
      }
      if (!std::filesystem::exists(places.Archive, unknown)) {
        environment.Err << "There is no archive yet: nothing was fetched." << std::endl;
        return exit_code::SymbolsFailed;
      }
      const server::Day before = shrink->parsed() ? Read_Day(given.Before, "--before") : server::Day{};
      bool is_trouble_told = false;
      Archive quotes{places.Archive, [&](const std::string& line) {
                       is_trouble_told = true;
                       report(line);
                     }};
      if (check->parsed()) return Check_Archive(quotes, is_trouble_told, environment.Out);
      if (write->parsed()) {
        given.Symbol = exported_symbol;
        return Export_Archive(quotes, given, environment);
      }
      if (shrink->parsed()) {
        environment.Out << quotes.Shrink(before) << " bars deleted, " << quotes.File_Size()
                        << " bytes left\n";
      } else {
        List_Archive(quotes, listed_symbol, environment.Out);
      }
      return exit_code::Done;
    } catch (const std::invalid_argument& error) {
      environment.Err << error.what() << std::endl;
      return exit_code::Refused;
    } catch (const SettingsError& error) {
      environment.Err << error.what() << std::endl;
      return exit_code::Refused;
    }
  };
  return With_Own_Handler(trap, here, run, [&](const RunTimeError& error) {
    trap.fsERROR(here.Module, here.Procedure, error);
    return exit_code::SymbolsFailed;
  });
}

}  // namespace hq
