#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "market/bar_maker.h"
#include "require.h"
#include "server/http/quote_text.h"
#include "server/services/json_tree.h"
#include "server/services/profile_reader.h"
#include "server/services/upstream_answer.h"
#include "server/services/upstream_request.h"

namespace {

using namespace hq::server;
using namespace std::chrono;

constexpr std::string_view key = "PLANTED4711KEY";
const sys_seconds now = sys_days{2026y / November / 21} + hours{12};

void Check_Text(std::string_view text) {
  Require(text.find(key) == std::string_view::npos, "no text shows the key");
  Require(text.find_first_of("\r\n") == std::string_view::npos, "a reason is one line");
}

void Check_Bars(const SourceProfile& profile, const UpstreamRequest& request, const UpstreamBars& bars) {
  std::vector<Bar> complete;
  for (std::size_t i = 0; i < bars.Bars.size(); ++i) {
    const Bar& bar = bars.Bars[i].Quote;
    Require(i == 0 || Earlier(bars.Bars[i - 1].Quote, bar), "bars are in order, one a stamp");
    Require(bar.Low > 0 && bar.High >= bar.Low && bar.High < 1e13, "prices are finite and above zero");
    Require(bar.Volume >= 0, "no volume is negative");
    Require(bar.Start >= seconds{0} && bar.Start < hours{24}, "a bar begins within a day");
    if (bars.Bars[i].Final) complete.push_back(bar);
  }
  Check_Text(bars.Remark);
  if (bars.Next) {
    Require(bars.Next->Page == request.Page + 1 && bars.Next->Url != request.Url,
            "the next page is another one");
    Check_Text(bars.Next->Shown_Url());
  }
  const SourceFeed& feed = profile.Feeds[request.Feed];
  for (const int interval : feed.Serves) {
    const Answer answer = Answer_From_Feed(
        {complete, feed.Minutes, bars.Market_Zone.Local(now), bars.Us_Sessions, profile.Title},
        {"FUZZ", interval, {}, 5});
    const auto* const table = std::get_if<BarTable>(&answer);
    if (table == nullptr || table->Bars.empty()) continue;
    Require(table->Bars.front().Start == session_open, "an answer begins at 09:30");
    Require(Quote_Text(*table).find_first_not_of("0123456789.,-\n") == std::string::npos,
            "quotes are plain numbers");
  }
}

void Check_Answers(const SourceProfile& profile, std::string_view body) {
  KeyTexts keys;
  for (const SourceKey& each : profile.Keys) keys[each.Name] = key;
  for (std::size_t feed = 0; feed < profile.Feeds.size(); ++feed) {
    for (const auto& [adjustment, word] : profile.Feeds[feed].Adjustments) {
      const UpstreamWish wish{"FUZZ",
                              profile.Feeds[feed].Serves.front(),
                              adjustment,
                              {Day{2026y / November / 17}, Day{2026y / November / 20}}};
      const auto made = Make_Requests(profile, wish, keys, "history-quotes/fuzz", now);
      if (const auto* trouble = std::get_if<Trouble>(&made)) {
        Check_Text(trouble->Reason);
        continue;
      }
      UpstreamRequest request = std::get<std::vector<UpstreamRequest>>(made).front();
      Check_Text(request.Shown_Url());
      request.Feed = feed;
      request.Adjusted = adjustment;
      for (const int status : {200, 429}) {
        const auto answer =
            Read_Answer(profile, request, {status, {{"Retry-After", std::string{body}}}, body}, now);
        if (const auto* trouble = std::get_if<Trouble>(&answer)) {
          Check_Text(trouble->Reason);
          Require(!trouble->Wait || (trouble->Wait->count() >= 0 && *trouble->Wait <= days{31}),
                  "a wait is sane");
        } else {
          Check_Bars(profile, request, std::get<UpstreamBars>(answer));
        }
      }
    }
  }
}

}  // namespace

// The input is a profile's text, and behind a NUL an answer to it. A text without a NUL is an answer for a
// profile of this target's own.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input{reinterpret_cast<const char*>(data), size};
  const auto middle = input.find('\0');
  if (middle != std::string_view::npos) {
    // What a profile says of itself may be shown.
    if (input.substr(0, middle).find(key) != std::string_view::npos) return 0;
    const auto read = Read_Profile(input.substr(0, middle), "fuzz.json");
    if (const auto* profile = std::get_if<SourceProfile>(&read)) {
      Check_Answers(*profile, input.substr(middle + 1));
    } else {
      const std::string text = std::get<ProfileError>(read).Text();
      Require(text.starts_with("fuzz.json: "), "an error names the file");
    }
    return 0;
  }
  static const SourceProfile own = [] {
    constexpr std::string_view answers = R"({
      "name": "fuzz", "title": "Fuzz", "keys": [{"name": "key", "label": "key"}], "zone": "America/New_York",
      "symbols": {"kinds": [{"kind": ""}]},
      "troubles": [{"when": {"at": ["error"]}, "is": "bad-request"}],
      "feeds": [
        {"minutes": 5, "serves": [5, 10, 20, 30, 60], "adjustments": {"splits": ""},
         "address": "https://a.example/{symbol}", "headers": {"X": "{key:key}"},
         "answer": {"shape": "rows", "rows": ["r"], "fields": {"stamp": "t", "open": "o", "high": "h", "low": "l",
                    "close": "c", "volume": "v"}, "stamp": {"form": "epoch-seconds"}, "next_page": {"at": "n"}}},
        {"minutes": 1440, "serves": [1440], "adjustments": {"full": "", "splits": ""},
         "address": "https://a.example/{symbol}",
         "answer": {"shape": "keyed", "rows": ["k"], "fields": {"open": "o", "high": "h", "low": "l", "close": "c",
                    "adjusted_close": "a", "split_factor": "s"}, "stamp": {"form": "date"}}},
        {"minutes": 30, "serves": [60], "adjustments": {"raw": ""}, "address": "https://a.example/{symbol}",
         "answer": {"shape": "columns", "fields": {"stamp": "t", "open": "o", "high": "h", "low": "l", "close": "c",
                    "volume": "v"}, "stamp": {"form": "universal", "label": "end"}, "single_precision": true,
                    "zone_name": "z"}},
        {"minutes": 1, "serves": [1], "adjustments": {"raw": ""}, "address": "https://a.example/{symbol}",
         "answer": {"shape": "csv", "fields": {"stamp": "t", "open": "o", "high": "h", "low": "l", "close": "c",
                    "volume": "v"}, "stamp": {"form": "local", "zone": "Europe/Warsaw"}, "order": "newest-first"}}
      ]})";
    auto read = Read_Profile(answers, "fuzz.json");
    if (const auto* error = std::get_if<ProfileError>(&read)) Require(false, error->Text().c_str());
    return std::get<SourceProfile>(std::move(read));
  }();
  Check_Answers(own, input);
  return 0;
}
