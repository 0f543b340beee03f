#include "server/services/feed_choice.h"

#include <algorithm>
#include <utility>

#include "base/strings.h"

namespace hq::server {

using std::string_view;

namespace {

// The kinds of symbols that have a marker; a blank may stand for the colon of a mutual fund.
std::pair<std::string, string_view> Split_Kind(string_view symbol) {
  for (const string_view kind : {"index", "mutual", "opra"}) {
    if (symbol.size() <= kind.size() || Lower_Case(symbol.substr(0, kind.size())) != kind) continue;
    const char mark = symbol[kind.size()];
    if (mark == ':' || (mark == ' ' && kind == "mutual"))
      return {std::string{kind}, symbol.substr(kind.size() + 1)};
  }
  return {"", symbol};
}

}  // namespace

std::optional<ChosenFeed> Choose_Feed(const SourceProfile& profile, int interval, Adjustment adjustment) {
  const auto serves = [interval](const SourceFeed& feed) {
    return std::ranges::find(feed.Serves, interval) != feed.Serves.end();
  };
  for (std::size_t i = 0; i < profile.Feeds.size(); ++i) {
    const SourceFeed& feed = profile.Feeds[i];
    if (serves(feed) && feed.Adjustments.contains(adjustment)) return ChosenFeed{i, adjustment};
  }
  if (adjustment != Adjustment::Splits) return std::nullopt;
  for (std::size_t i = 0; i < profile.Feeds.size(); ++i) {
    const SourceFeed& feed = profile.Feeds[i];
    if (serves(feed) && feed.Instead_Of_Splits) return ChosenFeed{i, *feed.Instead_Of_Splits};
  }
  return std::nullopt;
}

std::optional<std::string> Spell_Symbol(const SourceProfile& profile, string_view symbol) {
  const auto begin = symbol.find_first_not_of(' ');
  if (begin == string_view::npos || symbol.size() > 60) return std::nullopt;
  symbol = symbol.substr(begin, symbol.find_last_not_of(' ') - begin + 1);
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  if (std::ranges::any_of(symbol, is_control)) return std::nullopt;

  const auto [kind, rest] = Split_Kind(symbol);
  std::string name = Upper_Case(rest.substr(std::min(rest.find_first_not_of(' '), rest.size())));
  if (name.empty()) return std::nullopt;
  const auto named = profile.Named_Symbols.find(kind.empty() ? name : kind + ":" + name);
  if (named != profile.Named_Symbols.end()) return named->second;

  const auto rule = std::ranges::find(profile.Symbol_Rules, kind, &SymbolRule::Kind);
  if (rule == profile.Symbol_Rules.end()) return std::nullopt;
  if (rule->Without_Blanks) std::erase(name, ' ');
  const auto size = name.size();
  // Exchanges use one-letter endings too (".L"), but share classes other than these two hardly occur.
  if (size > 2 && name[size - 2] == '.' && (name[size - 1] == 'A' || name[size - 1] == 'B'))
    name.replace(size - 2, 1, rule->Class_Mark);
  const bool has_own_suffix = rule->Own_Suffix_Wins && name.find('.') != std::string::npos;
  if (rule->Lower_Case) name = Lower_Case(name);
  return rule->Prefix + name + (has_own_suffix ? "" : rule->Suffix);
}

}  // namespace hq::server
