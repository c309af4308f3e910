// What the RTFD attachment match needs of a carved picture, read from its header alone: whether it
// is a BMP, GIF, PNG, JPEG or TIFF that can be decoded at all, its size in pixels, its resolution, and
// so its size in points (pixels times 72 over the dots per inch; 72 dpi when the file gives none).
#pragma once

#include <span>

#include "base/bytes.h"

namespace nua::formats {

struct ImageProbe {
  bool valid = false;
  std::uint32_t widthPixels = 0;
  std::uint32_t heightPixels = 0;
  double horizontalDpi = 72.0;
  double verticalDpi = 72.0;

  [[nodiscard]] double widthPoints() const { return widthPixels * 72.0 / horizontalDpi; }
  [[nodiscard]] double heightPoints() const { return heightPixels * 72.0 / verticalDpi; }
  // The attachment test: valid, a non-zero width, and the points truncated to integers equal to the
  // width and height the RTF text gives (its twips over 20).
  [[nodiscard]] bool matchesRtfGraphic(int widthPointsExpected, int heightPointsExpected) const;
};

// Reads the header of a picture held in memory. Unknown or damaged bytes give an invalid probe.
[[nodiscard]] ImageProbe probeImage(ByteSpan bytes);

}  // namespace nua::formats
