// GIF block walk.
#include "filecheck/gif_file_check.h"

namespace nua {

namespace {

constexpr std::uint64_t kWalkLimit = 0x4FFFFF;
constexpr std::uint64_t kLongFileSize = 0x500000;

// Size of the colour table a packed-fields byte announces, 0 when its flag is clear.
std::uint64_t colourTableBytes(std::uint8_t packedFields) {
  if ((packedFields & 0x80) == 0) return 0;
  return 3ull << ((packedFields & 0x07) + 1);
}

}  // namespace

bool GifFileCheck::isFile(ByteSpan header, std::uint64_t) {
  return headerText(header, 0, "GIF87a") || headerText(header, 0, "GIF89a");
}

std::uint64_t GifFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  // Header (6) and logical screen descriptor (7), then the global colour table.
  std::uint64_t position = 13 + colourTableBytes(window.byteAt(10));
  bool longFile = false;
  // Steps over length-prefixed sub-blocks up to their zero terminator.
  const auto skipSubBlocks = [&]() {
    for (;;) {
      if (position > kWalkLimit || window.failed()) return false;
      const std::uint8_t length = window.byteAt(position);
      position += 1u + length;
      if (length == 0) return true;
    }
  };
  while (!window.cancelled() && !window.failed()) {
    if (position > kWalkLimit) {
      longFile = true;
      break;
    }
    const std::uint8_t blockType = window.byteAt(position);
    if (blockType == 0x3B) {
      position += 1;  // the trailer counts
      break;
    }
    if (blockType == 0x2C) {
      const std::uint8_t packed = window.byteAt(position + 9);
      // Descriptor (10), local colour table, and the LZW code size byte before the data sub-blocks.
      position += 10 + colourTableBytes(packed) + 1;
      if (!skipSubBlocks()) continue;
    } else if (blockType == 0x21) {
      position += 2;  // introducer and label
      if (!skipSubBlocks()) continue;
    } else {
      break;
    }
  }
  if (window.failed()) return 0;
  if (longFile) return kLongFileSize;
  if (position > 0x63FFFFF) return 0x500200;
  if (position < 25) return 0;
  return position + 512;
}

}  // namespace nua
