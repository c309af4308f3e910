#include "tree/qt_media_probe.h"

#include <QBuffer>
#include <QImageReader>

#include "picture/camera_raw_thumbnail.h"
#include "picture/heic_image.h"

namespace nua::ui {

namespace {

QImage readImage(const QByteArray& bytes) {
  QBuffer buffer;
  buffer.setData(bytes);
  buffer.open(QIODevice::ReadOnly);
  QImageReader reader(&buffer);
  reader.setDecideFormatFromContent(true);
  return reader.read();
}

}  // namespace

QtMediaProbe::QtMediaProbe() {
  for (const QByteArray& format : QImageReader::supportedImageFormats()) imageFileTypes_.insert(QString(format).toLower());
  for (const char* raw : {"cr2", "cr3", "crw", "nef", "nrw", "arw", "srf", "sr2", "dng", "orf", "rw2", "pef", "raf",
                          "srw", "x3f", "3fr"}) {
    if (nua::isCameraRawFileType(raw)) imageFileTypes_.insert(raw);
  }
  if (nua::heicDecodingAvailable()) imageFileTypes_ << "heic" << "heif";
  imageFileTypes_.remove("svg");  // vector drawings need no preview of their bytes as an image
  for (const char* movie : {"mp3", "m4a", "aac", "wav", "aif", "aiff", "flac", "ogg", "oga", "wma", "mp4", "m4v",
                            "mov", "avi", "mkv", "webm", "mpg", "mpeg", "3gp", "wmv", "mts", "m2ts"}) {
    movieFileTypes_.insert(movie);
  }
}

bool QtMediaProbe::isImageFileType(std::string_view extension) const {
  return imageFileTypes_.contains(QString::fromUtf8(extension.data(), static_cast<qsizetype>(extension.size())));
}

bool QtMediaProbe::isMovieFileType(std::string_view extension) const {
  return movieFileTypes_.contains(QString::fromUtf8(extension.data(), static_cast<qsizetype>(extension.size())));
}

bool QtMediaProbe::canInitWithData(std::span<const std::byte> data, std::string_view extension) const {
  return !imageFromData(data, extension).isNull();
}

QImage QtMediaProbe::imageFromData(std::span<const std::byte> data, std::string_view extension) {
  const QString type = QString::fromUtf8(extension.data(), static_cast<qsizetype>(extension.size())).toLower();
  if (nua::isCameraRawFileType(type.toStdString())) {
    const std::vector<std::byte> jpeg = nua::embeddedJpegOfRaw(data);
    return readImage(QByteArray(reinterpret_cast<const char*>(jpeg.data()), static_cast<qsizetype>(jpeg.size())));
  }
  if (type == "heic" || type == "heif") {
    const std::optional<nua::RgbaImage> heic = nua::decodeHeic(data);
    if (!heic) return {};
    return QImage(heic->pixels.data(), heic->width, heic->height, heic->width * 4, QImage::Format_RGBA8888).copy();
  }
  return readImage(QByteArray::fromRawData(reinterpret_cast<const char*>(data.data()), static_cast<qsizetype>(data.size())));
}

}  // namespace nua::ui
