// JPEG test and marker walk; the RAW classes measure their preview images with the same walk.
#include "filecheck/jpg_file_check.h"

namespace nua {

bool isJpegStart(ByteSpan bytes) {
  if (!fits(bytes.size(), 0, 4)) return false;
  if (u8(bytes, 0) != 0xFF || u8(bytes, 1) != 0xD8 || u8(bytes, 2) != 0xFF) return false;
  switch (u8(bytes, 3)) {
    case 0xC4: case 0xDB: case 0xE0: case 0xE1: case 0xEE: case 0xFE: return true;
    default: return false;
  }
}

JpegWalk walkJpeg(FileWindow& window, std::uint64_t startOffset) {
  JpegWalk walk;
  std::uint64_t position = 4;
  // Marker segments: length, then the next marker; start of scan ends this phase.
  for (;;) {
    if (window.cancelled() || window.failed()) {
      walk.length = position;
      return walk;
    }
    if (position > JpgFileCheck::kCapBytes) {
      walk.capped = true;
      walk.length = position;
      return walk;
    }
    std::uint16_t segmentLength = window.be16At(startOffset + position);
    if (segmentLength == 0) segmentLength = 2;
    position += segmentLength;
    if (window.byteAt(startOffset + position) != 0xFF) {
      walk.length = position;
      return walk;
    }
    if (window.byteAt(startOffset + position + 1) == 0xDA) break;
    position += 2;
  }
  // Scan data: byte stuffing keeps FF D9 out of it, so the first FF D9 ends the image.
  for (;;) {
    if ((position & 0xFFFF) == 0 && window.cancelled()) break;
    if (window.failed()) break;
    if (position > JpgFileCheck::kCapBytes) {
      walk.capped = true;
      break;
    }
    if (window.byteAt(startOffset + position) == 0xFF && window.byteAt(startOffset + position + 1) == 0xD9) {
      walk.endFound = true;
      position += 2;
      break;
    }
    ++position;
  }
  walk.length = position;
  return walk;
}

bool JpgFileCheck::isFile(ByteSpan header, std::uint64_t) { return isJpegStart(header); }

std::uint64_t JpgFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  const JpegWalk walk = walkJpeg(window, 0);
  if (window.failed()) return 0;
  if (walk.capped) return kCappedSize;
  if (!walk.endFound) return walk.length;
  return walk.length + kMarginBytes;
}

}  // namespace nua
