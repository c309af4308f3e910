// The desktop program's answers to a preview's questions: the toolkit's image readers (with the
// image formats plugins: TIFF, WebP, ICNS...), camera RAW through their embedded JPEG, HEIC where
// libheif is built in, and the sound and movie types the media player takes.
#pragma once

#include <QImage>
#include <QSet>
#include <QString>

#include "view/media_probe.h"

namespace nua::ui {

class QtMediaProbe : public nua::MediaProbe {
 public:
  QtMediaProbe();
  bool isImageFileType(std::string_view extension) const override;
  bool isMovieFileType(std::string_view extension) const override;
  bool canInitWithData(std::span<const std::byte> data, std::string_view extension) const override;

  // The image the bytes make (null when they make none); RAW files give their embedded JPEG.
  [[nodiscard]] static QImage imageFromData(std::span<const std::byte> data, std::string_view extension);

 private:
  QSet<QString> imageFileTypes_;
  QSet<QString> movieFileTypes_;
};

}  // namespace nua::ui
