// AMR frame walk.
#include "filecheck/amr_file_check.h"

namespace nua {

namespace {

// Frame length in bytes, header byte included; 0 for a byte that starts no frame.
std::uint64_t frameLength(std::uint8_t headerByte, bool wideBand) {
  switch (headerByte) {
    case 4: return wideBand ? 18 : 13;
    case 12: return wideBand ? 24 : 14;
    case 20: return wideBand ? 33 : 16;
    case 28: return wideBand ? 37 : 18;
    case 36: return wideBand ? 41 : 20;
    case 44: return wideBand ? 47 : 21;
    case 52: return wideBand ? 51 : 27;
    case 60: return wideBand ? 59 : 32;
    case 68: return wideBand ? 61 : 0;
    default: return 0;
  }
}

}  // namespace

bool AmrFileCheck::isFile(ByteSpan header, std::uint64_t) {
  if (!headerText(header, 0, "#!AMR")) return false;
  wideBandAmr_ = headerText(header, 5, "-WB\n");
  return true;
}

std::uint64_t AmrFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  const bool wideBand = wideBandAmr_ || headerText(header, 5, "-WB\n");
  FileWindow window = openWindow(sector);
  std::uint64_t total = wideBand ? 9 : 6;
  while (!window.cancelled() && static_cast<double>(total) <= 2040109465.6) {
    const std::uint64_t length = frameLength(window.byteAt(total), wideBand);
    if (length == 0) break;
    total += length;
  }
  return window.failed() ? 0 : total;
}

}  // namespace nua
