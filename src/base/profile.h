#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hq {

// A settings file of sections and keys ("[Section]", "Key=Value"), read as the system's profile reader reads
// it on every system: the case of section and key names does not count, blanks and tabs around names and
// values are dropped, one pair of single or double quotes around a value is dropped, a line that begins with
// ";" is a comment and a ";" elsewhere is text, a value goes on after further "=" and ends at a NUL, of two
// equal sections or keys the first holds, lines end in CR LF, LF or CR, a section's name may lack its "]",
// and a UTF-8 byte-order mark is passed over.
class Profile {
 public:
  // Reads a file's text; any text is accepted, lines that make no sense are passed over.
  explicit Profile(std::string_view text);

  // The value of a key, or fallback when the section or the key is missing. A key without a value gives "".
  [[nodiscard]] std::string Get(std::string_view section, std::string_view key,
                                std::string_view fallback = {}) const;
  // The same for a reader with room for longest bytes: a longer text is cut, never within a UTF-8 character,
  // and the fallback loses the blanks at its end.
  [[nodiscard]] std::string Get(std::string_view section, std::string_view key, std::string_view fallback,
                                std::size_t longest) const;
  // The keys of a section with their values, in the file's order; of equal keys all.
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> Entries(std::string_view section) const;

 private:
  struct Section {
    std::string Name;
    // Keys and values.
    std::vector<std::pair<std::string, std::string>> Entries;
  };
  // Null when there is no such section.
  [[nodiscard]] const Section* Find(std::string_view section) const;
  // Null when there is no such key.
  [[nodiscard]] const std::string* Find(std::string_view section, std::string_view key) const;

  std::vector<Section> sections_;
};

// The text of a settings file with this value for a key, and everything else as it stands; an empty value
// takes the key out. A section and a key that are not there yet are added. value is one line.
[[nodiscard]] std::string With_Profile_Value(std::string_view text, std::string_view section,
                                             std::string_view key, std::string_view value);

}  // namespace hq
