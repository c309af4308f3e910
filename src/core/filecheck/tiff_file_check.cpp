// Plain TIFF: the family's sum walk.
#include "filecheck/tiff_file_check.h"

namespace nua {

bool TiffFileCheck::earlierMemberSelected() const {
  return sonyOrPentaxGroupSelected() || state_.kdcSelected || state_.k25Selected || state_.kodakDcrSelected;
}

bool TiffFileCheck::verdictFlag() const { return state_.tiffFileFound; }

std::uint64_t TiffFileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  bool bigEndian = state_.bigEndianFile;
  if (!state_.bigEndianFile && !state_.littleEndianFile) {
    const auto order = tiffIsBigEndian(header);
    if (!order) return 0;
    bigEndian = *order;
  }
  const std::uint32_t firstIfd = bigEndian ? headerBe32(header, 4) : headerLe32(header, 4);
  if (firstIfd < 8 || firstIfd > kTiffValueLimit) return 0;
  FileWindow window = openWindow(sector);
  return tiffSumWalkSize(window, bigEndian, firstIfd);
}

}  // namespace nua
