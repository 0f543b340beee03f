#include "server/services/upstream_request.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "base/strings.h"
#include "server/services/feed_choice.h"
#include "server/services/placeholders.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using std::string_view;

// What the placeholders of one request stand for.
struct Values {
  const SourceFeed* Feed = nullptr;
  const KeyTexts* Keys = nullptr;
  std::string Symbol;
  std::string Adjustment;
  DayRange Days;
  // The moments at which the time asked for begins and ends.
  sys_seconds From;
  sys_seconds To;
  Zone Market_Zone;
};

std::string Two_Digits(unsigned number) {
  return {static_cast<char>('0' + number / 10 % 10), static_cast<char>('0' + number % 10)};
}

std::string Date_Text(Day date) {
  const year_month_day ymd{date};
  const std::string year = std::to_string(static_cast<int>(ymd.year()));
  return std::string(4 - std::min<std::size_t>(year.size(), 4), '0') + year + "-" +
         Two_Digits(static_cast<unsigned>(ymd.month())) + "-" + Two_Digits(static_cast<unsigned>(ymd.day()));
}

std::string Clock_Text(seconds time) {
  const auto total = static_cast<unsigned>(time.count());
  return Two_Digits(total / 3600) + ":" + Two_Digits(total / 60 % 60) + ":" + Two_Digits(total % 60);
}

std::string Moment_Text(string_view form, sys_seconds moment, const Zone& zone) {
  const auto count = moment.time_since_epoch().count();
  if (form == "epoch") return std::to_string(count);
  if (form == "epoch-ms") return std::to_string(count * 1000);
  if (form == "utc") {
    const auto date = floor<days>(moment);
    return Date_Text(date) + "T" + Clock_Text(moment - date) + "Z";
  }
  const ExchangeTime local = zone.Local(moment);
  return Date_Text(local.Date) + " " + Clock_Text(local.Time);
}

std::string Value_Of(string_view placeholder, const Values& values) {
  if (placeholder == "symbol") return values.Symbol;
  if (placeholder == "interval") return values.Feed->Interval_Word;
  if (placeholder == "adjustment") return values.Adjustment;
  if (placeholder == "month") return Date_Text(values.Days.First).substr(0, 7);
  if (placeholder == "from:date") return Date_Text(values.Days.First);
  if (placeholder == "to:date") return Date_Text(values.Days.Last);
  if (placeholder == "end:date") return Date_Text(values.Days.Last + days{1});
  const auto colon = placeholder.find(':');
  const string_view what = placeholder.substr(0, colon);
  const string_view form = placeholder.substr(colon + 1);
  if (what == "key") return values.Keys->at(std::string{form});
  return Moment_Text(form, what == "from" ? values.From : values.To, values.Market_Zone);
}

std::string Filled(string_view text, const Values& values, bool encode) {
  std::string filled;
  for (const TemplatePart& part : Split_Template(text).value_or(std::vector<TemplatePart>{})) {
    const std::string value = part.Is_Placeholder ? Value_Of(part.Text, values) : part.Text;
    filled += part.Is_Placeholder && encode ? Percent_Encoded(value) : value;
  }
  return filled;
}

bool Is_Key_Text(string_view key) {
  const auto is_printable = [](char c) { return c > ' ' && c < 0x7F; };
  return !key.empty() && std::ranges::all_of(key, is_printable);
}

std::vector<std::string> Secrets_Of(const SourceProfile& profile, const KeyTexts& keys) {
  std::vector<std::string> secrets;
  for (const SourceKey& key : profile.Keys) {
    const std::string& text = keys.at(key.Name);
    std::string encoded = Percent_Encoded(text);
    if (encoded != text) secrets.push_back(std::move(encoded));
    secrets.push_back(text);
  }
  // A key that holds another one is masked as a whole.
  std::ranges::sort(secrets, std::greater{}, &std::string::size);
  return secrets;
}

// The end of the part of `days` that one call may ask for.
Day End_Of_Part(const SourceFeed& feed, const DayRange& range) {
  if (feed.Month_A_Request) {
    const year_month_day first{range.First};
    return std::min(range.Last, Day{first.year() / first.month() / last});
  }
  return feed.Days_A_Request ? std::min(range.Last, range.First + days{*feed.Days_A_Request - 1})
                             : range.Last;
}

std::string Interval_Text(int minutes) {
  return minutes == daily_interval ? "daily" : std::to_string(minutes) + "-minute";
}

std::string Kind_Text(Adjustment adjustment) {
  return adjustment == Adjustment::Splits ? "" : " that are " + std::string{Adjustment_Name(adjustment)};
}

}  // namespace

std::string UpstreamRequest::Shown_Url() const {
  return Without_Keys(Url);
}

