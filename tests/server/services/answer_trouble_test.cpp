#include "server/services/answer_trouble.h"

#include <chrono>
#include <gmock/gmock.h>
#include <random>

#include "server/services/asked.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using testing::HasSubstr;

TEST(AnswerTrouble, RefusalsAreToldByTheirOwnWords) {
  struct Case {
    const char* Name;
    int Status;
    const char* Body;
    TroubleKind Kind;
    std::optional<seconds> Wait;
  };
  // 12:34:56 in universal time is 07:34:56 in New York.
  const sys_seconds now = sys_days{2026y / November / 19} + hours{12} + minutes{34} + seconds{56};
  const auto next_minute = seconds{4};
  const auto next_hour = minutes{25} + seconds{4};
  const auto universal_midnight = hours{11} + next_hour;
  const auto new_york_midnight = hours{16} + next_hour;
  const std::vector<Case> cases = {
      {"tiingo", 429, R"({"detail":"Error: You have run over your hourly request allocation."})",
       TroubleKind::Quota, next_hour},
      {"tiingo", 200, R"({"detail":"Error: You have run over your hourly request allocation."})",
       TroubleKind::Quota, next_hour},
      {"tiingo", 200, R"({"detail":"Error: You have run over your daily request allocation."})",
       TroubleKind::Quota, new_york_midnight},
      {"tiingo", 429, "", TroubleKind::Quota, next_hour},
      {"tiingo", 404, R"({"detail":"Error: Ticker 'GONE' not found"})", TroubleKind::UnknownSymbol, {}},
      {"twelvedata", 503, R"({"status":"error","code":503,"message":"?"})", TroubleKind::ServerDown, {}},
      {"eodhd", 500, R"({"error":"Internal error"})", TroubleKind::ServerDown, {}},
      {"eodhd", 400, R"({"error":"No such period"})", TroubleKind::BadRequest, {}},
      {"tiingo", 401, R"({"detail":"Please supply a token"})", TroubleKind::KeyRefused, {}},
      {"alpaca",
       403,
       R"({"message":"subscription does not permit querying recent SIP data"})",
       TroubleKind::NotAllowed,
       {}},
      {"alpaca", 403, R"({"message":"forbidden."})", TroubleKind::KeyRefused, {}},
      {"alpaca", 401, "", TroubleKind::KeyRefused, {}},
      {"alpaca", 429, R"({"message":"too many requests."})", TroubleKind::Throttled, next_minute},
      {"alpaca", 200, R"({"bars":{},"next_page_token":null})", TroubleKind::NothingThere, {}},
      {"alpaca", 200, R"({"bars":null,"next_page_token":null})", TroubleKind::NothingThere, {}},
      {"alpaca", 200, R"({"bars":{"IBM":null},"next_page_token":null})", TroubleKind::NothingThere, {}},
      {"twelvedata", 429,
       R"({"code":429,"message":"You have run out of API credits for the current minute. 9 were used","status":"error"})",
       TroubleKind::Throttled, next_minute},
      {"twelvedata", 200,
       R"({"code":429,"message":"You have run out of API credits for the current minute. 9 were used","status":"error"})",
       TroubleKind::Throttled, next_minute},
      {"twelvedata", 429,
       R"({"code":429,"message":"You have run out of API credits for the day.","status":"error"})",
       TroubleKind::Quota, universal_midnight},
      {"twelvedata",
       200,
       R"({"code":400,"message":"No data is available on the specified dates. Try others.","status":"error"})",
       TroubleKind::NothingThere,
       {}},
      {"twelvedata",
       404,
       R"({"code":400,"message":"**symbol** not found: IBM.","status":"error"})",
       TroubleKind::UnknownSymbol,
       {}},
      {"twelvedata",
       401,
       R"({"code":401,"message":"**apikey** parameter is incorrect","status":"error"})",
       TroubleKind::KeyRefused,
       {}},
      {"twelvedata",
       404,
       R"({"code":404,"message":"not available with your plan","status":"error"})",
       TroubleKind::NotAllowed,
       {}},
      {"twelvedata",
       400,
       R"({"code":400,"message":"Invalid **interval** provided: 0.99min.","status":"error"})",
       TroubleKind::BadRequest,
       {}},
      {"polygon", 429,
       R"({"status":"ERROR","error":"You've exceeded the maximum requests per minute, please wait"})",
       TroubleKind::Throttled, next_minute},
      {"polygon", 401, R"({"status":"ERROR","error":"Unknown API Key"})", TroubleKind::KeyRefused, {}},
      {"polygon",
       403,
       R"({"status":"NOT_AUTHORIZED","message":"Your plan doesn't include this data timeframe."})",
       TroubleKind::NotAllowed,
       {}},
      {"polygon",
       403,
       R"({"status":"NOT_AUTHORIZED","message":"Attempted to request today's data before end of day."})",
       TroubleKind::NothingThere,
       {}},
      {"polygon",
       200,
       R"({"ticker":"IBM","queryCount":0,"resultsCount":0,"adjusted":true,"status":"OK"})",
       TroubleKind::NothingThere,
       {}},
      {"alphavantage", 200, R"({"Information":"Our standard API rate limit is 25 requests per day."})",
       TroubleKind::Quota, new_york_midnight},
      {"alphavantage",
       200,
       R"({"Information":"Thank you! This is a premium endpoint."})",
       TroubleKind::NotAllowed,
       {}},
      {"alphavantage", 200, R"({"Information":"Please consider 1 request per second."})",
       TroubleKind::Throttled, seconds{2}},
      {"alphavantage", 200,
       R"({"Note":"Our standard API call frequency is 5 calls per minute and 500 per day."})",
       TroubleKind::Throttled, next_minute},
      {"alphavantage",
       200,
       R"({"Error Message":"Invalid API call. Please retry."})",
       TroubleKind::UnknownSymbol,
       {}},
      {"alphavantage",
       200,
       R"({"Error Message":"the parameter apikey is invalid or missing."})",
       TroubleKind::KeyRefused,
       {}},
      {"eodhd", 402, "You exceeded your daily API requests limit", TroubleKind::Quota, universal_midnight},
      {"eodhd", 403, R"({"error":"Error message description","code":403})", TroubleKind::NotAllowed, {}},
      {"eodhd", 404, "Ticker Not Found.", TroubleKind::UnknownSymbol, {}},
      {"eodhd", 200, "Ticker Not Found.", TroubleKind::UnknownSymbol, {}},
      {"eodhd", 401, "Unauthenticated", TroubleKind::KeyRefused, {}},
      {"eodhd", 429, "Too Many Requests", TroubleKind::Throttled, next_minute},
      {"yahoo", 429, "Edge: Too Many Requests", TroubleKind::Throttled, minutes{15}},
      {"yahoo", 200, "Too Many Requests\r\n", TroubleKind::Throttled, minutes{15}},
      {"yahoo",
       404,
       R"({"chart":{"result":null,"error":{"code":"Not Found","description":"No data found, symbol may be delisted"}}})",
       TroubleKind::UnknownSymbol,
       {}},
      {"yahoo",
       422,
       R"({"chart":{"result":null,"error":{"code":"Unprocessable Entity","description":"1m data not available. The requested range must be within the last 30 days."}}})",
       TroubleKind::NothingThere,
       {}},
      {"yahoo",
       400,
       R"({"chart":{"result":null,"error":{"code":"Bad Request","description":"Invalid interval"}}})",
       TroubleKind::BadRequest,
       {}},
      {"yahoo", 200, R"({"chart":{"result":null,"error":null}})", TroubleKind::FormatChanged, {}},
      {"cboe", 403, "<html>AccessDenied</html>", TroubleKind::UnknownSymbol, {}},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(std::string{each.Name} + " " + each.Body);
    const Asked asked{each.Name, 0, now};
    const Trouble trouble = asked.Refusal(each.Body, each.Status);
    EXPECT_EQ(trouble.Kind, each.Kind) << trouble.Reason;
    EXPECT_EQ(trouble.Wait, each.Wait);
    EXPECT_THAT(trouble.Reason, HasSubstr(asked.Profile().Title.substr(0, 5)));
  }
}

