#include "output/file_name.h"

#include "base/strings.h"
#include "errortrap/procedure.h"

namespace hq {

namespace {

constexpr int LongerThanAnyHour = 1300;
constexpr int LongestInMinutes = 50;

std::string Date_Digits(const QuoteKey& key) {
  std::string digits(key.Characters(1, 2));
  return digits.append(key.Characters(4, 2)).append(key.Characters(7, 2));
}

std::string Interval_Suffix(int minutes) {
  if (minutes > LongerThanAnyHour) return "1D.txt";
  if (minutes > LongestInMinutes) return "1H.txt";
  return std::to_string(minutes) + "m.txt";
}

std::string As_File_Name(std::string name) {
  for (char& c : name) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 32 || code == 127 || Contains("<>:\"/\\|?*", std::string_view(&c, 1))) c = '_';
  }
  return name;
}

}  // namespace

std::string Create_FileName(modFailSafe& trap, MessageBoxes& boxes, const RunSettings& settings,
                            const QuoteTable& table) {
  return With_Own_Handler(
      trap, {"disk.bas", "Function Create_FileName"},
      [&]() -> std::string {
        if (table.QuoteCount == 0) return {};
        return As_File_Name(Date_Digits(table.Key(table.FirstRow)) + "-" +
                            Date_Digits(table.Key(table.QuoteCount - 1)) + settings.CurrentSymbol +
                            Interval_Suffix(settings.IntervalCode));
      },
      [&](const RunTimeError& error) -> std::string {
        boxes.Show("Error " + std::to_string(error.Number()) + " inside Create_FileName().");
        return {};
      });
}

}  // namespace hq
