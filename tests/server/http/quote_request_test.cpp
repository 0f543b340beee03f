#include "server/http/quote_request.h"

#include <gmock/gmock.h>

#include "market/market_support.h"

namespace hq::server {
namespace {

using testing::HasSubstr;

std::string Refusal(const std::optional<std::string>& interval, const std::optional<std::string>& symbol,
                    const std::optional<std::string>& date) {
  const auto read = Read_Request(interval, symbol, date);
  const auto* text = std::get_if<std::string>(&read);
  return text != nullptr ? *text : "";
}

TEST(Session_Limit, IsThatOfTheInterval) {
  EXPECT_EQ(Session_Limit(1), 1);
  EXPECT_EQ(Session_Limit(5), 6);
  EXPECT_EQ(Session_Limit(10), 12);
  EXPECT_EQ(Session_Limit(20), 24);
  EXPECT_EQ(Session_Limit(30), 38);
  EXPECT_EQ(Session_Limit(60), 71);
  EXPECT_EQ(Session_Limit(1440), 500);
  for (const int other : {-1, 0, 2, 15, 61, 1439, 1441})
    EXPECT_EQ(Session_Limit(other), std::nullopt) << other;
}

TEST(Read_Interval, TakesPlainDigitsOnly) {
  EXPECT_EQ(Read_Interval("60"), 60);
  EXPECT_EQ(Read_Interval("1440"), 1440);
  for (const char* bad :
       {"", "0", "7", "-5", "+5", " 5", "5 ", "5.0", "5x", "1e1", "XXX", "99999999999999999999"}) {
    EXPECT_EQ(Read_Interval(bad), std::nullopt) << bad;
  }
}

TEST(Read_Request_Date, PutsTwoDigitYearsBetween1950And2049) {
  EXPECT_EQ(Read_Request_Date("010103"), Date(2003, 1, 1));
  EXPECT_EQ(Read_Request_Date("123149"), Date(2049, 12, 31));
  EXPECT_EQ(Read_Request_Date("010150"), Date(1950, 1, 1));
  EXPECT_EQ(Read_Request_Date("123199"), Date(1999, 12, 31));
  EXPECT_EQ(Read_Request_Date("022900"), Date(2000, 2, 29));
}

TEST(Read_Request_Date, RefusesWhatIsNoDay) {
  for (const char* bad : {"", "DDD", "1", "01013", "0101003", "130103", "000103", "010003", "013203",
                          "022903", "01-103", "+10103", "01/01/03"}) {
    EXPECT_EQ(Read_Request_Date(bad), std::nullopt) << bad;
  }
}

TEST(Read_Request, GathersTheThreeParameters) {
  const auto read = Read_Request("30", " index:DJI ", "031103");
  ASSERT_TRUE(std::holds_alternative<QuoteRequest>(read));
  const auto& request = std::get<QuoteRequest>(read);
  EXPECT_EQ(request.Symbol, "index:DJI");
  EXPECT_EQ(request.Interval, 30);
  EXPECT_EQ(request.Sessions, 38);
  EXPECT_EQ(request.Before, Date(2003, 3, 11));

  const auto latest = Read_Request("1", "IBM", std::nullopt);
  ASSERT_TRUE(std::holds_alternative<QuoteRequest>(latest));
  EXPECT_EQ(std::get<QuoteRequest>(latest).Before, std::nullopt);
}

TEST(Read_Request, SaysWhatIsWrong) {
  EXPECT_THAT(Refusal(std::nullopt, "IBM", std::nullopt), HasSubstr("interval is missing"));
  EXPECT_THAT(Refusal("15", "IBM", std::nullopt), HasSubstr("interval \"15\""));
  EXPECT_THAT(Refusal("5", std::nullopt, std::nullopt), HasSubstr("symbol is missing"));
  EXPECT_THAT(Refusal("5", "   ", std::nullopt), HasSubstr("symbol is missing"));
  EXPECT_THAT(Refusal("5", std::string(61, 'A'), std::nullopt), HasSubstr("symbol is too long"));
  EXPECT_THAT(Refusal("5", "IBM", "022903"), HasSubstr("date \"022903\""));
  EXPECT_THAT(Refusal("5", "IBM", ""), HasSubstr("date \"\""));
}

}  // namespace
}  // namespace hq::server
