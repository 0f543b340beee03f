#pragma once

#include <string>

namespace hq {

enum class MessageButtons { Ok, YesNoCancel };
enum class MessageIcon { None, CriticalStop };
enum class MessageAnswer { Ok, Yes, No, Cancel };

// The title of a message box that is given none.
inline constexpr const char* DefaultTitle = "Bravint History Quotes Downloader";

// Tells the user something and waits for the answer.
class MessageBoxes {
 public:
  MessageBoxes() = default;
  MessageBoxes(const MessageBoxes&) = delete;
  MessageBoxes& operator=(const MessageBoxes&) = delete;
  virtual ~MessageBoxes() = default;

  virtual MessageAnswer Show(const std::string& text, const std::string& title = DefaultTitle,
                             MessageButtons buttons = MessageButtons::Ok,
                             MessageIcon icon = MessageIcon::None) = 0;
};

}  // namespace hq
