#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace hq::server {

// One step into an answer: the name of a member, or the place in an array, counted from 0.
using PathStep = std::variant<std::string, std::size_t>;
using Path = std::vector<PathStep>;

enum class JsonKind : std::uint8_t { Null, Boolean, Number, Text, Array, Object };

// Why a text is no JSON.
struct JsonError {
  // How many bytes were read when it broke off or had something else.
  std::size_t Position = 0;
};

// The values of a JSON text in one flat list, so that a million rows stay small. Numbers keep their digits.
class JsonTree {
 public:
  // The place of a value in the list; 0 is the whole text's.
  using Place = std::uint32_t;
  static constexpr Place Root = 0;

  // Reads a text of at most 1 GiB.
  [[nodiscard]] static std::variant<JsonTree, JsonError> Read(std::string_view text);

  [[nodiscard]] JsonKind Kind(Place place) const { return entries_[place].Kind; }
  // The digits of a number as they were written, a text, "true" or "false"; empty for the rest.
  [[nodiscard]] std::string_view Text(Place place) const;
  // The name of a member of an object; empty for other values.
  [[nodiscard]] std::string_view Name(Place place) const;

  // The first value in an array or an object, and the one after `place` in the same: End(parent) after the
  // last.
  [[nodiscard]] Place First(Place parent) const { return parent + 1; }
  [[nodiscard]] Place Next(Place place) const { return entries_[place].End; }
  [[nodiscard]] Place End(Place parent) const { return entries_[parent].End; }

  // The value at a path from `from` on; of several members of one name the last. None when there is none.
  [[nodiscard]] std::optional<Place> Find(Place from, const Path& path) const;

 private:
  friend class JsonTreeBuilder;

  struct Entry {
    JsonKind Kind = JsonKind::Null;
    std::uint32_t Name_Begin = 0;
    std::uint32_t Name_Size = 0;
    std::uint32_t Text_Begin = 0;
    std::uint32_t Text_Size = 0;
    Place End = 0;
  };

  std::vector<Entry> entries_;
  std::string characters_;
};

}  // namespace hq::server
