#include "server/simulated/simulated_market.h"

#include <algorithm>
#include <array>

#include "market/trading_calendar.h"

namespace hq::server {
namespace {

// Fixed-point numbers carry the number of their fraction bits in their name: _q24 means value * 2^24.

// Tells apart the random numbers that are drawn for the same symbol.
enum class Purpose : std::uint64_t { Level = 1, Temper, Trading, Trend, Gap, Path, Wick, Volume, Day };

constexpr std::uint64_t Mix(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15U;
  value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
  value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
  return value ^ (value >> 31U);
}

constexpr std::uint64_t Draw(std::uint64_t seed, Purpose purpose, std::int64_t number) {
  return Mix(Mix(seed ^ (static_cast<std::uint64_t>(purpose) << 56U)) ^ static_cast<std::uint64_t>(number));
}

// An even draw from -1 to 1.
constexpr std::int64_t Even_q16(std::uint64_t random) {
  return static_cast<std::int64_t>((random >> 40U) & 0x1ffffU) - 0x10000;
}

// A draw from -1 to 1 with its peak at 0.
constexpr std::int64_t Peaked_q16(std::uint64_t random) {
  return static_cast<std::int64_t>(random & 0xffffU) - static_cast<std::int64_t>((random >> 16U) & 0xffffU);
}

// An even draw from `lowest` to `end` - 1.
constexpr std::int64_t Between(std::int64_t lowest, std::int64_t end, std::uint64_t random) {
  return lowest + static_cast<std::int64_t>(random % static_cast<std::uint64_t>(end - lowest));
}

constexpr std::uint64_t Square_Root(std::uint64_t value) {
  std::uint64_t root = 0;
  for (std::uint64_t bit = std::uint64_t{1} << 31U; bit != 0; bit >>= 1U) {
    const std::uint64_t tried = root | bit;
    if (tried * tried <= value) root = tried;
  }
  return root;
}

// Entry k holds 2^(2^-k), with 30 fraction bits.
constexpr auto roots_of_two_q30 = [] {
  std::array<std::uint64_t, 25> roots{};
  roots[0] = std::uint64_t{2} << 30U;
  for (std::size_t k = 1; k < roots.size(); ++k) roots[k] = Square_Root(roots[k - 1] << 30U);
  return roots;
}();

// e^x with 8 fraction bits, for x from -5.5 to 20.
std::int64_t Exponential_q8(std::int64_t x_q24) {
  constexpr std::int64_t binary_log_of_e_q24 = 24204406;
  const std::int64_t x_binary_q24 = (x_q24 * binary_log_of_e_q24) >> 24U;
  const std::int64_t whole = x_binary_q24 >> 24U;
  std::uint64_t result_q30 = std::uint64_t{1} << 30U;
  for (unsigned k = 1; k <= 24; ++k) {
    if ((x_binary_q24 >> (24U - k)) & 1) result_q30 = (result_q30 * roots_of_two_q30[k]) >> 30U;
  }
  return static_cast<std::int64_t>(result_q30 >> static_cast<unsigned>(22 - whole));
}

// How the securities of a kind move. Logarithms are natural ones of the price in cents.
struct Temper {
  std::int64_t LowestLevel_q24;
  std::int64_t LevelSpan_q24;
  std::int64_t CalmestDay_q24;  // the typical move of a day, as a part of the price
  std::int64_t MoveSpan_q24;
  int Scales;  // the slowest trend turns in 2^(Scales - 1) weekdays
};

constexpr std::int64_t Q24(double value) {
  return static_cast<std::int64_t>(value * (1 << 24));
}

constexpr Temper Temper_Of(SecurityKind kind) {
  switch (kind) {
    case SecurityKind::MutualFund:
      return {Q24(7.0), Q24(2.5), Q24(0.005), Q24(0.005), 12};
    case SecurityKind::Index:
      return {Q24(11.5), Q24(3.5), Q24(0.006), Q24(0.006), 12};
    case SecurityKind::Option:
      return {Q24(5.0), Q24(2.0), Q24(0.035), Q24(0.03), 8};
    case SecurityKind::Share:
      break;
  }
  return {Q24(7.1), Q24(3.0), Q24(0.009), Q24(0.013), 12};
}

// The shares, rounded, that 2^(k/2) has of 2^0, with 8 fraction bits.
constexpr std::array<std::int64_t, 12> half_powers_q8 = {256,  362,  512,  724,  1024, 1448,
                                                         2048, 2896, 4096, 5793, 8192, 11585};

std::int64_t Scaled(std::int64_t value, std::int64_t lowest, std::int64_t span) {
  return lowest + ((span * (value + 0x10000)) >> 17U);
}

// Counts weekdays, so that a weekend is no longer than a night.
std::int64_t Weekday_Number(Day date) {
  const std::int64_t since_monday = (date - Day{std::chrono::year{1900} / 1 / 1}).count();
  const std::int64_t week = since_monday >= 0 ? since_monday / 7 : -((6 - since_monday) / 7);
  return 5 * week + std::min<std::int64_t>(since_monday - 7 * week, 5);
}

// One symbol's market: its price as a line through time, made of trends of many lengths. The value at any day
// takes a dozen draws, whatever the distance to other days.
class Market {
 public:
  explicit Market(const SimulatedSymbol& symbol) : seed_(symbol.Seed), temper_(Temper_Of(symbol.Kind)) {
    level_q24_ =
        Scaled(Even_q16(Draw(seed_, Purpose::Level, 0)), temper_.LowestLevel_q24, temper_.LevelSpan_q24);
    day_move_q24_ =
        Scaled(Even_q16(Draw(seed_, Purpose::Temper, 0)), temper_.CalmestDay_q24, temper_.MoveSpan_q24);
    minute_volume_ = Minute_Volume();
  }

