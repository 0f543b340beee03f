#include "server/http/server_pages.h"

#include <gmock/gmock.h>

#include "market/market_support.h"

namespace hq::server {
namespace {

using testing::HasSubstr;
using testing::Not;

class ListedSource : public QuoteSource {
 public:
  explicit ListedSource(bool real) : real_(real) {}
  Answer Bars(const QuoteRequest&) override { return BarTable{}; }
  std::vector<SymbolEntry> Find_Symbols(std::string_view text, std::size_t limit) override {
    std::vector<SymbolEntry> found;
    if (text == "none") return found;
    for (std::size_t i = 0; i < std::min<std::size_t>(limit, text == "all" ? 100000 : 1); ++i) {
      found.push_back({"A&B" + std::to_string(i), "<made> \"up\""});
    }
    return found;
  }
  [[nodiscard]] std::string Description() const override {
    return real_ ? "The files <here>." : "NOT real quotes.";
  }
  [[nodiscard]] bool Real_Quotes() const override { return real_; }

 private:
  bool real_;
};

TEST(Escape_Html, LeavesNothingThatMeansSomething) {
  EXPECT_EQ(Escape_Html("<a href=\"x\" title='y'>&amp;"),
            "&lt;a href=&quot;x&quot; title=&#39;y&#39;&gt;&amp;amp;");
  EXPECT_EQ(Escape_Html("a\r\nb\x01"), "a??b?");
  EXPECT_EQ(Escape_Html("gr\xc3\xbc\xc3\x9f"), "gr\xc3\xbc\xc3\x9f");
}

TEST(Search_Page, IsAWholeAccessiblePage) {
  ListedSource source{false};
  const std::string page = Search_Page(source, "a", "/search");
  for (const char* part :
       {"<!DOCTYPE html>", "<html lang=\"en\">", "<meta charset=\"utf-8\">", "name=\"viewport\"",
        "prefers-color-scheme: dark", "<label for=\"q\">", "action=\"/search\"", "NOT real quotes.",
        "<td>A&amp;B0</td><td>&lt;made&gt; &quot;up&quot;</td>", "</html>"}) {
    EXPECT_THAT(page, HasSubstr(part));
  }
  for (const char* part : {"<script", "http://", "https://", "url(", "<link", "<img"})
    EXPECT_THAT(page, Not(HasSubstr(part)));
}

TEST(Search_Page, EscapesAndCutsTheQuery) {
  ListedSource source{true};
  const std::string page = Search_Page(source, "\"><script>alert(1)</script>", "/search");
  EXPECT_THAT(page, HasSubstr("value=\"&quot;&gt;&lt;script&gt;alert(1)&lt;/script&gt;\""));
  EXPECT_THAT(page, Not(HasSubstr("<script>")));
  EXPECT_THAT(page, HasSubstr("The files &lt;here&gt;."));
  EXPECT_THAT(Search_Page(source, std::string(5000, 'q'), "/search"), Not(HasSubstr(std::string(61, 'q'))));
}

TEST(Search_Page, SaysWhenNothingOrTooMuchIsFound) {
  ListedSource source{true};
  EXPECT_THAT(Search_Page(source, "none", "/search"), HasSubstr("No symbol matches &quot;none&quot;."));
  const std::string page = Search_Page(source, "all", "/search");
  EXPECT_THAT(page, HasSubstr("Only the first 200 symbols are shown."));
  EXPECT_THAT(page, HasSubstr("A&amp;B199<"));
  EXPECT_THAT(page, Not(HasSubstr("A&amp;B200<")));
}

TEST(Home_Page, ShowsTheRequestAndTheSource) {
  ListedSource source{false};
  const std::string page = Home_Page(source, "http://h:1/quotes?Interval=XXX&Symbol=SSS&Date=DDD", "/search");
  EXPECT_THAT(page, HasSubstr("<code>http://h:1/quotes?Interval=XXX&amp;Symbol=SSS&amp;Date=DDD</code>"));
  EXPECT_THAT(page, HasSubstr("NOT real quotes."));
  EXPECT_THAT(page, HasSubstr("<a href=\"/search\">"));
}

TEST(Home_Page, ShowsTheSourcesInTheirOrderAndTheLastRequests) {
  class ChainedSource : public ListedSource {
   public:
    ChainedSource() : ListedSource(true) {}
    std::vector<SourceStatus> Sources() override {
      return {{"one", "One & Only", SourceState::Ready, {}, ""},
              {"two", "Two", SourceState::OutOfQuota,
               std::chrono::sys_days{Date(2026, 11, 21)} + std::chrono::hours{21}, "It said <enough>."}};
    }
    [[nodiscard]] std::optional<std::uintmax_t> Archive_Size() const override { return 4097; }
  } source;
  const std::vector<ServedRequest> requests = {
      {std::chrono::sys_days{Date(2026, 11, 21)} + std::chrono::hours{15}, "GET /quotes?Symbol=A<B -> 200",
       "One (archive)"},
      {std::chrono::sys_days{Date(2026, 11, 21)} + std::chrono::hours{16}, "GET /quotes?Symbol=C -> 404",
       ""}};
  const std::string page = Home_Page(source, "http://x/", "/search", requests);
  EXPECT_THAT(page, HasSubstr("<td>One &amp; Only</td><td>ready</td><td></td>"));
  EXPECT_THAT(
      page,
      HasSubstr("<td>Two</td><td>out of quota until 2026-11-21 16:00</td><td>It said &lt;enough&gt;.</td>"));
  EXPECT_THAT(
      page,
      HasSubstr(
          "<td>2026-11-21 10:00</td><td>GET /quotes?Symbol=A&lt;B -&gt; 200</td><td>One (archive)</td>"));
  EXPECT_THAT(page, HasSubstr("Archive of fetched quotes: 5 KiB"));
  EXPECT_LT(page.find("Symbol=C"), page.find("Symbol=A")) << "the newest first";
  ListedSource plain{true};
  EXPECT_THAT(Home_Page(plain, "http://x/", "/search"), Not(HasSubstr("<table>")));
}

}  // namespace
}  // namespace hq::server
