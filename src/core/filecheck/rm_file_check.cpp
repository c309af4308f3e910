// RealMedia chunk walk.
#include "filecheck/rm_file_check.h"

#include <array>

namespace nua {

namespace {
constexpr std::array<std::string_view, 6> kKnownChunks = {".RMF", "CONT", "DATA", "INDX", "MDPR", "PROP"};
constexpr std::uint32_t kLongestChunk = 2136746229;
}  // namespace

bool RmFileCheck::isFile(ByteSpan header, std::uint64_t) {
  return headerText(header, 0, ".RMF") && headerBe32(header, 4) == 18;
}

std::uint64_t RmFileCheck::fileSizeCalculation(ByteSpan, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  std::uint64_t total = 0;
  while (!window.cancelled()) {
    const ByteSpan type = window.bytesAt(total, 4);
    bool known = false;
    for (const std::string_view k : kKnownChunks) known = known || headerText(type, 0, k);
    if (!known) break;
    const std::uint32_t length = window.be32At(total + 4);
    // A chunk shorter than its own header would hold the walk in place.
    if (length > kLongestChunk || length < 8) break;
    total += length;
  }
  return window.failed() ? 0 : total;
}

}  // namespace nua