  void Append_Session(Day date, std::vector<Bar>& bars) const {
    const int minutes = Session_Minutes(date);
    if (minutes == 0) return;

    const std::int64_t weekday = Weekday_Number(date);
    const std::int64_t begin_q24 = Trend_q24(weekday);
    const std::int64_t gap_q24 = (Peaked_q16(Draw(seed_, Purpose::Gap, weekday)) * day_move_q24_) >> 17U;
    const std::int64_t open_q24 = begin_q24 + gap_q24;
    const std::int64_t day_change_q24 = Trend_q24(weekday + 1) - open_q24;
    const std::int64_t open_cents_q8 = Exponential_q8(open_q24);

    // The path within the day wanders freely; what it misses the day's end by is then spread evenly over the
    // minutes.
    const std::int64_t minute_move_q24 = day_move_q24_ / 20;
    const std::int64_t first_minute = weekday * 512;
    std::array<std::int64_t, 391> wander_q24{};
    for (int k = 1; k <= minutes; ++k) {
      const auto draw = Draw(seed_, Purpose::Path, first_minute + k);
      wander_q24[static_cast<std::size_t>(k)] =
          wander_q24[static_cast<std::size_t>(k - 1)] + ((Peaked_q16(draw) * minute_move_q24) >> 15U);
    }
    const std::int64_t drift_q24 = day_change_q24 - wander_q24[static_cast<std::size_t>(minutes)];
    const std::int64_t day_volume =
        minute_volume_ * Between(512, 1536, Draw(seed_, Purpose::Day, weekday)) / 1024;

    std::int64_t last_close = 0;
    for (int k = 0; k < minutes; ++k) {
      const std::int64_t change_q24 =
          wander_q24[static_cast<std::size_t>(k) + 1] + drift_q24 * (k + 1) / minutes;
      const std::int64_t close = Cents(open_cents_q8, change_q24);
      const std::uint64_t wicks = Draw(seed_, Purpose::Wick, first_minute + k);
      const std::int64_t tick = Tick(wicks >> 32U);
      const std::int64_t open = k == 0 ? std::max<std::int64_t>((open_cents_q8 + 128) >> 8U, 1)
                                       : std::max<std::int64_t>(last_close + tick, 1);
      const std::int64_t reach_q8 = (open_cents_q8 * minute_move_q24) >> 24U;
      const std::int64_t up = (reach_q8 * static_cast<std::int64_t>(wicks & 0xffU)) >> 16U;
      const std::int64_t down = (reach_q8 * static_cast<std::int64_t>((wicks >> 8U) & 0xffU)) >> 16U;
      const std::int64_t high = std::max(open, close) + up;
      const std::int64_t low = std::max<std::int64_t>(std::min(open, close) - down, 1);

      const auto in_dollars = [](std::int64_t cents) { return static_cast<double>(cents) / 100; };
      bars.push_back({date, session_open + std::chrono::minutes{k}, in_dollars(open), in_dollars(high),
                      in_dollars(low), in_dollars(close), Volume(day_volume, first_minute, k, minutes)});
      last_close = close;
    }
  }

 private:
  // Most minutes begin where the last one ended, some a cent beside it.
  static std::int64_t Tick(std::uint64_t random) {
    if (random % 8 == 0) return 1;
    return random % 8 == 1 ? -1 : 0;
  }

  static std::int64_t Cents(std::int64_t open_cents_q8, std::int64_t change_q24) {
    // The first terms of the exponential series; within a day they are exact to far less than a cent.
    const std::int64_t x = change_q24;
    const std::int64_t square = (x * x) >> 24U;
    const std::int64_t cube = (square * x) >> 24U;
    const std::int64_t factor_q24 = (std::int64_t{1} << 24U) + x + square / 2 + cube / 6;
    return std::max<std::int64_t>((((open_cents_q8 * factor_q24) >> 24U) + 128) >> 8U, 1);
  }

