// PNG chunk walk. The walk's position trails each chunk by four bytes (it starts at 29, inside the
// IHDR checksum), so the 516 added at the end makes one sector of margin past the file.
#include "filecheck/png_file_check.h"

#include <array>

namespace nua {

namespace {

constexpr std::array<std::string_view, 18> kKnownChunkTypes = {
    "IDAT", "IHDR", "IEND", "PLTE", "cHRM", "gAMA", "iCCP", "sBIT", "sRGB",
    "bKGD", "hIST", "tRNS", "pHYs", "sPLT", "tIME", "iTXt", "tEXt", "zTXt"};
constexpr std::uint32_t kLargestChunk = 51404800;
constexpr std::uint64_t kWalkLimit = 0x31FFFFF;

}  // namespace

bool PngFileCheck::isFile(ByteSpan header, std::uint64_t) {
  return headerByte(header, 0) == 0x89 && headerText(header, 1, "PNG") && headerText(header, 12, "IHDR");
}

std::uint64_t PngFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  std::uint64_t position = 29;
  while (position <= kWalkLimit && !window.cancelled()) {
    const ByteSpan type = window.bytesAt(position + 8, 4);
    if (type.size() != 4) return 0;
    bool known = false;
    for (const std::string_view t : kKnownChunkTypes) known = known || headerText(type, 0, t);
    if (!known) break;
    const std::uint32_t length = window.be32At(position + 4);
    if (length > kLargestChunk) break;
    position += static_cast<std::uint64_t>(length) + 12;
  }
  if (window.failed()) return 0;
  if (position >= 0x620C001) return 0x500000 + 516;
  if (position < 50) return 0;
  return position + 516;
}

}  // namespace nua
