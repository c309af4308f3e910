// "Estimated Recovery Speed": a gradient drawn over the share of the width that the marked file
// types take; the rest is covered. The share comes from the signature screen.
#pragma once

#include <QWidget>
#include <functional>

namespace nua::ui {

class SpeedBar : public QWidget {
 public:
  // `markedWidth` gives the gradient's right edge for a bar of the given width.
  explicit SpeedBar(std::function<float(float)> markedWidth, QWidget* parent = nullptr);
  [[nodiscard]] QSize sizeHint() const override { return {220, 16}; }
  // The gradient's right edge as last drawn, in pixels.
  [[nodiscard]] int markedPixels() const;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::function<float(float)> markedWidth_;
};

}  // namespace nua::ui
