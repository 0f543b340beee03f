#pragma once

#include <cstdint>

namespace hq {

inline constexpr int TwipsPerInch = 1440;

// A length in twips (1/1440 inch) as whole pixels of a screen with so many logical dots an inch, halves
// rounded up.
[[nodiscard]] constexpr int Twips_To_Pixels(std::int64_t twips, int dots_per_inch) {
  const std::int64_t doubled = 2 * twips * dots_per_inch + TwipsPerInch;
  // Whole-number division rounds towards zero, so lengths below zero need a step down.
  const std::int64_t quotient = doubled / (2 * TwipsPerInch);
  return static_cast<int>(doubled < 0 && quotient * 2 * TwipsPerInch != doubled ? quotient - 1 : quotient);
}

// A length in pixels as whole twips.
[[nodiscard]] constexpr std::int32_t Pixels_To_Twips(int pixels, int dots_per_inch) {
  return static_cast<std::int32_t>(std::int64_t{pixels} * TwipsPerInch / dots_per_inch);
}

// Where the about box stands on a screen, all in twips: centred across and 500 twips above the centre.
struct BoxPlace {
  std::int32_t Left;
  std::int32_t Top;
};
[[nodiscard]] constexpr BoxPlace About_Box_Place(std::int32_t screen_width, std::int32_t screen_height,
                                                 std::int32_t box_width, std::int32_t box_height) {
  constexpr std::int32_t above_centre = 500;
  return {(screen_width - box_width) / 2, (screen_height - box_height) / 2 - above_centre};
}

}  // namespace hq
