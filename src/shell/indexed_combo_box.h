#pragma once

#include <QComboBox>
#include <functional>

namespace hq {

// A list to pick from whose items end in a run of blanks and an index that the user never sees, neither in
// the closed box nor in the opened list. itemText and currentText give the whole texts.
class IndexedComboBox : public QComboBox {
 public:
  explicit IndexedComboBox(QWidget* parent = nullptr);

  // From now on the box takes neither keys nor the mouse wheel, opened or closed, and an item is picked with
  // the mouse alone. Tab, Escape and access keys keep their meaning. on_key is called for every key that is
  // discarded.
  void Discard_Keys(std::function<void()> on_key);

  // What is shown of an item's text: all in front of the run of blanks and the index, which has index_digits
  // digits.
  void Set_Index_Digits(int digits);

  // What is shown of the current item's text, to the eye and to a screen reader.
  [[nodiscard]] QString Shown_Text() const { return Shown(currentText()); }

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  class Delegate;
  [[nodiscard]] QString Shown(const QString& text) const;
  [[nodiscard]] QSize Size_For_Shown_Texts() const;

  int index_digits_ = 0;
  std::function<void()> on_key_;
};

}  // namespace hq
