#pragma once

#include <QPlainTextEdit>

namespace hq {

// A text to be read: plain, never taken for HTML, as high as its lines up to a number of them, and scrolled
// from there on. A word that is wider than the box is broken.
class FittedText final : public QPlainTextEdit {
 public:
  explicit FittedText(QWidget* parent = nullptr);

  // The lines shown without scrolling, at least one.
  void Set_Longest(int lines);
  void Set_Text(const QString& text);
  // Adds a line and shows it; the oldest of a thousand goes.
  void Add_Line(const QString& text);

  [[nodiscard]] bool hasHeightForWidth() const override { return true; }
  [[nodiscard]] int heightForWidth(int width) const override;
  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;

 private:
  void Offer_Scroll_Bar();

  int longest_ = 8;
};

}  // namespace hq
