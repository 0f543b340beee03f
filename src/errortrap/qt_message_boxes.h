#pragma once

#include <QString>
#include <string>

#include "errortrap/message_box.h"

namespace hq {

// Texts of the engine are the system's own 8-bit text.
[[nodiscard]] QString To_QString(const std::string& text);
[[nodiscard]] std::string To_Text(const QString& text);

// Message boxes as windows, each before the window that is active. Escape answers Cancel, or OK where that is
// the only button.
class QtMessageBoxes final : public MessageBoxes {
 public:
  MessageAnswer Show(const std::string& text, const std::string& title, MessageButtons buttons,
                     MessageIcon icon) override;
};

}  // namespace hq
