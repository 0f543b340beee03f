#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "market/bar.h"
#include "market/quote_source.h"
#include "market/zone_time.h"
#include "server/services/json_tree.h"

namespace hq::server {

// What was done to the prices for splits and dividends that came after them.
enum class Adjustment {
  // As traded.
  Raw,
  // Changed for splits only.
  Splits,
  // Changed for splits and dividends.
  Full,
};

// "not adjusted", "adjusted for splits", "adjusted for splits and dividends".
[[nodiscard]] std::string_view Adjustment_Name(Adjustment adjustment);

// How an answer shows that something is not as wanted.
enum class TroubleKind {
  // The service doesn't know the symbol.
  UnknownSymbol,
  // The service has nothing for the time asked for; the symbol may be known or not.
  NothingThere,
  // The profile or the service has no such interval, adjustment or kind of symbol.
  NotServed,
  // A key is wrong or lacking.
  KeyRefused,
  // The key is right, but its plan doesn't include what was asked for.
  NotAllowed,
  // The calls of an hour, a day or a month are used up.
  Quota,
  // Too many calls in a short time.
  Throttled,
  // The service is down for now.
  ServerDown,
  // The service refuses the request as wrong.
  BadRequest,
  // The answer isn't what the profile describes, or is about something else.
  FormatChanged,
};

// When a service that refuses may be asked again.
enum class WaitRule {
  // Nothing is known.
  None,
  // After a fixed time.
  Fixed,
  // When the minute, the hour or the day after the present one begins.
  NextMinute,
  NextHour,
  NextDay,
};

// A condition on an answer. All of its parts that are given must hold.
struct AnswerTest {
  // The HTTP status.
  std::optional<int> Status;
  // The value in a JSON answer that `Equals` and `Contains` are about; without these two it must be there.
  std::optional<Path> Where;
  // Whether the value at `Where` must be missing or null instead.
  bool Missing = false;
  std::optional<std::string> Equals;
  // Part of the value at `Where`, or without it part of the whole answer; letter case doesn't count.
  std::optional<std::string> Contains;
};

// What to make of an answer that fits a condition.
struct TroubleRule {
  AnswerTest Test;
  TroubleKind Kind = TroubleKind::BadRequest;
  WaitRule Wait = WaitRule::None;
  // For WaitRule::Fixed.
  std::chrono::seconds Fixed_Wait{};
  // What the trader reads; without it a sentence made from the kind.
  std::string Sentence;
};

// How the stamps of rows are written.
enum class StampForm { EpochSeconds, EpochMilliseconds, Universal, Local, Date };

// Which shape the rows of an answer have.
enum class RowShape {
  // An array of objects or arrays, one a row.
  Rows,
  // An object of arrays, one a column.
  Columns,
  // An object of objects whose names are the stamps.
  Keyed,
  // Text of lines with a header.
  Csv,
};

// One answer's layout.
struct AnswerLayout {
  RowShape Shape = RowShape::Rows;
  // Where the rows are (Rows, Keyed), or the object to which the paths of the columns belong (Columns).
  Path Rows;
  char Delimiter = ',';
  // Where the values of a row are, from the row on, as numbers or as text that is a number; with Columns from
  // `Rows` on, with Csv the one step is the header's word. Stamp is empty for Keyed rows; an empty Volume
  // means that there is none.
  Path Stamp;
  Path Open;
  Path High;
  Path Low;
  Path Close;
  Path Volume;
  // The close after splits and dividends, by which all four prices are adjusted; empty when there is none.
  Path Adjusted_Close;
  // The factor of the split on a row's day, 1 on other days, by which all earlier rows are adjusted; empty
  // when there is none.
  Path Split_Factor;
  // A member that carries a remark for the trader instead of, or beside, a row's values; empty when none.
  Path Remark;
  StampForm Form = StampForm::EpochSeconds;
  // The zone of Local stamps where it is not the exchange's own.
  std::optional<Zone> Stamp_Zone;
  // Whether stamps mean the ends of the bars.
  bool End_Labels = false;
  // Whether the newest row stands first; of two rows with one stamp the newer one counts.
  bool Newest_First = false;
  // Whether prices are single precision numbers written out with too many digits.
  bool Single_Precision = false;
  // Where the answer repeats the symbol that it is about; empty when it doesn't.
  Path Symbol_Echo;
  // Where the answer names the exchange's zone; empty when the profile's own zone holds for all.
  Path Zone_Name;
  // Where the address or the token of the next page stands; empty when answers have one page.
  Path Next_Page;
  // The query parameter for the token; empty when Next_Page is a whole address.
  std::string Page_Parameter;
};

// One kind of bars that a source has, and how to ask for it.
struct SourceFeed {
  // How long a bar of the feed lasts, in minutes: 1 to 60, or daily_interval.
  int Minutes = daily_interval;
  // The intervals that are made from it, each a multiple of Minutes; daily bars only from daily ones.
  std::vector<int> Serves;
  // What the placeholder {interval} stands for.
  std::string Interval_Word;
  // The adjustments it has, with what the placeholder {adjustment} stands for.
  std::map<Adjustment, std::string> Adjustments;
  // The adjustment that is served, and told, where bars adjusted for splits are asked for and there are none.
  std::optional<Adjustment> Instead_Of_Splits;
  // How far back it reaches from today, in days; none when that isn't known.
  std::optional<int> History_Days;
  // The longest time that one call may ask for, in days; none when there is no limit.
  std::optional<int> Days_A_Request;
  // Whether one call asks for one month of the calendar.
  bool Month_A_Request = false;
  // Whether the service refuses to tell anything of the present day.
  bool Not_Today = false;
  // Whether an answer may begin in the middle of a day, whose bars are then left out.
  bool Cut_First_Day = false;
  // How long after its end a bar is complete and may be asked for.
  std::chrono::minutes Delay{};
  // How many calls of the quota one call counts for.
  int Cost = 1;
  // The address and the further headers, with placeholders.
  std::string Address;
  std::vector<std::pair<std::string, std::string>> Headers;
  AnswerLayout Layout;
};

// How fast a source may be asked. A limit of 0 means that there is none.
struct SourcePacing {
  int Calls_A_Minute = 0;
  int Calls_An_Hour = 0;
  int Calls_A_Day = 0;
  // The least time between two calls.
  std::chrono::milliseconds Pause{};
  // At which zone's midnight the day limit begins anew.
  Zone Day_Zone;
};

// A key that the user gets from the service.
struct SourceKey {
  // The name in placeholders, {key:NAME}, and in the settings.
  std::string Name;
  // What the service calls it.
  std::string Label;
};

// How the symbols of one kind are spelled for a source.
struct SymbolRule {
  // The kind before the colon in lower case, "index", "mutual" or "opra"; empty for plain symbols.
  std::string Kind;
  // What is put before and behind the symbol.
  std::string Prefix;
  std::string Suffix;
  // What replaces the point before the one letter of a share class, "." to leave it.
  std::string Class_Mark = ".";
  // What begins a symbol that already names its exchange, such as ".US" behind a point: then Suffix is left
  // out. False when all symbols get the suffix.
  bool Own_Suffix_Wins = false;
  // Whether blanks are taken out.
  bool Without_Blanks = false;
  // Whether the spelling is in lower case; otherwise it is in upper case.
  bool Lower_Case = false;
};

// All that is known of a service: one file.
struct SourceProfile {
  // 1 to 30 lower-case letters, digits and hyphens: the name in settings, in logs and of the file.
  std::string Name;
  // What traders call it.
  std::string Title;
  // Where keys and terms are found; empty when nowhere.
  std::string Site;
  // Why the source is off until the user turns it on; empty for a source that may be used as it is.
  std::string Off_Until_Read;
  // What a trader should know about it.
  std::string Remark;
  std::vector<SourceKey> Keys;
  // The hosts that the key may be sent to: those of the feeds' addresses, and the further ones the file
  // names.
  std::vector<std::string> Hosts;
  SourcePacing Pacing;
  // The zone of the exchange, unless an answer names another.
  Zone Market_Zone;
  // Whether bars outside the regular session of the US exchanges are left out.
  bool Us_Sessions = true;
  std::map<std::string, std::string> Named_Symbols;
  std::vector<SymbolRule> Symbol_Rules;
  // Tried in this order before anything else is made of an answer.
  std::vector<TroubleRule> Troubles;
  std::vector<SourceFeed> Feeds;
};

}  // namespace hq::server
