#include "server/http/server_pages.h"

#include <initializer_list>

namespace hq::server {
namespace {

constexpr std::size_t most_symbols_shown = 200;
constexpr std::size_t longest_query_shown = 60;

constexpr std::string_view style =
    "    :root { color-scheme: light dark; --ink: #1c2430; --paper: #fbfbf8; --line: #c9cfd6; --link: "
    "#0b57a4;\n"
    "            --note: #fff3cd; }\n"
    "    @media (prefers-color-scheme: dark) {\n"
    "      :root { --ink: #e4e7eb; --paper: #16191d; --line: #454c55; --link: #8ab8ee; --note: #4a3b08; }\n"
    "    }\n"
    "    body { margin: 0 auto; max-width: 44rem; padding: 1.5rem 1rem; color: var(--ink); background: "
    "var(--paper);\n"
    "           font: 1rem/1.5 system-ui, sans-serif; }\n"
    "    a { color: var(--link); }\n"
    "    code { overflow-wrap: anywhere; }\n"
    "    .source { padding: 0.6rem 0.8rem; border: 1px solid var(--line); border-radius: 0.3rem; }\n"
    "    .made-up { background: var(--note); }\n"
    "    table { width: 100%; border-collapse: collapse; }\n"
    "    td { overflow-wrap: anywhere; vertical-align: top; }\n"
    "    .requests td:first-child { white-space: nowrap; }\n"
    "    th, td { padding: 0.25rem 0.5rem; border-bottom: 1px solid var(--line); text-align: left; }\n"
    "    input, button { padding: 0.35rem 0.6rem; font: inherit; }\n";

std::string Page(std::string_view title, const std::string& body) {
  std::string page =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n  <meta charset=\"utf-8\">\n"
      "  <meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n  <title>";
  page.append(title).append("</title>\n  <style>\n").append(style).append("  </style>\n</head>\n<body>\n");
  page.append("  <h1>").append(title).append("</h1>\n").append(body).append("</body>\n</html>\n");
  return page;
}

std::string Source_Note(const QuoteSource& source) {
  const std::string_view look = source.Real_Quotes() ? "source" : "source made-up";
  return "  <p class=\"" + std::string{look} +
         "\">Source of the quotes: " + Escape_Html(source.Description()) + "</p>\n";
}

std::string Row(std::initializer_list<std::string_view> cells, std::string_view kind = "td") {
  std::string row = "      <tr>";
  for (const std::string_view cell : cells) {
    row.append("<").append(kind).append(kind == "th" ? " scope=\"col\">" : ">");
    row += Escape_Html(cell);
    row.append("</").append(kind).append(">");
  }
  return row + "</tr>\n";
}

std::string Table_Of_Sources(QuoteSource& source) {
  const auto sources = source.Sources();
  if (sources.empty()) return {};
  std::string table = "  <h2>Sources in their order</h2>\n  <table>\n    <thead>\n" +
                      Row({"Source", "State", "Why"}, "th") + "    </thead>\n    <tbody>\n";
  for (const SourceStatus& status : sources) table += Row({status.Title, State_Text(status), status.Reason});
  table += "    </tbody>\n  </table>\n";
  if (const auto size = source.Archive_Size())
    table += "  <p>Archive of fetched quotes: " + std::to_string((*size + 1023) / 1024) + " KiB</p>\n";
  return table;
}

std::string Table_Of_Requests(std::span<const ServedRequest> requests) {
  if (requests.empty()) return {};
  std::string table = "  <h2>Last requests</h2>\n  <table class=\"requests\">\n    <thead>\n" +
                      Row({"New York time", "Request", "From"}, "th") + "    </thead>\n    <tbody>\n";
  for (auto request = requests.rbegin(); request != requests.rend(); ++request)
    table += Row({New_York_Text(request->At), request->Line, request->Source});
  return table + "    </tbody>\n  </table>\n";
}

}  // namespace

std::string Escape_Html(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default: {
        const auto code = static_cast<unsigned char>(c);
        escaped += code < 0x20 || code == 0x7f ? '?' : c;
      }
    }
  }
  return escaped;
}

std::string Home_Page(QuoteSource& source, std::string_view request_template, std::string_view search_path,
                      std::span<const ServedRequest> requests) {
  std::string body = "  <p>This server answers requests for historical stock quotes with plain text.</p>\n";
  body += Source_Note(source);
  body += Table_Of_Sources(source) + Table_Of_Requests(requests);
  body +=
      "  <p>A request looks like this:</p>\n  <p><code>" + Escape_Html(request_template) + "</code></p>\n";
  body +=
      "  <p>XXX stands for the interval in minutes (1, 5, 10, 20, 30, 60, or 1440 for daily bars), SSS for "
      "the symbol, and\n"
      "  DDD for the day after the last session wanted, as MMDDYY. Without <code>&amp;Date=DDD</code> the "
      "latest sessions are\n"
      "  sent. Each line of the answer is a bar: date, time, open, high, low, close, volume.</p>\n";
  body += "  <p><a href=\"" + Escape_Html(search_path) + "\">Look a symbol up</a></p>\n";
  return Page("Quote server", body);
}

std::string Search_Page(QuoteSource& source, std::string_view query, std::string_view search_path) {
  const std::string_view shown_query = query.substr(0, longest_query_shown);
  const std::string escaped_query = Escape_Html(shown_query);
  const auto symbols = source.Find_Symbols(shown_query, most_symbols_shown);

  std::string body = Source_Note(source);
  body += "  <form action=\"" + Escape_Html(search_path) + "\" method=\"get\" role=\"search\">\n" +
          "    <label for=\"q\">Symbol or name</label>\n" +
          "    <input id=\"q\" name=\"q\" type=\"search\" maxlength=\"60\" value=\"" + escaped_query +
          "\">\n" + "    <button type=\"submit\">Search</button>\n  </form>\n";
  if (symbols.empty()) {
    body += shown_query.empty() ? "  <p>The source has no symbols.</p>\n"
                                : "  <p>No symbol matches &quot;" + escaped_query + "&quot;.</p>\n";
    return Page("Symbol search", body);
  }
  body +=
      "  <table>\n    <thead><tr><th scope=\"col\">Symbol</th><th "
      "scope=\"col\">Description</th></tr></thead>\n    <tbody>\n";
  for (const SymbolEntry& entry : symbols) {
    body += "      <tr><td>" + Escape_Html(entry.Symbol) + "</td><td>" + Escape_Html(entry.Description) +
            "</td></tr>\n";
  }
  body += "    </tbody>\n  </table>\n";
  if (symbols.size() == most_symbols_shown) {
    body += "  <p>Only the first " + std::to_string(most_symbols_shown) + " symbols are shown.</p>\n";
  }
  return Page("Symbol search", body);
}

}  // namespace hq::server
