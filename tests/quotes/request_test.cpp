#include "quotes/request.h"

#include <gtest/gtest.h>

#include "base/run_time_error.h"

namespace hq {
namespace {

using std::chrono::year;

constexpr const char* Template = "http://host/q?Interval=XXX&Symbol=SSS&Date=DDD";

std::string Request(Date end, Date today, const std::string& symbol = "MSFT", std::int16_t interval = 5) {
  RunSettings settings;
  settings.CurrentSymbol = symbol;
  settings.IntervalCode = interval;
  settings.EndDate = end;
  return Compose_Request(Template, settings, today);
}

TEST(Request, EndDateBeforeTodaySendsTheDayAfterIt) {
  EXPECT_EQ(Request(year(2003) / 3 / 13, year(2003) / 3 / 14),
            "http://host/q?Interval=5&Symbol=MSFT&Date=031403");
}

TEST(Request, EndDateOfTodayOrLaterRemovesTheSegment) {
  EXPECT_EQ(Request(year(2003) / 3 / 14, year(2003) / 3 / 14), "http://host/q?Interval=5&Symbol=MSFT");
  EXPECT_EQ(Request(year(2003) / 3 / 15, year(2003) / 3 / 14), "http://host/q?Interval=5&Symbol=MSFT");
}

TEST(Request, EndOfYearSendsTheFirstOfJanuary) {
  EXPECT_EQ(Request(year(2002) / 12 / 31, year(2003) / 3 / 14),
            "http://host/q?Interval=5&Symbol=MSFT&Date=010103");
}

TEST(Request, EndOfFebruarySendsTheNextDay) {
  EXPECT_EQ(Request(year(2004) / 2 / 28, year(2005) / 1 / 1),
            "http://host/q?Interval=5&Symbol=MSFT&Date=022904");
  EXPECT_EQ(Request(year(2003) / 2 / 28, year(2005) / 1 / 1),
            "http://host/q?Interval=5&Symbol=MSFT&Date=030103");
}

TEST(Request, SymbolIsSentAsItStands) {
  EXPECT_EQ(Request(year(2003) / 3 / 14, year(2003) / 3 / 14, "index:DJI", 1440),
            "http://host/q?Interval=1440&Symbol=index:DJI");
  EXPECT_EQ(Request(year(2003) / 3 / 14, year(2003) / 3 / 14, " a "), "http://host/q?Interval=5&Symbol= a ");
}

TEST(Request, CharactersOfASymbolThatWouldEndItAreEncoded) {
  EXPECT_EQ(Request(year(2003) / 3 / 14, year(2003) / 3 / 14, "AT&T"),
            "http://host/q?Interval=5&Symbol=AT%26T");
  EXPECT_EQ(Request(year(2003) / 3 / 14, year(2003) / 3 / 14, "A+B#C%20"),
            "http://host/q?Interval=5&Symbol=A%2BB%23C%2520");
}

TEST(Request, PlaceholdersInASymbolAreNotReplaced) {
  EXPECT_EQ(Request(year(2003) / 3 / 13, year(2003) / 3 / 14, "DDDXXX"),
            "http://host/q?Interval=5&Symbol=DDDXXX&Date=031403");
}

TEST(Request, EveryOccurrenceIsReplacedAndOnlyExactOnes) {
  RunSettings settings;
  settings.CurrentSymbol = "A";
  settings.IntervalCode = 10;
  settings.EndDate = year(2003) / 3 / 13;
  EXPECT_EQ(
      Compose_Request("XXX-XXX sss SSS SSS &Date=DDD&Date=DDD &date=DDD", settings, year(2003) / 3 / 14),
      "10-10 sss A A &Date=031403&Date=031403 &date=031403");
  EXPECT_EQ(Compose_Request("SSS&Date=DDD&Date=DDD &date=DDD", settings, year(2003) / 3 / 13),
            "A &date=031403");
}

TEST(Request, EncipheredTextsComeBackAndCannotBeReadAtAGlance) {
  for (const std::string& text : {std::string(Template), std::string(), std::string("\0\xff", 2)}) {
    EXPECT_EQ(Decipher(Encipher(text)), text);
  }
  EXPECT_TRUE(Encipher(Template).starts_with("enciphered:"));
  EXPECT_EQ(Encipher(Template).find("host"), std::string::npos);
  EXPECT_EQ(Decipher(Template), Template) << "a plain text stays as it is";
}

TEST(Request, DamagedEncipheredTextsAreRefused) {
  for (const char* text : {"enciphered:0", "enciphered:zz", "enciphered:0 ", "enciphered:AB"}) {
    try {
      static_cast<void>(Decipher(text));
      FAIL() << text;
    } catch (const RunTimeError& error) {
      EXPECT_EQ(error.Number(), TypeMismatch) << text;
      EXPECT_FALSE(error.Detail().empty());
    }
  }
}

TEST(Request, TheDefaultTemplateIsThatOfALocalServer) {
  EXPECT_EQ(Default_Request_Template(8080), "http://127.0.0.1:8080/quotes?Interval=XXX&Symbol=SSS&Date=DDD");
  EXPECT_EQ(Template_Fault(Default_Request_Template(8080)), "");
}

TEST(Request, TemplatesThatCannotServeAreTold) {
  EXPECT_EQ(Template_Fault(Template), "");
  EXPECT_EQ(Template_Fault("HTTPS://host/XXX SSS&Date=DDD"), "");
  EXPECT_NE(Template_Fault("ftp://host/XXX SSS &Date=DDD"), "");
  EXPECT_NE(Template_Fault("http://host/SSS&Date=DDD").find("XXX"), std::string::npos);
  EXPECT_NE(Template_Fault("http://host/XXX&Date=DDD").find("SSS"), std::string::npos);
  EXPECT_NE(Template_Fault("http://host/XXX SSS DDD").find("&Date=DDD"), std::string::npos);
  EXPECT_NE(Template_Fault(""), "");
}

}  // namespace
}  // namespace hq
