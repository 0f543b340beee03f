#pragma once

#include <cstddef>
#include <string_view>

// The rules of the profile reader, each as a file's text and what a key of it reads as. They hold for every
// reader of such files, so that each can be tried with them.

namespace hq::test {

struct ProfileCase {
  std::string_view Name;
  std::string_view Text;  // the file's bytes
  std::string_view Section;
  std::string_view Key;
  std::string_view Expected;
  std::string_view Fallback = "fallback";
  std::size_t Longest = 255;  // bytes that the reader has room for
};

inline constexpr ProfileCase ProfileCases[] = {
    {"Plain", "[A]\r\nKey=value\r\n", "A", "Key", "value"},
    {"SecondSection", "[A]\r\nKey=1\r\n[B]\r\nKey=2\r\n", "B", "Key", "2"},
    {"KeyOfAnotherSection", "[A]\r\nKey=1\r\n[B]\r\nOther=2\r\n", "B", "Key", "fallback"},
    {"MissingSection", "[A]\r\nKey=1\r\n", "B", "Key", "fallback"},
    {"MissingKey", "[A]\r\nKey=1\r\n", "A", "Other", "fallback"},
    {"NothingInTheFile", "", "A", "Key", "fallback"},
    {"OnlyLineEnds", "\r\n\r\n", "A", "Key", "fallback"},

    {"SectionWithoutRegardToCase", "[Log File]\r\nKey=1\r\n", "lOG fILE", "Key", "1"},
    {"KeyWithoutRegardToCase", "[A]\r\nCapture To Disk=1\r\n", "A", "CAPTURE to disk", "1"},
    {"ValueKeepsItsCase", "[A]\r\nKey=VaLuE\r\n", "A", "Key", "VaLuE"},
    {"SectionIsNoPrefix", "[Log File]\r\nKey=1\r\n", "Log", "Key", "fallback"},
    {"KeyIsNoPrefix", "[A]\r\nKeyboard=1\r\n", "A", "Key", "fallback"},
    {"BlanksWithinNamesCount", "[Log File]\r\nKey=1\r\n", "LogFile", "Key", "fallback"},

    {"BlanksAroundTheKey", "[A]\r\n  Key  =value\r\n", "A", "Key", "value"},
    {"TabsAroundTheKey", "[A]\r\n\tKey\t=value\r\n", "A", "Key", "value"},
    {"BlanksAroundTheValue", "[A]\r\nKey=  value  \r\n", "A", "Key", "value"},
    {"TabsAroundTheValue", "[A]\r\nKey=\tvalue\t\r\n", "A", "Key", "value"},
    {"BlanksWithinTheValue", "[A]\r\nKey=a  \t b\r\n", "A", "Key", "a  \t b"},
    {"BlanksBeforeTheSection", "  \t[A]\r\nKey=value\r\n", "A", "Key", "value"},
    {"BlanksWithinTheBrackets", "[ A ]\r\nKey=value\r\n", "A", "Key", "value"},

    {"DoubleQuotes", "[A]\r\nKey=\"value\"\r\n", "A", "Key", "value"},
    {"SingleQuotes", "[A]\r\nKey='value'\r\n", "A", "Key", "value"},
    {"QuotesKeepBlanks", "[A]\r\nKey= \" value \" \r\n", "A", "Key", " value "},
    {"OnlyOnePairOfQuotes", "[A]\r\nKey=\"\"value\"\"\r\n", "A", "Key", "\"value\""},
    {"QuotesWithinQuotes", "[A]\r\nKey='\"value\"'\r\n", "A", "Key", "\"value\""},
    {"QuotesThatDiffer", "[A]\r\nKey=\"value'\r\n", "A", "Key", "\"value'"},
    {"QuoteOnlyBefore", "[A]\r\nKey=\"value\r\n", "A", "Key", "\"value"},
    {"QuoteOnlyBehind", "[A]\r\nKey=value\"\r\n", "A", "Key", "value\""},
    {"QuotesWithinTheValue", "[A]\r\nKey=\"a\"b\r\n", "A", "Key", "\"a\"b"},
    {"OneQuote", "[A]\r\nKey=\"\r\n", "A", "Key", "\""},
    {"EmptyQuotes", "[A]\r\nKey=\"\"\r\n", "A", "Key", ""},

    {"Comment", "[A]\r\n;Key=1\r\n", "A", "Key", "fallback"},
    {"CommentBehindBlanks", "[A]\r\n  ;Key=1\r\nKey=2\r\n", "A", "Key", "2"},
    {"CommentIsNoKey", "[A]\r\n;Key=1\r\n", "A", ";Key", "fallback"},
    {"CommentBeforeASection", ";[A]\r\nKey=1\r\n", "A", "Key", "fallback"},
    {"SemicolonWithinTheValue", "[A]\r\nKey=1;2\r\n", "A", "Key", "1;2"},
    {"SemicolonBehindABlank", "[A]\r\nKey=1 ; 2\r\n", "A", "Key", "1 ; 2"},

    {"FirstOfEqualKeys", "[A]\r\nKey=1\r\nkey=2\r\n", "A", "Key", "1"},
    {"FirstOfEqualSections", "[A]\r\nKey=1\r\n[a]\r\nKey=2\r\n", "A", "Key", "1"},
    {"SecondOfEqualSectionsIsNotRead", "[A]\r\nOther=1\r\n[A]\r\nKey=2\r\n", "A", "Key", "fallback"},
    {"FirstOfEqualKeysAlsoWhenEmpty", "[A]\r\nKey=\r\nKey=2\r\n", "A", "Key", ""},

    {"EmptyValue", "[A]\r\nKey=\r\n", "A", "Key", ""},
    {"BlankValue", "[A]\r\nKey= \t \r\n", "A", "Key", ""},
    {"KeyWithoutEqualsSign", "[A]\r\nKey\r\n", "A", "Key", "fallback"},
    {"EqualsSignWithoutKey", "[A]\r\n=1\r\nKey=2\r\n", "A", "Key", "2"},
    {"EqualsSignsWithinTheValue", "[A]\r\nKey=a=b==c\r\n", "A", "Key", "a=b==c"},
    {"BracketWithinTheValue", "[A]\r\nKey=[B]\r\nOther=1\r\n", "A", "Other", "1"},
    {"NonsenseBetween", "[A]\r\nnonsense\r\n]\r\nKey=1\r\n", "A", "Key", "1"},

    {"UnclosedSection", "[A\r\nKey=1\r\n", "A", "Key", "1"},
    {"TextBehindTheSection", "[A] text\r\nKey=1\r\n", "A", "Key", "1"},
    {"TextBeforeTheFirstSection", "Key=1\r\n[A]\r\nKey=2\r\n", "A", "Key", "2"},
    {"OnlyTextBeforeASection", "Key=1\r\n", "A", "Key", "fallback"},

    {"NulEndsTheValue", std::string_view("[A]\r\nKey=ab\0cd\r\nOther=1\r\n", 25), "A", "Key", "ab"},
    {"LinesBehindANul", std::string_view("[A]\r\nKey=ab\0cd\r\nOther=1\r\n", 25), "A", "Other", "1"},
    {"ByteOrderMark", "\xEF\xBB\xBF[A]\r\nKey=1\r\n", "A", "Key", "1"},
    {"ByteOrderMarkBeforeAComment", "\xEF\xBB\xBF; text\r\n[A]\r\nKey=1\r\n", "A", "Key", "1"},
    {"LineFeeds", "[A]\nKey=1\nOther=2\n", "A", "Other", "2"},
    {"CarriageReturns", "[A]\rKey=1\rOther=2\r", "A", "Other", "2"},
    {"MixedLineEnds", "[A]\n\r\n\rKey=1\rOther=2\n", "A", "Other", "2"},
    {"LastLineWithoutEnd", "[A]\r\nKey=1", "A", "Key", "1"},

    {"ValueAsLongAsTheRoom", "[A]\r\nKey=12345\r\n", "A", "Key", "12345", "fallback", 5},
    {"ValueLongerThanTheRoom", "[A]\r\nKey=123456\r\n", "A", "Key", "12345", "fallback", 5},
    {"CutBehindTheQuote", "[A]\r\nKey=\"123456\"\r\n", "A", "Key", "12345", "fallback", 5},
    {"QuotesDoNotCount", "[A]\r\nKey=\"12345\"\r\n", "A", "Key", "12345", "fallback", 5},
    {"NoRoom", "[A]\r\nKey=1\r\n", "A", "Key", "", "fallback", 0},
    {"FallbackLongerThanTheRoom", "[A]\r\n", "A", "Key", "fallb", "fallback", 5},
    {"FallbackWithBlanksAtItsEnd", "[A]\r\n", "A", "Key", "  fall back", "  fall back  ", 255},
    {"BlankFallback", "[A]\r\n", "A", "Key", "", "   ", 255},
};

}  // namespace hq::test
