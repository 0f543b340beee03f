#include "server/http/quote_text.h"

#include <array>
#include <charconv>

namespace hq::server {
namespace {

constexpr std::size_t longest_line = 400;

void Append_Two_Digits(std::string& text, unsigned number) {
  text += static_cast<char>('0' + number / 10 % 10);
  text += static_cast<char>('0' + number % 10);
}

void Append_Price(std::string& text, double price, std::optional<int> decimals) {
  // The longest double in plain notation has 309 digits before the point or 1075 after it.
  std::array<char, 1100> digits{};
  char* const end = digits.data() + digits.size();
  const auto result = decimals ? std::to_chars(digits.data(), end, price, std::chars_format::fixed, *decimals)
                               : std::to_chars(digits.data(), end, price, std::chars_format::fixed);
  text.append(digits.data(), result.ptr);
}

}  // namespace

std::string Quote_Text(const BarTable& table) {
  std::string text;
  text.reserve(table.Bars.size() * 52 + longest_line);
  if (!table.Source.empty()) text += One_Line("Source: " + table.Source);
  for (const Bar& bar : table.Bars) {
    const std::chrono::year_month_day date{bar.Date};
    Append_Two_Digits(text, static_cast<unsigned>(static_cast<int>(date.year())) % 100);
    Append_Two_Digits(text, static_cast<unsigned>(date.month()));
    Append_Two_Digits(text, static_cast<unsigned>(date.day()));
    text += ',';
    const auto minute = static_cast<unsigned>(bar.Start.count() / 60);
    Append_Two_Digits(text, minute / 60);
    Append_Two_Digits(text, minute % 60);
    for (const double price : {bar.Open, bar.High, bar.Low, bar.Close}) {
      text += ',';
      Append_Price(text, price, table.Decimals);
    }
    text += ',';
    text += std::to_string(bar.Volume);
    text += '\n';
  }
  return text;
}

std::string One_Line(std::string_view text) {
  std::string line{text.substr(0, longest_line)};
  for (char& c : line) {
    if (c < ' ' || c > '~') c = '?';
  }
  for (auto at = line.find(",0930,"); at != std::string::npos; at = line.find(",0930,", at + 1))
    line[at] = ';';
  return line + '\n';
}

}  // namespace hq::server
