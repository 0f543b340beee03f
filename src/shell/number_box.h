#pragma once

#include <QLineEdit>
#include <cstdint>
#include <functional>

namespace hq {

// A box for a number of a few digits. What a typed character becomes is decided by the form.
class NumberBox : public QLineEdit {
 public:
  explicit NumberBox(QWidget* parent = nullptr);

  // Takes the code of a typed character and returns the one to enter instead, 0 for none. Keys that only move
  // or copy, and those with Ctrl held, are not asked about.
  std::function<std::int16_t(std::int16_t)> KeyPress;

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace hq
