#include "platform/mail_texts.h"

#include "base/strings.h"

namespace hq {

namespace {

bool Is_Control(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

// With the line ends that a mailto address wants.
std::string With_Return_Line_Feeds(std::string_view text) {
  std::string lines;
  char before = '\0';
  for (const char c : text) {
    if (c == '\n' && before != '\r') lines += '\r';
    lines += c;
    before = c;
  }
  return lines;
}

}  // namespace

std::string Without_Controls(std::string_view text) {
  std::string line;
  for (const char c : text) {
    if (!Is_Control(c)) line += c;
  }
  return line;
}

std::string Cut_Body(std::string_view text, std::size_t most_bytes) {
  if (text.size() <= most_bytes) return std::string(text);
  const auto note = [&](std::size_t kept) {
    return "\n[" + std::to_string(text.size() - kept) + " more bytes are left out]\n";
  };
  const std::size_t note_bytes = note(0).size();
  std::size_t kept = most_bytes > note_bytes ? most_bytes - note_bytes : 0;
  // A byte 10xxxxxx goes on with a character.
  while (kept > 0 && (static_cast<unsigned char>(text[kept]) & 0xC0U) == 0x80U) --kept;
  return std::string(text.substr(0, kept)) + note(kept);
}

std::string Mailto_Address(const std::vector<std::string>& recipients, std::string_view subject,
                           std::string_view body) {
  std::string address = "mailto:";
  for (const std::string& recipient : recipients) {
    if (&recipient != &recipients.front()) address += ',';
    // Mail programs look for the sign itself.
    address += Replace_All(Percent_Encoded(recipient), "%40", "@");
  }
  if (!subject.empty()) address += "?subject=" + Percent_Encoded(subject);
  if (!body.empty()) {
    address += (subject.empty() ? "?body=" : "&body=") + Percent_Encoded(With_Return_Line_Feeds(body));
  }
  return address;
}

}  // namespace hq
