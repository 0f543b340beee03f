#include "server/services/upstream_answer.h"

#include <algorithm>

#include "base/strings.h"
#include "server/services/answer_rows.h"
#include "server/services/answer_trouble.h"
#include "server/services/json_tree.h"
#include "server/services/placeholders.h"
#include "server/services/row_taker.h"

namespace hq::server {
namespace {

using namespace std::chrono;
using std::string_view;

void Check_Symbol(const JsonTree& tree, const UpstreamRequest& request, const Path& echo) {
  if (echo.empty()) return;
  const auto place = tree.Find(JsonTree::Root, echo);
  if (!place || tree.Kind(*place) == JsonKind::Null) return;
  if (!Equal_Without_Case(tree.Text(*place), request.Spelled_Symbol))
    throw AnswerChange{"it is about \"" + Quoted(tree.Text(*place), request) + "\" instead of \"" +
                       request.Spelled_Symbol + "\""};
}

Zone Zone_Of(const JsonTree* tree, const SourceProfile& profile, const Path& path,
             const UpstreamRequest& request) {
  if (path.empty() || tree == nullptr) return profile.Market_Zone;
  const auto place = tree->Find(JsonTree::Root, path);
  if (!place || tree->Kind(*place) == JsonKind::Null) return profile.Market_Zone;
  const auto zone = Find_Zone(tree->Text(*place));
  if (!zone) {
    throw AnswerChange{"it names the time zone \"" + Quoted(tree->Text(*place), request) +
                       "\", which the program doesn't know"};
  }
  return *zone;
}

bool Is_Less_Safe(string_view address, string_view than) {
  return than.starts_with("https://") && !address.starts_with("https://");
}

std::optional<UpstreamRequest> Next_Request(const JsonTree& tree, const UpstreamRequest& request,
                                            const AnswerLayout& layout) {
  if (layout.Next_Page.empty()) return std::nullopt;
  const auto place = tree.Find(JsonTree::Root, layout.Next_Page);
  if (!place || tree.Kind(*place) == JsonKind::Null || tree.Text(*place).empty()) return std::nullopt;
  if (tree.Kind(*place) != JsonKind::Text) throw AnswerChange{"its next page is no text"};
  if (request.Page >= most_pages)
    throw AnswerChange{"it has more than " + std::to_string(most_pages) + " pages"};
  const std::string text{tree.Text(*place)};

  UpstreamRequest next = request;
  ++next.Page;
  if (layout.Page_Parameter.empty()) {
    const auto host = Host_Of(text);
    const auto is_plain = [](char c) { return c > ' ' && c < 0x7F; };
    if (!host || std::ranges::find(request.Hosts, *host) == request.Hosts.end() ||
        !std::ranges::all_of(text, is_plain) || Is_Less_Safe(text, request.Url))
      throw AnswerChange{"its next page is at another place than the service's"};
    next.Url = text;
  } else {
    const std::string marker = "&" + layout.Page_Parameter + "=";
    if (request.Page > 1) next.Url.resize(std::min(next.Url.rfind(marker), next.Url.size()));
    next.Url += marker + Percent_Encoded(text);
  }
  if (next.Url == request.Url) throw AnswerChange{"its next page is the same one again"};
  return next;
}

bool Has_Us_Sessions(const SourceProfile& profile, const Zone& zone) {
  return profile.Us_Sessions && (zone.Name() == "America/New_York" || zone.Name() == "US/Eastern");
}

// What an empty page with others behind it gives.
UpstreamBars No_Bars(const SourceProfile& profile, const UpstreamRequest& request, const JsonTree* tree,
                     UpstreamRequest next) {
  const SourceFeed& feed = profile.Feeds.at(request.Feed);
  UpstreamBars none;
  none.Minutes = feed.Minutes;
  none.Adjusted = request.Adjusted;
  none.Market_Zone = Zone_Of(tree, profile, feed.Layout.Zone_Name, request);
  none.Us_Sessions = Has_Us_Sessions(profile, none.Market_Zone);
  none.Next = std::move(next);
  return none;
}

UpstreamBars Read_Bars(const SourceProfile& profile, const UpstreamRequest& request,
                       const UpstreamResponse& response, const JsonTree* tree, sys_seconds now) {
  const SourceFeed& feed = profile.Feeds.at(request.Feed);
  const AnswerLayout& layout = feed.Layout;
  const Zone zone = Zone_Of(tree, profile, layout.Zone_Name, request);
  RowTaker taker{feed, request.Adjusted, zone, Has_Us_Sessions(profile, zone), now};
  const auto take = [&taker](std::size_t number, const RowCells& cells) { taker.Take(number, cells); };
  if (layout.Shape == RowShape::Csv) {
    Walk_Lines(response.Body, layout, take);
    return taker.Finish();
  }
  Check_Symbol(*tree, request, layout.Symbol_Echo);
  const auto rows = tree->Find(JsonTree::Root, Expanded(layout.Rows, request, feed));
  if (!rows) throw AnswerChange{"it has no rows where they should be"};
  if (layout.Shape == RowShape::Columns) {
    Walk_Columns(*tree, *rows, layout, take);
  } else {
    Walk_Rows(*tree, *rows, layout, take);
  }
  UpstreamBars bars = taker.Finish();
  bars.Next = Next_Request(*tree, request, layout);
  return bars;
}

string_view Without_Blanks_Before(string_view text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
}

// Whether JSON is to be looked for: CSV answers become JSON when something is wrong.
bool May_Be_Json(string_view body, RowShape shape) {
  return shape != RowShape::Csv || body.starts_with('{') || body.starts_with('[');
}

}  // namespace

UpstreamAnswer Read_Answer(const SourceProfile& profile, const UpstreamRequest& request,
                           const UpstreamResponse& response, sys_seconds now) {
  const RowShape shape = profile.Feeds.at(request.Feed).Layout.Shape;
  const string_view body = Without_Blanks_Before(response.Body);
  std::optional<JsonTree> tree;
  if (!body.empty() && May_Be_Json(body, shape)) {
    auto read = JsonTree::Read(response.Body);
    if (auto* json = std::get_if<JsonTree>(&read)) tree = std::move(*json);
  }
  const auto trouble = Find_Trouble(profile, request, response, tree ? &*tree : nullptr, now);
  const bool is_empty_page = trouble && trouble->Kind == TroubleKind::NothingThere && tree;
  if (trouble && !is_empty_page) return *trouble;

  const auto changed = [&](const std::string& reason) {
    return Trouble{TroubleKind::FormatChanged,
                   Sentence(profile, request, TroubleKind::FormatChanged) +
                       " In short: " + request.Without_Keys(reason) + ".",
                   {}};
  };
  if (is_empty_page) {
    // Bars may be on the pages behind it.
    try {
      auto next = Next_Request(*tree, request, profile.Feeds.at(request.Feed).Layout);
      return next ? UpstreamAnswer{No_Bars(profile, request, &*tree, *std::move(next))} : *trouble;
    } catch (const AnswerChange& change) {
      return changed(change.Reason);
    }
  }
  if (body.empty()) return changed("it is empty");
  if (body.starts_with('<')) return changed("it is a web page instead of quotes");
  if (shape == RowShape::Csv ? tree.has_value() : !tree)
    return changed(tree ? "it is JSON instead of lines" : "it is no complete JSON");
  try {
    UpstreamBars bars = Read_Bars(profile, request, response, tree ? &*tree : nullptr, now);
    bars.Remark = bars.Remark.empty() ? "" : Quoted(bars.Remark, request);
    const bool has_no_rows = bars.Bars.empty() && !bars.Next && bars.Rows == 0;
    if (has_no_rows)
      return Trouble{TroubleKind::NothingThere, Sentence(profile, request, TroubleKind::NothingThere), {}};
    return bars;
  } catch (const AnswerChange& change) {
    return changed(change.Reason);
  }
}

}  // namespace hq::server
