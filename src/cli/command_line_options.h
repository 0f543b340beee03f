#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace hq {

// What the user wrote on the command line; what is not there was not given.
struct CommandLineOptions {
  std::vector<std::string> Symbols;
  std::optional<int> IntervalPosition;  // in the list of intervals
  std::optional<int> FormatPosition;    // in the list of formats
  std::optional<std::string> Days;
  std::optional<std::string> EndDate;
  std::optional<std::string> OutputFolder;
  std::optional<std::string> RequestTemplate;
  std::optional<std::string> Source;
  std::optional<std::string> ProgramFolder;
  bool Version = false;
  std::optional<std::string> TextToEncipher;
  bool Saved = false;
  bool ListFormats = false;
  bool ListIntervals = false;
};

// Why there are no options: something is wrong (ExitCode 2) or the text itself is what was asked for (0).
struct CommandLineText {
  int ExitCode;
  std::string Text;
};

// Reads the arguments behind the program's name.
[[nodiscard]] std::variant<CommandLineOptions, CommandLineText> Read_Command_Line(
    const std::vector<std::string>& arguments);

// The position of the one interval of so many minutes, or nothing.
[[nodiscard]] std::optional<int> Find_Interval(std::string_view minutes);

// The positions of the formats that a text stands for: that of its index, of the one whose display text it
// is, or of all whose display text holds it. Letter case does not count.
[[nodiscard]] std::vector<int> Find_Formats(std::string_view text);

}  // namespace hq
