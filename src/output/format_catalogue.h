#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "errortrap/modFailSafe.h"
#include "quotes/run_settings.h"

namespace hq {

// The output formats as seven parallel texts a format, slots 0 to 14; slot 15 stays empty.
struct FormatCatalogue {
  static constexpr size_t Slots = 16;
  using Texts = std::array<std::string, Slots>;

  Texts FormatName;    // the format's own name, never shown
  Texts SymbolPrefix;  // "STOCK,D" when every line begins with the symbol and the period letter, else empty
  Texts DateLayout;    // of "MM", "DD", "YY", "YYYY" and separators
  Texts TimeLayout;    // of "HH", "MM" and separators; empty: no time column
  Texts OpenInterestText;  // last column of every line; empty: none
  Texts HeaderLine;        // first line of every file; empty: none
  Texts SampleText;        // example lines joined by line feeds
  std::int16_t FormatCount = 0;
};

// Fills the catalogue and sets CurrentFormat to 11 ("Text with header-Intraday").
void Load_Format(modFailSafe& trap, FormatCatalogue& catalogue, RunSettings& settings);

inline constexpr int FormatItemCount = 15;

// The items of the format list, in its order: display text, a run of blanks and the two digits of the
// catalogue index.
[[nodiscard]] const std::array<std::string, FormatItemCount>& Format_Items();

// The catalogue index that ends an item's text: the number its last two characters begin with. Raises
// Overflow when that is no 16-bit number.
[[nodiscard]] std::int16_t Format_Index(std::string_view item_text);

// What an item's text shows of itself: all but its last two characters, without blanks at the ends. Raises
// InvalidProcedureCall when the text is shorter than that.
[[nodiscard]] std::string Format_Display_Name(std::string_view item_text);

// The title and the text of the message that shows the samples of an item's format. Raises
// SubscriptOutOfRange when the item's index names no slot of the catalogue.
struct FormatSamples {
  std::string Title;
  std::string Prompt;
};
[[nodiscard]] FormatSamples Samples_Of(const FormatCatalogue& catalogue, std::string_view item_text);

// One text of a slot. Raises SubscriptOutOfRange for an index outside 0 to 15.
[[nodiscard]] const std::string& Slot(const FormatCatalogue::Texts& texts, int index);

}  // namespace hq
