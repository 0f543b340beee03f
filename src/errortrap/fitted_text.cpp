#include "errortrap/fitted_text.h"

#include <QScrollBar>
#include <QStringList>
#include <QTextLayout>
#include <algorithm>
#include <cmath>

namespace hq {

namespace {

constexpr int MostLines = 1000;

// The lines that text takes in a width; stops counting at most.
int Count_Lines(const QString& text, const QFont& font, int width, int most) {
  // More characters than a line of that width has can't be in it.
  const qsizetype enough = static_cast<qsizetype>(most) * std::max(1, width);
  QTextOption wrapping;
  wrapping.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  int lines = 0;
  for (const QString& paragraph : text.left(enough).split('\n')) {
    QTextLayout layout(paragraph, font);
    layout.setTextOption(wrapping);
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); lines < most; line = layout.createLine()) {
      if (!line.isValid()) break;
      line.setLineWidth(width);
      ++lines;
    }
    layout.endLayout();
    if (lines >= most) break;
  }
  return std::clamp(lines, 1, most);
}

// The height of a line as a text box lays it out, with the font's leading.
int Line_Height(const QFont& font) {
  QTextLayout layout("X", font);
  layout.beginLayout();
  QTextLine line = layout.createLine();
  line.setLeadingIncluded(true);
  line.setLineWidth(QWIDGETSIZE_MAX);
  layout.endLayout();
  return static_cast<int>(std::ceil(std::max(line.height(), QFontMetricsF(font).height())));
}

}  // namespace

FittedText::FittedText(QWidget* parent) : QPlainTextEdit(parent) {
  setReadOnly(true);
  setTabChangesFocus(true);
  setFrameShape(QFrame::NoFrame);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  viewport()->setAutoFillBackground(false);
  document()->setDocumentMargin(0);
  document()->setMaximumBlockCount(MostLines);
  QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
}

void FittedText::Set_Longest(int lines) {
  longest_ = std::max(1, lines);
  Offer_Scroll_Bar();
  updateGeometry();
}

void FittedText::Set_Text(const QString& text) {
  setPlainText(text);
  Offer_Scroll_Bar();
  updateGeometry();
}

void FittedText::Add_Line(const QString& text) {
  appendPlainText(text);
  Offer_Scroll_Bar();
  updateGeometry();
  verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

int FittedText::heightForWidth(int width) const {
  const int inside = width - 2 * frameWidth();
  const int lines = Count_Lines(toPlainText(), font(), inside, longest_);
  // A little more than the lines, whose heights are rounded.
  return lines * Line_Height(font()) + 2 * frameWidth() + 2;
}

QSize FittedText::sizeHint() const {
  const int width = 60 * fontMetrics().averageCharWidth();
  return {width, heightForWidth(width)};
}

QSize FittedText::minimumSizeHint() const {
  return {52 * fontMetrics().averageCharWidth(), fontMetrics().height() + 2 * frameWidth() + 2};
}

void FittedText::resizeEvent(QResizeEvent* event) {
  QPlainTextEdit::resizeEvent(event);
  Offer_Scroll_Bar();
}

void FittedText::showEvent(QShowEvent* event) {
  QPlainTextEdit::showEvent(event);
  Offer_Scroll_Bar();
}

// Only where the text does not fit: a bar takes width, which may be what makes the text too long.
void FittedText::Offer_Scroll_Bar() {
  // Set while hidden it takes no effect until the next change of size.
  if (!isVisible()) return;
  const int lines = Count_Lines(toPlainText(), font(), width() - 2 * frameWidth(), longest_ + 1);
  setVerticalScrollBarPolicy(lines > longest_ ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
}

}  // namespace hq
