#include "cli/command_line_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace hq {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

CommandLineOptions Options(const std::vector<std::string>& arguments) {
  const auto read = Read_Command_Line(arguments);
  const auto* options = std::get_if<CommandLineOptions>(&read);
  EXPECT_NE(options, nullptr) << std::get<CommandLineText>(read).Text;
  return options == nullptr ? CommandLineOptions{} : *options;
}

CommandLineText Text(const std::vector<std::string>& arguments) {
  const auto read = Read_Command_Line(arguments);
  const auto* text = std::get_if<CommandLineText>(&read);
  EXPECT_NE(text, nullptr);
  return text == nullptr ? CommandLineText{-1, ""} : *text;
}

TEST(CommandLineOptionsTest, NothingGiven) {
  const CommandLineOptions options = Options({});
  EXPECT_THAT(options.Symbols, IsEmpty());
  EXPECT_FALSE(options.IntervalPosition || options.FormatPosition || options.Days || options.EndDate ||
               options.OutputFolder || options.RequestTemplate || options.Source || options.ProgramFolder ||
               options.TextToEncipher);
  EXPECT_FALSE(options.Saved || options.ListFormats || options.ListIntervals);
}

TEST(CommandLineOptionsTest, Everything) {
  const CommandLineOptions options =
      Options({"--interval", "5", "MSFT", "--days", "3", "--end-date", "03/14/03", "--format", "11",
               "--output", "/out", "--template", "http://x", "--program-folder", "/p", "--saved", "IBM"});
  EXPECT_THAT(options.Symbols, ElementsAre("MSFT", "IBM"));
  EXPECT_EQ(options.IntervalPosition, 1);
  EXPECT_EQ(options.FormatPosition, 11);
  EXPECT_EQ(options.Days, "3");
  EXPECT_EQ(options.EndDate, "03/14/03");
  EXPECT_EQ(options.OutputFolder, "/out");
  EXPECT_EQ(options.RequestTemplate, "http://x");
  EXPECT_EQ(options.ProgramFolder, "/p");
  EXPECT_TRUE(options.Saved);
  EXPECT_EQ(Options({"--source", "csv:/folder"}).Source, "csv:/folder");
  EXPECT_EQ(Options({"--days=-3"}).Days, "-3");
}

TEST(CommandLineOptionsTest, IntervalsByTheirMinutes) {
  const std::vector<std::string> minutes = {"1", "5", "10", "20", "30", "60", "1440"};
  for (size_t i = 0; i < minutes.size(); ++i) EXPECT_EQ(Find_Interval(minutes[i]), static_cast<int>(i));
  for (const char* other :
       {"", "0", "15", "-5", "+5", "0x5", "5.0", "5,", "5m", "daily", "99999999999999999999"}) {
    EXPECT_EQ(Find_Interval(other), std::nullopt) << other;
  }
  const CommandLineText refusal = Text({"--interval", "15"});
  EXPECT_EQ(refusal.ExitCode, 2);
  EXPECT_THAT(refusal.Text, HasSubstr("15 is none of 1, 5, 10, 20, 30, 60 and 1440"));
}

TEST(CommandLineOptionsTest, FormatsByIndexTextOrPart) {
  EXPECT_THAT(Find_Formats("0"), ElementsAre(0));
  EXPECT_THAT(Find_Formats("14"), ElementsAre(14));
  EXPECT_THAT(Find_Formats("15"), IsEmpty());
  EXPECT_THAT(Find_Formats("-1"), IsEmpty());
  EXPECT_THAT(Find_Formats("Text with header-Daily"), ElementsAre(13));
  EXPECT_THAT(Find_Formats("text WITH header-daily"), ElementsAre(13));
  EXPECT_THAT(Find_Formats("excel"), ElementsAre(4));
  EXPECT_THAT(Find_Formats("TradeStation 4"), ElementsAre(10));
  EXPECT_THAT(Find_Formats("TradeStation"), ElementsAre(9, 10));
  EXPECT_THAT(Find_Formats("Aget -Daily"), ElementsAre(0));
  EXPECT_THAT(Find_Formats("no such thing"), IsEmpty());
}

