#pragma once

#include <QLabel>
#include <QTimer>

namespace hq {

// A line that tells what goes on. A screen reader finds the text there is, and where the system has a way for
// it, says a text that has stood for a moment: a transfer comes through its states faster than they can be
// said.
class StatusLabel : public QLabel {
 public:
  explicit StatusLabel(QWidget* parent = nullptr);

  void Show_Status(const QString& text);

 private:
  QTimer standing_;
};

}  // namespace hq
