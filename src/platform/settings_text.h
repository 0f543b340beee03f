#pragma once

#include <string>
#include <string_view>

namespace hq {

// A value that a settings file is to have for a key: one line, empty to take the key out. All three are the
// system's own 8-bit text.
struct SettingsChange {
  std::string Section;
  std::string Key;
  std::string Value;

  friend bool operator==(const SettingsChange&, const SettingsChange&) = default;
};

// The text of a settings file of sections and keys, which keeps how the file is written: in the system's own
// 8-bit text, in UTF-8 with a byte-order mark, or in UTF-16 of either byte order, with a mark or without.
class SettingsText {
 public:
  // An empty text in the system's own.
  SettingsText() = default;
  // Raises TypeMismatch, with the reason in words as its detail, for bytes that are no text: with NULs, or
  // not what the mark says.
  explicit SettingsText(std::string_view bytes);

  // In the system's own 8-bit text, which Profile reads.
  [[nodiscard]] std::string Text() const;

  // Puts in a value; everything else stays as it stands, remarks and line ends too. Raises TypeMismatch for a
  // value that the file's way of writing has no characters for.
  void Put(const SettingsChange& change);

  // The file's bytes: those that were read when nothing was put in.
  [[nodiscard]] std::string Bytes() const;

 private:
  enum class Form { System, Utf8, Utf16LittleEnd, Utf16BigEnd };

  Form form_ = Form::System;
  bool has_mark_ = false;
  std::string text_;  // in the system's own text or in UTF-8, without the mark
};

}  // namespace hq
