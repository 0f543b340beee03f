#include "base/strings.h"

#include <algorithm>

namespace hq {

namespace {

char Upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool Same_Letter(char one, char other) {
  return Upper(one) == Upper(other);
}

// The text without any of these characters at both ends.
std::string_view Without_Ends(std::string_view text, std::string_view characters) {
  const size_t first = text.find_first_not_of(characters);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(characters) - first + 1);
}

// How many bytes the UTF-8 character has that a byte begins; 0 for a byte within a character, 1 for any other
// byte.
size_t Character_Length(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0x80) return 1;
  if (byte < 0xC0) return 0;
  if (byte < 0xE0) return 2;
  if (byte < 0xF0) return 3;
  return byte < 0xF8 ? 4 : 1;
}

}  // namespace

std::string_view Trim(std::string_view text) {
  return Without_Ends(text, " ");
}

std::string_view Trim_White(std::string_view text) {
  return Without_Ends(text, " \t\r\n");
}

std::string_view Trimmed(std::string_view text) {
  for (bool again = true; again;) {
    again = false;
    if (text.starts_with(' ') || text.starts_with('\t')) text.remove_prefix(1), again = true;
    if (text.ends_with(' ') || text.ends_with('\t')) text.remove_suffix(1), again = true;
    if (text.starts_with("\xc2\xa0")) text.remove_prefix(2), again = true;
    if (text.ends_with("\xc2\xa0")) text.remove_suffix(2), again = true;
  }
  return text;
}

std::string Upper_Case(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), Upper);
  return result;
}

std::string Lower_Case(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), Lower);
  return result;
}

bool Equal_Without_Case(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(), Same_Letter);
}

std::vector<std::string> Parts_Of_List(std::string_view list) {
  std::vector<std::string> parts;
  for (;;) {
    const auto comma = list.find(',');
    if (const auto part = Trim_White(list.substr(0, comma)); !part.empty()) parts.emplace_back(part);
    if (comma == std::string_view::npos) return parts;
    list.remove_prefix(comma + 1);
  }
}

bool Contains_Without_Case(std::string_view text, std::string_view what) {
  return std::search(text.begin(), text.end(), what.begin(), what.end(), Same_Letter) != text.end();
}

std::string Percent_Encoded(std::string_view text) {
  constexpr std::string_view Digits = "0123456789ABCDEF";
  constexpr std::string_view Plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~";
  std::string encoded;
  for (const char c : text) {
    if (Plain.find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += Digits[byte >> 4U];
    encoded += Digits[byte & 15U];
  }
  return encoded;
}

std::string_view Cut_Text(std::string_view text, std::size_t longest) {
  if (text.size() <= longest) return text;
  std::size_t start = longest;
  while (start > 0 && longest - start < 3 && Character_Length(text[start]) == 0) --start;
  // In a text of another kind than UTF-8 the byte found here begins no character as long as this one.
  const bool cuts_character = start < longest && start + Character_Length(text[start]) > longest;
  return text.substr(0, cuts_character ? start : longest);
}

std::string Replace_All(std::string_view text, std::string_view what, std::string_view with) {
  std::string result;
  result.reserve(text.size());
  for (;;) {
    const size_t found = text.find(what);
    result += text.substr(0, found);
    if (found == std::string_view::npos) return result;
    result += with;
    text.remove_prefix(found + what.size());
  }
}

}  // namespace hq
