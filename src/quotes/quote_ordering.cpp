#include "quotes/quote_ordering.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "base/dates.h"
#include "base/numbers.h"
#include "errortrap/procedure.h"

namespace hq {

namespace {

std::chrono::sys_time<std::chrono::minutes> Moment(const QuoteKey& key) {
  return Parse_Date(key.DateText()) + Parse_Time(key.TimeText());
}

void Check_Index(const std::vector<QuoteKey>& array, std::int32_t index) {
  if (index < 0 || static_cast<size_t>(index) >= array.size()) throw RunTimeError(SubscriptOutOfRange);
}

}  // namespace

bool Need_Sort(modFailSafe& trap, const QuoteTable& table) {
  return With_Own_Handler(
      trap, {"global.bas", "Function Need_Sort"},
      [&] {
        if (table.QuoteCount < 2) return false;
        auto earlier = Moment(table.Key(0));
        for (int i = 0; i <= table.QuoteCount - 2; ++i) {
          const auto later = Moment(table.Key(i + 1));
          if (later < earlier) return true;
          earlier = later;
        }
        return false;
      },
      [](const RunTimeError&) { return false; });
}

void QuickSort(modFailSafe& trap, MessageBoxes& boxes, std::vector<QuoteKey>& array, std::int32_t first,
               std::int32_t last) {
  With_Own_Handler(
      trap, {"global.bas", "Sub QuickSort"},
      [&] {
        // The smaller part is sorted by a call and the larger one in this loop, so that no data can nest the
        // calls deeper than the logarithm of its length.
        while (last > first) {
          Check_Index(array, first);
          Check_Index(array, last);
          std::int32_t i = first;
          std::int32_t j = last;
          const QuoteKey pivot = array[static_cast<size_t>(first) + static_cast<size_t>(last - first) / 2];
          while (i <= j) {
            while (i < last && array[static_cast<size_t>(i)] < pivot) ++i;
            while (j > first && pivot < array[static_cast<size_t>(j)]) --j;
            if (i > j) break;
            std::swap(array[static_cast<size_t>(i)], array[static_cast<size_t>(j)]);
            ++i;
            --j;
          }
          if (j - first < last - i) {
            if (first < j) QuickSort(trap, boxes, array, first, j);
            first = i;
          } else {
            if (i < last) QuickSort(trap, boxes, array, i, last);
            last = j;
          }
        }
      },
      [&](const RunTimeError& error) {
        boxes.Show("Err " + error.Description() + " inside QuickSort. Report!");
      });
}

void Set_StartIndex(modFailSafe& trap, const RunSettings& settings, QuoteTable& table) {
  Skip_Failing_Statements(trap, {"global.bas", "Sub Set_StartIndex"}, [&](SkippingStatements& statement) {
    table.FirstRow = 0;
    statement([&] {
      const std::int16_t one_too_many = Narrow_To_16(settings.DayCount + 1);
      std::vector<std::string_view> dates;
      for (int row = table.QuoteCount - 1; row >= 0; --row) {
        const std::string_view date = table.Key(row).DateText();
        if (!dates.empty() && dates.back() == date) continue;
        if (std::find(dates.begin(), dates.end(), date) != dates.end()) continue;
        dates.push_back(date);
        if (static_cast<int>(dates.size()) == one_too_many) {
          table.FirstRow = Narrow_To_16(row + 1);
          return;
        }
      }
    });
  });
}

}  // namespace hq
