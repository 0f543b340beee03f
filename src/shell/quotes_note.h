#pragma once

#include <QPushButton>

namespace hq {

// What the user must know about the quotes, as a sign that can't be overlooked: bold in black on amber,
// whatever the colours of the desktop, behind a warning triangle. It is a button.
class QuotesNote final : public QPushButton {
 public:
  explicit QuotesNote(QWidget* parent = nullptr);

  // The sign's own colours.
  [[nodiscard]] static QColor Ground();
  [[nodiscard]] static QColor Ink();

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  [[nodiscard]] int Triangle_Side() const;
};

}  // namespace hq