TEST(CommandLineOptionsTest, FormatsThatAreNotUniqueOrNotThereAreRefused) {
  const CommandLineText ambiguous = Text({"--format", "TradeStation"});
  EXPECT_EQ(ambiguous.ExitCode, 2);
  EXPECT_THAT(ambiguous.Text, HasSubstr("TradeStation 2000i-Intraday\n  TradeStation 4-Intraday"));
  const CommandLineText unknown = Text({"--format", "nothing"});
  EXPECT_EQ(unknown.ExitCode, 2);
  EXPECT_THAT(unknown.Text, HasSubstr("nothing is no output format"));
}

TEST(CommandLineOptionsTest, HelpAndVersionAreNoErrors) {
  const CommandLineText help = Text({"--help"});
  EXPECT_EQ(help.ExitCode, 0);
  for (const char* word :
       {"--interval", "--days", "--end-date", "--format", "--output", "--template", "--source",
        "--program-folder", "--saved", "--list-formats", "--list-intervals", "--version", "Exit code"}) {
    EXPECT_THAT(help.Text, HasSubstr(word));
  }
  EXPECT_TRUE(Options({"--version"}).Version);
}

TEST(CommandLineOptionsTest, SymbolsAreTakenAsTheyAre) {
  const std::vector<std::string> odd = {"[A,B]", "[]",  "[",   "[A", "{}",  "%%", "++",    "A,B",
                                        "\"A\"", "'A'", "/ES", "A=", "A;B", "",   "[A, ]", "sources"};
  std::vector<std::string> arguments = odd;
  arguments.emplace_back("--saved");
  EXPECT_EQ(Options(arguments).Symbols, odd);
  EXPECT_THAT(Options({"A", "--", "-B", "--saved", "[C,D]", "--output="}).Symbols,
              ElementsAre("A", "-B", "--saved", "[C,D]", "--output="));
}

TEST(CommandLineOptionsTest, ValuesAreTakenAsTheyAre) {
  for (const std::string& value :
       std::vector<std::string>{"[A,B]", "[]", "{}", "", "-x", "--saved", "a=b", "\"x\"", "%%"}) {
    const CommandLineOptions options =
        Options({"--output", value, "--end-date", value, "--days", value, "--source", value,
                 "--program-folder", value, "--encipher", value});
    for (const auto& taken : {options.OutputFolder, options.EndDate, options.Days, options.Source,
                              options.ProgramFolder, options.TextToEncipher}) {
      EXPECT_EQ(taken, value);
    }
    EXPECT_FALSE(options.Saved);
    EXPECT_THAT(options.Symbols, IsEmpty());
  }
  EXPECT_EQ(Options({"--output=[A,B]"}).OutputFolder, "[A,B]");
  EXPECT_EQ(Options({"--template", "[x]"}).RequestTemplate, "[x]");
}

TEST(CommandLineOptionsTest, AnOptionDoesNotTakeTheNextArgumentForItsEmptyValue) {
  const CommandLineText refusal = Text({"--output=", "MSFT"});
  EXPECT_EQ(refusal.ExitCode, 2);
  EXPECT_EQ(refusal.Text, "--output= has no value\n");
}

TEST(CommandLineOptionsTest, AnOptionGivenTwiceIsRefused) {
  EXPECT_EQ(Text({"--days", "1", "--days", "2"}).ExitCode, 2);
}

TEST(CommandLineOptionsTest, WhatIsNotUnderstoodIsRefused) {
  EXPECT_EQ(Text({"--no-such-option"}).ExitCode, 2);
  EXPECT_EQ(Text({"--days"}).ExitCode, 2);
  EXPECT_EQ(Text({"--template", "http://x", "--source", "simulated"}).ExitCode, 2);
}

}  // namespace
}  // namespace hq
