#include "cli/command_line_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <utility>

#include "base/arguments.h"
#include "base/strings.h"
#include "entry/interval_choice.h"
#include "output/format_catalogue.h"

namespace hq {

namespace {

constexpr const char* Footer = R"(
The log of the run goes to standard output, what goes wrong to standard error.
Without --template and without a server.ini that names one the quotes come
from a server inside this program: from the sources set up in server.ini, and
simulated when there are none. "history-quotes-cli sources --help" and
"history-quotes-cli archive --help" tell how to look at them.

Exit code: 0 every symbol's file was written, 1 a symbol failed or came back
without rows, 2 the entries were refused, 130 interrupted.)";

struct Refusal {
  std::string Text;
};

// The library takes an argument "[A,B]" for a list. With a character in front that no argument can hold it
// does not.
constexpr char Mark = '\0';

std::vector<std::string> Marked_And_Reversed(const std::vector<std::string>& arguments) {
  std::vector<std::string> marked(arguments.rbegin(), arguments.rend());
  for (std::string& argument : marked) {
    if (argument.starts_with('[')) argument.insert(argument.begin(), Mark);
  }
  return marked;
}

void Remove_Mark(std::string& text) {
  if (text.starts_with(Mark)) text.erase(0, 1);
}

int Interval_Position(const std::string& minutes) {
  if (const std::optional<int> position = Find_Interval(minutes)) return *position;
  throw Refusal{"--interval: " + minutes + " is none of 1, 5, 10, 20, 30, 60 and 1440 minutes"};
}

int Format_Position(const std::string& text) {
  const std::vector<int> found = Find_Formats(text);
  if (found.size() == 1) return found.front();
  std::string refusal = "--format: " + text + (found.empty() ? " is no output format" : " may be any of");
  for (const int position : found) {
    refusal += "\n  " + Format_Display_Name(Format_Items()[static_cast<size_t>(position)]);
  }
  throw Refusal{refusal + (found.empty() ? "; --list-formats lists them" : "")};
}

}  // namespace

std::variant<CommandLineOptions, CommandLineText> Read_Command_Line(
    const std::vector<std::string>& arguments) {
  CommandLineOptions options;
  std::optional<std::string> interval;
  std::optional<std::string> format;

  if (const std::string option = Option_Without_Value(arguments); !option.empty())
    return CommandLineText{2, option + " has no value\n"};

  CLI::App app("Downloads historical stock quotes, one text file for each symbol.", "history-quotes-cli");
  // Futures are written so: /ES.
  app.allow_windows_style_options(false);
  app.footer(Footer);
  app.add_flag("--version", options.Version, "Print the version and the program folder");
  app.add_option("SYMBOL", options.Symbols, "Symbols to download");
  app.add_option("--interval", interval, "1, 5, 10, 20, 30, 60 or 1440 (a day)")->option_text("MINUTES");
  app.add_option("--days", options.Days, "Trading days to keep, 1 to the interval's day limit")
      ->option_text("N");
  app.add_option("--end-date", options.EndDate, "The last day wanted; default: today")
      ->option_text("MM/DD/YY|MM/DD/YYYY");
  app.add_option("--format", format, "0 to 14, or a format's list text or a unique part of it")
      ->option_text("INDEX|TEXT");
  app.add_option("--output", options.OutputFolder, "The folder for the files")->option_text("FOLDER");
  CLI::Option* request =
      app.add_option(
             "--template", options.RequestTemplate,
             "Request template with XXX (interval), DDD (date) and SSS (symbol); default: that of server.ini")
          ->option_text("ADDRESS");
  app.add_option("--source", options.Source,
                 "Where the server inside gets its quotes: live, simulated, csv:FOLDER, the name of a "
                 "source such as tiingo, or a list of these with commas; default: that of server.ini")
      ->option_text("SPEC")
      ->excludes(request);
  app.add_option(
         "--program-folder", options.ProgramFolder,
         "Where user.cfg, server.ini and FSCLIENT.INI lie; default: the program's own folder, or with the "
         "user's own data in an installed copy")
      ->option_text("DIR");
  app.add_flag("--saved", options.Saved,
               "Take from user.cfg whatever is not given here, its symbols included; not the days, which are "
               "those of the interval");
  app.add_option("--encipher", options.TextToEncipher,
                 "Print the address in the enciphered form that server.ini takes")
      ->option_text("ADDRESS");
  app.add_flag("--list-formats", options.ListFormats, "List the output formats");
  app.add_flag("--list-intervals", options.ListIntervals, "List the intervals");
  try {
    app.parse(Marked_And_Reversed(arguments));
    for (std::string& symbol : options.Symbols) Remove_Mark(symbol);
    for (std::optional<std::string>* value :
         {&interval, &format, &options.Days, &options.EndDate, &options.OutputFolder,
          &options.RequestTemplate, &options.Source, &options.ProgramFolder, &options.TextToEncipher}) {
      if (*value) Remove_Mark(**value);
    }
    if (interval) options.IntervalPosition = Interval_Position(*interval);
    if (format) options.FormatPosition = Format_Position(*format);
  } catch (const CLI::ParseError& error) {
    std::ostringstream text;
    const int code = app.exit(error, text, text);
    return CommandLineText{code == 0 ? 0 : 2, text.str()};
  } catch (const Refusal& refusal) {
    return CommandLineText{2, refusal.Text + "\n"};
  }
  return options;
}

std::optional<int> Find_Interval(std::string_view minutes) {
  const std::optional<int> number = Number_Of_Digits(minutes);
  const auto& choices = Interval_Choices();
  const auto found = std::find_if(choices.begin(), choices.end(),
                                  [&](const IntervalChoice& choice) { return choice.Minutes == number; });
  if (found == choices.end()) return std::nullopt;
  return static_cast<int>(found - choices.begin());
}

std::vector<int> Find_Formats(std::string_view text) {
  const std::optional<int> index = Number_Of_Digits(text);
  if (index) return *index >= 0 && *index < FormatItemCount ? std::vector<int>{*index} : std::vector<int>{};
  std::vector<int> holding;
  for (int i = 0; i < FormatItemCount; ++i) {
    const std::string name = Upper_Case(Format_Display_Name(Format_Items()[static_cast<size_t>(i)]));
    if (name == Upper_Case(Trim(text))) return {i};
    if (Contains(name, Upper_Case(text))) holding.push_back(i);
  }
  return holding;
}

}  // namespace hq
