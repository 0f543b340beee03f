#include "server/services/profile_reader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <system_error>
#include <utility>

#include "base/run_time_error.h"
#include "base/strings.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "server/services/json_tree.h"
#include "server/services/placeholders.h"
#include "server/services/profile_values.h"

namespace hq::server {
namespace {

using namespace profile_values;
using namespace std::chrono;
using std::string_view;

constexpr auto adjustment_words = std::to_array<Word<Adjustment>>(
    {{"raw", Adjustment::Raw}, {"splits", Adjustment::Splits}, {"full", Adjustment::Full}});
constexpr auto trouble_words =
    std::to_array<Word<TroubleKind>>({{"unknown-symbol", TroubleKind::UnknownSymbol},
                                      {"nothing-there", TroubleKind::NothingThere},
                                      {"not-served", TroubleKind::NotServed},
                                      {"key-refused", TroubleKind::KeyRefused},
                                      {"not-allowed", TroubleKind::NotAllowed},
                                      {"quota", TroubleKind::Quota},
                                      {"throttled", TroubleKind::Throttled},
                                      {"server-down", TroubleKind::ServerDown},
                                      {"bad-request", TroubleKind::BadRequest},
                                      {"format-changed", TroubleKind::FormatChanged}});
constexpr auto wait_words = std::to_array<Word<WaitRule>>({{"next-minute", WaitRule::NextMinute},
                                                           {"next-hour", WaitRule::NextHour},
                                                           {"next-day", WaitRule::NextDay}});
constexpr auto shape_words = std::to_array<Word<RowShape>>({{"rows", RowShape::Rows},
                                                            {"columns", RowShape::Columns},
                                                            {"keyed", RowShape::Keyed},
                                                            {"csv", RowShape::Csv}});
constexpr auto form_words =
    std::to_array<Word<StampForm>>({{"epoch-seconds", StampForm::EpochSeconds},
                                    {"epoch-milliseconds", StampForm::EpochMilliseconds},
                                    {"universal", StampForm::Universal},
                                    {"local", StampForm::Local},
                                    {"date", StampForm::Date}});
constexpr auto label_words = std::to_array<Word<bool>>({{"start", false}, {"end", true}});
constexpr auto order_words = std::to_array<Word<bool>>({{"oldest-first", false}, {"newest-first", true}});
constexpr auto served_intervals = std::to_array<int>({1, 5, 10, 20, 30, 60, daily_interval});

// Headers that would make a request look like a browser's, or that the program sets itself.
constexpr auto forbidden_headers =
    std::to_array<string_view>({"user-agent", "referer", "origin", "cookie", "host", "content-length",
                                "transfer-encoding", "connection", "accept-encoding", "range"});

auto Number_From(int least, int most) {
  return [=](const Value& value) { return value.Number(least, most); };
}

std::string Read_Text(const Value& value) {
  return value.Text();
}

bool Read_Truth(const Value& value) {
  return value.Truth();
}

Path Read_Path(const Value& value) {
  return value.Steps();
}

bool Is_Name(string_view text) {
  const auto fits = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'; };
  return !text.empty() && text.size() <= 30 && std::ranges::all_of(text, fits);
}

void Check_Template(const Value& value, string_view text, const std::vector<SourceKey>& keys,
                    bool needs_symbol) {
  const auto parts = Split_Template(text);
  if (!parts) value.Fail("a brace has no partner");
  bool has_symbol = false;
  for (const TemplatePart& part : *parts) {
    if (!part.Is_Placeholder) continue;
    if (part.Text.starts_with("key:")) {
      const string_view name = string_view{part.Text}.substr(4);
      if (std::ranges::find(keys, name, &SourceKey::Name) == keys.end())
        value.Fail("{" + part.Text + "} is none of the keys");
    } else if (!Is_Placeholder(part.Text)) {
      value.Fail("{" + part.Text + "} is no placeholder");
    }
    has_symbol = has_symbol || part.Text == "symbol";
  }
  if (needs_symbol && !has_symbol) value.Fail("{symbol} is missing");
}

// The host of an address, in lower case and without a port; checks that keys would travel encrypted.
std::string Read_Host(const Value& value, string_view address) {
  const auto host = Host_Of(address);
  if (!host) value.Fail("it must be a host name");
  const bool is_local = *host == "127.0.0.1" || *host == "localhost";
  if (!address.starts_with("https://") && !(is_local && address.starts_with("http://")))
    value.Fail("it must begin with https://");
  return *host;
}

AnswerTest Read_Test(const Value& value) {
  Members members{value};
  AnswerTest test;
  Set(members, "status", test.Status, Number_From(100, 599));
  Set(members, "at", test.Where, Read_Path);
  Set(members, "missing", test.Missing, Read_Truth);
  Set(members, "equals", test.Equals, Read_Text);
  Set(members, "contains", test.Contains, [](const Value& text) { return text.Text_With_Content(); });
  members.Finish();
  if (!test.Status && !test.Where && !test.Contains) value.Fail("it would hold for every answer");
  if ((test.Missing || test.Equals) && !test.Where) value.Fail("\"at\" is missing");
  if (test.Missing && (test.Equals || test.Contains)) value.Fail("a missing value has no text");
  return test;
}

TroubleRule Read_Trouble(const Value& value) {
  Members members{value};
  TroubleRule rule;
  rule.Test = Read_Test(members.Need("when"));
  rule.Kind = members.Need("is").Choice(trouble_words);
  if (const auto wait = members.Take("wait")) {
    if (wait->Kind() == JsonKind::Number) {
      rule.Wait = WaitRule::Fixed;
      rule.Fixed_Wait = seconds{wait->Number(1, 7 * 86400)};
    } else {
      rule.Wait = wait->Choice(wait_words);
    }
  }
  Set(members, "say", rule.Sentence, Read_Text);
  members.Finish();
  return rule;
}

void Read_Fields(const Value& value, AnswerLayout& layout) {
  Members members{value};
  if (layout.Shape != RowShape::Keyed) layout.Stamp = members.Need("stamp").Steps();
  layout.Open = members.Need("open").Steps();
  layout.High = members.Need("high").Steps();
  layout.Low = members.Need("low").Steps();
  layout.Close = members.Need("close").Steps();
  Set(members, "volume", layout.Volume, Read_Path);
  Set(members, "adjusted_close", layout.Adjusted_Close, Read_Path);
  Set(members, "split_factor", layout.Split_Factor, Read_Path);
  Set(members, "remark", layout.Remark, Read_Path);
  members.Finish();

  const auto check = [&](const Path& path) {
    const bool is_word = path.size() == 1 && std::holds_alternative<std::string>(path.front());
    if (layout.Shape == RowShape::Csv && !path.empty() && !is_word)
      value.Fail("a column of a CSV answer is the word in its header");
  };
  for (const Path* path : {&layout.Stamp, &layout.Open, &layout.High, &layout.Low, &layout.Close,
                           &layout.Volume, &layout.Adjusted_Close, &layout.Split_Factor, &layout.Remark})
    check(*path);
  for (const Path* path : {&layout.Open, &layout.High, &layout.Low, &layout.Close}) {
    if (path->empty()) value.Fail("the path to a price is empty");
  }
  if (layout.Shape != RowShape::Keyed && layout.Stamp.empty()) value.Fail("the path to the stamp is empty");
}

AnswerLayout Read_Layout(const Value& value) {
  Members members{value};
  AnswerLayout layout;
  layout.Shape = members.Need("shape").Choice(shape_words);
  Set(members, "rows", layout.Rows, Read_Path);
  if (const auto delimiter = members.Take("delimiter")) {
    const std::string text = delimiter->Text();
    if (layout.Shape != RowShape::Csv || (text != "," && text != ";"))
      delimiter->Fail("it must be \",\" or \";\", and is for CSV answers only");
    layout.Delimiter = text.front();
  }
  const Value fields = members.Need("fields");
  Read_Fields(fields, layout);

  const Value stamp_value = members.Need("stamp");
  Members stamp{stamp_value};
  layout.Form = stamp.Need("form").Choice(form_words);
  if (const auto zone = stamp.Take("zone")) {
    if (layout.Form != StampForm::Local) zone->Fail("only local stamps have a zone");
    layout.Stamp_Zone = zone->Named_Zone();
  }
  Set(members, "order", layout.Newest_First, [](const Value& order) { return order.Choice(order_words); });
  Set(stamp, "label", layout.End_Labels, [](const Value& label) { return label.Choice(label_words); });
  stamp.Finish();

  Set(members, "single_precision", layout.Single_Precision, Read_Truth);
  Set(members, "symbol_echo", layout.Symbol_Echo, Read_Path);
  Set(members, "zone_name", layout.Zone_Name, Read_Path);
  if (const auto next = members.Take("next_page")) {
    Members page{*next};
    layout.Next_Page = page.Need("at").Steps();
    Set(page, "parameter", layout.Page_Parameter, [](const Value& name) { return name.Text_With_Content(); });
    page.Finish();
    if (layout.Next_Page.empty()) next->Fail("the path is empty");
  }
  members.Finish();
  if (layout.Shape == RowShape::Csv && !(layout.Rows.empty() && layout.Symbol_Echo.empty() &&
                                         layout.Zone_Name.empty() && layout.Next_Page.empty()))
    value.Fail("a CSV answer has no paths but its columns");
  if (!layout.Split_Factor.empty() && !layout.Next_Page.empty())
    value.Fail("split factors need all rows in one answer, so there can be no next page");
  return layout;
}

std::map<Adjustment, std::string> Read_Adjustments(const Value& value) {
  std::map<Adjustment, std::string> adjustments;
  for (const auto& [word, meaning] : value.Parts(JsonKind::Object)) {
    const auto found = std::ranges::find(adjustment_words, word, &Word<Adjustment>::first);
    if (found == adjustment_words.end()) meaning.Fail(R"(it must be one of "raw", "splits", "full")");
    adjustments[found->second] = meaning.Text();
  }
  if (adjustments.empty()) value.Fail("it must not be empty");
  return adjustments;
}

void Read_Reach(Members& members, SourceFeed& feed) {
  constexpr int hundred_years = 36525;
  Set(members, "history_days", feed.History_Days, Number_From(1, hundred_years));
  Set(members, "month_a_request", feed.Month_A_Request, Read_Truth);
  if (const auto days = members.Take("days_a_request")) {
    feed.Days_A_Request = days->Number(1, hundred_years);
    if (feed.Month_A_Request) days->Fail("a request asks for days or for a month, not for both");
  }
  Set(members, "not_today", feed.Not_Today, Read_Truth);
  Set(members, "cut_first_day", feed.Cut_First_Day, Read_Truth);
  Set(members, "delay_minutes", feed.Delay,
      [](const Value& value) { return minutes{value.Number(0, 1440)}; });
  Set(members, "cost", feed.Cost, Number_From(1, 1000));
}

void Read_Request_Parts(Members& members, SourceProfile& profile, SourceFeed& feed) {
  const Value address = members.Need("address");
  feed.Address = address.Text();
  if (feed.Address.find_first_of(" \"<>\\^`") != std::string::npos)
    address.Fail("it holds a character that no address has");
  const std::string host = Read_Host(address, feed.Address);
  Check_Template(address, feed.Address, profile.Keys, true);
  if (std::ranges::find(profile.Hosts, host) == profile.Hosts.end()) profile.Hosts.push_back(host);

  const auto headers = members.Take("headers");
  if (!headers) return;
  for (const auto& [name, value] : headers->Parts(JsonKind::Object)) {
    const auto fits = [](char c) {
      return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
    };
    if (name.empty() || !std::ranges::all_of(name, fits)) value.Fail("it is no header's name");
    if (std::ranges::find(forbidden_headers, Lower_Case(name)) != forbidden_headers.end())
      value.Fail("a profile can't set this header: the program says honestly who asks");
    std::string text = value.Text();
    Check_Template(value, text, profile.Keys, false);
    feed.Headers.emplace_back(name, std::move(text));
  }
}

SourceFeed Read_Feed(const Value& value, SourceProfile& profile) {
  Members members{value};
  SourceFeed feed;
  const Value length = members.Need("minutes");
  feed.Minutes = length.Number(1, daily_interval);
  if (feed.Minutes > 60 && feed.Minutes != daily_interval)
    length.Fail("it must be a whole number from 1 to 60, or 1440");
  const Value serves = members.Need("serves");
  for (const auto& [index, interval] : serves.Parts(JsonKind::Array)) {
    const int minutes = interval.Number(1, daily_interval);
    if (std::ranges::find(served_intervals, minutes) == served_intervals.end())
      interval.Fail("it must be 1, 5, 10, 20, 30, 60 or 1440");
    if (minutes % feed.Minutes != 0 || (minutes == daily_interval) != (feed.Minutes == daily_interval))
      interval.Fail("these bars can't be made of " + std::to_string(feed.Minutes) + "-minute bars");
    feed.Serves.push_back(minutes);
  }
  if (feed.Serves.empty()) serves.Fail("it must not be empty");
  Set(members, "interval_word", feed.Interval_Word, Read_Text);
  feed.Adjustments = Read_Adjustments(members.Need("adjustments"));
  if (const auto instead = members.Take("instead_of_splits")) {
    feed.Instead_Of_Splits = instead->Choice(adjustment_words);
    if (!feed.Adjustments.contains(*feed.Instead_Of_Splits) || feed.Adjustments.contains(Adjustment::Splits))
      instead->Fail("it must be one of the adjustments of a feed that has no \"splits\"");
  }
  Read_Reach(members, feed);
  Read_Request_Parts(members, profile, feed);
  const Value answer = members.Need("answer");
  feed.Layout = Read_Layout(answer);
  members.Finish();

  if (!feed.Layout.Next_Page.empty() && feed.Layout.Page_Parameter.empty() &&
      feed.Address.find("{key:") != std::string::npos)
    answer.Fail("next pages that are whole addresses need the key in a header");
  if (feed.Layout.Form == StampForm::Date && feed.Minutes != daily_interval)
    answer.Fail("only daily bars can be stamped with dates");
  if (!feed.Layout.Split_Factor.empty() && (feed.Days_A_Request || feed.Month_A_Request))
    answer.Fail("split factors need all rows in one answer, so requests can't be cut into parts");
  return feed;
}

SourcePacing Read_Pacing(const Value& value) {
  Members members{value};
  SourcePacing pacing;
  constexpr int most = 1000000;
  Set(members, "calls_a_minute", pacing.Calls_A_Minute, Number_From(1, most));
  Set(members, "calls_an_hour", pacing.Calls_An_Hour, Number_From(1, most));
  Set(members, "calls_a_day", pacing.Calls_A_Day, Number_From(1, most));
  Set(members, "pause_ms", pacing.Pause,
      [](const Value& pause) { return milliseconds{pause.Number(0, 600000)}; });
  Set(members, "day_zone", pacing.Day_Zone, [](const Value& zone) { return zone.Named_Zone(); });
  members.Finish();
  return pacing;
}

void Read_Symbols(const Value& value, SourceProfile& profile) {
  Members members{value};
  if (const auto named = members.Take("named")) {
    for (const auto& [symbol, spelling] : named->Parts(JsonKind::Object))
      profile.Named_Symbols[symbol] = spelling.Text_With_Content();
  }
  const Value kinds = members.Need("kinds");
  members.Finish();
  for (const auto& [index, kind_value] : kinds.Parts(JsonKind::Array)) {
    Members kind{kind_value};
    SymbolRule rule;
    const Value name = kind.Need("kind");
    rule.Kind = name.Text();
    if (!rule.Kind.empty() && rule.Kind != "index" && rule.Kind != "mutual" && rule.Kind != "opra")
      name.Fail(R"(it must be one of "", "index", "mutual", "opra")");
    if (std::ranges::find(profile.Symbol_Rules, rule.Kind, &SymbolRule::Kind) != profile.Symbol_Rules.end())
      name.Fail("this kind stands here twice");
    Set(kind, "prefix", rule.Prefix, Read_Text);
    Set(kind, "suffix", rule.Suffix, Read_Text);
    Set(kind, "class_mark", rule.Class_Mark, Read_Text);
    Set(kind, "own_suffix_wins", rule.Own_Suffix_Wins, Read_Truth);
    Set(kind, "without_blanks", rule.Without_Blanks, Read_Truth);
    Set(kind, "lower_case", rule.Lower_Case, Read_Truth);
    kind.Finish();
    profile.Symbol_Rules.push_back(std::move(rule));
  }
  if (profile.Symbol_Rules.empty() && profile.Named_Symbols.empty())
    kinds.Fail("the source would have no symbol at all");
}

void Read_Keys(const Value& value, SourceProfile& profile) {
  for (const auto& [index, key_value] : value.Parts(JsonKind::Array)) {
    Members members{key_value};
    const Value name = members.Need("name");
    SourceKey key{name.Text(), members.Need("label").Text_With_Content()};
    if (!Is_Name(key.Name)) name.Fail("it must be 1 to 30 lower-case letters, digits and hyphens");
    if (std::ranges::find(profile.Keys, key.Name, &SourceKey::Name) != profile.Keys.end())
      name.Fail("this key stands here twice");
    members.Finish();
    profile.Keys.push_back(std::move(key));
  }
}

SourceProfile Read_Whole(const Value& root) {
  Members members{root};
  SourceProfile profile;
  const Value name = members.Need("name");
  profile.Name = name.Text();
  if (!Is_Name(profile.Name)) name.Fail("it must be 1 to 30 lower-case letters, digits and hyphens");
  profile.Title = members.Need("title").Text_With_Content();
  Set(members, "site", profile.Site, Read_Text);
  Set(members, "remark", profile.Remark, Read_Text);
  Set(members, "off_until_read", profile.Off_Until_Read,
      [](const Value& reason) { return reason.Text_With_Content(); });
  if (const auto keys = members.Take("keys")) Read_Keys(*keys, profile);
  if (const auto hosts = members.Take("hosts")) {
    for (const auto& [index, host] : hosts->Parts(JsonKind::Array))
      profile.Hosts.push_back(Read_Host(host, "https://" + host.Text() + "/"));
  }
  if (const auto pacing = members.Take("pacing")) profile.Pacing = Read_Pacing(*pacing);
  profile.Market_Zone = members.Need("zone").Named_Zone();
  Set(members, "us_sessions", profile.Us_Sessions, Read_Truth);
  Read_Symbols(members.Need("symbols"), profile);
  if (const auto troubles = members.Take("troubles")) {
    for (const auto& [index, rule] : troubles->Parts(JsonKind::Array))
      profile.Troubles.push_back(Read_Trouble(rule));
  }
  const Value feeds = members.Need("feeds");
  for (const auto& [index, feed] : feeds.Parts(JsonKind::Array))
    profile.Feeds.push_back(Read_Feed(feed, profile));
  if (profile.Feeds.empty()) feeds.Fail("it must not be empty");
  members.Finish();
  return profile;
}

std::string Line_And_Column(string_view text, std::size_t position) {
  const string_view before = text.substr(0, position);
  const auto line_begin = before.rfind('\n');
  const auto column = position - (line_begin == string_view::npos ? 0 : line_begin + 1);
  return "line " + std::to_string(1 + std::ranges::count(before, '\n')) + ", column " +
         std::to_string(std::max<std::size_t>(column, 1));
}

// The name without folders and the ending.
string_view Stem(string_view file_name) {
  const auto slash = file_name.find_last_of("/\\");
  if (slash != string_view::npos) file_name.remove_prefix(slash + 1);
  if (file_name.ends_with(".json")) file_name.remove_suffix(5);
  return file_name;
}

}  // namespace

std::string ProfileError::Text() const {
  return File + ": " + (Place.empty() ? "" : Place + ": ") + Reason + ".";
}

std::variant<SourceProfile, ProfileError> Read_Profile(string_view text, string_view file_name) {
  const std::string file{file_name};
  if (text.size() > largest_profile) {
    return ProfileError{file, "/", "it is larger than " + std::to_string(largest_profile / 1024) + " KiB"};
  }
  const auto read = JsonTree::Read(text);
  if (const auto* error = std::get_if<JsonError>(&read)) {
    return ProfileError{file, Line_And_Column(text, std::min(error->Position, text.size())),
                        "it is no JSON from here on"};
  }
  try {
    SourceProfile profile = Read_Whole(Value{std::get<JsonTree>(read), JsonTree::Root, ""});
    if (profile.Name != Stem(file_name))
      throw Fault{"/name", "it must be the name of the file, \"" + std::string{Stem(file_name)} + "\""};
    return profile;
  } catch (const Fault& fault) {
    return ProfileError{file, fault.Place, fault.Reason};
  }
}

std::variant<SourceProfile, ProfileError> Load_Profile(const std::filesystem::path& file) {
  const std::string name = Utf8_Text(file);
  try {
    // What is too large for a profile is told by the reader of its text.
    return Read_Profile(Read_File(file, name, std::uintmax_t{4} * largest_profile), name);
  } catch (const RunTimeError& error) {
    std::string reason = error.Detail();
    if (reason.starts_with(name + ": ")) reason.erase(0, name.size() + 2);
    return ProfileError{name, "/", reason.starts_with("it is ") ? reason : "it can't be read: " + reason};
  }
}

ProfileFolder Load_Profiles(const std::filesystem::path& folder) {
  ProfileFolder result;
  std::vector<std::filesystem::path> files;
  try {
    for (const auto& entry : std::filesystem::directory_iterator{folder}) {
      if (entry.path().extension() == ".json") files.push_back(entry.path());
    }
  } catch (const std::filesystem::filesystem_error& error) {
    result.Errors.push_back({Utf8_Text(folder), "", "it can't be listed: " + error.code().message()});
    return result;
  }
  std::ranges::sort(files);
  for (const auto& file : files) {
    auto read = Load_Profile(file);
    if (auto* profile = std::get_if<SourceProfile>(&read)) {
      result.Profiles.push_back(std::move(*profile));
    } else {
      result.Errors.push_back(std::move(std::get<ProfileError>(read)));
    }
  }
  return result;
}

}  // namespace hq::server
