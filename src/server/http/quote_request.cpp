#include "server/http/quote_request.h"

#include <algorithm>
#include <array>
#include <utility>

namespace hq::server {
namespace {

constexpr std::size_t longest_symbol = 60;

constexpr auto session_limits = std::to_array<std::pair<int, int>>(
    {{1, 1}, {5, 6}, {10, 12}, {20, 24}, {30, 38}, {60, 71}, {daily_interval, 500}});

// The number that `text` spells in plain digits and nothing else; at most nine, so that it fits.
std::optional<int> Read_Digits(std::string_view text) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (text.empty() || text.size() > 9 || !std::ranges::all_of(text, is_digit)) return std::nullopt;
  int number = 0;
  for (const char c : text) number = 10 * number + (c - '0');
  return number;
}

std::string_view Without_Outer_Blanks(std::string_view text) {
  const auto first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

std::optional<int> Session_Limit(int interval_minutes) {
  for (const auto& [interval, limit] : session_limits) {
    if (interval == interval_minutes) return limit;
  }
  return std::nullopt;
}

std::optional<int> Read_Interval(std::string_view text) {
  const auto minutes = Read_Digits(text);
  if (!minutes || !Session_Limit(*minutes)) return std::nullopt;
  return minutes;
}

std::optional<Day> Read_Request_Date(std::string_view text) {
  const auto number = Read_Digits(text);
  if (!number || text.size() != 6) return std::nullopt;
  const int two_digits = *number % 100;
  const std::chrono::year_month_day date{
      std::chrono::year{two_digits < 50 ? 2000 + two_digits : 1900 + two_digits},
      std::chrono::month{static_cast<unsigned>(*number / 10000)},
      std::chrono::day{static_cast<unsigned>(*number / 100 % 100)}};
  if (!date.ok()) return std::nullopt;
  return Day{date};
}

std::variant<QuoteRequest, std::string> Read_Request(const std::optional<std::string>& interval,
                                                     const std::optional<std::string>& symbol,
                                                     const std::optional<std::string>& date) {
  QuoteRequest request;
  const auto minutes = interval ? Read_Interval(*interval) : std::nullopt;
  if (!minutes) {
    return (interval ? "The interval \"" + *interval + "\" is not served"
                     : std::string{"The interval is missing"}) +
           ": it must be 1, 5, 10, 20, 30, 60 or 1440 minutes.";
  }
  request.Interval = *minutes;
  request.Sessions = *Session_Limit(*minutes);

  request.Symbol = symbol ? Without_Outer_Blanks(*symbol) : std::string_view{};
  if (request.Symbol.empty()) return std::string{"The symbol is missing."};
  if (request.Symbol.size() > longest_symbol) {
    return "The symbol is too long: it may have " + std::to_string(longest_symbol) + " characters.";
  }

  if (date) {
    request.Before = Read_Request_Date(*date);
    if (!request.Before) return "The date \"" + *date + "\" is not a day written as MMDDYY.";
  }
  return request;
}

}  // namespace hq::server
