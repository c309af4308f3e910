#include "speed_bar.h"

#include <QLinearGradient>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace nua::ui {

SpeedBar::SpeedBar(std::function<float(float)> markedWidth, QWidget* parent)
    : QWidget(parent), markedWidth_(std::move(markedWidth)) {
  setMinimumHeight(12);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

int SpeedBar::markedPixels() const {
  const float x = markedWidth_ ? markedWidth_(static_cast<float>(width())) : 0.0f;
  // A quotient that is not a number (no file types) covers the whole bar.
  if (!std::isfinite(x)) return 0;
  return std::clamp(static_cast<int>(x), 0, width());
}

void SpeedBar::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  QLinearGradient gradient(0, 0, width(), 0);
  gradient.setColorAt(0.0, QColor(0x3c, 0xb3, 0x4a));
  gradient.setColorAt(0.5, QColor(0xf2, 0xc9, 0x1b));
  gradient.setColorAt(1.0, QColor(0xd9, 0x3a, 0x2b));
  painter.fillRect(rect(), gradient);
  const int x = markedPixels();
  painter.fillRect(QRect(x, 0, width() - x, height()), palette().color(QPalette::Inactive, QPalette::Highlight));
  painter.setPen(palette().color(QPalette::Mid));
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

}  // namespace nua::ui
