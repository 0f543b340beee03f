#include "entry/symbol_list.h"

#include <algorithm>

#include "base/strings.h"

namespace hq {

std::string Lower_Markers(std::string_view symbol) {
  return Replace_All(Replace_All(Replace_All(symbol, "MUTUAL", "mutual"), "OPRA:", "opra:"),
                     "INDEX:", "index:");
}

std::string Stored_Symbol(std::string_view typed) {
  return Lower_Markers(Upper_Case(Trim(typed)));
}

std::string SymbolList::Text(int position) const {
  return Has(position) ? entries_[static_cast<size_t>(position)].Symbol : std::string();
}

bool SymbolList::Selected(int position) const {
  return Has(position) && entries_[static_cast<size_t>(position)].Selected;
}

bool SymbolList::Holds(std::string_view symbol) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [&](const Entry& entry) { return entry.Symbol == symbol; });
}

int SymbolList::Add(std::string_view symbol) {
  const auto place =
      std::upper_bound(entries_.begin(), entries_.end(), symbol,
                       [](std::string_view added, const Entry& entry) { return added < entry.Symbol; });
  const auto added = entries_.insert(place, Entry{std::string(symbol)});
  return static_cast<int>(added - entries_.begin());
}

void SymbolList::Select(int position, bool selected) {
  if (Has(position)) entries_[static_cast<size_t>(position)].Selected = selected;
}

void SymbolList::Select_All() {
  for (Entry& entry : entries_) entry.Selected = true;
}

void SymbolList::Remove_Selected() {
  std::erase_if(entries_, [](const Entry& entry) { return entry.Selected; });
}

}  // namespace hq