  // The logarithm of the price, in cents, at the beginning of a weekday.
  std::int64_t Trend_q24(std::int64_t weekday) const {
    std::int64_t trend_q24 = level_q24_;
    for (int scale = 0; scale < temper_.Scales; ++scale) {
      const std::int64_t length = std::int64_t{1} << scale;
      const std::int64_t piece = weekday >> scale;
      const std::int64_t into_piece = weekday - piece * length;
      const std::int64_t from = Knot_q16(scale, piece);
      const std::int64_t to = Knot_q16(scale, piece + 1);
      const std::int64_t value_q16 = from + (to - from) * into_piece / length;
      const std::int64_t size_q24 = (day_move_q24_ * half_powers_q8[static_cast<std::size_t>(scale)]) >> 8U;
      // Four fifths bring the moves of all lengths together to one typical day's move.
      trend_q24 += ((value_q16 * size_q24) >> 16U) * 4 / 5;
    }
    return trend_q24;
  }

  std::int64_t Knot_q16(int scale, std::int64_t piece) const {
    return Even_q16(Draw(seed_ + static_cast<std::uint64_t>(scale), Purpose::Trend, piece));
  }

  std::int64_t Minute_Volume() const {
    const std::uint64_t draw = Draw(seed_, Purpose::Trading, 0);
    return 2 * half_powers_q8[draw % half_powers_q8.size()] + Between(0, 400, draw >> 32U);
  }

  // Trading is busiest at both ends of the day and quietest at noon.
  std::int64_t Volume(std::int64_t day_volume, std::int64_t first_minute, int k, int minutes) const {
    const std::int64_t from_noon_q10 = std::int64_t{1024} * std::abs(2 * k + 1 - minutes) / minutes;
    const std::int64_t square_q10 = (from_noon_q10 * from_noon_q10) >> 10U;
    const std::int64_t shape_q10 = 600 + 2 * ((square_q10 * square_q10) >> 10U) + (k == 0 ? 2048 : 0);
    const std::int64_t luck_q10 = Between(320, 1720, Draw(seed_, Purpose::Volume, first_minute + k));
    return std::max<std::int64_t>((((day_volume * shape_q10) >> 10U) * luck_q10) >> 10U, 1);
  }

  std::uint64_t seed_;
  Temper temper_;
  std::int64_t level_q24_ = 0;
  std::int64_t day_move_q24_ = 0;
  std::int64_t minute_volume_ = 0;
};

bool Is_Letter(char c) {
  return c >= 'A' && c <= 'Z';
}

bool Is_Digit(char c) {
  return c >= '0' && c <= '9';
}

bool Only_Letters(std::string_view text, std::size_t longest) {
  return !text.empty() && text.size() <= longest && std::ranges::all_of(text, Is_Letter);
}

bool Is_Share(std::string_view text) {
  if (text.ends_with(".A") || text.ends_with(".B")) text.remove_suffix(2);
  return Only_Letters(text, 5);
}

SimulatedSymbol Make_Symbol(std::string_view marker, std::string_view name, SecurityKind kind) {
  std::uint64_t seed = Mix(static_cast<std::uint64_t>(kind));
  for (const char c : name) seed = Mix(seed ^ static_cast<unsigned char>(c));
  return {std::string{marker} + std::string{name}, kind, seed};
}

}  // namespace

std::optional<SimulatedSymbol> Find_Simulated_Symbol(std::string_view text) {
  if (text.size() > 60) return std::nullopt;
  std::string upper{text};
  for (char& c : upper) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  const std::string_view symbol = upper;

  if (symbol.starts_with("MUTUAL:") || symbol.starts_with("MUTUAL ")) {
    const auto name = symbol.substr(7);
    if (!Only_Letters(name, 5)) return std::nullopt;
    return Make_Symbol("mutual:", name, SecurityKind::MutualFund);
  }
  if (symbol.starts_with("INDEX:")) {
    const auto name = symbol.substr(6);
    const auto fits = [](char c) { return Is_Letter(c) || Is_Digit(c); };
    if (name.empty() || name.size() > 10 || !std::ranges::all_of(name, fits)) return std::nullopt;
    return Make_Symbol("index:", name, SecurityKind::Index);
  }
  if (symbol.starts_with("OPRA:")) {
    const auto name = symbol.substr(5);
    const auto fits = [](char c) { return Is_Letter(c) || Is_Digit(c) || c == ' '; };
    if (name.empty() || name.size() > 21 || !Is_Letter(name[0]) || name.back() == ' ' ||
        !std::ranges::all_of(name, fits)) {
      return std::nullopt;
    }
    return Make_Symbol("opra:", name, SecurityKind::Option);
  }
  if (!Is_Share(symbol)) return std::nullopt;
  return Make_Symbol("", symbol, SecurityKind::Share);
}

void Append_Simulated_Minutes(const SimulatedSymbol& symbol, Day date, std::vector<Bar>& bars) {
  Market{symbol}.Append_Session(date, bars);
}

}  // namespace hq::server
