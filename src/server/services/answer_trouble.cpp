#include "server/services/answer_trouble.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "base/strings.h"
#include "server/services/answer_values.h"

namespace hq::server {

using namespace std::chrono;
using std::string_view;

namespace {

std::optional<seconds> Wait_Of(const TroubleRule& rule, const SourceProfile& profile, sys_seconds now) {
  switch (rule.Wait) {
    case WaitRule::None:
      return std::nullopt;
    case WaitRule::Fixed:
      return rule.Fixed_Wait;
    case WaitRule::NextMinute:
      return floor<minutes>(now) + minutes{1} - now;
    case WaitRule::NextHour:
      return floor<hours>(now) + hours{1} - now;
    case WaitRule::NextDay: {
      const Zone& zone = profile.Pacing.Day_Zone;
      return zone.Moment({zone.Local(now).Date + days{1}, seconds{0}}) - now;
    }
  }
  return std::nullopt;
}

bool Holds(const AnswerTest& test, const UpstreamRequest& request, const SourceFeed& feed,
           const UpstreamResponse& response, const JsonTree* tree) {
  if (test.Status && *test.Status != response.Status) return false;
  if (!test.Where) return !test.Contains || Contains_Without_Case(response.Body, *test.Contains);
  if (tree == nullptr) return false;
  const auto place = tree->Find(JsonTree::Root, Expanded(*test.Where, request, feed));
  const bool is_missing = !place || tree->Kind(*place) == JsonKind::Null;
  if (is_missing || test.Missing) return is_missing && test.Missing;
  const string_view text = tree->Text(*place);
  return (!test.Equals || text == *test.Equals) &&
         (!test.Contains || Contains_Without_Case(text, *test.Contains));
}

std::optional<TroubleKind> Kind_Of_Status(int status) {
  if (status >= 200 && status < 300) return std::nullopt;
  if (status == 401) return TroubleKind::KeyRefused;
  if (status == 402) return TroubleKind::Quota;
  if (status == 403) return TroubleKind::NotAllowed;
  if (status == 408 || status >= 500) return TroubleKind::ServerDown;
  if (status == 429) return TroubleKind::Throttled;
  if (status >= 400 && status != 404 && status != 410) return TroubleKind::BadRequest;
  return TroubleKind::FormatChanged;
}

bool May_Wait(TroubleKind kind) {
  return kind == TroubleKind::Quota || kind == TroubleKind::Throttled || kind == TroubleKind::ServerDown;
}

std::optional<seconds> Retry_After(const UpstreamResponse& response, sys_seconds now) {
  for (const auto& [name, value] : response.Headers) {
    if (Equal_Without_Case(name, "retry-after")) return Read_Retry_After(value, now);
  }
  return std::nullopt;
}

}  // namespace

std::string Quoted(string_view text, const UpstreamRequest& request) {
  constexpr std::size_t longest = 200;
  std::string shown;
  for (const char c : request.Without_Keys(text)) {
    const auto byte = static_cast<unsigned char>(c);
    shown += byte < 0x20 || byte >= 0x7F ? '?' : c;
  }
  if (shown.size() > longest) shown = shown.substr(0, longest) + "...";
  return shown;
}

std::string Sentence(const SourceProfile& profile, const UpstreamRequest& request, TroubleKind kind) {
  const std::string& title = profile.Title;
  switch (kind) {
    case TroubleKind::UnknownSymbol:
      return title + " doesn't know the symbol \"" + Quoted(request.Symbol, request) + "\".";
    case TroubleKind::NothingThere:
      return title + " has nothing for \"" + Quoted(request.Symbol, request) + "\" at the time asked for.";
    case TroubleKind::NotServed:
      return title + " doesn't serve what was asked for.";
    case TroubleKind::KeyRefused:
      return title + " refuses the key.";
    case TroubleKind::NotAllowed:
      return title + " doesn't include this in the plan of the key.";
    case TroubleKind::Quota:
      return "The calls allowed at " + title + " are used up for now.";
    case TroubleKind::Throttled:
      return title + " asks for a pause.";
    case TroubleKind::ServerDown:
      return title + " is out of order for now.";
    case TroubleKind::BadRequest:
      return title + " takes the request for wrong.";
    case TroubleKind::FormatChanged:
      return title + " answered in a form that its profile doesn't describe.";
  }
  return title;
}

std::optional<Trouble> Find_Trouble(const SourceProfile& profile, const UpstreamRequest& request,
                                    const UpstreamResponse& response, const JsonTree* tree, sys_seconds now) {
  Trouble trouble;
  // A service that is overrun or down may tell so in the words of any error.
  const bool is_no_fault_of_the_request = response.Status == 429 || response.Status >= 500;
  const auto rule = std::ranges::find_if(profile.Troubles, [&](const TroubleRule& each) {
    const bool may_be = each.Test.Status || each.Kind != TroubleKind::BadRequest;
    return (may_be || !is_no_fault_of_the_request) &&
           Holds(each.Test, request, profile.Feeds.at(request.Feed), response, tree);
  });
  if (rule != profile.Troubles.end()) {
    trouble.Kind = rule->Kind;
    trouble.Reason = rule->Sentence.empty() ? Sentence(profile, request, rule->Kind) : rule->Sentence;
    trouble.Wait = Wait_Of(*rule, profile, now);
    const auto said =
        rule->Test.Where && tree != nullptr
            ? tree->Find(JsonTree::Root, Expanded(*rule->Test.Where, request, profile.Feeds.at(request.Feed)))
            : std::nullopt;
    if (said && tree->Kind(*said) == JsonKind::Text && tree->Text(*said).find(' ') != string_view::npos)
      trouble.Reason += " It says: \"" + Quoted(tree->Text(*said), request) + "\"";
  } else if (const auto kind = Kind_Of_Status(response.Status)) {
    trouble.Kind = *kind;
    trouble.Reason =
        Sentence(profile, request, *kind) + " (HTTP status " + std::to_string(response.Status) + ")";
  } else {
    return std::nullopt;
  }
  if (May_Wait(trouble.Kind)) {
    if (const auto wait = Retry_After(response, now)) trouble.Wait = wait;
  }
  return trouble;
}

std::optional<seconds> Read_Retry_After(string_view value, sys_seconds now) {
  constexpr seconds longest = days{31};
  value = Trimmed(value);
  if (value.empty()) return std::nullopt;
  if (value.find_first_not_of("0123456789") == string_view::npos) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc{}) return longest;
    return std::min(seconds{std::min<std::int64_t>(number, longest.count())}, longest);
  }
  // "Sun, 06 Nov 1994 08:49:37 GMT": the one form that servers may still write.
  constexpr string_view months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  if (value.size() != 29 || value.substr(25) != " GMT" || value[19] != ':' || value[22] != ':')
    return std::nullopt;
  const auto on = Digits(value, 5, 2);
  const auto in = months.find(value.substr(8, 3));
  const auto of = Digits(value, 12, 4);
  const auto hour = Digits(value, 17, 2);
  const auto minute = Digits(value, 20, 2);
  const auto second = Digits(value, 23, 2);
  if (!on || in == string_view::npos || in % 3 != 0 || !of || !hour || !minute || !second)
    return std::nullopt;
  const auto date = year{*of} / month{static_cast<unsigned>(in / 3 + 1)} / day{static_cast<unsigned>(*on)};
  if (!date.ok() || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
  const auto until = sys_days{date} + hours{*hour} + minutes{*minute} + seconds{*second};
  return std::clamp<seconds>(until - now, seconds{0}, longest);
}

}  // namespace hq::server