std::string UpstreamRequest::Without_Keys(string_view text) const {
  std::string shown{text};
  for (const std::string& secret : Secrets) {
    constexpr string_view mask = "***";
    for (auto at = shown.find(secret); at != std::string::npos; at = shown.find(secret, at + mask.size()))
      shown.replace(at, secret.size(), mask);
  }
  return shown;
}

Path Expanded(const Path& path, const UpstreamRequest& request, const SourceFeed& feed) {
  Path expanded = path;
  for (PathStep& step : expanded) {
    auto* const name = std::get_if<std::string>(&step);
    if (name == nullptr) continue;
    for (const auto& [placeholder, value] :
         {std::pair{string_view{"{symbol}"}, &request.Spelled_Symbol}, {"{interval}", &feed.Interval_Word}}) {
      if (const auto at = name->find(placeholder); at != std::string::npos)
        name->replace(at, placeholder.size(), *value);
    }
  }
  return expanded;
}

std::vector<SourceKey> Missing_Keys(const SourceProfile& profile, const KeyTexts& keys) {
  std::vector<SourceKey> missing;
  for (const SourceKey& key : profile.Keys) {
    const auto found = keys.find(key.Name);
    if (found == keys.end() || found->second.empty()) missing.push_back(key);
  }
  return missing;
}

std::variant<std::vector<UpstreamRequest>, Trouble> Make_Requests(const SourceProfile& profile,
                                                                  const UpstreamWish& wish,
                                                                  const KeyTexts& keys, string_view program,
                                                                  sys_seconds now) {
  const auto refuse = [&](TroubleKind kind, const std::string& reason) {
    return Trouble{kind, profile.Title + " " + reason, {}};
  };
  const auto chosen = Choose_Feed(profile, wish.Interval, wish.Adjusted);
  if (!chosen) {
    return refuse(TroubleKind::NotServed,
                  "has no " + Interval_Text(wish.Interval) + " bars" + Kind_Text(wish.Adjusted) + ".");
  }
  const auto symbol = Spell_Symbol(profile, wish.Symbol);
  if (!symbol)
    return refuse(TroubleKind::NotServed, "has no symbols of the kind of \"" + wish.Symbol + "\".");
  if (const auto missing = Missing_Keys(profile, keys); !missing.empty())
    return refuse(TroubleKind::KeyRefused, "needs a key: \"" + missing.front().Label + "\" is not set.");
  for (const SourceKey& key : profile.Keys) {
    if (!Is_Key_Text(keys.at(key.Name))) {
      return refuse(TroubleKind::KeyRefused, "can't be asked: \"" + key.Label +
                                                 "\" holds a blank or another character that no key has.");
    }
  }

  const SourceFeed& feed = profile.Feeds[chosen->Feed];
  const Day today = profile.Market_Zone.Local(now).Date;
  const Day newest = feed.Not_Today ? today - days{1} : today;
  DayRange range{wish.Days.First, std::min(wish.Days.Last, newest)};
  if (feed.History_Days) range.First = std::max(range.First, today - days{*feed.History_Days});
  if (range.First > range.Last) {
    const bool is_old = wish.Days.Last < range.First && feed.History_Days;
    return refuse(TroubleKind::NothingThere, is_old ? "reaches back " + std::to_string(*feed.History_Days) +
                                                          " days only for " + Interval_Text(feed.Minutes) +
                                                          " bars."
                                                    : "has nothing of the days asked for yet.");
  }
  // A split after the days asked for changes their prices too.
  if (!feed.Layout.Split_Factor.empty() && chosen->Adjusted != Adjustment::Raw) range.Last = newest;

  UpstreamRequest request;
  request.Hosts = profile.Hosts;
  request.Secrets = Secrets_Of(profile, keys);
  request.Source = profile.Name;
  request.Feed = chosen->Feed;
  request.Adjusted = chosen->Adjusted;
  request.Symbol = wish.Symbol;
  request.Spelled_Symbol = *symbol;

  Values values{&feed, &keys, *symbol, feed.Adjustments.at(chosen->Adjusted),
                {},    {},    {},      profile.Market_Zone};
  std::vector<UpstreamRequest> requests;
  while (range.First <= range.Last) {
    values.Days = {range.First, End_Of_Part(feed, range)};
    values.From = profile.Market_Zone.Moment({values.Days.First, seconds{0}});
    values.To =
        std::min(profile.Market_Zone.Moment({values.Days.Last + days{1}, seconds{0}}), now - feed.Delay);
    range.First = values.Days.Last + days{1};
    if (values.From >= values.To) continue;
    request.Days = values.Days;
    request.Url = Filled(feed.Address, values, true);
    request.Headers = {{"User-Agent", std::string{program}}};
    for (const auto& [name, text] : feed.Headers)
      request.Headers.push_back({name, Filled(text, values, false)});
    requests.push_back(request);
  }
  if (requests.empty()) return refuse(TroubleKind::NothingThere, "has nothing of the days asked for yet.");
  return requests;
}

}  // namespace hq::server
