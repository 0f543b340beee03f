#include "errortrap/report_text.h"

#include <cmath>

#include "base/strings.h"

namespace hq {

namespace {

bool Is_Control(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

}  // namespace

std::string Or_Unknown(const std::string& text) {
  return text.empty() ? Unknown : text;
}

std::string Joined_Lines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text.append(line).append("\n");
  return text;
}

std::string One_Line(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (Is_Control(c)) c = ' ';
  }
  return std::string(Trim(line));
}

std::string Indented_Lines(std::string_view text) {
  constexpr std::string_view Indent = "   ";
  std::string lines;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    // CR LF is one line end.
    if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    if (c == '\n' || c == '\r') {
      lines.append("\n").append(Indent);
    } else {
      lines += Is_Control(c) ? ' ' : c;
    }
  }
  while (!lines.empty() && (lines.back() == '\n' || lines.back() == ' ')) lines.pop_back();
  return lines;
}

std::string Grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t i = digits.size(); i > 3; i -= 3) digits.insert(i - 3, 1, ',');
  return digits;
}

std::string Kilobyte_Text(std::uint64_t bytes) {
  return Grouped(bytes / 1024) + " KB";
}

std::string Percent_Text(std::uint64_t part, std::uint64_t whole) {
  const double percent = static_cast<double>(part) / static_cast<double>(whole) * 100;
  const auto hundredths = static_cast<std::uint64_t>(std::llround(percent * 100));
  if (hundredths == 0) return "0";
  std::string decimals = std::to_string(100 + hundredths % 100).substr(1);
  while (!decimals.empty() && decimals.back() == '0') decimals.pop_back();
  const std::uint64_t whole_percents = hundredths / 100;
  std::string text = whole_percents == 0 ? std::string() : std::to_string(whole_percents);
  if (!decimals.empty()) text += "." + decimals;
  return text;
}

std::string Number_Text(std::optional<int> number) {
  return number ? std::to_string(*number) : std::string();
}

std::string Yes_No(std::optional<bool> value) {
  if (!value) return {};
  return *value ? "YES" : "NO";
}

std::string Color_Text(std::optional<int> bits) {
  return bits ? std::to_string(*bits) + " bits per pixel" : std::string();
}

}  // namespace hq