TEST(AnswerTrouble, RetryAfterGoesBeforeTheProfilesOwnWait) {
  const Asked asked{"eodhd", 0};
  EXPECT_EQ(asked.Refusal("", 429, {{"RETRY-AFTER", "90"}}).Wait, seconds{90});
  EXPECT_EQ(asked.Refusal("", 404, {{"Retry-After", "90"}}).Wait, std::nullopt);
}

TEST(AnswerTrouble, RetryAfterIsSecondsOrADate) {
  const sys_seconds now = sys_days{1994y / November / 6} + hours{8} + minutes{49};
  EXPECT_EQ(Read_Retry_After("120", now), seconds{120});
  EXPECT_EQ(Read_Retry_After(" 0 ", now), seconds{0});
  EXPECT_EQ(Read_Retry_After("Sun, 06 Nov 1994 08:49:37 GMT", now), seconds{37});
  EXPECT_EQ(Read_Retry_After("Sat, 05 Nov 1994 08:49:37 GMT", now), seconds{0});
  EXPECT_EQ(Read_Retry_After("99999999999999999999999", now), days{31});
  EXPECT_EQ(Read_Retry_After("Sun, 06 Nov 2094 08:49:37 GMT", now), days{31});
  for (const auto* value :
       {"", "-1", "soon", "1.5", "Sun, 06 Abc 1994 08:49:37 GMT", "Sun, 36 Nov 1994 08:49:37 GMT",
        "Sun, 06 Nov 1994 08:49:37 EST", "Sunday, 06-Nov-94 08:49:37 GMT"})
    EXPECT_EQ(Read_Retry_After(value, now), std::nullopt) << value;
}

}  // namespace
}  // namespace hq::server
