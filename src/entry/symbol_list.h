#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace hq {

// The list of symbols as a run and the checks see it: read live, while the user may change it. Positions are
// 0-based.
class StockList {
 public:
  StockList() = default;
  StockList(const StockList&) = default;
  StockList& operator=(const StockList&) = default;
  virtual ~StockList() = default;

  [[nodiscard]] virtual int Count() const = 0;
  // The text of an entry; empty for a position that does not exist (any more).
  [[nodiscard]] virtual std::string Text(int position) const = 0;
  // Whether an entry is selected; false for a position that does not exist (any more).
  [[nodiscard]] virtual bool Selected(int position) const = 0;
};

// The form in which a typed symbol is kept: without blanks at both ends, in upper case but for the market
// markers "mutual", "opra:" and "index:", which are lower case wherever they occur.
[[nodiscard]] std::string Stored_Symbol(std::string_view typed);

// The text with the market markers turned to lower case, otherwise as it is.
[[nodiscard]] std::string Lower_Markers(std::string_view symbol);

// A symbol list in memory: ascending by character code, entries not selected when added.
class SymbolList final : public StockList {
 public:
  [[nodiscard]] int Count() const override { return static_cast<int>(entries_.size()); }
  [[nodiscard]] std::string Text(int position) const override;
  [[nodiscard]] bool Selected(int position) const override;

  // Whether an equal entry is in the list, compared exactly.
  [[nodiscard]] bool Holds(std::string_view symbol) const;
  // Puts an entry at its sorted place, behind equal ones. Returns its position.
  int Add(std::string_view symbol);
  void Select(int position, bool selected);
  void Select_All();
  void Remove_Selected();
  void Clear() { entries_.clear(); }

 private:
  struct Entry {
    std::string Symbol;
    bool Selected = false;
  };
  [[nodiscard]] bool Has(int position) const { return position >= 0 && position < Count(); }

  std::vector<Entry> entries_;
};

}  // namespace hq
