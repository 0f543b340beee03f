#include "errortrap/error_category.h"

#include <array>

#include "errortrap/error_record_labels.h"

namespace hq {

namespace {

struct CategoryRange {
  int First;
  int Last;
  const char* Name;
};

// The first range that holds a number gives its category.
constexpr std::array<CategoryRange, 4> Categories = {{
    {52, 76, "File System (disk, directory or file) access"},
    {482, 486, "Printer access"},
    {35750, 36000, "Internet transfer"},
    {3, 999, "General run-time"},
}};

}  // namespace

std::string Error_Category(int number) {
  for (const CategoryRange& range : Categories) {
    if (number >= range.First && number <= range.Last) return range.Name;
  }
  return std::string(error_record::UnknownCategory);
}

}  // namespace hq
