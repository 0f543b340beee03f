#include "shell/quotes_note.h"

#include <QPainter>
#include <QPainterPath>

namespace hq {

namespace {

constexpr int Margin = 5;  // on both sides of what stands in the sign
constexpr int Gap = 4;     // between the triangle and the text

}  // namespace

QuotesNote::QuotesNote(QWidget* parent) : QPushButton(parent) {
  // Return presses it too.
  setAutoDefault(true);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QColor QuotesNote::Ground() {
  return {0xff, 0xd5, 0x4a};
}

QColor QuotesNote::Ink() {
  return {0x1a, 0x12, 0x00};
}

int QuotesNote::Triangle_Side() const {
  return fontMetrics().ascent() + 1;
}

QSize QuotesNote::sizeHint() const {
  return {Margin + Triangle_Side() + Gap + fontMetrics().horizontalAdvance(text()) + Margin,
          fontMetrics().height() + 4};
}

QSize QuotesNote::minimumSizeHint() const {
  return sizeHint();
}

void QuotesNote::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const bool pressable = focusPolicy() != Qt::NoFocus;
  const QColor ground =
      isDown() ? Ground().darker(115) : (pressable && underMouse() ? Ground().lighter(125) : Ground());
  const QRectF sign = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
  painter.setPen(QPen(Ink(), 1));
  painter.setBrush(ground);
  painter.drawRoundedRect(sign, 3, 3);
  if (hasFocus()) {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Ink(), 1, Qt::DotLine));
    painter.drawRect(sign.adjusted(2, 2, -2, -2));
  }

  const int side = Triangle_Side();
  const QRectF box(Margin, (height() - side) / 2.0, side, side);
  QPainterPath triangle;
  triangle.moveTo(box.center().x(), box.top());
  triangle.lineTo(box.right(), box.bottom());
  triangle.lineTo(box.left(), box.bottom());
  triangle.closeSubpath();
  painter.setPen(Qt::NoPen);
  painter.setBrush(Ink());
  painter.drawPath(triangle);
  const double line = side / 7.0;
  painter.setBrush(ground);
  painter.drawRect(QRectF(box.center().x() - line / 2, box.top() + side * 0.35, line, side * 0.32));
  painter.drawEllipse(QPointF(box.center().x(), box.top() + side * 0.83), line * 0.6, line * 0.6);

  painter.setPen(Ink());
  painter.drawText(QRectF(box.right() + Gap, 0, width() - box.right() - Gap, height()),
                   static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter), text());
}

}  // namespace hq
