#include "platform/settings_text.h"

#include "base/profile.h"
#include "base/run_time_error.h"
#include "base/strings.h"
#include "base/unicode.h"
#include "platform/system_text.h"

namespace hq {

namespace {

constexpr std::string_view Mark = "\xEF\xBB\xBF";  // in UTF-8
constexpr std::string_view LittleEndMark = "\xFF\xFE";
constexpr std::string_view BigEndMark = "\xFE\xFF";

ByteOrder Order_Of(bool little_end) {
  return little_end ? ByteOrder::LittleEnd : ByteOrder::BigEnd;
}

}  // namespace

SettingsText::SettingsText(std::string_view bytes) {
  // Without a mark the zero in the first letter tells it: no other text has one.
  const bool pairs = bytes.size() >= 2 && (bytes[0] == '\0') != (bytes[1] == '\0');
  if (bytes.starts_with(LittleEndMark) || bytes.starts_with(BigEndMark) || pairs) {
    has_mark_ = !pairs;
    const bool little_end = pairs ? bytes[1] == '\0' : bytes.starts_with(LittleEndMark);
    form_ = little_end ? Form::Utf16LittleEnd : Form::Utf16BigEnd;
    if (has_mark_) bytes.remove_prefix(LittleEndMark.size());
    auto text = Utf8_Of_Utf16(bytes, Order_Of(little_end));
    if (!text) throw RunTimeError(TypeMismatch, "it begins as UTF-16, and not all of it is");
    text_ = std::move(*text);
  } else if (bytes.starts_with(Mark)) {
    form_ = Form::Utf8;
    has_mark_ = true;
    text_ = bytes.substr(Mark.size());
    if (!Is_Utf8(text_)) throw RunTimeError(TypeMismatch, "it begins as UTF-8, and not all of it is");
  } else {
    text_ = bytes;
  }
  if (Contains(text_, std::string_view("\0", 1)))
    throw RunTimeError(TypeMismatch, "it is no plain text, it holds NULs");
}

std::string SettingsText::Text() const {
  return form_ == Form::System ? text_ : System_Text(text_);
}

void SettingsText::Put(const SettingsChange& change) {
  if (form_ == Form::System) {
    text_ = With_Profile_Value(text_, change.Section, change.Key, change.Value);
    return;
  }
  const std::string key = Utf8_Of_System_Text(change.Key);
  const std::string value = Utf8_Of_System_Text(change.Value);
  if (!Is_Utf8(key) || !Is_Utf8(value))
    throw RunTimeError(TypeMismatch, "a value has characters that can't be written in this file");
  text_ = With_Profile_Value(text_, Utf8_Of_System_Text(change.Section), key, value);
}

std::string SettingsText::Bytes() const {
  if (form_ == Form::System) return text_;
  if (form_ == Form::Utf8) return std::string(Mark) + text_;
  const bool little_end = form_ == Form::Utf16LittleEnd;
  std::string bytes(has_mark_ ? (little_end ? LittleEndMark : BigEndMark) : std::string_view());
  return bytes + Utf16_Of_Utf8(text_, Order_Of(little_end)).value_or("");
}

}  // namespace hq
